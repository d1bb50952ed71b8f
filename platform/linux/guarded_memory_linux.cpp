#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#include "platform/guarded_memory.h"

namespace cvplat {

size_t SystemPageSize() {
  const long page = sysconf(_SC_PAGESIZE);
  return page > 0 ? size_t(page) : 4096;
}

namespace {
size_t Span(size_t bytes, size_t page) { return (bytes + (bytes == 0) + page - 1) / page * page; }
}  // namespace

void* GuardedAlloc(size_t bytes) {
  const size_t page = SystemPageSize();
  const size_t span = Span(bytes, page);
  void* base = mmap(nullptr, span + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) return nullptr;
  unsigned char* guard = static_cast<unsigned char*>(base) + span;
  if (mprotect(guard, page, PROT_NONE) != 0) {
    munmap(base, span + page);
    return nullptr;
  }
  return guard - bytes;
}

void GuardedFree(void* block, size_t bytes) {
  if (!block) return;
  const size_t page = SystemPageSize();
  const size_t span = Span(bytes, page);
  munmap(static_cast<unsigned char*>(block) + bytes - span, span + page);
}

}  // namespace cvplat
