#include "device/external_impl.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/process_spawn_test_support.h"
#include "platform/sim/process_watch_sim.h"

namespace {

using cvplat::KHandle;

// Waits long beyond the 200 ms period: a slow machine must not fail a test, and no test asserts a time.
constexpr uint32_t kGenerousMs = 5000;

class TExternalObject final : public ICVExternalImpl {
 public:
  explicit TExternalObject(std::shared_ptr<cvplat::IProcessWatch> processes)
      : ICVExternalImpl(std::move(processes)) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    if (object) *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

KHandle EventOf(ICVExternal& external, HRESULT* status = nullptr) {
  int64_t raw = 0;
  const HRESULT hr = external.ProcessCheck(&raw);
  if (status) *status = hr;
  return reinterpret_cast<KHandle>(static_cast<intptr_t>(raw));
}

bool IsSet(KHandle event) { return cvplat::WaitForOne(event, 0) == cvplat::kWaitObject0; }

bool WaitThreadGone(TExternalObject& object) {
  for (uint32_t waited = 0; waited < kGenerousMs; waited += 10) {
    if (!object.WatchThreadAlive()) return true;
    cvplat::SleepMs(10);
  }
  return false;
}

class ExternalTest : public ::testing::Test {
 protected:
  std::shared_ptr<cvplat::SimProcessWatch> sim = cvplat::CreateSimProcessWatch(77);
};

TEST_F(ExternalTest, NewObjectHasNothingWatchedAndASignalledEvent) {
  TExternalObject object(sim);
  uint32_t id = 0;
  EXPECT_EQ(object.ProcessIdGet(&id), S_OK);
  EXPECT_EQ(id, 77u);
  EXPECT_EQ(object.ProcessIdGet(nullptr), E_POINTER);

  HRESULT hr = E_FAIL;
  KHandle event = EventOf(object, &hr);
  EXPECT_EQ(hr, S_FALSE);
  ASSERT_NE(event, nullptr);
  EXPECT_TRUE(IsSet(event));
  // The same event on every call, and a null out argument is allowed.
  EXPECT_EQ(EventOf(object), event);
  EXPECT_EQ(object.ProcessCheck(nullptr), S_FALSE);
  EXPECT_FALSE(object.WatchThreadAlive());
}

TEST_F(ExternalTest, AttachCountsDetachesAndTheEventFollowsTheMap) {
  TExternalObject object(sim);
  sim->StartProcess(10);
  sim->StartProcess(11);
  KHandle event = EventOf(object);

  EXPECT_EQ(object.ProcessDetach(10), CV_E_NOT_FOUND);  // never attached: the event stays set
  EXPECT_TRUE(IsSet(event));

  EXPECT_EQ(object.ProcessAttach(10), S_OK);
  EXPECT_FALSE(IsSet(event));
  EXPECT_EQ(object.ProcessAttach(10), S_FALSE);
  EXPECT_EQ(object.ProcessAttach(11), S_OK);
  EXPECT_EQ(sim->OpenHandles(), 2);  // one handle per id, however often attached
  EXPECT_TRUE(object.WatchThreadAlive());

  EXPECT_EQ(object.ProcessDetach(12), CV_E_NOT_FOUND);  // unknown: the event stays reset
  EXPECT_FALSE(IsSet(event));

  EXPECT_EQ(object.ProcessDetach(10), S_OK);  // one attach of 10 remains
  EXPECT_EQ(object.ProcessCheck(nullptr), S_OK);
  EXPECT_EQ(object.ProcessDetach(11), S_OK);
  EXPECT_FALSE(IsSet(event));
  EXPECT_EQ(sim->OpenHandles(), 1);
  EXPECT_EQ(object.ProcessDetach(10), S_OK);
  EXPECT_TRUE(IsSet(event));
  EXPECT_EQ(sim->OpenHandles(), 0);
  EXPECT_EQ(object.ProcessDetach(10), CV_E_NOT_FOUND);

  // With the map empty the loop ends on its next check.
  EXPECT_TRUE(WaitThreadGone(object));
}

TEST_F(ExternalTest, EndedProcessLeavesWhateverItsCountAndTheWatchStartsAgain) {
  TExternalObject object(sim);
  sim->StartProcess(20);
  sim->StartProcess(21);
  KHandle event = EventOf(object);

  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    EXPECT_EQ(object.ProcessAttach(20), S_OK);
    EXPECT_EQ(object.ProcessAttach(20), S_FALSE);
    EXPECT_EQ(object.ProcessAttach(20), S_FALSE);
    EXPECT_FALSE(IsSet(event));

    sim->EndProcess(20);
    ASSERT_EQ(cvplat::WaitForOne(event, kGenerousMs), cvplat::kWaitObject0);
    EXPECT_EQ(object.ProcessDetach(20), CV_E_NOT_FOUND);
    EXPECT_EQ(sim->OpenHandles(), 0);
    EXPECT_TRUE(WaitThreadGone(object));

    sim->StartProcess(20);  // the same id, a new process, for the next round
  }

