#include <dlfcn.h>

#include "platform/dynamic_library.h"

namespace cvplat {

HRESULT DynamicLibrary::Open(const std::string& path) {
  Close();
  // Local binding: the module's names never stand in for the host's own.
  handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_) return S_OK;
  const char* why = dlerror();
  error_ = why ? why : "dlopen failed";
  return E_FAIL;
}

void* DynamicLibrary::Symbol(const char* name) const { return handle_ ? dlsym(handle_, name) : nullptr; }

void DynamicLibrary::Close() {
  if (handle_) dlclose(handle_);
  handle_ = nullptr;
}

}  // namespace cvplat
