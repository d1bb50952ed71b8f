#include "media/timecode.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

// hh:mm:ss:ff, or hh:mm:ss;ff for drop frame, as the overlay shows it.
std::string Text(int32_t frame, double rate, bool drop, int32_t* flags = nullptr) {
  TFrameTime t{};
  t.startTime = 1234;
  t.frameFlags = 0x100;
  TimecodeFromFrame(frame, rate, drop, t);
  EXPECT_EQ(t.startTime, 1234) << "only the timecode fields are written";
  EXPECT_EQ(t.frameFlags, 0x100u);
  if (flags) *flags = t.timecodeFlags;
  char buf[32];
  std::snprintf(buf, sizeof buf, "%02d:%02d:%02d%c%02d", t.hours, t.minutes, t.seconds,
                (t.timecodeFlags & kTimecodeDropFrame) ? ';' : ':', t.frames);
  return buf;
}

constexpr double k2997 = 30000.0 / 1001;
constexpr double k5994 = 60000.0 / 1001;

TEST(Timecode, WholeRates) {
  int32_t flags = 0;
  EXPECT_EQ(Text(0, 25, false, &flags), "00:00:00:00");
  EXPECT_EQ(flags, kTimecodeBase25);
  EXPECT_EQ(Text(24, 25, false), "00:00:00:24");
  EXPECT_EQ(Text(25, 25, false), "00:00:01:00");
  EXPECT_EQ(Text(90000, 25, false), "01:00:00:00");
  EXPECT_EQ(Text(24 * 3600 * 25 + 1, 25, false), "24:00:00:01") << "hours don't wrap";
  EXPECT_EQ(Text(47, 24, false, &flags), "00:00:01:23");
  EXPECT_EQ(flags, kTimecodeBase24);
  EXPECT_EQ(Text(1800, 30, true, &flags), "00:01:00:00") << "30 fps never drops";
  EXPECT_EQ(flags, kTimecodeBase30);
  EXPECT_EQ(Text(23, 23.976, false, &flags), "00:00:00:23");
  EXPECT_EQ(flags, kTimecodeBase24);
}

TEST(Timecode, DropFrameAt2997) {
  int32_t flags = 0;
  EXPECT_EQ(Text(1799, k2997, true, &flags), "00:00:59;29");
  EXPECT_EQ(flags, kTimecodeBase30 | kTimecodeDropFrame);
  EXPECT_EQ(Text(1800, k2997, true), "00:01:00;02");
  EXPECT_EQ(Text(1801, 29.97, true), "00:01:00;03");
  EXPECT_EQ(Text(1827, k2997, true), "00:01:00;29");
  EXPECT_EQ(Text(1828, k2997, true), "00:01:01;00");
  EXPECT_EQ(Text(3597, k2997, true), "00:01:59;29");
  EXPECT_EQ(Text(3598, k2997, true), "00:02:00;02");
  EXPECT_EQ(Text(17981, k2997, true), "00:09:59;29");
  EXPECT_EQ(Text(17982, k2997, true), "00:10:00;00") << "every tenth minute keeps its first two numbers";
  EXPECT_EQ(Text(17982 + 1800, k2997, true), "00:11:00;02");
  EXPECT_EQ(Text(107892, k2997, true), "01:00:00;00") << "an hour of 29.97 is 107892 frames";
}

TEST(Timecode, DropFrameOnlyWhenWanted) {
  int32_t flags = 0;
  EXPECT_EQ(Text(1800, k2997, false, &flags), "00:01:00:00");
  EXPECT_EQ(flags, kTimecodeBase30);
  EXPECT_EQ(Text(1800, 29.996, true, &flags), "00:01:00:00") << "less than 0.005 below 30 counts as 30";
  EXPECT_EQ(flags, kTimecodeBase30);
}

TEST(Timecode, HighRatesCountInPairs) {
  int32_t flags = 0;
  EXPECT_EQ(Text(51, 50, false, &flags), "00:00:01:00");
  EXPECT_EQ(flags, kTimecodeBase25 | kTimecodeSecondOfPair);
  EXPECT_EQ(Text(50, 50, false, &flags), "00:00:01:00");
  EXPECT_EQ(flags, kTimecodeBase25 | kTimecodeFirstOfPair);
  EXPECT_EQ(Text(119, 60, true, &flags), "00:00:01:29");
  EXPECT_EQ(flags, kTimecodeBase30 | kTimecodeSecondOfPair) << "whole 60 never drops";
  EXPECT_EQ(Text(3600, k5994, true, &flags), "00:01:00;02") << "frame 1800 of the base 30";
  EXPECT_EQ(flags, kTimecodeBase30 | kTimecodeFirstOfPair | kTimecodeDropFrame);
  EXPECT_EQ(Text(3601, k5994, true, &flags), "00:01:00;02");
  EXPECT_EQ(flags, kTimecodeBase30 | kTimecodeSecondOfPair | kTimecodeDropFrame);
  EXPECT_EQ(Text(35964, k5994, true), "00:10:00;00");
  EXPECT_EQ(Text(239, 120, false, &flags), "00:00:01:59") << "halved once, still counted at 60";
  EXPECT_EQ(flags, kTimecodeBase30 | kTimecodeFirstOfPair | kTimecodeSecondOfPair);
}

TEST(Timecode, NoRateAndNegativeFrames) {
  int32_t flags = 0;
  EXPECT_EQ(Text(31, 0, false, &flags), "00:00:01:01") << "no rate counts as 30";
  EXPECT_EQ(flags, 0);
  EXPECT_EQ(Text(31, -25, false), "00:00:01:01");
  EXPECT_EQ(Text(-1, 25, false, &flags), "00:00:00:00");
  EXPECT_EQ(flags, kTimecodeInvalid);
}

TEST(Timecode, LargestFrameNumber) {
  EXPECT_EQ(Text(INT32_MAX, k2997, true), "19904:00:42;19") << "no overflow at the end of the count";
  EXPECT_EQ(Text(INT32_MAX, 60, false), "9942:03:14:03");
}

}  // namespace
