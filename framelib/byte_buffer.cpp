#include "framelib/byte_buffer.h"

#include <cstring>
#include <new>

namespace {

// Cache-line alignment: kernels that convert pictures read whole vectors from the start of a line.
constexpr std::align_val_t kAlignment{64};

// No frame needs more; a larger request is refused before the allocator sees it, since sanitizers treat
// an absurd size as an error even where the allocator would only return null.
constexpr uint64_t kMaxBytes = sizeof(void*) == 8 ? uint64_t{1} << 34 : uint64_t{1} << 30;

}  // namespace

bool TByteBuffer::Make(int64_t bytes, bool zero, TByteBuffer* out) {
  if (bytes < 0 || static_cast<uint64_t>(bytes) > kMaxBytes) return false;
  TByteBuffer made;
  if (bytes > 0) {
    const size_t size = static_cast<size_t>(bytes);
    made.data_ = static_cast<uint8_t*>(::operator new(size, kAlignment, std::nothrow));
    if (!made.data_) return false;
    if (zero) std::memset(made.data_, 0, size);
  }
  made.size_ = bytes;
  *out = std::move(made);
  return true;
}

bool TByteBuffer::CopyTo(TByteBuffer* out) const {
  TByteBuffer copy;
  if (!Make(size_, false, &copy)) return false;
  if (size_ > 0) std::memcpy(copy.data_, data_, static_cast<size_t>(size_));
  *out = std::move(copy);
  return true;
}

bool TByteBuffer::ShareTo(TByteBuffer* out) {
  if (out == this) return true;
  if (!data_) {
    out->Free();
    out->size_ = size_;
    return true;
  }
  if (!shares_) {
    shares_ = new (std::nothrow) std::atomic<int32_t>(1);
    if (!shares_) return false;
  }
  shares_->fetch_add(1, std::memory_order_relaxed);
  out->Free();
  out->data_ = data_;
  out->size_ = size_;
  out->shares_ = shares_;
  return true;
}

bool TByteBuffer::Unshare() {
  if (!shares_) return true;
  if (shares_->load(std::memory_order_acquire) == 1) {
    // The others have let go: the block is this buffer's alone.
    delete shares_;
    shares_ = nullptr;
    return true;
  }
  TByteBuffer copy;
  if (!CopyTo(&copy)) return false;
  *this = std::move(copy);
  return true;
}

void TByteBuffer::Free() {
  if (shares_) {
    if (shares_->fetch_sub(1, std::memory_order_acq_rel) == 1) {
      delete shares_;
      if (data_) ::operator delete(data_, kAlignment);
    }
    shares_ = nullptr;
  } else if (data_) {
    ::operator delete(data_, kAlignment);
  }
  data_ = nullptr;
  size_ = 0;
}
