#include "media/audio_format.h"

#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

// round(value * mul / div), half away from zero; exact in integers while the product fits.
int64_t MulDivRound(int64_t value, int64_t mul, int64_t div) {
  if (value == 0) return 0;
  if (std::llabs(value) <= std::numeric_limits<int64_t>::max() / mul) {
    const int64_t product = value * mul;
    const int64_t q = product / div;
    const int64_t r = product % div;
    if (2 * std::llabs(r) >= div) return q + (product < 0 ? -1 : 1);
    return q;
  }
  const double x = static_cast<double>(value) * static_cast<double>(mul) / static_cast<double>(div);
  return static_cast<int64_t>(x >= 0 ? std::floor(x + 0.5) : -std::floor(-x + 0.5));
}

}  // namespace

TAudioProps AudioMerge(const TAudioProps* request, const TAudioProps* base) {
  if (!request) return base ? *base : TAudioProps{};
  TAudioProps out = *request;
  if (!base || !AudioIsValid(*base) || out.channels < 0) return out;
  if (out.channels == 0) out.channels = base->channels;
  if (out.bitsPerSample == 0) out.bitsPerSample = base->bitsPerSample;
  if (out.sampleRate < 1) out.sampleRate = base->sampleRate;
  return out;
}

int32_t AudioBlockBytes(const TAudioProps& a) {
  if (!AudioIsValid(a)) return 0;
  return a.channels * ((std::abs(a.bitsPerSample) + 7) & ~7) / 8;
}

int64_t AudioBytesFromSamples(const TAudioProps& a, int64_t samples) { return samples * AudioBlockBytes(a); }

int64_t AudioSamplesFromBytes(const TAudioProps& a, int64_t bytes) {
  const int32_t block = AudioBlockBytes(a);
  return block ? bytes / block : 0;
}

int64_t AudioTimeFromSamples(const TAudioProps& a, int64_t samples) {
  if (!AudioIsValid(a)) return 0;
  return MulDivRound(samples, kTimeUnitsPerSecond, a.sampleRate);
}

int64_t AudioSamplesFromTime(const TAudioProps& a, int64_t time) {
  if (!AudioIsValid(a)) return 0;
  return MulDivRound(time, a.sampleRate, kTimeUnitsPerSecond);
}
