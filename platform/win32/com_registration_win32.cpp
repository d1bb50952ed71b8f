// Registration of a component class in the registry: the keys that the class script of the module
// describes, written with the registry's own calls.
#include <windows.h>

#include "platform/com_registration.h"

namespace cvplat {
namespace {

HRESULT FromError(LONG error) {
  return error == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(error));
}

// The key that stands for the classes root of the scope, opened for writing; the caller closes it.
HRESULT OpenClassesRoot(ComRegistrationScope scope, HKEY* root) {
  if (scope == ComRegistrationScope::kMachine) {
    *root = HKEY_CLASSES_ROOT;
    return S_OK;
  }
  return FromError(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Classes", 0, nullptr, REG_OPTION_NON_VOLATILE,
                                   KEY_READ | KEY_WRITE, nullptr, root, nullptr));
}

void CloseClassesRoot(HKEY root) {
  if (root != HKEY_CLASSES_ROOT) RegCloseKey(root);
}

class Key {
 public:
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() {
    if (key_) RegCloseKey(key_);
  }
  HRESULT Create(HKEY parent, const wchar_t* path) {
    return FromError(RegCreateKeyExW(parent, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE,
                                     nullptr, &key_, nullptr));
  }
  HRESULT SetText(const wchar_t* name, const std::wstring& text) {
    const DWORD bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    return FromError(
        RegSetValueExW(key_, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), bytes));
  }
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

// Removes the key, everything below it, and the key itself.
HRESULT DeleteTree(HKEY root, const std::wstring& path) {
  const LONG error = RegDeleteTreeW(root, path.c_str());
  if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return S_OK;
  return FromError(error);
}

HRESULT WriteClass(HKEY root, const ComClassKeys& keys) {
  const std::wstring path = L"CLSID\\" + GuidText(keys.clsid);
  // A registration replaces the class key as a whole, so no value of an older layout survives it.
  HRESULT hr = DeleteTree(root, path);
  if (FAILED(hr)) return hr;
  Key cls;
  if (FAILED(hr = cls.Create(root, path.c_str()))) return hr;
  if (FAILED(hr = cls.SetText(nullptr, keys.name))) return hr;
  Key server;
  if (FAILED(hr = server.Create(cls.get(), L"InprocServer32"))) return hr;
  if (FAILED(hr = server.SetText(nullptr, keys.modulePath))) return hr;
  if (FAILED(hr = server.SetText(L"ThreadingModel", keys.threadingModel))) return hr;
  Key typeLib;
  if (FAILED(hr = typeLib.Create(cls.get(), L"TypeLib"))) return hr;
  if (FAILED(hr = typeLib.SetText(nullptr, GuidText(keys.typeLib)))) return hr;
  Key version;
  if (FAILED(hr = version.Create(cls.get(), L"Version"))) return hr;
  return version.SetText(nullptr, keys.version);
}

}  // namespace

HRESULT RegisterComClass(const ComClassKeys& keys, ComRegistrationScope scope) {
  if (!keys.name || !keys.threadingModel || !keys.version) return E_POINTER;
  if (keys.modulePath.empty()) return E_INVALIDARG;
  HKEY root = nullptr;
  HRESULT hr = OpenClassesRoot(scope, &root);
  if (FAILED(hr)) return hr;
  hr = WriteClass(root, keys);
  CloseClassesRoot(root);
  return hr;
}

HRESULT UnregisterComClass(REFCLSID clsid, ComRegistrationScope scope) {
  HKEY root = nullptr;
  HRESULT hr = OpenClassesRoot(scope, &root);
  if (FAILED(hr)) return hr;
  hr = DeleteTree(root, L"CLSID\\" + GuidText(clsid));
  CloseClassesRoot(root);
  return hr;
}

std::wstring OwnModulePath() {
  HMODULE module = nullptr;
  if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          reinterpret_cast<LPCWSTR>(&OwnModulePath), &module))
    return std::wstring();
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD chars = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (chars == 0) return std::wstring();
    if (chars < path.size()) {
      path.resize(chars);
      return path;
    }
    // The name was cut off: try again with room for a long path.
    if (path.size() >= 32768) return std::wstring();
    path.resize(path.size() * 2);
  }
}

uint32_t ThreadLocaleGet() { return static_cast<uint32_t>(GetThreadLocale()); }

void ThreadLocaleSet(uint32_t locale) { SetThreadLocale(static_cast<LCID>(locale)); }

}  // namespace cvplat
