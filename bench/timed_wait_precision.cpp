// How late does a timed wait wake up? Measures the overshoot of TTimedWait (waitable timer in 100 ns
// units) beside a plain millisecond time-out of the system's wait, for 1 ms and 16.7 ms (one frame at
// 60 fps), and prints median and 99th percentile in microseconds.
// usage: bench_timed_wait [ROUNDS]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/latency_stats.h"
#include "media/timed_wait.h"
#include "platform/kernel.h"
#include "platform/system.h"

namespace {

// Overshoot of a TTimedWait of `timeout` (100 ns) on an event that never fires.
Stats TimerWait(int64_t timeout, int rounds) {
  TTimedWait wait;
  cvplat::KHandle never = cvplat::CreateEventObject(true, false);
  std::vector<double> over;
  for (int i = 0; i < rounds; ++i) {
    const int64_t start = cvplat::PerformanceCounter();
    wait.WaitAny(1, &never, timeout);
    over.push_back(Us(cvplat::PerformanceCounter() - start) - static_cast<double>(timeout) / 10.0);
  }
  cvplat::CloseKernelHandle(never);
  return Summarise(over);
}

// The same wait with only the system's millisecond time-out (rounded to whole milliseconds).
Stats MillisecondWait(int64_t timeout, int rounds) {
  cvplat::KHandle never = cvplat::CreateEventObject(true, false);
  const uint32_t ms = static_cast<uint32_t>((timeout + 5000) / 10000);
  std::vector<double> over;
  for (int i = 0; i < rounds; ++i) {
    const int64_t start = cvplat::PerformanceCounter();
    cvplat::WaitForOne(never, ms);
    over.push_back(Us(cvplat::PerformanceCounter() - start) - static_cast<double>(timeout) / 10.0);
  }
  cvplat::CloseKernelHandle(never);
  return Summarise(over);
}

void Row(const char* what, double ms, const Stats& s) {
  std::printf("%-34s %7.1f ms  median %+9.1f us  p99 %+9.1f us  max %+9.1f us\n", what, ms, s.median_us, s.p99_us,
              s.max_us);
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(10, std::atoi(argv[1])) : 300;
  std::printf("timed-wait overshoot on %s, %d rounds each (positive: woke late)\n", cvplat::PlatformName(), rounds);
  const bool fine = cvplat::BeginTimerResolution1ms();
  for (int64_t timeout : {int64_t{10'000}, int64_t{167'000}}) {
    const int n = timeout > 100'000 ? rounds / 3 : rounds;
    const double ms = static_cast<double>(timeout) / 10'000.0;
    Row("TTimedWait (waitable timer)", ms, TimerWait(timeout, n));
    Row("system wait, millisecond time-out", ms, MillisecondWait(timeout, n));
  }
  if (fine) cvplat::EndTimerResolution1ms();
  return 0;
}
