#include "tools/cvcapture/module_loader.h"

HRESULT CreateFromClassObject(GetClassObjectFn getClassObject, const char* moduleName, IUnknown** device,
                              std::string* detail) {
  if (!getClassObject) {
    *detail = std::string(moduleName) + " exports no DllGetClassObject";
    return HRESULT_FROM_WIN32(127);  // procedure not found
  }
  IClassFactory* factory = nullptr;
  HRESULT hr = getClassObject(CLSID_CoCVCaptureSCR, IID_IClassFactory, reinterpret_cast<void**>(&factory));
  if (FAILED(hr) || !factory) {
    *detail = "DllGetClassObject failed";
    return FAILED(hr) ? hr : E_POINTER;
  }
  hr = factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(device));
  factory->Release();
  if (FAILED(hr)) *detail = "the class factory made no device";
  return hr;
}
