#include "media/timed_wait.h"

#include <gtest/gtest.h>

#include <thread>

using namespace cvplat;

namespace {

constexpr int64_t kMs = 10'000;  // 100 ns units per millisecond

struct Event {
  KHandle h;
  explicit Event(bool manual = true) : h(CreateEventObject(manual, false)) {}
  ~Event() { CloseKernelHandle(h); }
};

TEST(TimedWaitAny, ZeroTimeoutPolls) {
  TTimedWait wait;
  Event ev;
  EXPECT_EQ(wait.WaitAny(1, &ev.h, 0), TTimedWait::kTimedOut);
  SetEventObject(ev.h);
  EXPECT_EQ(wait.WaitAny(1, &ev.h, 0), 0u);
}

TEST(TimedWaitAny, NegativeTimeoutWaitsForTheMillisecondLimit) {
  TTimedWait wait;
  Event ev;
  int64_t elapsed = 0;
  EXPECT_EQ(wait.WaitAny(1, &ev.h, -1, &elapsed, 200), TTimedWait::kTimedOut);
  EXPECT_GE(elapsed, 190 * kMs) << "the wait must not end before its limit";
}

TEST(TimedWaitAny, TimerEndsTheWaitAndIsNotReportedAsAHandle) {
  TTimedWait wait;
  Event a, b;
  KHandle set[] = {a.h, b.h};
  int64_t elapsed = 0;
  EXPECT_EQ(wait.WaitAny(2, set, 25 * kMs, &elapsed), TTimedWait::kTimedOut);
  EXPECT_GE(elapsed, 24 * kMs);
  // With no handles at all, a positive timeout is a precise sleep.
  EXPECT_EQ(wait.WaitAny(0, nullptr, 10 * kMs, &elapsed), TTimedWait::kTimedOut);
  EXPECT_GE(elapsed, 9 * kMs);
  EXPECT_EQ(wait.WaitAny(0, nullptr, 0), kWaitFailed) << "nothing to wait for";
}

TEST(TimedWaitAny, SignalFromAnotherThreadEndsTheWait) {
  TTimedWait wait;
  Event a, b;
  KHandle set[] = {a.h, b.h};
  std::thread setter([&] {
    SleepMs(20);
    SetEventObject(b.h);
  });
  EXPECT_EQ(wait.WaitAny(2, set, 10'000 * kMs), 1u);
  setter.join();
  // A stale timer of the previous wait must not end the next one early.
  ResetEventObject(b.h);
  EXPECT_EQ(wait.WaitAny(2, set, 30 * kMs), TTimedWait::kTimedOut);
}

TEST(TimedWaitAll, AbortWinsOverAHandleSignalledEarlier) {
  TTimedWait wait;
  Event h1, h2, abort;
  KHandle handles[] = {h1.h, h2.h};
  SetEventObject(h1.h);
  std::thread aborter([&] {
    SleepMs(20);
    SetEventObject(abort.h);
  });
  EXPECT_EQ(wait.WaitAll(2, handles, 1, &abort.h, 10'000 * kMs), 0u);
  aborter.join();

  // All three are set before the call: the abort still wins.
  SetEventObject(h2.h);
  EXPECT_EQ(wait.WaitAll(2, handles, 1, &abort.h, 10'000 * kMs), 0u);
}

TEST(TimedWaitAll, CompletesWhenEveryHandleCameIn) {
  TTimedWait wait;
  Event h1, h2(false), abort0, abort1;
  KHandle handles[] = {h1.h, h2.h};
  KHandle aborts[] = {abort0.h, abort1.h};
  std::thread setter([&] {
    SetEventObject(h2.h);
    SleepMs(15);
    SetEventObject(h1.h);
  });
  EXPECT_EQ(wait.WaitAll(2, handles, 2, aborts, 10'000 * kMs), 2u) << "abortCount means: all came in";
  setter.join();
  EXPECT_EQ(WaitForOne(h2.h, 0), kWaitTimeout) << "the auto-reset handle was consumed";

  SetEventObject(abort1.h);
  SetEventObject(h2.h);
  EXPECT_EQ(wait.WaitAll(2, handles, 2, aborts, 10'000 * kMs), 1u) << "the second abort handle";
}

TEST(TimedWaitAll, TimesOutWithPartialSignalsAndPlainWaitWithoutAborts) {
  TTimedWait wait;
  Event h1, h2;
  KHandle handles[] = {h1.h, h2.h};
  SetEventObject(h1.h);
  int64_t elapsed = 0;
  EXPECT_EQ(wait.WaitAll(2, handles, 0, nullptr, 20 * kMs, &elapsed), TTimedWait::kTimedOut);
  EXPECT_GE(elapsed, 19 * kMs);
  EXPECT_EQ(wait.WaitAll(2, handles, 0, nullptr, 0), TTimedWait::kTimedOut);
  SetEventObject(h2.h);
  EXPECT_EQ(wait.WaitAll(2, handles, 0, nullptr, 0), 0u) << "a plain wait for all reports 0";
  EXPECT_EQ(wait.WaitAll(2, handles, 0, nullptr, -1), 0u);
  EXPECT_EQ(wait.WaitAll(0, handles, 0, nullptr, 0), 0xFFFFFFFFu);
}

}  // namespace
