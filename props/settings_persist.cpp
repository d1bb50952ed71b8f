// Loading the per-user settings over a device's root and writing them back.
#include "props/settings_persist.h"

#include <memory>
#include <string>

#include "props/number_text.h"
#include "props/tree_alloc.h"

namespace XMLParse {

namespace {

using cvplat::ISettingsKey;
using cvplat::SettingKind;
using cvplat::SettingsAccess;
using cvplat::SettingValue;

// Attribute text from the service; an empty or missing text gives nothing. Names stand as they are:
// a "::" in a stored name does not make nodes.
void ParseServiceText(CoXMLNode& root, const TBstr& text) {
  const std::wstring_view view = text.View();
  if (view.empty()) return;
  const std::wstring copy(view);  // the reader wants a terminated text
  root.ParseAttributes(copy.c_str(), nullptr, false, 1, false);
}

// The stored value as attribute text; false for kinds that are not read.
bool ValueText(const SettingValue& value, std::wstring& text) {
  switch (value.kind) {
    case SettingKind::kDword:
      text = FormatInt32(static_cast<int32_t>(value.dword));
      return true;
    case SettingKind::kQword:
      text = FormatInt64(static_cast<int64_t>(value.qword));
      return true;
    case SettingKind::kString:
    case SettingKind::kExpandString:  // unexpanded, as it stands
      text = value.text;
      return true;
    case SettingKind::kOther:
      break;
  }
  return false;
}

void LoadFromStore(CoXMLNode& root, cvplat::ISettingsStore& store, const std::wstring& path) {
  std::unique_ptr<ISettingsKey> key;
  if (FAILED(store.OpenKey(path.c_str(), SettingsAccess::kRead, &key)) || !key) return;
  for (uint32_t index = 0;; ++index) {
    SettingValue value;
    const HRESULT hr = key->EnumValue(index, &value);
    if (hr == cvplat::CV_E_SETTING_BAD_DATA) continue;  // damaged: skipped, and left in the store
    if (hr != S_OK) break;  // the end, a name too long to read, or a failure
    std::wstring text;
    if (value.name.empty() || !ValueText(value, text)) continue;
    root.SetOwnString(value.name, text);  // a stored name is one name, never a path
  }
}

}  // namespace

TStoredForm StoredFormOf(std::wstring_view text) {
  TStoredForm form{SettingKind::kString, 0, 0};
  if (text.empty()) return form;
  const int32_t v = ScanInt32(text, 10);
  if (v >= 0 && text == FormatInt32(v)) {
    form.kind = SettingKind::kDword;
    form.dword = static_cast<uint32_t>(v);
    return form;
  }
  const int64_t w = ScanInt64(text, 0);
  if (w >= 0 && text == FormatHex64(static_cast<uint64_t>(w))) {
    form.kind = SettingKind::kQword;
    form.qword = static_cast<uint64_t>(w);
  }
  return form;
}

HRESULT SaveAttributes(CoXMLNode& node, cvplat::ISettingsStore& store, std::wstring_view keyPath) {
  const std::wstring path(keyPath);
  std::unique_ptr<ISettingsKey> key;
  const HRESULT opened = store.OpenKey(path.c_str(), SettingsAccess::kReadWrite, &key);
  if (FAILED(opened) || !key) return FAILED(opened) ? opened : E_FAIL;

  std::wstring text;
  if (node.GetText(text) && !text.empty()) key->SetDefaultText(text.c_str());

  std::wstring name;
  for (int32_t i = 0; node.AttributeAt(i, &name, &text); ++i) {
    if (name.empty()) continue;  // the empty name is the key's default value, which holds the node's text
    const TStoredForm form = StoredFormOf(text);
    switch (form.kind) {
      case SettingKind::kDword: key->SetDword(name.c_str(), form.dword); break;
      case SettingKind::kQword: key->SetQword(name.c_str(), form.qword); break;
      default: key->SetString(name.c_str(), text.c_str()); break;
    }
  }
  key->Commit();
  return S_OK;
}

void LoadSettings(CoXMLNode& root, ICVSettings* service, cvplat::ISettingsStore* store, std::wstring_view keyPath,
                  bool writeBack) {
  const std::wstring path(keyPath);
  TBstr serviceText;
  const HRESULT got = service ? service->Get(path.c_str(), serviceText.Out()) : E_NOINTERFACE;

  if (got != S_FALSE && got != E_NOINTERFACE) {
    // The service is in charge: the store is not touched.
    ParseServiceText(root, serviceText);
    if (writeBack) service->Put(path.c_str(), root.AttributesText().c_str());
    return;
  }

  if (store) {
    LoadFromStore(root, *store, path);
    if (writeBack) SaveAttributes(root, *store, path);
  }
  // A service that answered "nothing" with a text after all has the last word.
  ParseServiceText(root, serviceText);
}

}  // namespace XMLParse
