// The behaviour that every settings store owes the settings logic, run against each store: the memory
// store here, the native store of the platform in its own test file, which instantiates
// SettingsStoreContract with a harness that gives a store and a fresh key path and removes what the
// tests wrote.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <ostream>
#include <memory>
#include <string>
#include <vector>

#include "platform/settings_store.h"

namespace cvplat {

class SettingsStoreHarness {
 public:
  virtual ~SettingsStoreHarness() = default;
  virtual ISettingsStore* store() = 0;
  // A key path, under which no key exists yet, for this test alone.
  virtual std::wstring keyPath() = 0;
};

struct SettingsStoreParam {
  const char* name;
  std::unique_ptr<SettingsStoreHarness> (*make)();
};

class SettingsStoreContract : public ::testing::TestWithParam<SettingsStoreParam> {
 protected:
  void SetUp() override {
    harness_ = GetParam().make();
    ASSERT_TRUE(harness_ && harness_->store());
    path_ = harness_->keyPath();
  }

  ISettingsStore& store() { return *harness_->store(); }

  std::unique_ptr<ISettingsKey> Open(SettingsAccess access, const std::wstring& path) {
    std::unique_ptr<ISettingsKey> key;
    HRESULT hr = store().OpenKey(path.c_str(), access, &key);
    EXPECT_EQ(hr, S_OK);
    EXPECT_EQ(SUCCEEDED(hr), key != nullptr);
    return key;
  }
  std::unique_ptr<ISettingsKey> Open(SettingsAccess access) { return Open(access, path_); }

  std::unique_ptr<SettingsStoreHarness> harness_;
  std::wstring path_;
};

inline void PrintTo(const SettingsStoreParam& param, std::ostream* out) { *out << param.name; }

inline std::string SettingsParamName(const ::testing::TestParamInfo<SettingsStoreParam>& info) {
  return info.param.name;
}

// All values of a key by name, read as the settings logic reads them; stops at the first result that
// ends an enumeration and records it.
struct EnumeratedValues {
  std::map<std::wstring, SettingValue> values;
  std::vector<std::wstring> badData;
  HRESULT end = S_OK;
};
EnumeratedValues EnumerateAll(ISettingsKey& key);

}  // namespace cvplat
