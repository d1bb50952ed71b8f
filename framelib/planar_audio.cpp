#include "framelib/planar_audio.h"

#include <new>
#include <utility>

#include "media/audio_format.h"

HRESULT TPlanarAudio::Set(const TAudioProps& props, int32_t bytesPerChannel) {
  if (!AudioIsValid(props) || bytesPerChannel < 0) return E_INVALIDARG;
  const int32_t sampleBytes = AudioBlockBytes(props) / props.channels;
  if (sampleBytes <= 0 || bytesPerChannel % sampleBytes != 0) return E_INVALIDARG;
  std::vector<TByteBuffer> blocks;
  try {
    blocks.resize(static_cast<size_t>(props.channels));
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  for (TByteBuffer& block : blocks) {
    if (!TByteBuffer::Make(bytesPerChannel, true, &block)) return E_OUTOFMEMORY;
  }
  blocks_ = std::move(blocks);
  bytesPerChannel_ = bytesPerChannel;
  return S_OK;
}

void TPlanarAudio::Clear() {
  blocks_.clear();
  bytesPerChannel_ = 0;
}

bool TPlanarAudio::CopyTo(TPlanarAudio* out) const {
  std::vector<TByteBuffer> blocks;
  try {
    blocks.resize(blocks_.size());
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (size_t i = 0; i < blocks_.size(); ++i) {
    if (!blocks_[i].CopyTo(&blocks[i])) return false;
  }
  out->blocks_ = std::move(blocks);
  out->bytesPerChannel_ = bytesPerChannel_;
  return true;
}
