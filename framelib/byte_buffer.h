// An owned block of bytes for pictures and sample channels. Allocation never throws: a failure leaves the
// block as it was, so a frame whose new buffer can't be had keeps its old content.
#pragma once

#include <cstdint>
#include <utility>

class TByteBuffer {
 public:
  TByteBuffer() = default;
  ~TByteBuffer() { Free(); }
  TByteBuffer(TByteBuffer&& o) noexcept : data_(std::exchange(o.data_, nullptr)), size_(std::exchange(o.size_, 0)) {}
  TByteBuffer& operator=(TByteBuffer&& o) noexcept {
    if (this != &o) {
      Free();
      data_ = std::exchange(o.data_, nullptr);
      size_ = std::exchange(o.size_, 0);
    }
    return *this;
  }
  TByteBuffer(const TByteBuffer&) = delete;
  TByteBuffer& operator=(const TByteBuffer&) = delete;

  // A block of `bytes` (>= 0), zero-filled when `zero`; false when the memory can't be had.
  static bool Make(int64_t bytes, bool zero, TByteBuffer* out);
  // A copy of this block; false when the memory can't be had.
  bool CopyTo(TByteBuffer* out) const;

  uint8_t* Data() const { return data_; }
  int64_t Size() const { return size_; }
  void Free();

 private:
  uint8_t* data_ = nullptr;
  int64_t size_ = 0;
};
