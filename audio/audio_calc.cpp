#include "audio/audio_calc.h"

#include <algorithm>

HRESULT TAudioCalc::SamplesForDuration(const TAudioProps& format, double duration, int64_t* count,
                                       bool clearCarry) {
  if (!count) return E_POINTER;
  *count = 0;
  if (clearCarry) carry_ = 0.0;
  const int64_t rate = format.sampleRate;
  if (rate <= 0) return S_FALSE;
  const double total = carry_ + duration;
  const int64_t t = static_cast<int64_t>(total);
  // Split so that neither product leaves 64 bits, however long the duration.
  const int64_t samples =
      rate * (t / kTimeUnitsPerSecond) + (rate * (t % kTimeUnitsPerSecond)) / kTimeUnitsPerSecond;
  carry_ = total - static_cast<double>(samples) * static_cast<double>(kTimeUnitsPerSecond) / static_cast<double>(rate);
  *count = samples;
  return S_OK;
}

HRESULT TAudioCalc::SamplesForTime(const TAudioProps& format, const TFrameTime& time, int64_t* count,
                                   int64_t largestGap) {
  if (!count) return E_POINTER;
  const int64_t start = time.startTime;
  int64_t stop = time.endTime;
  if ((time.frameFlags & kFrameFlagGap) || (nextStart_ != kNoTime && start < nextStart_) ||
      (largestGap > 0 && nextStart_ != kNoTime && start - nextStart_ > largestGap))
    nextStart_ = kNoTime;
  const int64_t base = nextStart_ != kNoTime ? nextStart_ : start;
  if (stop <= start + kShortestFrame) stop = start + kDefaultFrameLength;
  const int64_t duration = std::max<int64_t>(stop - base, 0);
  // kNoTime is the smallest value there is, so "not set" loses every comparison.
  nextStart_ = std::max(nextStart_, stop);
  return SamplesForDuration(format, static_cast<double>(duration), count, false);
}
