#include <windows.h>

#include <vector>

#include "platform/module_info.h"

namespace cvplat {

namespace {

// The full file name of a module, however long; empty on failure.
std::wstring ModuleFileName(HMODULE module) {
  std::vector<wchar_t> buffer(MAX_PATH);
  for (;;) {
    const DWORD n = GetModuleFileNameW(module, buffer.data(), static_cast<DWORD>(buffer.size()));
    if (n == 0) return {};
    if (n < buffer.size()) return std::wstring(buffer.data(), n);
    if (buffer.size() >= 32768) return std::wstring(buffer.data(), n);
    buffer.resize(buffer.size() * 2);
  }
}

// The module that holds this very code, whether it is linked into an executable or a library.
HMODULE ThisModule() {
  HMODULE module = nullptr;
  static const int anchor = 0;
  if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          reinterpret_cast<LPCWSTR>(&anchor), &module)) {
    return nullptr;
  }
  return module;
}

VersionWords Words(DWORD ms, DWORD ls) {
  return {HIWORD(ms), LOWORD(ms), HIWORD(ls), LOWORD(ls)};
}

// The fixed part of the file's version resource; false when the file has none.
bool ResourceVersions(const std::wstring& file, VersionWords& product, VersionWords& fileVersion) {
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(file.c_str(), &ignored);
  if (size == 0) return false;
  std::vector<BYTE> block(size);
  if (!GetFileVersionInfoW(file.c_str(), 0, size, block.data())) return false;
  VS_FIXEDFILEINFO* fixed = nullptr;
  UINT length = 0;
  if (!VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&fixed), &length) || !fixed ||
      length < sizeof(VS_FIXEDFILEINFO) || fixed->dwSignature != 0xFEEF04BD) {
    return false;
  }
  product = Words(fixed->dwProductVersionMS, fixed->dwProductVersionLS);
  fileVersion = Words(fixed->dwFileVersionMS, fixed->dwFileVersionLS);
  return true;
}

}  // namespace

ModuleInfo CurrentModuleInfo() {
  ModuleInfo info;
  if (HMODULE module = ThisModule()) info.path = ModuleFileName(module);
  if (info.path.empty() || !ResourceVersions(info.path, info.productVersion, info.fileVersion)) {
    info.productVersion = BuildVersion();
    info.fileVersion = BuildVersion();
  }
  info.buildDate = BuildDate();
  info.processPath = ModuleFileName(nullptr);
  info.processId = GetCurrentProcessId();
  return info;
}

}  // namespace cvplat
