#include "audio/audio_buffer2.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "primitives/primitives.h"

namespace {

constexpr float kRollOff = 0.95f;
constexpr float kKaiserAlpha = 9.0f;
constexpr int32_t kFilterHint = 2;
// A little headroom, so that a full-scale input doesn't clip where the filter rings.
constexpr float kResampleGain = 0.98f;

// Samples converted per step of a packet: the scratch lives on the stack, so a packet costs no
// allocation however long it is.
constexpr int32_t kChunk = 2048;

int32_t SourceBytes(int32_t bits) { return (std::abs(bits) + 7) / 8; }

template <class T>
void Deinterleave(const T* src, uint8_t* const planes[], int32_t channels, int32_t first, int32_t frames) {
  for (int32_t c = 0; c < channels; ++c) {
    T* dst = reinterpret_cast<T*>(planes[c]) + first;
    for (int32_t f = 0; f < frames; ++f) dst[f] = src[int64_t{f} * channels + c];
  }
}

// Interleaved samples of the source type into the planes of the store type, from frame 0 of each plane.
void ConvertToPlanes(int32_t bits, int32_t channels, const uint8_t* src, int32_t frames, bool storeFloat,
                     uint8_t* const planes[]) {
  alignas(16) int32_t wide[kChunk];
  alignas(16) float real[kChunk];
  alignas(16) int16_t narrow[kChunk];
  float* floatPlanes[TChannelsBuffer::kMaxChannels];
  const int32_t srcBytes = SourceBytes(bits);
  const int32_t step = std::max(1, kChunk / channels);
  for (int32_t first = 0; first < frames; first += step) {
    const int32_t k = std::min(step, frames - first);
    const int32_t n = k * channels;
    // Packets need not be aligned to their sample size: every source goes through an aligned copy.
    const uint8_t* s = src + int64_t{first} * channels * srcBytes;
    for (int32_t c = 0; c < channels; ++c) floatPlanes[c] = reinterpret_cast<float*>(planes[c]) + first;
    if (srcBytes == 2) {
      std::memcpy(narrow, s, size_t(n) * 2);
      if (storeFloat)
        Int16ToFloatPlanes(narrow, floatPlanes, channels, k);
      else
        Deinterleave(narrow, planes, channels, first, k);
    } else if (srcBytes == 3) {
      if (storeFloat) {
        Int24ToFloatPlanes(s, floatPlanes, channels, k);
      } else {
        Int24ToInt32(s, wide, n);
        Int32ToInt16(wide, narrow, n, 8);
        Deinterleave(narrow, planes, channels, first, k);
      }
    } else if (bits == 32) {
      std::memcpy(wide, s, size_t(n) * 4);
      if (storeFloat) {
        Int32ToFloat32(wide, real, n, 31);
        Deinterleave(real, planes, channels, first, k);
      } else {
        Int32ToInt16(wide, narrow, n, 16);
        Deinterleave(narrow, planes, channels, first, k);
      }
    } else {
      std::memcpy(real, s, size_t(n) * 4);
      if (storeFloat) {
        Deinterleave(real, planes, channels, first, k);
      } else {
        Float32ToInt16(real, narrow, n, kRoundNearestEven, -15);
        Deinterleave(narrow, planes, channels, first, k);
      }
    }
  }
}

int32_t FilterInit(ResamplerState** s, int32_t in, int32_t out, int16_t*) {
  return ResamplerInit16(s, in, out, 2 * TAudioBuffer2::kHistory, kRollOff, kKaiserAlpha, kFilterHint);
}
int32_t FilterInit(ResamplerState** s, int32_t in, int32_t out, float*) {
  return ResamplerInit32(s, in, out, 2 * TAudioBuffer2::kHistory, kRollOff, kKaiserAlpha, kFilterHint);
}
int32_t FilterRun(const ResamplerState* s, const int16_t* src, int32_t length, int16_t* dst, double* time,
                  int32_t* count) {
  return Resample16(s, src, length, dst, kResampleGain, time, count);
}
int32_t FilterRun(const ResamplerState* s, const float* src, int32_t length, float* dst, double* time,
                  int32_t* count) {
  return Resample32(s, src, length, dst, kResampleGain, time, count);
}

// One channel through its filter. The history block always starts with the overlap of the previous
// call, and `time` keeps the phase between samples, so a stream cut into packets gives what one long
// call would.
template <class Sample>
HRESULT ResampleOne(TAudioBuffer2::Resampler& st, const Sample* in, int32_t count, Sample* out, int32_t inRate,
                    int32_t outRate, int32_t* outCount) {
  using R = TAudioBuffer2;
  constexpr int64_t sz = sizeof(Sample);
  *outCount = 0;
  if (st.inRate != inRate || st.outRate != outRate || st.history != R::kHistory) {
    st.Drop();
    st.inRate = inRate;
    st.outRate = outRate;
    st.history = R::kHistory;
    st.float32 = sizeof(Sample) == 4;
    if (inRate != outRate) {
      st.block = MakeRef<CBLOBHolder<CNewAlloc>>();
      if (FilterInit(&st.filter, inRate, outRate, static_cast<Sample*>(nullptr)) != kPrimOk ||
          st.block->Resize(uint32_t(st.history * sz)) < 0) {
        st.Drop();
        st.inRate = st.outRate = 0;  // try again with the next packet
        return E_FAIL;
      }
      std::memset(st.block->Data(), 0, size_t(st.history * sz));
      st.lastRead = st.history;
      st.time = double(st.history);
    }
  }
  if (!st.filter) {
    if (count > 0) std::memcpy(out, in, size_t(count * sz));
    *outCount = count;
    st.produced += count;
    return S_OK;
  }

  const int64_t need = (int64_t{st.lastRead} + count) * sz;
  if (need > st.block->Capacity()) {
    // Grow with room to spare, so that steady packets stop allocating after the first few.
    const int64_t grown = std::max<int64_t>(need + need / 2, 4096 * sz);
    if (grown > INT32_MAX || st.block->Resize(0, uint32_t(grown)) < 0) return E_FAIL;
  }
  Sample* hist = reinterpret_cast<Sample*>(st.block->Data());
  if (count > 0) std::memcpy(hist + st.lastRead, in, size_t(count * sz));
  st.lastRead += count;

  const int64_t length = st.lastRead - int64_t(std::trunc(st.time)) - st.history;
  // Until a packet reaches past the look-ahead there is nothing to give out yet.
  if (length >= 1) {
    if (FilterRun(st.filter, hist, int32_t(length), out, &st.time, outCount) != kPrimOk) {
      *outCount = 0;
      return E_FAIL;
    }
  }
  const int64_t t = int64_t(std::trunc(st.time));
  const int64_t from = t - st.history;
  const int64_t keep = st.history - t + st.lastRead;
  if (from > 0 && keep > 0) std::memmove(hist, hist + from, size_t(keep * sz));
  st.lastRead += int32_t(st.history - t);
  st.time -= double(t - st.history);
  st.produced += *outCount;
  return S_OK;
}

// The source's channels, at rate `inRate`, appended to `dst` at `offset` bytes at rate `outRate`.
template <class Sample>
HRESULT ResampleChannels(TAudioBuffer2::ResamplerList& list, TChannelsBuffer& src, int32_t inRate,
                         TChannelsBuffer& dst, int32_t outRate, uint32_t offset) {
  constexpr int64_t sz = sizeof(Sample);
  if (dst.ChannelCount() == 0) {
    if (HRESULT hr = dst.ChannelsSetCount(src.ChannelCount(), true); hr < 0) return hr;
  }
  const int32_t n = std::min(src.ChannelCount(), dst.ChannelCount());
  while (list.size() < size_t(n)) list.push_back(std::make_unique<TAudioBuffer2::Resampler>());
  const int64_t in = src.ChannelBytes() / sz;
  const int64_t est = std::llround(double(in) * outRate / inRate + 512.0);
  if (offset + est * sz > UINT32_MAX) return E_OUTOFMEMORY;
  if (HRESULT hr = dst.ChannelsResize(uint32_t(offset + est * sz), -1, true); hr < 0) return hr;
  HRESULT result = S_OK;
  int32_t produced = 0;
  for (int32_t c = 0; c < n; ++c) {
    const auto* from = reinterpret_cast<const Sample*>(src.ChannelPtr(c, 0));
    auto* to = reinterpret_cast<Sample*>(dst.ChannelPtr(c, offset));
    const HRESULT hr = ResampleOne(*list[size_t(c)], from, int32_t(in), to, inRate, outRate, &produced);
    if (hr < 0) result = hr;
  }
  if (HRESULT hr = dst.ChannelsResize(uint32_t(offset + produced * sz), -1, true); hr < 0) return hr;
  return result;
}

HRESULT ResampleChannels(bool storeFloat, TAudioBuffer2::ResamplerList& list16, TAudioBuffer2::ResamplerList& list32,
                         TChannelsBuffer& src, int32_t inRate, TChannelsBuffer& dst, int32_t outRate,
                         uint32_t offset) {
  return storeFloat ? ResampleChannels<float>(list32, src, inRate, dst, outRate, offset)
                    : ResampleChannels<int16_t>(list16, src, inRate, dst, outRate, offset);
}

}  // namespace

