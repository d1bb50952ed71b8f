// TAudioBuffer2: the store between the audio capture thread and the frames. It keeps samples planar in
// one of two types (16-bit integers, or 32-bit floats in -1..1), converts each packet into that type,
// folds surplus channels, and changes the rate with one carried polyphase filter per channel, so that
// packets join without a click. The owner serialises AudioPut, AudioFormatSet and AudioDrop with its
// own lock; the buffer's critical section is there for owners that have none.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/channels_buffer.h"
#include "media/auto_obj.h"
#include "media/av_props.h"
#include "media/blob_holder.h"
#include "platform/critical_section.h"

struct ResamplerState;

// Status of a put into a buffer whose format says "no audio".
inline constexpr HRESULT kAudioSwitchedOff = HRESULT(0x80070032L);

class TAudioBuffer2 : public AutoObjBase<TAudioBuffer2, IUnknown>, public cvplat::CriticalSection {
 public:
  // Input samples of overlap kept between calls of a channel's filter; the window spans twice that.
  static constexpr int32_t kHistory = 32;

  TAudioBuffer2();
  ~TAudioBuffer2() override;

  // Bytes of one stored sample of a channel for a format: 2 for 16-bit, else 4 (floats); 0 unset.
  static int32_t StoreBytes(const TAudioProps& format);

  bool AudioReady();
  // Adopts a valid format; a new channel count sets up empty channels.
  HRESULT AudioFormatInit(const TAudioProps* format);
  // Adapts the stored samples to the format (type, rate, channels, mask); returns the stored samples,
  // or the status of AudioFormatInit when there was nothing to adapt.
  HRESULT AudioFormatSet(const TAudioProps& format);
  // Appends `bytes` of interleaved samples in `source`'s format; null `data` appends silence.
  HRESULT AudioPut(const TAudioProps& source, const void* data, uint32_t bytes, bool adoptWhenEmpty, bool mixDown);
  int64_t AudioStoredSamples();
  // Removes up to `samples` from the front of every channel; returns how many went.
  int64_t AudioDrop(int64_t samples);
  // Empties the store and the filters; `forgetFormat` also returns to the state of a new buffer.
  void AudioReset(bool forgetFormat);

  const TAudioProps& Format() const { return bufferFormat_; }
  TChannelsBuffer& Channels() { return channels_; }

  // One channel's filter with its position and overlap, carried from packet to packet.
  struct Resampler {
    ResamplerState* filter = nullptr;
    bool float32 = false;
    double time = 0.0;       // position in the history block, in input samples
    int32_t history = 0;
    int32_t lastRead = 0;    // samples held in the history block
    int64_t produced = 0;    // output samples since the filter was built
    TRefPtr<CBLOBHolder<CNewAlloc>> block;
    int32_t inRate = 0;
    int32_t outRate = 0;

    Resampler() = default;
    Resampler(const Resampler&) = delete;
    Resampler& operator=(const Resampler&) = delete;
    ~Resampler() { Drop(); }
    void Drop();
  };
  using ResamplerList = std::vector<std::unique_ptr<Resampler>>;

 private:
  TAudioProps bufferFormat_{};
  TChannelsBuffer channels_;
  ResamplerList resamplers16_;
  ResamplerList resamplers32_;
};
