#include "media/worker_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "media/timed_wait.h"

using namespace cvplat;

namespace {

// A worker body of the usual form: loop while running, sleeping on the wake event.
struct Poller {
  TWorkerThread worker;
  std::atomic<int> passes{0};
  std::atomic<int> ended{0};
  std::atomic<bool> apartment{false};

  static uint32_t CV_THREADCALL Body(void* context) {
    auto* self = static_cast<Poller*>(context);
    TApartmentScope scope;
    self->apartment = scope.Entered();
    while (self->worker.IsRunning()) {
      ++self->passes;
      WaitForOne(self->worker.WakeEvent(), 60'000);
    }
    ++self->ended;
    return 0;
  }
};

TEST(WorkerThread, StartQueryStop) {
  Poller p;
  EXPECT_EQ(p.worker.Start(nullptr, &Poller::Body), E_INVALIDARG);
  EXPECT_EQ(p.worker.Start(&p, nullptr), E_INVALIDARG);
  EXPECT_EQ(p.worker.Query(), TWorkerThread::kNoThread);
  EXPECT_EQ(p.worker.Stop(), S_FALSE);

  ASSERT_EQ(p.worker.Start(&p, &Poller::Body), S_OK);
  KHandle handle = nullptr;
  EXPECT_EQ(p.worker.Query(&handle), TWorkerThread::kRunning);
  EXPECT_NE(handle, nullptr);
  // The body sleeps on its wake event for a minute; Stop must end that sleep, not wait it out.
  EXPECT_EQ(p.worker.Stop(10'000), S_OK);
  EXPECT_EQ(p.ended.load(), 1);
  EXPECT_TRUE(p.apartment.load());
  EXPECT_EQ(p.worker.Query(), TWorkerThread::kNoThread);
  EXPECT_EQ(p.worker.Stop(), S_FALSE);
}

// Another thread asks whether the worker lives while its owner stops it (a capture loop asking about its
// sound thread while the host switches the sound device): the one that sees the end must not close the
// handle that Stop is waiting on. The sanitizers' build catches the race; here the stops must all end.
TEST(WorkerThread, QueriesDuringAStopLeaveItsWaitAlone) {
  for (int round = 0; round < 50; ++round) {
    Poller p;
    ASSERT_EQ(p.worker.Start(&p, &Poller::Body), S_OK);
    std::atomic<bool> asking{true};
    std::thread asker([&] {
      while (asking.load()) p.worker.Query();
    });
    EXPECT_EQ(p.worker.Stop(10'000), S_OK);
    asking = false;
    asker.join();
    EXPECT_EQ(p.worker.Query(), TWorkerThread::kNoThread);
    EXPECT_EQ(p.ended.load(), 1);
  }
}

TEST(WorkerThread, StartOnARunningWrapperReplacesTheThread) {
  Poller p;
  ASSERT_EQ(p.worker.Start(&p, &Poller::Body), S_OK);
  while (p.passes.load() == 0) SleepMs(1);
  ASSERT_EQ(p.worker.Start(&p, &Poller::Body), S_OK);
  EXPECT_EQ(p.ended.load(), 1) << "the old thread ended before the new one began";
  EXPECT_EQ(p.worker.Query(), TWorkerThread::kRunning);
  EXPECT_EQ(p.worker.Stop(), S_OK);
  EXPECT_EQ(p.ended.load(), 2);
}

struct SelfStopper {
  TWorkerThread worker;
  std::atomic<HRESULT> result{S_OK};
  std::atomic<bool> runningAfter{true};
  std::atomic<HRESULT> restart{S_OK};

  static uint32_t CV_THREADCALL Body(void* context) {
    auto* self = static_cast<SelfStopper*>(context);
    self->result = self->worker.Stop();
    self->runningAfter = self->worker.IsRunning();
    self->restart = self->worker.Start(self, &Body);
    return 0;
  }
};

TEST(WorkerThread, AThreadCannotStopOrRestartItself) {
  SelfStopper s;
  ASSERT_EQ(s.worker.Start(&s, &SelfStopper::Body), S_OK);
  KHandle handle = nullptr;
  s.worker.Query(&handle);
  if (handle) WaitForOne(handle, 10'000);
  EXPECT_EQ(static_cast<uint32_t>(s.result.load()), 0x80070610u);
  EXPECT_FALSE(s.runningAfter.load());
  EXPECT_EQ(static_cast<uint32_t>(s.restart.load()), 0x80070050u);
  EXPECT_EQ(s.worker.Stop(), S_FALSE) << "the thread has ended by now and is reaped";
}

struct Stubborn {
  TWorkerThread worker;
  KHandle release = CreateEventObject(true, false);
  ~Stubborn() { CloseKernelHandle(release); }

  // Ignores the run flag until released: a body that is slow to notice a stop.
  static uint32_t CV_THREADCALL Body(void* context) {
    auto* self = static_cast<Stubborn*>(context);
    WaitForOne(self->release, 60'000);
    return 0;
  }
};

TEST(WorkerThread, StopThatRunsOutLeavesAThreadToldToStop) {
  Stubborn s;
  ASSERT_EQ(s.worker.Start(&s, &Stubborn::Body), S_OK);
  EXPECT_EQ(static_cast<uint32_t>(s.worker.Stop(10)), 0x800705B4u);
  EXPECT_EQ(s.worker.Query(), TWorkerThread::kStopping);
  SetEventObject(s.release);
  // S_OK if Stop saw the thread end, S_FALSE if it had already ended and Stop only reaped it.
  const HRESULT hr = s.worker.Stop();
  EXPECT_TRUE(hr == S_OK || hr == S_FALSE) << hr;
  EXPECT_EQ(s.worker.Query(), TWorkerThread::kNoThread);
}

#if !defined(_WIN32)
// On Windows this warning is a system-modal message box, which no test may raise.
TEST(WorkerThread, DestructorReportsAndStopsALiveThread) {
  testing::internal::CaptureStderr();
  auto* p = new Poller;
  ASSERT_EQ(p->worker.Start(p, &Poller::Body), S_OK);
  std::atomic<int>* ended = &p->ended;
  // The destructor of the wrapper runs first, while the rest of the owner is still intact.
  p->worker.~TWorkerThread();
  const std::string text = testing::internal::GetCapturedStderr();
  EXPECT_NE(text.find("WARNING !!! Thread not stopped."), std::string::npos) << text;
  EXPECT_EQ(ended->load(), 1);
  new (&p->worker) TWorkerThread;
  delete p;
}
#endif

}  // namespace
