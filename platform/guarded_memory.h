// Blocks that end right at a page edge, with an inaccessible page behind them: a kernel that reads or
// writes one byte too far faults at once instead of going unnoticed. For tests of buffer kernels.
#pragma once

#include <cstddef>

namespace cvplat {

size_t SystemPageSize();

// `bytes` writable bytes whose last byte is the last one before a guard page; null on failure. The
// start is only as aligned as `bytes` allows. Give it back to GuardedFree with the same size.
void* GuardedAlloc(size_t bytes);
void GuardedFree(void* block, size_t bytes);

// An array of `count` elements of T that ends at a guard page.
template <typename T>
class GuardedArray {
 public:
  explicit GuardedArray(size_t count) : count_(count), data_(static_cast<T*>(GuardedAlloc(count * sizeof(T)))) {}
  ~GuardedArray() { GuardedFree(data_, count_ * sizeof(T)); }
  GuardedArray(const GuardedArray&) = delete;
  GuardedArray& operator=(const GuardedArray&) = delete;

  T* data() const { return data_; }
  size_t size() const { return count_; }
  T& operator[](size_t i) const { return data_[i]; }

 private:
  size_t count_;
  T* data_;
};

}  // namespace cvplat