void TAudioBuffer2::Resampler::Drop() {
  if (filter) {
    if (float32)
      ResamplerFree32(filter);
    else
      ResamplerFree16(filter);
  }
  filter = nullptr;
  block.Reset();
  time = 0.0;
  lastRead = 0;
  produced = 0;
}

TAudioBuffer2::TAudioBuffer2() = default;
TAudioBuffer2::~TAudioBuffer2() = default;

int32_t TAudioBuffer2::StoreBytes(const TAudioProps& format) {
  const int32_t bytes = SourceBytes(format.bitsPerSample);
  return bytes == 3 ? 4 : bytes;
}

bool TAudioBuffer2::AudioReady() { return AudioIsValid(bufferFormat_) && channels_.ChannelCount() >= 1; }

HRESULT TAudioBuffer2::AudioFormatInit(const TAudioProps* format) {
  if (!format) return E_POINTER;
  if (!AudioIsValid(*format)) return E_INVALIDARG;
  bufferFormat_ = *format;
  if (format->channels != channels_.ChannelCount()) return channels_.ChannelsAlloc(0, format->channels, true);
  return S_OK;
}

HRESULT TAudioBuffer2::AudioFormatSet(const TAudioProps& format) {
  if (format.channels < 0) {
    channels_.ChannelsClear();
    resamplers16_.clear();
    resamplers32_.clear();
    bufferFormat_ = format;
    return S_OK;
  }
  if (channels_.ChannelBytes() == 0 || !AudioIsValid(format) || !AudioIsValid(bufferFormat_))
    return AudioFormatInit(&format);

  const int32_t present = channels_.ChannelCount();
  const int32_t wanted = format.channels >= 1 ? format.channels : present;
  const int32_t oldBytes = StoreBytes(bufferFormat_);
  if (format.bitsPerSample != 0 && StoreBytes(format) != oldBytes) {
    const int32_t newBytes = StoreBytes(format);
    const int64_t samples = channels_.ChannelBytes() / oldBytes;
    TChannelsBuffer temp;
    if (HRESULT hr = temp.ChannelsAlloc(uint32_t(samples * newBytes), wanted, true); hr < 0) return hr;
    for (int32_t c = 0; c < std::min(wanted, present) && samples; ++c) {
      const uint8_t* from = channels_.ChannelPtr(c, 0);
      uint8_t* to = temp.ChannelPtr(c, 0);
      if (newBytes == 4)
        Int16ToFloat32(reinterpret_cast<const int16_t*>(from), reinterpret_cast<float*>(to), int32_t(samples), 15);
      else
        Float32ToInt16(reinterpret_cast<const float*>(from), reinterpret_cast<int16_t*>(to), int32_t(samples),
                       kRoundNearestEven, -15);
    }
    if (HRESULT hr = temp.ChannelsCopy(channels_); hr < 0) return hr;
  }
  // Widths being equal, 20, 24 and 32 bits and float are stored alike, so the bits are taken as they are.
  if (format.bitsPerSample != 0) bufferFormat_.bitsPerSample = format.bitsPerSample;

  if (format.sampleRate >= 1 && format.sampleRate != bufferFormat_.sampleRate) {
    TChannelsBuffer temp;
    if (HRESULT hr = temp.ChannelsAlloc(0, format.channels >= 1 ? format.channels : channels_.ChannelCount(), true);
        hr < 0)
      return hr;
    ResampleChannels(StoreBytes(bufferFormat_) == 4, resamplers16_, resamplers32_, channels_,
                     bufferFormat_.sampleRate, temp, format.sampleRate, 0);
    if (HRESULT hr = temp.ChannelsCopy(channels_); hr < 0) return hr;
    bufferFormat_.sampleRate = format.sampleRate;
  }

  if (format.channels > 0 && (format.channels != bufferFormat_.channels || format.channels != channels_.ChannelCount())) {
    if (HRESULT hr = channels_.ChannelsSetCount(format.channels, true); hr < 0) return hr;
    bufferFormat_.channels = format.channels;
  }
  bufferFormat_.channelMask = format.channelMask;
  return HRESULT(std::min<int64_t>(AudioStoredSamples(), INT32_MAX));
}

