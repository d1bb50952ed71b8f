#include "media/timecode.h"

#include <cmath>

namespace {

int32_t RoundRate(double rate) {
  if (!(std::fabs(rate) < 1e6)) return 0;  // no rate, or nothing a frame counter could follow
  return static_cast<int32_t>(std::lround(rate));
}

struct TClockTime {
  int32_t seconds;
  int32_t frames;
};

// Drop frame skips the numbers 0 and 1 at the start of each minute but every tenth, which keeps the
// count within a frame of real time at 30000/1001.
TClockTime DropFrameTime(int32_t n, int32_t rate) {
  const int32_t perTenMinutes = 600 * rate - 18;
  const int32_t firstMinute = 60 * rate;
  const int32_t q = n / perTenMinutes;
  const int32_t m = n % perTenMinutes;
  if (m < firstMinute) return {600 * q + m / rate, m % rate};
  const int32_t k = (m - firstMinute) / (firstMinute - 2);
  const int32_t p = (m - firstMinute) % (firstMinute - 2);
  const int32_t minute = 10 * q + 1 + k;
  if (p < rate - 2) return {60 * minute, p + 2};
  const int32_t s = p - rate + 2;
  return {60 * minute + 1 + s / rate, s % rate};
}

}  // namespace

void TimecodeFromFrame(int32_t n, double rate, bool dropWanted, TFrameTime& out) {
  out.hours = out.minutes = out.seconds = out.frames = 0;
  out.timecodeFlags = 0;
  if (n < 0) {
    out.timecodeFlags = kTimecodeInvalid;
    return;
  }
  int32_t r = RoundRate(rate);
  const bool drop = dropWanted && (r == 30 || r == 60) && r - rate >= 0.005;
  int32_t flags = 0;
  if (r > 45) {
    flags |= (n % 2 == 0) ? kTimecodeFirstOfPair : kTimecodeSecondOfPair;
    r /= 2;
    n /= 2;
  }
  int32_t base = r;
  if (r > 45) {
    flags |= kTimecodeFirstOfPair;
    base = r / 2;
  }
  if (base == 24) flags |= kTimecodeBase24;
  if (base == 25) flags |= kTimecodeBase25;
  if (base == 30) {
    flags |= kTimecodeBase30;
    if (drop) flags |= kTimecodeDropFrame;
  }
  if (r <= 0) r = 30;

  const TClockTime t = drop ? DropFrameTime(n, r) : TClockTime{n / r, n % r};
  out.hours = t.seconds / 3600;
  out.minutes = t.seconds % 3600 / 60;
  out.seconds = t.seconds % 60;
  out.frames = t.frames;
  out.timecodeFlags = flags;
}
