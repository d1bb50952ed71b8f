#include "media/clock.h"

#include <algorithm>
#include <new>

#include "media/time_math.h"
#include "platform/kernel.h"

TClock::TClock()
    : frequency_(cvplat::PerformanceFrequency()), originTicks_(cvplat::PerformanceCounter()) {}

TClock::~TClock() { delete rateLock_.load(); }

int64_t TClock::Ticks() {
  const int64_t counter = cvplat::PerformanceCounter();
  const int64_t value = std::max(counter, lastTicks_.load(std::memory_order_relaxed) + 1);
  lastTicks_.store(value, std::memory_order_relaxed);
  return value - originTicks_.load(std::memory_order_relaxed);
}

cvplat::CriticalSection* TClock::RateLock() {
  cvplat::CriticalSection* lock = rateLock_.load(std::memory_order_acquire);
  if (lock) return lock;
  auto* fresh = new cvplat::CriticalSection();
  if (rateLock_.compare_exchange_strong(lock, fresh, std::memory_order_acq_rel)) return fresh;
  delete fresh;  // another thread made it first
  return lock;
}

int64_t TClock::RatedTicks(int64_t ticks) const {
  const double rate = rate_.load(std::memory_order_relaxed);
  const int64_t in = anchorIn_.load(std::memory_order_relaxed);
  if (rate <= 0 || in == 0) return ticks;
  return anchorOut_.load(std::memory_order_relaxed) + RoundHalfAway(static_cast<double>(ticks - in) * rate);
}

int64_t TClock::Time(int64_t* rawTime) {
  int64_t ticks = Ticks();
  if (rawTime) *rawTime = MulDivRound(ticks, kTimeUnitsPerSecond, frequency_);
  if (rate_.load(std::memory_order_relaxed) > 0 && anchorIn_.load(std::memory_order_relaxed) != 0) {
    if (cvplat::CriticalSection* lock = rateLock_.load(std::memory_order_acquire)) {
      lock->Enter();
      ticks = RatedTicks(ticks);
      lock->Leave();
    } else {
      ticks = RatedTicks(ticks);
    }
  }
  return MulDivRound(ticks, kTimeUnitsPerSecond, frequency_);
}

void TClock::Set(int64_t time) {
  const int64_t ticks = MulDivRound(time, frequency_, kTimeUnitsPerSecond);
  cvplat::CriticalSection* lock = rateLock_.load(std::memory_order_acquire);
  if (lock) lock->Enter();
  originTicks_.store(cvplat::PerformanceCounter() - ticks, std::memory_order_relaxed);
  anchorIn_.store(ticks, std::memory_order_relaxed);
  anchorOut_.store(ticks, std::memory_order_relaxed);
  if (lock) lock->Leave();
}

void TClock::SetRate(double rate, int64_t time) {
  cvplat::CriticalSection* lock = RateLock();
  lock->Enter();
  if (time != kNoTime) {
    const int64_t ticks = MulDivRound(time, frequency_, kTimeUnitsPerSecond);
    originTicks_.store(cvplat::PerformanceCounter() - ticks, std::memory_order_relaxed);
    anchorIn_.store(ticks, std::memory_order_relaxed);
    anchorOut_.store(ticks, std::memory_order_relaxed);
  }
  if (rate != rate_.load(std::memory_order_relaxed) || anchorIn_.load(std::memory_order_relaxed) == 0 ||
      anchorOut_.load(std::memory_order_relaxed) == 0) {
    // The new slope starts where the old one has got to, so the clock bends instead of jumping.
    const int64_t now = Ticks();
    const int64_t rated = RatedTicks(now);
    anchorOut_.store(rated, std::memory_order_relaxed);
    anchorIn_.store(now, std::memory_order_relaxed);
  }
  rate_.store(rate, std::memory_order_relaxed);
  lock->Leave();
}
