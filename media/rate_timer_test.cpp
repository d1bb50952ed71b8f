#include "media/rate_timer.h"

#include <gtest/gtest.h>

#include <cmath>

#include "framelib/frame_factory.h"
#include "platform/kernel.h"

namespace {

constexpr int64_t kMs = 10'000;
constexpr int64_t kFrame25 = 400'000;

TFrameTime Stamp(int64_t start, int64_t end, uint32_t flags = 0) {
  TFrameTime t{};
  t.startTime = start;
  t.endTime = end;
  t.frameFlags = flags;
  return t;
}

// A frame of the given rate and stamps, as a capture loop hands it to the timer.
TRefPtr<ICVFrame_I> Frame(double rate, int64_t start, int64_t end, uint32_t flags = 0) {
  ICVFactory* factory = GetFrameFactory();
  ICVFrame_I* frame = nullptr;
  factory->FrameAlloc(0, &frame);
  factory->Release();
  TAvProps props{};
  props.video.frameRate = rate;
  frame->FormatSet(&props, nullptr);
  const TFrameTime t = Stamp(start, end, flags);
  frame->TimeSet(&t);
  return TRefPtr<ICVFrame_I>::Adopt(frame);
}

// A set manual-reset event ends every sleep at once, so the tests see what was decided without waiting.
struct SetEvent {
  cvplat::KHandle h = cvplat::CreateEventObject(true, true);
  ~SetEvent() { cvplat::CloseKernelHandle(h); }
};

TEST(RateTimer, FirstFrameOfARunRestartsThePaceClockAndWaitsOneDuration) {
  TRateTimer timer;
  SetEvent now;
  TRateTimerStep step{};
  ASSERT_EQ(timer.WaitFrame(Frame(25, 5 * kTimeUnitsPerSecond, 5 * kTimeUnitsPerSecond + kFrame25, kFrameFlagGap).Get(),
                            now.h, 0, -1, &step),
            S_OK);
  EXPECT_EQ(step.start, 0) << "the first frame starts the output time line";
  EXPECT_EQ(step.end, kFrame25);
  EXPECT_EQ(step.wait, kFrame25);
  EXPECT_EQ(timer.TimeOffset(), -5 * kTimeUnitsPerSecond);

  // Without an event it is a real sleep, and it doesn't end before its time.
  TRateTimer fresh;
  TClock clock;
  const int64_t before = clock.Time();
  ASSERT_EQ(fresh.WaitFrame(Frame(25, 0, kFrame25).Get(), nullptr, 0, -1, &step), S_OK);
  EXPECT_EQ(step.wait, kFrame25);
  EXPECT_GE(clock.Time() - before, kFrame25 - kMs);
}

TEST(RateTimer, NullFrameIsRefused) {
  TRateTimer timer;
  EXPECT_EQ(timer.WaitFrame(nullptr, nullptr, 0, -1), E_POINTER);
  EXPECT_EQ(timer.NextTime(), 0.0) << "nothing was mapped";
}

TEST(RateTimer, FramesWithoutStampsTakeTheNextTimeOfTheLine) {
  TRateTimer timer;
  int64_t start = 0, end = 0;
  const TFrameTime none{kNoTime, kNoTime, 0, 0, 0, 0, 0, 0, 0, 0};
  for (int n = 0; n < 3; ++n) {
    timer.MapTimes(none, 30, TRateTimer::kJumpLimit, &start, &end);
    EXPECT_EQ(start, std::llround(n * 1e7 / 30)) << n;
    EXPECT_EQ(end, std::llround((n + 1) * 1e7 / 30)) << n;
  }
  EXPECT_DOUBLE_EQ(timer.NextTime(), 1e7 / 10) << "the line keeps the exact duration, no rounding drift";
  EXPECT_EQ(timer.TimeOffset(), kNoTime) << "no stamps, nothing to offset";

  // 29.97 fps is known: its exact duration replaces 10^7 / 29.97.
  TRateTimer ntsc;
  ntsc.MapTimes(none, 29.97, TRateTimer::kJumpLimit, &start, &end);
  EXPECT_DOUBLE_EQ(ntsc.NextTime(), 1e7 * 1001 / 30000);
  // No rate: a frame counts as 1/25 s.
  TRateTimer norate;
  norate.MapTimes(none, 0, TRateTimer::kJumpLimit, &start, &end);
  EXPECT_EQ(end, kFrame25);
}

TEST(RateTimer, StampsKeepTheirSpacingAndCarryTheirOwnEnds) {
  TRateTimer timer;
  int64_t start = 0, end = 0;
  const int64_t base = 130'000'000'000'000'000;  // a file time: beyond a double's exact integers
  timer.MapTimes(Stamp(base + 7, base + 7 + kFrame25), 25, TRateTimer::kJumpLimit, &start, &end);
  EXPECT_EQ(start, 0);
  EXPECT_EQ(end, kFrame25);
  // Within the jump limit the stamps are kept as they are, 5 ms early or late.
  timer.MapTimes(Stamp(base + 7 + kFrame25 - 5 * kMs, base + 7 + 2 * kFrame25), 25, TRateTimer::kJumpLimit, &start,
                 &end);
  EXPECT_EQ(start, kFrame25 - 5 * kMs);
  EXPECT_EQ(end, 2 * kFrame25);
  // An end that isn't more than 1000 past the start is replaced by one frame duration.
  timer.MapTimes(Stamp(base + 7 + 2 * kFrame25, base + 7 + 2 * kFrame25 + 1000), 25, TRateTimer::kJumpLimit, &start,
                 &end);
  EXPECT_EQ(end, 3 * kFrame25);
  timer.MapTimes(Stamp(base + 7 + 3 * kFrame25, kNoTime), 25, TRateTimer::kJumpLimit, &start, &end);
  EXPECT_EQ(start, 3 * kFrame25);
  EXPECT_EQ(end, 4 * kFrame25);
  EXPECT_DOUBLE_EQ(timer.NextTime(), 4.0 * kFrame25);
}

TEST(RateTimer, ResynchronisesOnGapAndNewTimeBaseFlagsAndOnJumpsBeyondTheLimit) {
  int64_t start = 0, end = 0;
  for (uint32_t flag : {kFrameFlagGap, kFrameFlagNewTimeBase}) {
    TRateTimer timer;
    timer.MapTimes(Stamp(0, kFrame25), 25, TRateTimer::kJumpLimit, &start, &end);
    // 5 ms late is within the limit: kept without a flag, pulled onto the line with one.
    timer.MapTimes(Stamp(kFrame25 + 5 * kMs, 2 * kFrame25 + 5 * kMs, flag), 25, TRateTimer::kJumpLimit, &start, &end);
    EXPECT_EQ(start, kFrame25) << std::hex << flag;
    EXPECT_EQ(end, 2 * kFrame25);
    EXPECT_EQ(timer.TimeOffset(), -5 * kMs);
  }

  const int64_t limit = TRateTimer::kJumpLimit;
  TRateTimer timer;
  timer.MapTimes(Stamp(0, kFrame25), 25, limit, &start, &end);
  // Exactly the limit is no jump: the stamps are kept.
  timer.MapTimes(Stamp(kFrame25 + limit, 2 * kFrame25 + limit), 25, limit, &start, &end);
  EXPECT_EQ(start, kFrame25 + limit);
  EXPECT_EQ(timer.TimeOffset(), 0);
  // One more is: the frame is pulled onto the line.
  timer.MapTimes(Stamp(2 * kFrame25 + 2 * limit + 1, 3 * kFrame25 + 2 * limit + 1), 25, limit, &start, &end);
  EXPECT_EQ(start, 2 * kFrame25 + limit);
  EXPECT_EQ(timer.TimeOffset(), -limit - 1);
  // Stamps that go back by more than the limit resynchronise too.
  timer.MapTimes(Stamp(0, kFrame25), 25, limit, &start, &end);
  EXPECT_EQ(start, 3 * kFrame25 + limit);
  // Without a jump limit only the flags resynchronise.
  timer.MapTimes(Stamp(kTimeUnitsPerSecond, kTimeUnitsPerSecond + kFrame25), 25, 0, &start, &end);
  EXPECT_EQ(start, 3 * kFrame25 + limit + kTimeUnitsPerSecond);
}

TEST(RateTimer, MaxWaitBoundsTheSleepAndZeroMeansNone) {
  SetEvent now;
  struct Case {
    int64_t maxWait;
    int64_t wait;
  } cases[] = {{0, 0}, {kMs, kMs}, {kFrame25, kFrame25}, {kFrame25 + 1, kFrame25}, {-1, kFrame25}};
  for (const Case& c : cases) {
    TRateTimer timer;  // a first frame: its wait is exactly one duration
    TRateTimerStep step{};
    ASSERT_EQ(timer.WaitFrame(Frame(25, 0, kFrame25).Get(), now.h, 0, c.maxWait, &step), S_OK);
    EXPECT_EQ(step.wait, c.wait) << "maxWait " << c.maxWait;
  }

  // A bounded real sleep still lasts its bound.
  TRateTimer timer;
  TClock clock;
  TRateTimerStep step{};
  const int64_t before = clock.Time();
  ASSERT_EQ(timer.WaitFrame(Frame(25, 0, kFrame25).Get(), nullptr, 0, 20 * kMs, &step), S_OK);
  EXPECT_EQ(step.wait, 20 * kMs);
  EXPECT_GE(clock.Time() - before, 19 * kMs);
}

TEST(RateTimer, LateFramesWithinASecondAreNotWaitedForAndFurtherOffRestartTheClock) {
  SetEvent now;
  TRateTimerStep step{};
  {
    // Half a second behind the pace clock: no sleep, no restart.
    TRateTimer timer;
    ASSERT_EQ(timer.WaitFrame(Frame(25, 0, kFrame25).Get(), now.h, -5'000'000, -1, &step), S_OK);
    ASSERT_EQ(timer.WaitFrame(Frame(25, kFrame25, 2 * kFrame25).Get(), now.h, 0, -1, &step), S_OK);
    EXPECT_EQ(step.wait, 0);
    EXPECT_EQ(step.start, kFrame25);
  }
  for (int64_t offset : {int64_t{-20'000'000}, int64_t{20'000'000}}) {
    // Two seconds off either way: the line restarts at this frame and holds it for its duration.
    TRateTimer timer;
    ASSERT_EQ(timer.WaitFrame(Frame(25, 0, kFrame25).Get(), now.h, offset, -1, &step), S_OK);
    ASSERT_EQ(timer.WaitFrame(Frame(25, kFrame25, 3 * kFrame25).Get(), now.h, 0, -1, &step), S_OK);
    EXPECT_EQ(step.wait, 2 * kFrame25) << "offset " << offset;
  }
}

TEST(RateTimer, SpeedHintsSetThePaceRate) {
  EXPECT_DOUBLE_EQ(TRateTimer::RateForHint(1.0), 1.2);
  EXPECT_DOUBLE_EQ(TRateTimer::RateForHint(0.51), 1.2);
  EXPECT_DOUBLE_EQ(TRateTimer::RateForHint(0.5), 1.2);
  EXPECT_DOUBLE_EQ(TRateTimer::RateForHint(0.3), 1.1);
  EXPECT_DOUBLE_EQ(TRateTimer::RateForHint(0.1), 1.0);
  EXPECT_DOUBLE_EQ(TRateTimer::RateForHint(-0.5), 1.0);
  EXPECT_DOUBLE_EQ(TRateTimer::RateForHint(-0.51), 0.95);

  SetEvent now;
  TRateTimer timer;
  auto hint = [](uint32_t b) { return b << 24; };
  struct Case {
    uint32_t flags;
    double rate;
  } cases[] = {{0, 0.0}, {hint(127), 1.2}, {hint(64), 1.0}, {hint(1), 0.95}, {0, 0.95}};
  int64_t start = 0;
  for (const Case& c : cases) {
    ASSERT_EQ(timer.WaitFrame(Frame(25, start, start + kFrame25, c.flags).Get(), now.h, 0, 0), S_OK);
    EXPECT_DOUBLE_EQ(timer.PaceRate(), c.rate) << std::hex << c.flags << ": no hint leaves the rate as it was";
    start += kFrame25;
  }
}

}  // namespace
