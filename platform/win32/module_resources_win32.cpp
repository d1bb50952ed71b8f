#include <windows.h>

#include <new>

#include "platform/module_resources.h"

namespace cvplat {

namespace {

// The status of the call that just failed. A failed call that leaves no error still fails: never S_OK.
HRESULT LastError() {
  const DWORD error = GetLastError();
  return error == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(error);
}

}  // namespace

HRESULT FindModuleResource(uint32_t id, std::vector<uint8_t>* bytes) {
  if (!bytes) return E_POINTER;
  // A resource id is a 16-bit number above 0; a larger one would be cut to another id.
  if (id == 0 || id > 0xFFFF) return CV_E_RESOURCE_NOT_FOUND;
  // The resources lie in the module that holds this code: the component's library in a host, the test
  // program where the code is linked into one.
  HMODULE module = nullptr;
  static const int anchor = 0;
  if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          reinterpret_cast<LPCWSTR>(&anchor), &module)) {
    return LastError();
  }
  HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), L"CUSTOM");
  if (!found) return LastError();
  const DWORD size = SizeofResource(module, found);
  if (size == 0) return LastError();
  HGLOBAL loaded = LoadResource(module, found);
  if (!loaded) return LastError();
  const void* data = LockResource(loaded);
  if (!data) return LastError();
  try {
    const auto* first = static_cast<const uint8_t*>(data);
    bytes->assign(first, first + size);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

}  // namespace cvplat
