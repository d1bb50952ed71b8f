#include "tools/cvcapture/capture_stats.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

// The stamps the component gives frame n at `rate`.
TFrameTime Stamp(int64_t n, double rate) {
  TFrameTime t{};
  const double d = 1e7 / rate;
  t.startTime = std::llround(static_cast<double>(n) * d);
  t.endTime = std::llround(static_cast<double>(n + 1) * d);
  return t;
}

TEST(CaptureStats, FrameNumbersComeBackFromStampsAtCommonRates) {
  for (double rate : {30.0, 30000.0 / 1001, 60000.0 / 1001, 25.0, 2.0, 60.0}) {
    for (int64_t n : {int64_t{0}, int64_t{1}, int64_t{89}, int64_t{107999}, int64_t{10000000}})
      EXPECT_EQ(FrameNumberOf(Stamp(n, rate).startTime, rate), n) << rate;
  }
  EXPECT_EQ(FrameNumberOf(kNoTime, 30.0), -1);
  EXPECT_EQ(FrameNumberOf(0, 0.0), -1);
}

TEST(CaptureStats, CountsDuplicatesGapsLostFramesAndRestarts) {
  TCaptureStats stats;
  const double rate = 30.0;
  double wall = 5.0;
  for (int64_t n : {0, 1, 2, 5, 6, 10, 0, 1}) stats.OnFrame(Stamp(n, rate), rate, n == 6, wall += 0.5);
  const TCaptureFigures& f = stats.Figures();
  EXPECT_EQ(f.frames, 8);
  EXPECT_EQ(f.duplicates, 1);
  EXPECT_EQ(f.gaps, 2) << "2 -> 5 and 6 -> 10";
  EXPECT_EQ(f.lost, 2 + 3);
  EXPECT_EQ(f.restarts, 1) << "10 -> 0";
  EXPECT_DOUBLE_EQ(stats.AchievedFps(), 2.0) << "7 intervals of half a second; the wait for the first frame is left out";

  TCaptureStats untimed;
  TFrameTime none{};
  none.startTime = kNoTime;
  EXPECT_EQ(untimed.AchievedFps(), 0.0);
  untimed.OnFrame(none, rate, false, 1.0);
  EXPECT_EQ(untimed.AchievedFps(), 0.0) << "one frame makes no rate";
  untimed.OnFrame(Stamp(7, rate), rate, false, 1.0);
  untimed.OnFrame(none, rate, true, 2.0);
  EXPECT_EQ(untimed.Figures().frames, 3);
  EXPECT_EQ(untimed.Figures().gaps, 0) << "frames without times neither make nor close a gap";
}

TEST(CaptureStats, FiguresLineShowsEveryCount) {
  TCaptureFigures f;
  f.frames = 90;
  f.duplicates = 3;
  f.gaps = 1;
  f.lost = 4;
  EXPECT_EQ(FiguresLine(f, 29.971), "frames 90  fps 29.97  dup 3  gaps 1 (4 lost)");
  f.restarts = 2;
  EXPECT_EQ(FiguresLine(f, 0.0), "frames 90  fps 0.00  dup 3  gaps 1 (4 lost)  restarts 2");
}

}  // namespace
