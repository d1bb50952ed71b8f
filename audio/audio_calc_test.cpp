#include "audio/audio_calc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

TAudioProps AtRate(int32_t rate) { return TAudioProps{2, rate, 16, 0}; }

TFrameTime Frame(int64_t start, int64_t stop, uint32_t flags = 0) {
  TFrameTime t{};
  t.startTime = start;
  t.endTime = stop;
  t.frameFlags = flags;
  return t;
}

TEST(AudioCalc, LongRunsAddUpToTheTimeAtTheRate) {
  struct Case {
    double fps;
    double frameLength;
  };
  for (const Case c : {Case{29.97, 1e7 * 1001.0 / 30000.0}, Case{30.0, 1e7 / 30.0}}) {
    for (int32_t rate : {48000, 44100, 32000, 8000}) {
      SCOPED_TRACE(testing::Message() << c.fps << " fps, " << rate << " Hz");
      TAudioCalc calc;
      const int frames = 54000;  // half an hour
      int64_t sum = 0;
      int64_t lo = INT64_MAX, hi = 0;
      for (int i = 0; i < frames; ++i) {
        int64_t n = -1;
        ASSERT_EQ(calc.SamplesForDuration(AtRate(rate), c.frameLength, &n, false), S_OK);
        sum += n;
        lo = std::min(lo, n);
        hi = std::max(hi, n);
      }
      const double exact = frames * c.frameLength * rate / 1e7;
      EXPECT_LE(std::abs(double(sum) - exact), 1.0);
      EXPECT_LE(hi - lo, 1) << "counts differ by one sample at most";
      if (rate == 48000 && c.fps != 30.0) {
        EXPECT_EQ(lo, 1601);
        EXPECT_EQ(hi, 1602);
      }
    }
  }

  TAudioCalc calc;
  int64_t n = -1;
  EXPECT_EQ(calc.SamplesForDuration(AtRate(0), 333667, &n, false), S_FALSE);
  EXPECT_EQ(n, 0);
  calc.SamplesForDuration(AtRate(48000), 333667, &n, false);
  calc.SamplesForDuration(AtRate(48000), 333667, &n, true);
  EXPECT_EQ(n, 1601) << "a cleared carry doesn't add the previous fraction";
}

TEST(AudioCalc, FramesReachFromThePreviousAudioToTheirStop) {
  const TAudioProps fmt = AtRate(48000);
  TAudioCalc calc;
  int64_t n = 0;
  ASSERT_EQ(calc.SamplesForTime(fmt, Frame(5000000, 5000000), &n, 0), S_OK);
  EXPECT_EQ(n, 1601) << "a frame without length lasts 333667";
  EXPECT_EQ(calc.NextStart(), 5000000 + TAudioCalc::kDefaultFrameLength);

  // Stamps rounded to whole units still give gapless sound.
  calc.Reset();
  const double d = 1e7 * 1001.0 / 30000.0;
  int64_t sum = 0;
  const int frames = 3000;
  for (int i = 0; i < frames; ++i) {
    calc.SamplesForTime(fmt, Frame(std::llround(i * d), std::llround((i + 1) * d)), &n, 100000);
    sum += n;
  }
  EXPECT_LE(std::abs(double(sum) - std::llround(frames * d) * 48000.0 / 1e7), 1.0);

  // 400000 units are 1920 samples at 48 kHz, 450000 are 2160: whole samples, so no carry blurs them.
  calc.Reset();
  calc.SamplesForTime(fmt, Frame(0, 400000), &n, 100000);
  ASSERT_EQ(n, 1920);
  calc.SamplesForTime(fmt, Frame(450000, 850000), &n, 100000);
  EXPECT_EQ(n, 2160) << "a gap within the limit is covered";
  calc.SamplesForTime(fmt, Frame(1000000, 1400000), &n, 100000);
  EXPECT_EQ(n, 1920) << "a gap beyond the limit starts afresh";
  calc.SamplesForTime(fmt, Frame(1300000, 1700000), &n, 100000);
  EXPECT_EQ(n, 1920) << "a start before the previous audio's end restarts from the frame's own start";
  EXPECT_EQ(calc.NextStart(), 1700000);
  calc.SamplesForTime(fmt, Frame(1750000, 2150000, kFrameFlagGap), &n, 0);
  EXPECT_EQ(n, 1920) << "a frame that opens a run starts afresh";
}

}  // namespace
