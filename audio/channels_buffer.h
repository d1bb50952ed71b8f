// TChannelsBuffer: planar sample store, one growing block per channel with a common read position.
// Reading only moves the read position; data move to the front only when a write doesn't fit behind
// them, and blocks grow in half-megabyte steps that are never given back, so a steady stream allocates
// nothing. Every operation takes the buffer's own re-entrant lock, so one call is atomic; addresses
// handed out stay valid until the next call that resizes, and guarding that span is the owner's job.
#pragma once

#include <cstdint>
#include <vector>

#include "media/auto_obj.h"
#include "media/blob_holder.h"
#include "platform/critical_section.h"

class TChannelsBuffer : public AutoObjBase<TChannelsBuffer, IUnknown> {
 public:
  static constexpr int32_t kMaxChannels = 128;

  TChannelsBuffer() = default;

  // Capacity for a block that must hold `bytes`: the length plus 256 KiB, rounded up to 512 KiB.
  static uint64_t CapacityFor(uint64_t bytes) { return (bytes + 0xBFFFF) & ~uint64_t{0x7FFFF}; }

  // Discards all data and makes every block hold `bytes` (zeroed when `zero`); a negative `channels`
  // keeps the count.
  HRESULT ChannelsAlloc(uint32_t bytes, int32_t channels, bool zero);
  // Makes the stored length `bytes`, keeping the stored data; with `zero` the bytes past the old stored
  // length are cleared. A smaller `channels` removes channels first, a larger one adds silent ones last.
  HRESULT ChannelsResize(uint32_t bytes, int32_t channels, bool zero);
  // At most kMaxChannels. With `sizeLikeOthers` new channels get the stored length in zeros; without,
  // they are empty and the caller sizes them next.
  HRESULT ChannelsSetCount(int32_t count, bool sizeLikeOthers);

  // Address `offset` bytes past the read position. A channel out of range reads as zeros of the stored
  // length.
  uint8_t* ChannelPtr(int32_t channel, uint32_t offset);
  // The same for every channel, in a table owned by the buffer.
  uint8_t* const* ChannelPtrs(uint32_t offset);

  int32_t ChannelCount();
  uint32_t ChannelBytes();
  uint32_t ChannelCapacity();

  // Consumes up to `bytes` from the front; returns the bytes consumed.
  uint32_t ChannelsAdvance(uint32_t bytes);
  void ChannelsClear();
  // Folds the channels down to `count` (below the present one) by adding in place, with saturation for
  // 16-bit samples. False when there were no data, and only the count changed.
  bool ChannelsMixDown(int32_t count, bool float32);
  // Makes `target` hold a copy of the stored data with this buffer's channel count.
  HRESULT ChannelsCopy(TChannelsBuffer& target);

 private:
  using Block = CBLOBHolder<CHeapAlloc>;

  uint32_t StoredLocked() const;
  // Adds empty blocks of the common capacity up to `count`, or removes blocks past it.
  HRESULT SetCountLocked(int32_t count);
  // Gives every block a new capacity, keeping `keep` bytes from the read position at its front.
  HRESULT ReallocateLocked(uint64_t capacity, uint32_t keep);
  HRESULT FailLocked();

  cvplat::CriticalSection lock_;
  uint8_t* table_[kMaxChannels] = {};
  std::vector<TRefPtr<Block>> blocks_;
  uint32_t readOffset_ = 0;
  TRefPtr<CBLOBHolder<CNewAlloc>> scratch_;
  uint32_t capacity_ = 0;
};
