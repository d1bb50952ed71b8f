#include <windows.h>

#include "platform/dynamic_library.h"

namespace cvplat {

HRESULT DynamicLibrary::Open(const std::string& path) {
  Close();
  HMODULE module = LoadLibraryA(path.c_str());
  if (!module) {
    const DWORD error = GetLastError();
    error_ = "LoadLibrary failed with error " + std::to_string(error);
    return HRESULT_FROM_WIN32(error);
  }
  handle_ = module;
  return S_OK;
}

void* DynamicLibrary::Symbol(const char* name) const {
  if (!handle_) return nullptr;
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

void DynamicLibrary::Close() {
  if (handle_) FreeLibrary(static_cast<HMODULE>(handle_));
  handle_ = nullptr;
}

}  // namespace cvplat
