// An owned block of bytes for pictures and sample channels. Allocation never throws: a failure leaves the
// block as it was, so a frame whose new buffer can't be had keeps its old content.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

class TByteBuffer {
 public:
  TByteBuffer() = default;
  ~TByteBuffer() { Free(); }
  TByteBuffer(TByteBuffer&& o) noexcept
      : data_(std::exchange(o.data_, nullptr)), size_(std::exchange(o.size_, 0)), shares_(std::exchange(o.shares_, nullptr)) {}
  TByteBuffer& operator=(TByteBuffer&& o) noexcept {
    if (this != &o) {
      Free();
      data_ = std::exchange(o.data_, nullptr);
      size_ = std::exchange(o.size_, 0);
      shares_ = std::exchange(o.shares_, nullptr);
    }
    return *this;
  }
  TByteBuffer(const TByteBuffer&) = delete;
  TByteBuffer& operator=(const TByteBuffer&) = delete;

  // A block of `bytes` (>= 0), zero-filled when `zero`; false when the memory can't be had.
  static bool Make(int64_t bytes, bool zero, TByteBuffer* out);
  // A copy of this block; false when the memory can't be had.
  bool CopyTo(TByteBuffer* out) const;
  // The same block in `out` too, without a copy: a frame repeated unchanged costs no picture copy. Both
  // must call Unshare before they write. The caller keeps other threads off this buffer meanwhile;
  // the other holders of the block may come and go on their own threads.
  bool ShareTo(TByteBuffer* out);
  // Makes the block this buffer's alone, copying it if others hold it too; false when the memory for the
  // copy can't be had (the buffer then still shares).
  bool Unshare();

  uint8_t* Data() const { return data_; }
  int64_t Size() const { return size_; }
  void Free();

 private:
  uint8_t* data_ = nullptr;
  int64_t size_ = 0;
  // Holders of a shared block, made when it is first shared; null while one buffer holds it alone.
  std::atomic<int32_t>* shares_ = nullptr;
};
