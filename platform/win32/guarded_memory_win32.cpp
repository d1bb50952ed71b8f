#include <windows.h>

#include "platform/guarded_memory.h"

namespace cvplat {

size_t SystemPageSize() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwPageSize ? size_t(info.dwPageSize) : 4096;
}

namespace {
size_t Span(size_t bytes, size_t page) { return (bytes + (bytes == 0) + page - 1) / page * page; }
}  // namespace

void* GuardedAlloc(size_t bytes) {
  const size_t page = SystemPageSize();
  const size_t span = Span(bytes, page);
  void* base = VirtualAlloc(nullptr, span + page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  if (!base) return nullptr;
  unsigned char* guard = static_cast<unsigned char*>(base) + span;
  DWORD previous = 0;
  if (!VirtualProtect(guard, page, PAGE_NOACCESS, &previous)) {
    VirtualFree(base, 0, MEM_RELEASE);
    return nullptr;
  }
  return guard - bytes;
}

void GuardedFree(void* block, size_t bytes) {
  if (!block) return;
  const size_t span = Span(bytes, SystemPageSize());
  VirtualFree(static_cast<unsigned char*>(block) + bytes - span, 0, MEM_RELEASE);
}

}  // namespace cvplat
