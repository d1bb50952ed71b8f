// The figures the timing benchmarks report: median, 99th percentile and maximum of a set of samples in
// microseconds, and the conversion of performance-counter ticks into microseconds.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/kernel.h"

struct Stats {
  double median_us;
  double p99_us;
  double max_us;
};

// Nearest-rank quantiles of a non-empty set.
inline Stats Summarise(std::vector<double> samples) {
  std::sort(samples.begin(), samples.end());
  auto at = [&](double q) {
    size_t i = static_cast<size_t>(q * static_cast<double>(samples.size() - 1) + 0.5);
    return samples[std::min(i, samples.size() - 1)];
  };
  return {at(0.5), at(0.99), samples.back()};
}

inline double Us(int64_t ticks) {
  return static_cast<double>(ticks) * 1e6 / static_cast<double>(cvplat::PerformanceFrequency());
}
