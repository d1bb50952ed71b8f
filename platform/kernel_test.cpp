#include "platform/kernel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace cvplat;

namespace {

struct Handle {
  KHandle h;
  explicit Handle(KHandle handle) : h(handle) {}
  ~Handle() { CloseKernelHandle(h); }
  operator KHandle() const { return h; }
};

double MsSince(int64_t start) {
  return static_cast<double>(PerformanceCounter() - start) * 1000.0 / static_cast<double>(PerformanceFrequency());
}

TEST(KernelEvents, ManualResetStaysSetAutoResetReleasesOneWait) {
  Handle manual(CreateEventObject(true, false));
  Handle autoEv(CreateEventObject(false, false));
  ASSERT_TRUE(manual.h && autoEv.h);

  EXPECT_EQ(WaitForOne(manual, 0), kWaitTimeout);
  ASSERT_TRUE(SetEventObject(manual));
  EXPECT_EQ(WaitForOne(manual, 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(manual, 0), kWaitObject0) << "a manual-reset event is not consumed by a wait";
  ASSERT_TRUE(ResetEventObject(manual));
  EXPECT_EQ(WaitForOne(manual, 0), kWaitTimeout);

  ASSERT_TRUE(SetEventObject(autoEv));
  ASSERT_TRUE(SetEventObject(autoEv));
  EXPECT_EQ(WaitForOne(autoEv, 0), kWaitObject0);
  EXPECT_EQ(WaitForOne(autoEv, 0), kWaitTimeout) << "two sets before a wait release a single wait";

  Handle initially(CreateEventObject(false, true));
  EXPECT_EQ(WaitForOne(initially, 0), kWaitObject0);
}

TEST(KernelEvents, AutoResetSetWakesExactlyOneOfTwoWaiters) {
  Handle ev(CreateEventObject(false, false));
  std::atomic<int> woke{0};
  auto waiter = [&] {
    if (WaitForOne(ev, 400) == kWaitObject0) ++woke;
  };
  std::thread a(waiter), b(waiter);
  SleepMs(50);
  SetEventObject(ev);
  a.join();
  b.join();
  EXPECT_EQ(woke.load(), 1);
}

TEST(KernelWaits, AnyReportsTheLowestSignalledIndex) {
  Handle e0(CreateEventObject(true, false)), e1(CreateEventObject(true, false)), e2(CreateEventObject(true, false));
  KHandle set[] = {e0, e1, e2};
  EXPECT_EQ(WaitForAny(3, set, 0), kWaitTimeout);
  SetEventObject(e2);
  EXPECT_EQ(WaitForAny(3, set, 0), kWaitObject0 + 2);
  SetEventObject(e1);
  EXPECT_EQ(WaitForAny(3, set, 0), kWaitObject0 + 1);
}

TEST(KernelWaits, AllWaitsForEveryHandle) {
  Handle e0(CreateEventObject(true, false)), e1(CreateEventObject(false, false));
  KHandle set[] = {e0, e1};
  SetEventObject(e0);
  EXPECT_EQ(WaitForAll(2, set, 20), kWaitTimeout);
  std::thread setter([&] {
    SleepMs(30);
    SetEventObject(e1);
  });
  EXPECT_EQ(WaitForAll(2, set, 5000), kWaitObject0);
  setter.join();
  EXPECT_EQ(WaitForOne(e1, 0), kWaitTimeout) << "the auto-reset member was consumed by the wait";
  EXPECT_EQ(WaitForOne(e0, 0), kWaitObject0);
}

TEST(KernelWaits, BadArgumentsFail) {
  Handle ev(CreateEventObject(true, true));
  KHandle none[1] = {nullptr};
  EXPECT_EQ(WaitForAny(0, none, 0), kWaitFailed);
  std::vector<KHandle> many(kMaxWaitHandles + 1, ev.h);
  EXPECT_EQ(WaitForAny(static_cast<uint32_t>(many.size()), many.data(), 0), kWaitFailed);
}

TEST(KernelTimers, FiresAfterItsDueTimeAndRearmingClears) {
  Handle timer(CreateWaitableTimerObject(true));
  ASSERT_TRUE(timer.h);
  const int64_t start = PerformanceCounter();
  ASSERT_TRUE(SetTimerRelative(timer, 30 * 10000));
  EXPECT_EQ(WaitForOne(timer, 0), kWaitTimeout);
  EXPECT_EQ(WaitForOne(timer, 5000), kWaitObject0);
  EXPECT_GE(MsSince(start), 29.0) << "a timer must not fire before its due time";
  EXPECT_EQ(WaitForOne(timer, 0), kWaitObject0) << "a manual-reset timer stays signalled";

  ASSERT_TRUE(SetTimerRelative(timer, 10'000'000));
  EXPECT_EQ(WaitForOne(timer, 0), kWaitTimeout) << "re-arming clears the signalled state";
  ASSERT_TRUE(CancelTimerObject(timer));
  EXPECT_EQ(WaitForOne(timer, 30), kWaitTimeout);
}

TEST(KernelTimers, AutoResetTimerIsConsumed) {
  Handle timer(CreateWaitableTimerObject(false));
  ASSERT_TRUE(SetTimerRelative(timer, 10000));
  EXPECT_EQ(WaitForOne(timer, 5000), kWaitObject0);
  EXPECT_EQ(WaitForOne(timer, 0), kWaitTimeout);
}

struct ThreadProbe {
  std::atomic<bool> ran{false};
  std::atomic<uint32_t> id{0};
  std::atomic<bool> done{false};
  KHandle release = nullptr;
};

uint32_t CV_THREADCALL ProbeBody(void* context) {
  auto* p = static_cast<ThreadProbe*>(context);
  p->id = CurrentThreadId();
  p->ran = true;
  if (p->release) WaitForOne(p->release, kInfinite);
  p->done = true;  // the last touch of the probe
  return 0;
}

TEST(KernelThreads, SuspendedUntilResumedAndSignalledAtEnd) {
  ThreadProbe probe;
  Handle release(CreateEventObject(true, false));
  probe.release = release;
  KHandle thread = nullptr;
  uint32_t id = 0;
  ASSERT_EQ(CreateThreadSuspended(&ProbeBody, &probe, 0, &thread, &id), S_OK);
  Handle owned(thread);
  EXPECT_NE(id, 0u);
  EXPECT_NE(id, CurrentThreadId());
  SleepMs(30);
  EXPECT_FALSE(probe.ran.load()) << "the thread must not run before it is resumed";
  ASSERT_TRUE(ResumeThreadObject(thread));
  EXPECT_EQ(WaitForOne(thread, 50), kWaitTimeout) << "the handle is signalled only when the thread ends";
  EXPECT_TRUE(probe.ran.load());
  EXPECT_EQ(probe.id.load(), id);
  SetEventObject(release);
  EXPECT_EQ(WaitForOne(thread, 5000), kWaitObject0);
}

TEST(KernelThreads, ClosingTheHandleOfARunningThreadLetsItFinish) {
  auto* probe = new ThreadProbe;
  Handle release(CreateEventObject(true, false));
  probe->release = release;
  KHandle thread = nullptr;
  ASSERT_EQ(CreateThreadSuspended(&ProbeBody, probe, 64 * 1024, &thread, nullptr), S_OK);
  ResumeThreadObject(thread);
  CloseKernelHandle(thread);
  SetEventObject(release);
  for (int i = 0; i < 2500 && !probe->done; ++i) SleepMs(2);
  EXPECT_TRUE(probe->done.load());
  delete probe;
}

TEST(KernelClocks, CountersMoveForwardAndFileTimeIsNow) {
  EXPECT_GT(PerformanceFrequency(), 0);
  const int64_t a = PerformanceCounter();
  const uint32_t t0 = TickCountMs();
  SleepMs(20);
  const int64_t b = PerformanceCounter();
  const uint32_t t1 = TickCountMs();
  EXPECT_GT(b, a);
  EXPECT_GE(static_cast<uint32_t>(t1 - t0), 15u);
  EXPECT_LT(static_cast<uint32_t>(t1 - t0), 10000u);
  // 2020-01-01 and 2100-01-01 as file times bracket any clock this runs under.
  const int64_t ft = SystemTimeAsFileTime();
  EXPECT_GT(ft, 132'223'104'000'000'000);
  EXPECT_LT(ft, 157'469'184'000'000'000);
  EXPECT_TRUE(BeginTimerResolution1ms());
  EndTimerResolution1ms();
}

}  // namespace
