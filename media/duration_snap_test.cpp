#include "media/duration_snap.h"

#include <gtest/gtest.h>

namespace {

TEST(DurationSnap, WindowsIncludeBothEnds) {
  struct Case {
    int64_t low, high;
    double exact;
    int64_t rounded;
  };
  const Case cases[] = {
      {166600, 166700, 166666.66666666666, 166667}, {166800, 166900, 166833.33333333334, 166833},
      {199950, 200050, 200000.0, 200000},           {333300, 333400, 333333.3333333333, 333333},
      {333600, 333700, 333666.6666666667, 333667},  {399950, 400050, 400000.0, 400000},
      {416600, 416700, 416666.6666666667, 416667},  {417000, 417200, 417083.3333333333, 417083},
  };
  for (const Case& c : cases) {
    for (int64_t d : {c.low, c.rounded, c.high}) {
      int64_t duration = d;
      bool hit = false;
      EXPECT_EQ(DurationSnap(duration, &hit), c.exact) << d;
      EXPECT_TRUE(hit) << d;
      EXPECT_EQ(duration, c.rounded) << d;
    }
    for (int64_t d : {c.low - 1, c.high + 1}) {
      int64_t duration = d;
      bool hit = true;
      EXPECT_EQ(DurationSnap(duration, &hit), static_cast<double>(d)) << d;
      EXPECT_FALSE(hit) << d;
      EXPECT_EQ(duration, d);
    }
  }
}

TEST(DurationSnap, NtscFrameIsExact) {
  int64_t d = 333667;
  bool hit = false;
  const double exact = DurationSnap(d, &hit);
  EXPECT_TRUE(hit);
  EXPECT_EQ(exact, 10000000.0 * 1001 / 30000);
  // A thousand frames stamped from the exact duration stay on the 30000/1001 grid.
  EXPECT_EQ(static_cast<int64_t>(exact * 30000 + 0.5), 10010000000);
  d = 333500;
  EXPECT_EQ(DurationSnap(d), 333500.0) << "between the 30 and 29.97 windows";
}

}  // namespace