  // Only the ended one goes; the check keeps the one that runs.
  EXPECT_EQ(object.ProcessAttach(20), S_OK);
  EXPECT_EQ(object.ProcessAttach(21), S_OK);
  sim->EndProcess(20);
  EXPECT_EQ(object.ProcessCheck(nullptr), S_OK);
  EXPECT_EQ(object.ProcessDetach(20), CV_E_NOT_FOUND);
  EXPECT_EQ(object.ProcessDetach(21), S_OK);
  EXPECT_TRUE(IsSet(event));
}

TEST_F(ExternalTest, IdThatCannotBeOpenedIsTakenAndDroppedAtTheNextCheck) {
  TExternalObject object(sim);
  KHandle event = EventOf(object);
  EXPECT_EQ(object.ProcessAttach(999), S_OK);  // no such process
  EXPECT_FALSE(IsSet(event));
  EXPECT_EQ(object.ProcessAttach(999), S_FALSE);
  ASSERT_EQ(cvplat::WaitForOne(event, kGenerousMs), cvplat::kWaitObject0);
  EXPECT_EQ(object.ProcessDetach(999), CV_E_NOT_FOUND);
}

TEST_F(ExternalTest, DestructionWhileWatchingStopsTheThreadAndClosesEveryHandle) {
  {
    TExternalObject object(sim);
    for (uint32_t id = 30; id < 35; ++id) {
      sim->StartProcess(id);
      EXPECT_EQ(object.ProcessAttach(id), S_OK);
    }
    EXPECT_EQ(sim->OpenHandles(), 5);
    EXPECT_TRUE(object.WatchThreadAlive());
  }
  EXPECT_EQ(sim->OpenHandles(), 0);
}

TEST_F(ExternalTest, HostThreadsAttachAndDetachWhileTheWatchPolls) {
  TExternalObject object(sim);
  constexpr uint32_t kThreads = 4;
  for (uint32_t t = 0; t < kThreads; ++t) sim->StartProcess(100 + t);
  sim->StartProcess(200);  // ends half way, while others come and go
  KHandle event = EventOf(object);
  ASSERT_EQ(object.ProcessAttach(200), S_OK);

  std::atomic<int> failures{0};
  std::vector<std::thread> hosts;
  for (uint32_t t = 0; t < kThreads; ++t) {
    hosts.emplace_back([&, t] {
      for (int i = 0; i < 300; ++i) {
        if (FAILED(object.ProcessAttach(100 + t))) ++failures;
        if (object.ProcessCheck(nullptr) != S_OK) ++failures;  // this thread's own id is in the map
        if (object.ProcessDetach(100 + t) != S_OK) ++failures;
        if (i % 50 == 0) cvplat::SleepMs(1);
      }
    });
  }
  cvplat::SleepMs(50);
  sim->EndProcess(200);
  for (auto& h : hosts) h.join();
  EXPECT_EQ(failures.load(), 0);
  ASSERT_EQ(cvplat::WaitForOne(event, kGenerousMs), cvplat::kWaitObject0);
  EXPECT_EQ(object.ProcessCheck(nullptr), S_FALSE);
  EXPECT_EQ(sim->OpenHandles(), 0);
}

TEST(ExternalOnThisMachine, RealChildThatEndsLeavesTheWatch) {
  TExternalObject object(cvplat::CreateNativeProcessWatch());
  cvplat::TestChildProcess child;
  ASSERT_NE(child.Id(), 0u);
  KHandle event = EventOf(object);
  ASSERT_EQ(object.ProcessAttach(child.Id()), S_OK);
  ASSERT_EQ(object.ProcessAttach(child.Id()), S_FALSE);
  EXPECT_EQ(object.ProcessCheck(nullptr), S_OK);  // it runs
  EXPECT_FALSE(IsSet(event));

  ASSERT_TRUE(child.End());
  ASSERT_EQ(cvplat::WaitForOne(event, kGenerousMs), cvplat::kWaitObject0);
  EXPECT_EQ(object.ProcessDetach(child.Id()), CV_E_NOT_FOUND);
  EXPECT_TRUE(WaitThreadGone(object));

  // This process itself is watched until it is detached.
  uint32_t self = 0;
  ASSERT_EQ(object.ProcessIdGet(&self), S_OK);
  EXPECT_EQ(object.ProcessAttach(self), S_OK);
  EXPECT_EQ(object.ProcessCheck(nullptr), S_OK);
  EXPECT_EQ(object.ProcessDetach(self), S_OK);
  EXPECT_TRUE(IsSet(event));
}

}  // namespace
