#include "media/blob_holder.h"

#include "platform/system.h"

void* CHeapAlloc::Alloc(size_t bytes) {
  if (bytes > SIZE_MAX - 0x1F) return nullptr;
  auto* raw = static_cast<uint8_t*>(cvplat::ProcessHeapAlloc((bytes + 0x1F) & ~static_cast<size_t>(7)));
  if (!raw) return nullptr;
  const uintptr_t start = (reinterpret_cast<uintptr_t>(raw) + 1 + 15) & ~static_cast<uintptr_t>(15);
  auto* data = reinterpret_cast<uint8_t*>(start);
  data[-1] = static_cast<uint8_t>(data - raw);
  return data;
}

void CHeapAlloc::Free(void* block) {
  if (!block) return;
  auto* data = static_cast<uint8_t*>(block);
  cvplat::ProcessHeapFree(data - data[-1]);
}
