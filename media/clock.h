// TClock: a monotonic clock over the performance counter that can run at an adjustable rate without
// jumping. One thread is its main user; other readers may see equal values, never a step back.
#pragma once

#include <atomic>
#include <cstdint>

#include "media/auto_obj.h"
#include "media/av_props.h"
#include "platform/critical_section.h"

class TClock : public AutoObjBase<TClock> {
 public:
  TClock();
  ~TClock() override;

  // Counter ticks since the origin; two calls never give the same value.
  int64_t Ticks();
  // Clock time in 100 ns with the rate applied; `rawTime` gets the same time without the rate.
  int64_t Time(int64_t* rawTime = nullptr);
  // Makes the clock read `time` now.
  void Set(int64_t time);
  // Changes the speed from now on without a jump; with a time, the clock first reads that time now.
  void SetRate(double rate, int64_t time = kNoTime);

  double Rate() const { return rate_.load(std::memory_order_relaxed); }
  int64_t Frequency() const { return frequency_; }

 private:
  cvplat::CriticalSection* RateLock();
  int64_t RatedTicks(int64_t ticks) const;

  const int64_t frequency_;
  std::atomic<int64_t> originTicks_;
  std::atomic<int64_t> anchorIn_{0};   // tick where the present rate began, relative to the origin
  std::atomic<int64_t> anchorOut_{0};  // the clock's tick value at that point
  std::atomic<double> rate_{0.0};      // 0 or less: real time
  std::atomic<int64_t> lastTicks_{-1};
  // Made by the first SetRate, so that a clock that never changes speed never pays for a lock.
  std::atomic<cvplat::CriticalSection*> rateLock_{nullptr};
};
