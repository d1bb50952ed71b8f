#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "tools/cvcapture/module_loader.h"

// The header names these for every host; a host on Linux has no system library that defines them.
const IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
const IID IID_IClassFactory = {0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

namespace {

constexpr const char* kModuleName = "libCVDeviceSCR.so";

using GetClassObjectFn = HRESULT (*)(REFCLSID, REFIID, void**);
using FreeStringFn = void (*)(BSTR);

FreeStringFn g_freeString = nullptr;

std::string ExecutableFolder() {
  char path[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0) return {};
  std::string text(path, static_cast<size_t>(n));
  const size_t slash = text.rfind('/');
  return slash == std::string::npos ? std::string() : text.substr(0, slash + 1);
}

void* OpenModule(std::string* detail) {
  const std::string beside = ExecutableFolder() + kModuleName;
  if (void* handle = dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL)) return handle;
  const std::string firstError = dlerror();
  if (void* handle = dlopen(kModuleName, RTLD_NOW | RTLD_LOCAL)) return handle;
  // The loader's message names the file it tried.
  *detail = "cannot load the module: " + firstError;
  return nullptr;
}

// The header declares SysFreeString as a C++ function, so the module exports it under its mangled name;
// a C name is taken first should the module ever give one.
FreeStringFn FindFreeString(void* module) {
  for (const char* name : {"SysFreeString", "_Z13SysFreeStringPw"})
    if (void* entry = dlsym(module, name)) return reinterpret_cast<FreeStringFn>(entry);
  return nullptr;
}

}  // namespace

HRESULT CreateCaptureDevice(IUnknown** device, std::string* detail) {
  *device = nullptr;
  static void* module = nullptr;
  if (!module) module = OpenModule(detail);
  if (!module) return HRESULT_FROM_WIN32(126);  // module not found
  auto getClassObject = reinterpret_cast<GetClassObjectFn>(dlsym(module, "DllGetClassObject"));
  g_freeString = FindFreeString(module);
  if (!getClassObject) {
    *detail = "the module exports no DllGetClassObject";
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

// A module that keeps SysFreeString to itself leaves its strings to the end of this short-lived process:
// freeing them with another allocator than the module's would be worse than keeping them.
void FreeModuleString(BSTR text) {
  if (text && g_freeString) g_freeString(text);
}

HRESULT EnterComponentRuntime() { return S_OK; }
void LeaveComponentRuntime() {}
