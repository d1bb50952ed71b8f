// The sound of a frame: one block of samples per channel, all of the same size. Not locked: the frame
// that owns it guards it.
#pragma once

#include <cstdint>
#include <vector>

#include "framelib/byte_buffer.h"
#include "media/av_props.h"
#include "platform/com_types.h"

class TPlanarAudio {
 public:
  // `channels` blocks of `bytesPerChannel` zero bytes for a valid record; E_INVALIDARG for an invalid
  // record or a size that isn't whole samples, E_OUTOFMEMORY when the blocks can't be had (nothing
  // changes then).
  HRESULT Set(const TAudioProps& props, int32_t bytesPerChannel);
  void Clear();
  // A deep copy; false when the memory can't be had.
  bool CopyTo(TPlanarAudio* out) const;

  int32_t Channels() const { return static_cast<int32_t>(blocks_.size()); }
  int32_t BytesPerChannel() const { return bytesPerChannel_; }
  uint8_t* Channel(int32_t index) const { return blocks_[static_cast<size_t>(index)].Data(); }

 private:
  std::vector<TByteBuffer> blocks_;
  int32_t bytesPerChannel_ = 0;
};
