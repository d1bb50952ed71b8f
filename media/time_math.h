// Conversions between counter ticks and 100 ns units. All of them round half away from zero, and none
// of them overflows for the spans a process lives through (the product is split around the divisor).
#pragma once

#include <cmath>
#include <cstdint>

inline int64_t RoundHalfAway(double x) {
  return x >= 0 ? static_cast<int64_t>(std::floor(x + 0.5)) : static_cast<int64_t>(x - 0.5);
}

// value x mul / div, rounded half away from zero. div > 0, mul >= 0.
inline int64_t MulDivRound(int64_t value, int64_t mul, int64_t div) {
  const bool negative = value < 0;
  const uint64_t v = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  const uint64_t d = static_cast<uint64_t>(div);
  const uint64_t m = static_cast<uint64_t>(mul);
  const uint64_t whole = v / d;
  const uint64_t rest = v % d;
  // rest < div, so rest x mul stays in range for counter frequencies up to a few GHz.
  const uint64_t part = (rest * m + d / 2) / d;
  const uint64_t magnitude = whole * m + part;
  return negative ? -static_cast<int64_t>(magnitude) : static_cast<int64_t>(magnitude);
}
