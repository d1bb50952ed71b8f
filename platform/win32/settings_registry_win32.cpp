// The settings store of Windows: keys under HKEY_CURRENT_USER.
#include <windows.h>

#include <new>
#include <string>
#include <vector>

#include "platform/settings_store.h"

namespace cvplat {
namespace {

constexpr REGSAM kReadAccess = 0x20019;       // KEY_READ
constexpr REGSAM kReadWriteAccess = 0x2001F;  // KEY_READ | KEY_WRITE

HRESULT FromRegistry(LONG error) {
  if (error == ERROR_FILE_NOT_FOUND) return CV_E_NOT_FOUND;
  return HRESULT_FROM_WIN32(static_cast<DWORD>(error));
}

class RegistryKey final : public ISettingsKey {
 public:
  RegistryKey(HKEY key, bool writable) : key_(key), writable_(writable) {}
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  // The handle is gone whatever RegCloseKey says; the writes were each checked when they were made.
  ~RegistryKey() override { (void)RegCloseKey(key_); }

  HRESULT EnumValue(uint32_t index, SettingValue* value) override {
    if (!value) return E_POINTER;
    wchar_t name[kSettingNameBufferChars];
    DWORD nameChars = kSettingNameBufferChars;
    DWORD type = 0;
    LONG error = RegEnumValueW(key_, index, name, &nameChars, nullptr, &type, nullptr, nullptr);
    if (error == ERROR_NO_MORE_ITEMS) return CV_E_SETTING_NO_MORE;
    // Without a data buffer, "more data" can only be about the name.
    if (error == ERROR_MORE_DATA) return CV_E_SETTING_NAME_TOO_LONG;
    if (error != ERROR_SUCCESS) return HRESULT_FROM_WIN32(static_cast<DWORD>(error));
    *value = SettingValue();
    value->name.assign(name, nameChars);
    if (!ReadValue(value)) {
      SettingValue named;
      named.name.swap(value->name);
      *value = std::move(named);
      return CV_E_SETTING_BAD_DATA;
    }
    return S_OK;
  }

  HRESULT SetDword(const wchar_t* name, uint32_t value) override {
    DWORD data = value;
    return Write(name, REG_DWORD, &data, sizeof data);
  }
  HRESULT SetQword(const wchar_t* name, uint64_t value) override {
    ULONGLONG data = value;
    return Write(name, REG_QWORD, &data, sizeof data);
  }
  HRESULT SetString(const wchar_t* name, const wchar_t* text) override {
    if (!text) return E_POINTER;
    size_t chars = wcslen(text) + 1;  // with its terminating zero: the empty text is 2 bytes
    if (chars > MAXDWORD / sizeof(wchar_t)) return E_INVALIDARG;
    return Write(name, REG_SZ, text, static_cast<DWORD>(chars * sizeof(wchar_t)));
  }
  HRESULT DeleteValue(const wchar_t* name) override {
    if (!name) return E_POINTER;
    if (!writable_) return E_ACCESSDENIED;
    LONG error = RegDeleteValueW(key_, name);
    if (error == ERROR_FILE_NOT_FOUND) return S_FALSE;
    return error == ERROR_SUCCESS ? S_OK : FromRegistry(error);
  }
  // Each write is in the registry once RegSetValueExW returns; the registry makes it lasting itself.
  HRESULT Commit() override { return S_OK; }

 private:
  HRESULT Write(const wchar_t* name, DWORD type, const void* data, DWORD bytes) {
    if (!name) return E_POINTER;
    if (!writable_) return E_ACCESSDENIED;
    LONG error = RegSetValueExW(key_, name, 0, type, static_cast<const BYTE*>(data), bytes);
    return error == ERROR_SUCCESS ? S_OK : FromRegistry(error);
  }

  // Reads the value of value->name into *value; false for data that is not what its type says, or for a
  // value that went away or kept changing while it was read.
  bool ReadValue(SettingValue* value) {
    for (int attempt = 0; attempt < 4; ++attempt) {
      DWORD type = 0;
      DWORD bytes = 0;
      LONG error = RegQueryValueExW(key_, value->name.c_str(), nullptr, &type, nullptr, &bytes);
      if (error != ERROR_SUCCESS) return false;
      switch (type) {
        case REG_DWORD: {
          DWORD data = 0;
          DWORD size = sizeof data;
          error = RegQueryValueExW(key_, value->name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&data), &size);
          if (error == ERROR_MORE_DATA) continue;
          if (error != ERROR_SUCCESS || type != REG_DWORD || size != sizeof data) return false;
          value->kind = SettingKind::kDword;
          value->dword = data;
          return true;
        }
        case REG_QWORD: {
          ULONGLONG data = 0;
          DWORD size = sizeof data;
          error = RegQueryValueExW(key_, value->name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&data), &size);
          if (error == ERROR_MORE_DATA) continue;
          if (error != ERROR_SUCCESS || type != REG_QWORD || size != sizeof data) return false;
          value->kind = SettingKind::kQword;
          value->qword = data;
          return true;
        }
        case REG_SZ:
        case REG_EXPAND_SZ: {
          if (bytes % sizeof(wchar_t) != 0 || bytes == 0) return false;
          std::vector<wchar_t> text(bytes / sizeof(wchar_t));
          DWORD size = bytes;
          DWORD readType = 0;
          error = RegQueryValueExW(key_, value->name.c_str(), nullptr, &readType, reinterpret_cast<BYTE*>(text.data()),
                                   &size);
          if (error == ERROR_MORE_DATA || (error == ERROR_SUCCESS && (readType != type || size != bytes))) continue;
          if (error != ERROR_SUCCESS || text.back() != L'\0') return false;
          value->kind = type == REG_SZ ? SettingKind::kString : SettingKind::kExpandString;
          value->text.assign(text.data());
          return true;
        }
        default:
          value->kind = SettingKind::kOther;
          return true;
      }
    }
    return false;
  }

  HKEY key_;
  bool writable_;
};

class RegistryStore final : public ISettingsStore {
 public:
  HRESULT OpenKey(const wchar_t* path, SettingsAccess access, std::unique_ptr<ISettingsKey>* key) override {
    if (!key) return E_POINTER;
    key->reset();
    if (!path || !*path) return E_INVALIDARG;
    HKEY opened = nullptr;
    LONG error;
    const bool writable = access == SettingsAccess::kReadWrite;
    if (writable)
      error = RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, 0, kReadWriteAccess, nullptr, &opened, nullptr);
    else
      error = RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, kReadAccess, &opened);
    if (error != ERROR_SUCCESS) return FromRegistry(error);
    key->reset(new (std::nothrow) RegistryKey(opened, writable));
    if (!*key) {
      (void)RegCloseKey(opened);
      return E_OUTOFMEMORY;
    }
    return S_OK;
  }
};

}  // namespace

std::unique_ptr<ISettingsStore> CreateUserSettingsStore() {
  return std::unique_ptr<ISettingsStore>(new (std::nothrow) RegistryStore);
}

}  // namespace cvplat