HRESULT TAudioBuffer2::AudioPut(const TAudioProps& source, const void* data, uint32_t bytes, bool adoptWhenEmpty,
                                bool mixDown) {
  if (!AudioIsValid(source)) return E_INVALIDARG;
  if (bufferFormat_.channels < 0) return kAudioSwitchedOff;
  if (!AudioReady() || (adoptWhenEmpty && channels_.ChannelBytes() == 0)) {
    if (HRESULT hr = AudioFormatInit(&source); hr < 0) return hr;
  }

  const int64_t frames = bytes / (SourceBytes(source.bitsPerSample) * source.channels);
  const int32_t storeBytes = StoreBytes(bufferFormat_);
  const bool storeFloat = storeBytes == 4;
  const uint32_t stored = channels_.ChannelBytes();
  const int64_t added = frames * storeBytes;
  if (stored + added > UINT32_MAX) return E_OUTOFMEMORY;
  const auto* src = static_cast<const uint8_t*>(data);

  if (source.sampleRate == bufferFormat_.sampleRate && source.channels <= bufferFormat_.channels) {
    // Straight to the write end; channels the source lacks stay silent.
    const bool zero = !data || source.channels != bufferFormat_.channels;
    if (HRESULT hr = channels_.ChannelsResize(uint32_t(stored + added), -1, zero); hr < 0) return hr;
    if (src && frames) ConvertToPlanes(source.bitsPerSample, source.channels, src, int32_t(frames), storeFloat,
                                       channels_.ChannelPtrs(stored));
    return S_OK;
  }

  TChannelsBuffer temp;
  if (HRESULT hr = temp.ChannelsAlloc(uint32_t(added), source.channels, !data); hr < 0) return hr;
  if (src && frames)
    ConvertToPlanes(source.bitsPerSample, source.channels, src, int32_t(frames), storeFloat, temp.ChannelPtrs(0));
  if (mixDown && source.channels > bufferFormat_.channels) temp.ChannelsMixDown(bufferFormat_.channels, storeFloat);
  // A filter that fails loses this packet only; the stream goes on with the next.
  ResampleChannels(storeFloat, resamplers16_, resamplers32_, temp, source.sampleRate, channels_,
                   bufferFormat_.sampleRate, stored);
  return S_OK;
}

int64_t TAudioBuffer2::AudioStoredSamples() {
  const int32_t size = StoreBytes(bufferFormat_);
  return size > 0 ? channels_.ChannelBytes() / size : 0;
}

int64_t TAudioBuffer2::AudioDrop(int64_t samples) {
  const int32_t size = StoreBytes(bufferFormat_);
  if (size <= 0 || samples <= 0) return 0;
  const int64_t bytes = std::min<int64_t>(samples * size, UINT32_MAX);
  return channels_.ChannelsAdvance(uint32_t(bytes)) / size;
}

void TAudioBuffer2::AudioReset(bool forgetFormat) {
  channels_.ChannelsClear();
  resamplers16_.clear();
  resamplers32_.clear();
  if (forgetFormat) {
    bufferFormat_ = TAudioProps{};
    channels_.ChannelsSetCount(0, false);
  }
}
