#include "audio/channels_buffer.h"

#include <algorithm>
#include <cstring>

#include "primitives/primitives.h"

uint32_t TChannelsBuffer::StoredLocked() const {
  if (blocks_.empty()) return 0;
  const uint32_t size = blocks_[0]->Size();
  return size > readOffset_ ? size - readOffset_ : 0;
}

HRESULT TChannelsBuffer::FailLocked() {
  blocks_.clear();
  readOffset_ = 0;
  capacity_ = 0;
  return E_OUTOFMEMORY;
}

HRESULT TChannelsBuffer::SetCountLocked(int32_t count) {
  count = std::clamp(count, 0, kMaxChannels);
  if (size_t(count) < blocks_.size()) blocks_.resize(size_t(count));
  while (blocks_.size() < size_t(count)) {
    TRefPtr<Block> block = MakeRef<Block>();
    if (capacity_ && block->Resize(capacity_) < 0) return FailLocked();
    block->Resize(0);
    blocks_.push_back(std::move(block));
  }
  return S_OK;
}

HRESULT TChannelsBuffer::ReallocateLocked(uint64_t capacity, uint32_t keep) {
  if (capacity > UINT32_MAX) return FailLocked();
  const uint32_t cap = uint32_t(capacity);
  for (TRefPtr<Block>& block : blocks_) {
    const HRESULT hr = keep ? block->Resize(readOffset_, cap) : block->Resize(cap);
    if (hr < 0) return FailLocked();
    block->Resize(keep);
  }
  readOffset_ = 0;
  capacity_ = cap;
  return S_OK;
}

HRESULT TChannelsBuffer::ChannelsAlloc(uint32_t bytes, int32_t channels, bool zero) {
  cvplat::SectionLock hold(lock_);
  const int32_t count = channels >= 0 ? std::min(channels, kMaxChannels) : int32_t(blocks_.size());
  readOffset_ = 0;
  if (bytes > capacity_) {
    // The data go anyway: drop the old blocks so that each channel is allocated once, at the new size.
    const uint64_t cap = CapacityFor(bytes);
    blocks_.clear();
    if (cap > UINT32_MAX) return FailLocked();
    capacity_ = uint32_t(cap);
  }
  if (HRESULT hr = SetCountLocked(count); hr < 0) return hr;
  for (TRefPtr<Block>& block : blocks_) {
    block->Resize(bytes);
    if (zero && bytes) std::memset(block->Data(), 0, bytes);
  }
  return S_OK;
}

HRESULT TChannelsBuffer::ChannelsResize(uint32_t bytes, int32_t channels, bool zero) {
  cvplat::SectionLock hold(lock_);
  channels = std::min(channels, kMaxChannels);
  if (channels >= 0 && size_t(channels) < blocks_.size()) SetCountLocked(channels);
  // With no channel yet, the new ones take the length themselves rather than copying it from others.
  if (blocks_.empty() && channels > 0) {
    if (HRESULT hr = SetCountLocked(channels); hr < 0) return hr;
  }
  const uint32_t stored = StoredLocked();
  if (!blocks_.empty()) {
    if (uint64_t{readOffset_} + bytes <= capacity_ && bytes && stored) {
      for (TRefPtr<Block>& block : blocks_) block->Resize(readOffset_ + bytes);
    } else if (bytes <= capacity_) {
      // Compaction happens only here, when a write doesn't fit behind the stored data.
      for (TRefPtr<Block>& block : blocks_) block->Resize(readOffset_, bytes);
      readOffset_ = 0;
    } else {
      if (HRESULT hr = ReallocateLocked(CapacityFor(bytes), std::min(stored, bytes)); hr < 0) return hr;
      for (TRefPtr<Block>& block : blocks_) block->Resize(bytes);
    }
    if (zero && bytes > stored) {
      for (TRefPtr<Block>& block : blocks_) std::memset(block->Data() + readOffset_ + stored, 0, bytes - stored);
    }
  }
  if (channels > 0 && size_t(channels) > blocks_.size()) return ChannelsSetCount(channels, true);
  return S_OK;
}

HRESULT TChannelsBuffer::ChannelsSetCount(int32_t count, bool sizeLikeOthers) {
  cvplat::SectionLock hold(lock_);
  if (count < 0) return E_INVALIDARG;
  const size_t before = blocks_.size();
  const uint32_t size = before ? blocks_[0]->Size() : 0;
  if (HRESULT hr = SetCountLocked(count); hr < 0) return hr;
  if (sizeLikeOthers) {
    for (size_t c = before; c < blocks_.size(); ++c) {
      blocks_[c]->Resize(size);
      if (size) std::memset(blocks_[c]->Data(), 0, size);
    }
  }
  return S_OK;
}

