#include <windows.h>
#include <objbase.h>
#include <oleauto.h>

#include <string>

#include "tools/cvcapture/module_loader.h"

namespace {

std::wstring ExecutableFolder() {
  wchar_t path[MAX_PATH * 4];
  const DWORD n = GetModuleFileNameW(nullptr, path, static_cast<DWORD>(sizeof path / sizeof path[0]));
  if (n == 0 || n >= sizeof path / sizeof path[0]) return {};
  std::wstring text(path, n);
  const size_t slash = text.find_last_of(L"\\/");
  return slash == std::wstring::npos ? std::wstring() : text.substr(0, slash + 1);
}

HRESULT CreateFromFile(IUnknown** device, std::string* detail) {
  static HMODULE module = nullptr;
  if (!module) module = LoadLibraryW((ExecutableFolder() + L"CVDeviceSCR.dll").c_str());
  if (!module) {
    *detail = "the class is not registered and CVDeviceSCR.dll beside cvcapture.exe cannot be loaded";
    return HRESULT_FROM_WIN32(GetLastError());
  }
  // A 32-bit module without a definition file exports the decorated name.
  auto getClassObject = reinterpret_cast<GetClassObjectFn>(
      reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
  if (!getClassObject)
    getClassObject = reinterpret_cast<GetClassObjectFn>(
        reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject@12")));
  return CreateFromClassObject(getClassObject, "CVDeviceSCR.dll", device, detail);
}

}  // namespace

HRESULT CreateCaptureDevice(IUnknown** device, std::string* detail) {
  *device = nullptr;
  const HRESULT hr = CoCreateInstance(CLSID_CoCVCaptureSCR, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                      reinterpret_cast<void**>(device));
  if (SUCCEEDED(hr)) return hr;
  return CreateFromFile(device, detail);
}

// The module allocates its strings with the system's allocator, so the system frees them.
void FreeModuleString(BSTR text) { SysFreeString(text); }

HRESULT EnterComponentRuntime() { return CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
void LeaveComponentRuntime() { CoUninitialize(); }
