// The start of a device over a settings store, run against each store: the memory store in
// settings_persist_test.cpp, and the native store of the platform in its own test file, which
// instantiates SettingsPersist with a harness (platform/settings_store_test.h) that gives the store and a
// fresh key path and removes what the tests wrote.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/settings_store.h"
#include "platform/settings_store_test.h"
#include "props/catalogue.h"
#include "props/settings_persist.h"

namespace XMLParse {

// For messages: the ASCII of a name.
inline std::string Narrow(std::wstring_view text) {
  std::string out;
  for (wchar_t c : text) out += (c > 0 && c < 128) ? static_cast<char>(c) : '?';
  return out;
}

class SettingsPersist : public ::testing::TestWithParam<cvplat::SettingsStoreParam> {
 protected:
  void SetUp() override {
    harness_ = GetParam().make();
    ASSERT_TRUE(harness_ && harness_->store());
    path_ = harness_->keyPath();
  }

  cvplat::ISettingsStore& store() { return *harness_->store(); }

  // What a device does at its start: defaults, the stored values with write-back, the catalogue.
  XMLNodePtr StartDevice() {
    XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
    SetDefaults(*root);
    LoadSettings(*root, nullptr, &store(), path_, true);
    BuildCatalogue(*root);
    return root;
  }

  // The values of the key in store order; bad data shows with kind kOther and the text "<bad>".
  std::vector<cvplat::SettingValue> Dump() {
    std::vector<cvplat::SettingValue> values;
    std::unique_ptr<cvplat::ISettingsKey> key;
    if (FAILED(store().OpenKey(path_.c_str(), cvplat::SettingsAccess::kRead, &key))) return values;
    for (uint32_t i = 0;; ++i) {
      cvplat::SettingValue v;
      const HRESULT hr = key->EnumValue(i, &v);
      if (hr == cvplat::CV_E_SETTING_BAD_DATA) {
        v.kind = cvplat::SettingKind::kOther;
        v.text = L"<bad>";
      } else if (hr != S_OK) {
        break;
      }
      values.push_back(v);
    }
    return values;
  }

  static const cvplat::SettingValue* Find(const std::vector<cvplat::SettingValue>& values, const std::wstring& name) {
    for (const auto& v : values)
      if (v.name == name) return &v;
    return nullptr;
  }

  std::unique_ptr<cvplat::ISettingsKey> Writer() {
    std::unique_ptr<cvplat::ISettingsKey> key;
    EXPECT_EQ(store().OpenKey(path_.c_str(), cvplat::SettingsAccess::kReadWrite, &key), S_OK);
    return key;
  }

  std::unique_ptr<cvplat::SettingsStoreHarness> harness_;
  std::wstring path_;
};

}  // namespace XMLParse