uint8_t* TChannelsBuffer::ChannelPtr(int32_t channel, uint32_t offset) {
  cvplat::SectionLock hold(lock_);
  if (channel >= 0 && size_t(channel) < blocks_.size()) {
    uint8_t* data = blocks_[size_t(channel)]->Data();
    return data ? data + readOffset_ + offset : nullptr;
  }
  // A missing channel is silence: a zeroed block as long as the stored data, never null.
  const uint32_t need = std::max({StoredLocked(), offset, 1u});
  if (!scratch_) scratch_ = MakeRef<CBLOBHolder<CNewAlloc>>();
  if (scratch_->Resize(need) < 0) return nullptr;
  std::memset(scratch_->Data(), 0, need);
  return scratch_->Data() + offset;
}

uint8_t* const* TChannelsBuffer::ChannelPtrs(uint32_t offset) {
  cvplat::SectionLock hold(lock_);
  for (int32_t c = 0; c < kMaxChannels; ++c) {
    uint8_t* data = size_t(c) < blocks_.size() ? blocks_[size_t(c)]->Data() : nullptr;
    table_[c] = data ? data + readOffset_ + offset : nullptr;
  }
  return table_;
}

int32_t TChannelsBuffer::ChannelCount() {
  cvplat::SectionLock hold(lock_);
  return int32_t(blocks_.size());
}

uint32_t TChannelsBuffer::ChannelBytes() {
  cvplat::SectionLock hold(lock_);
  return StoredLocked();
}

uint32_t TChannelsBuffer::ChannelCapacity() {
  cvplat::SectionLock hold(lock_);
  return capacity_;
}

uint32_t TChannelsBuffer::ChannelsAdvance(uint32_t bytes) {
  cvplat::SectionLock hold(lock_);
  const uint32_t stored = StoredLocked();
  if (bytes >= stored) {
    ChannelsClear();
    return stored;
  }
  readOffset_ += bytes;
  return bytes;
}

void TChannelsBuffer::ChannelsClear() {
  cvplat::SectionLock hold(lock_);
  readOffset_ = 0;
  for (TRefPtr<Block>& block : blocks_) block->Resize(0);
}

bool TChannelsBuffer::ChannelsMixDown(int32_t count, bool float32) {
  cvplat::SectionLock hold(lock_);
  const int32_t c = int32_t(blocks_.size());
  if (count < 1 || count >= c) return false;
  const uint32_t stored = StoredLocked();
  if (!stored) {
    SetCountLocked(count);
    return false;
  }
  const int32_t samples = int32_t(stored / (float32 ? 4 : 2));
  auto add = [&](int32_t from, int32_t to) {
    uint8_t* src = blocks_[size_t(from)]->Data() + readOffset_;
    uint8_t* dst = blocks_[size_t(to)]->Data() + readOffset_;
    if (samples < 1) return;
    if (float32)
      AddFloat32(reinterpret_cast<const float*>(src), reinterpret_cast<float*>(dst), samples);
    else
      AddInt16(reinterpret_cast<const int16_t*>(src), reinterpret_cast<int16_t*>(dst), samples);
  };
  // Even channels past the kept ones go left, odd ones right; the centre and the low-frequency channel
  // of a 5.1 layout go to both sides. Nothing is attenuated.
  auto alternate = [&](int32_t from) {
    for (int32_t i = from; i < c; ++i) add(i, i % 2 == 0 ? 0 : 1);
  };
  if (count == 1) {
    for (int32_t i = 1; i < c; ++i) add(i, 0);
  } else if (c == 3) {
    add(2, 0);
    add(2, 1);
  } else if (c == 6 && count == 3) {
    add(3, 2);
  } else if (c == 6) {
    add(2, 0);
    add(2, 1);
    add(3, 0);
    add(3, 1);
    alternate(std::max(count, 4));
  } else {
    alternate(count);
  }
  SetCountLocked(count);
  return true;
}

HRESULT TChannelsBuffer::ChannelsCopy(TChannelsBuffer& target) {
  if (&target == this) return S_OK;
  cvplat::SectionLock hold(lock_);
  const uint32_t stored = StoredLocked();
  const int32_t count = int32_t(blocks_.size());
  if (HRESULT hr = target.ChannelsAlloc(stored, count, false); hr < 0) return hr;
  if (!stored) return S_OK;
  for (int32_t c = 0; c < count; ++c)
    std::memcpy(target.ChannelPtr(c, 0), blocks_[size_t(c)]->Data() + readOffset_, stored);
  return S_OK;
}
