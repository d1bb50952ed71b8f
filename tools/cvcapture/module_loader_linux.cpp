#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "tools/cvcapture/module_loader.h"

namespace {

constexpr const char* kModuleName = "libCVDeviceSCR.so";

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

}  // namespace

HRESULT CreateCaptureDevice(IUnknown** device, std::string* detail) {
  *device = nullptr;
  static void* module = nullptr;
  if (!module) module = OpenModule(detail);
  if (!module) return HRESULT_FROM_WIN32(126);  // module not found
  auto getClassObject = reinterpret_cast<GetClassObjectFn>(dlsym(module, "DllGetClassObject"));
  return CreateFromClassObject(getClassObject, kModuleName, device, detail);
}

// The module shows nothing but its entries. Its counted strings are blocks of the process's C heap laid
// out as the header says, so the host's own copy of the counted-string runtime frees them, as the
// system's does on Windows.
void FreeModuleString(BSTR text) { SysFreeString(text); }

HRESULT EnterComponentRuntime() { return S_OK; }
void LeaveComponentRuntime() {}
