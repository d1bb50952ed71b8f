#include "tools/cvcapture/user_settings.h"

#include <memory>

#include "platform/settings_store.h"
#include "props/settings_key.h"
#include "tools/cvcapture/wide_text.h"
#if !defined(_WIN32)
#include "platform/linux/settings_file_linux.h"
#endif

namespace {

using cvplat::ISettingsKey;
using cvplat::SettingsAccess;

HRESULT OpenForWriting(std::unique_ptr<ISettingsKey>* key) {
  const std::unique_ptr<cvplat::ISettingsStore> store = cvplat::CreateUserSettingsStore();
  if (!store) return E_OUTOFMEMORY;
  return store->OpenKey(XMLParse::kSettingsKeyPath, SettingsAccess::kReadWrite, key);
}

}  // namespace

std::string UserSettingsLocation() {
#if defined(_WIN32)
  return "HKEY_CURRENT_USER\\" + ToUtf8(XMLParse::kSettingsKeyPath);
#else
  std::string folder, subfolder, file;
  if (!cvplat::UserSettingsFolder(&folder)) return "the user's configuration folder (none is known)";
  if (FAILED(cvplat::SettingsKeyLocation(XMLParse::kSettingsKeyPath, &subfolder, &file))) return folder;
  return folder + "/" + (subfolder.empty() ? "" : subfolder + "/") + file;
#endif
}

HRESULT SaveUserSetting(const std::wstring& name, const std::wstring& value) {
  std::unique_ptr<ISettingsKey> key;
  HRESULT hr = OpenForWriting(&key);
  if (FAILED(hr)) return hr;
  hr = key->SetString(name.c_str(), value.c_str());
  const HRESULT committed = key->Commit();
  return FAILED(hr) ? hr : committed;
}

HRESULT RemoveUserSetting(const std::wstring& name) {
  std::unique_ptr<ISettingsKey> key;
  HRESULT hr = OpenForWriting(&key);
  if (FAILED(hr)) return hr;
  hr = key->DeleteValue(name.c_str());
  const HRESULT committed = key->Commit();
  return FAILED(committed) ? committed : hr;
}
