// CBLOBHolder: a reference-counted byte buffer for audio chunks and scratch text, over one of two
// allocators. CHeapAlloc gives 16-byte aligned blocks, which the sample kernels rely on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "media/auto_obj.h"

struct CNewAlloc {
  static void* Alloc(size_t bytes) { return ::operator new(bytes ? bytes : 1, std::nothrow); }
  static void Free(void* block) { ::operator delete(block); }
};

struct CHeapAlloc {
  // The raw block is (bytes + 0x1F) rounded down to a multiple of 8; the data start at the next 16-byte
  // boundary after its first byte, and the byte before the data holds their distance from the raw block.
  static void* Alloc(size_t bytes);
  static void Free(void* block);
};

template <class Alloc>
class CBLOBHolder : public AutoObjBase<CBLOBHolder<Alloc>> {
 public:
  CBLOBHolder() = default;
  ~CBLOBHolder() override { Alloc::Free(data_); }

  uint32_t Size() const { return size_; }
  uint32_t Capacity() const { return capacity_; }
  uint8_t* Data() const { return static_cast<uint8_t*>(data_); }

  // S_FALSE when the capacity sufficed (only the size changes); S_OK with a new block of exactly that
  // size, the old contents gone; E_OUTOFMEMORY with the holder emptied.
  HRESULT Resize(uint32_t newSize) {
    if (newSize <= capacity_) {
      size_ = newSize;
      return S_FALSE;
    }
    Alloc::Free(data_);
    data_ = Alloc::Alloc(newSize);
    if (!data_) {
      size_ = capacity_ = 0;
      return E_OUTOFMEMORY;
    }
    size_ = capacity_ = newSize;
    return S_OK;
  }

  // Keeps the bytes from `offset` on, moved to the start, and makes the size `newSize`; a new block is
  // taken only when the capacity does not suffice. Results as for Resize; on failure the old block stays.
  HRESULT Resize(uint32_t offset, uint32_t newSize) {
    const uint32_t kept = offset < size_ ? size_ - offset : 0;
    const uint32_t moved = kept < newSize ? kept : newSize;
    if (newSize <= capacity_) {
      if (moved && offset) std::memmove(data_, Data() + offset, moved);
      size_ = newSize;
      return S_FALSE;
    }
    void* fresh = Alloc::Alloc(newSize);
    if (!fresh) return E_OUTOFMEMORY;
    if (moved) std::memcpy(fresh, Data() + offset, moved);
    Alloc::Free(data_);
    data_ = fresh;
    size_ = capacity_ = newSize;
    return S_OK;
  }

 private:
  uint32_t size_ = 0;
  void* data_ = nullptr;
  uint32_t capacity_ = 0;
};
