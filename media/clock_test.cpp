#include "media/clock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "media/time_math.h"
#include "platform/kernel.h"

namespace {

TEST(TimeMath, RoundsHalfAwayFromZero) {
  EXPECT_EQ(RoundHalfAway(2.5), 3);
  EXPECT_EQ(RoundHalfAway(2.4999), 2);
  EXPECT_EQ(RoundHalfAway(-2.5), -3);
  EXPECT_EQ(RoundHalfAway(-2.4999), -2);
  EXPECT_EQ(RoundHalfAway(0.0), 0);
  EXPECT_EQ(MulDivRound(15, 1, 10), 2);
  EXPECT_EQ(MulDivRound(-15, 1, 10), -2);
  EXPECT_EQ(MulDivRound(14, 1, 10), 1);
  EXPECT_EQ(MulDivRound(-14, 1, 10), -1);
  // A day of nanosecond ticks in 100 ns units: the plain product would overflow 64 bits.
  const int64_t dayNs = 86'400'000'000'000LL;
  EXPECT_EQ(MulDivRound(dayNs * 10, 10'000'000, 1'000'000'000), dayNs / 10);
  EXPECT_EQ(MulDivRound(3, 10'000'000, 3'579'545), 8);  // 8.381 units
  EXPECT_EQ(MulDivRound(-dayNs, 10'000'000, 1'000'000'000), -dayNs / 100);
}

TEST(Clock, StartsAtZeroAndTicksNeverRepeat) {
  TClock clock;
  const int64_t first = clock.Time();
  EXPECT_GE(first, 0);
  EXPECT_LT(first, kTimeUnitsPerSecond) << "the origin is the counter at construction";

  int64_t previous = clock.Ticks();
  for (int i = 0; i < 200'000; ++i) {
    const int64_t t = clock.Ticks();
    ASSERT_GT(t, previous) << "read " << i;
    previous = t;
  }
}

TEST(Clock, SetMakesItReadThatTime) {
  TClock clock;
  clock.Set(5 * kTimeUnitsPerSecond);
  const int64_t t = clock.Time();
  EXPECT_GE(t, 5 * kTimeUnitsPerSecond);
  EXPECT_LT(t, 6 * kTimeUnitsPerSecond);
  clock.Set(-kTimeUnitsPerSecond);
  EXPECT_LT(clock.Time(), 0);
}

// Checks that the rated time moved from `before` by the raw span times `rate`, allowing for the span
// between the two readings around the rate change (`slack`) and one counter tick of rounding.
void ExpectSlope(const TClock& clock, int64_t before, int64_t rawBefore, int64_t after, int64_t rawAfter, double rate,
                 int64_t slack) {
  const double expected = static_cast<double>(before) + static_cast<double>(rawAfter - rawBefore) * rate;
  const double tick = static_cast<double>(kTimeUnitsPerSecond) / static_cast<double>(clock.Frequency());
  EXPECT_NEAR(static_cast<double>(after), expected, static_cast<double>(slack) + 2 * tick + 2);
}

TEST(Clock, SetRateBendsWithoutJumping) {
  TClock clock;
  cvplat::SleepMs(5);
  int64_t raw0 = 0, raw1 = 0, raw2 = 0, raw3 = 0, raw4 = 0, raw5 = 0;
  const int64_t t0 = clock.Time(&raw0);
  clock.SetRate(1.2);
  const int64_t t1 = clock.Time(&raw1);
  // Across the change the clock advances by no more than real time at the faster rate.
  EXPECT_GE(t1, t0);
  EXPECT_LE(t1 - t0, static_cast<int64_t>(std::ceil((raw1 - raw0) * 1.2)) + 2);

  cvplat::SleepMs(40);
  const int64_t t2 = clock.Time(&raw2);
  ExpectSlope(clock, t1, raw1, t2, raw2, 1.2, static_cast<int64_t>((raw1 - raw0) * 0.2));
  EXPECT_GT(t2 - raw2, t0 - raw0) << "the rated clock ran ahead of real time";

  const int64_t t3 = clock.Time(&raw3);
  clock.SetRate(1.0);
  const int64_t t4 = clock.Time(&raw4);
  EXPECT_GE(t4, t3);
  EXPECT_LE(t4 - t3, static_cast<int64_t>(std::ceil((raw4 - raw3) * 1.2)) + 2);

  cvplat::SleepMs(20);
  const int64_t t5 = clock.Time(&raw5);
  ExpectSlope(clock, t4, raw4, t5, raw5, 1.0, static_cast<int64_t>((raw4 - raw3) * 0.2));
  // The lead gained at 1.2 is kept: back at rate 1 the clock does not fall back to real time.
  EXPECT_GE((t5 - raw5) - (t0 - raw0), (raw3 - raw1) / 5 - (raw3 - raw1) / 50);
}

TEST(Clock, SetRateWithATimeStartsThereAtTheNewSpeed) {
  TClock clock;
  clock.SetRate(0.5, 10 * kTimeUnitsPerSecond);
  int64_t raw0 = 0, raw1 = 0;
  const int64_t t0 = clock.Time(&raw0);
  EXPECT_GE(t0, 10 * kTimeUnitsPerSecond);
  EXPECT_LT(t0, 11 * kTimeUnitsPerSecond);
  cvplat::SleepMs(30);
  const int64_t t1 = clock.Time(&raw1);
  ExpectSlope(clock, t0, raw0, t1, raw1, 0.5, 0);
  EXPECT_DOUBLE_EQ(clock.Rate(), 0.5);
}

TEST(Clock, ZeroRateMeansRealTime) {
  TClock clock;
  clock.SetRate(0.0);
  int64_t raw = 0;
  const int64_t t = clock.Time(&raw);
  EXPECT_LE(std::llabs(t - raw), 1) << "no scaling";
}

}  // namespace
