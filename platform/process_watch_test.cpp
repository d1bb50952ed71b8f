#include "platform/process_watch.h"

#include <gtest/gtest.h>

#include "platform/process_spawn_test_support.h"
#include "platform/sim/process_watch_sim.h"

namespace {

using cvplat::ProcessHandle;

TEST(NativeProcessWatch, ThisProcessRunsAndIdsOfNoProcessDoNotOpen) {
  auto watch = cvplat::CreateNativeProcessWatch();
  const uint32_t self = watch->CurrentProcessId();
  ASSERT_NE(self, 0u);
  ProcessHandle h = watch->OpenForWait(self);
  ASSERT_NE(h, nullptr);
  EXPECT_TRUE(watch->StillRunning(h));
  watch->Close(h);

  // Ids that name no single process: none, and one far above any the system hands out.
  EXPECT_EQ(watch->OpenForWait(0), nullptr);
  EXPECT_EQ(watch->OpenForWait(0xFFFFFFF0u), nullptr);
  EXPECT_FALSE(watch->StillRunning(nullptr));
  watch->Close(nullptr);
}

TEST(NativeProcessWatch, ChildSeenRunningThenEnded) {
  auto watch = cvplat::CreateNativeProcessWatch();
  cvplat::TestChildProcess child;
  ASSERT_NE(child.Id(), 0u);
  ProcessHandle h = watch->OpenForWait(child.Id());
  ASSERT_NE(h, nullptr);
  EXPECT_TRUE(watch->StillRunning(h));
  EXPECT_TRUE(watch->StillRunning(h));  // a poll doesn't consume anything
  ASSERT_TRUE(child.End());
  // The handle was open before the end, so it tells of that end even after the child is reaped.
  EXPECT_FALSE(watch->StillRunning(h));
  EXPECT_FALSE(watch->StillRunning(h));
  watch->Close(h);
  // Opened again, the id gives nothing (Linux: reaped) or the ended process (Windows: the test still
  // holds its handle); neither may read as running.
  ProcessHandle again = watch->OpenForWait(child.Id());
  EXPECT_FALSE(watch->StillRunning(again));
  watch->Close(again);
}

TEST(SimProcessWatch, ScriptedLivesAndHandleCount) {
  auto sim = cvplat::CreateSimProcessWatch(7);
  EXPECT_EQ(sim->CurrentProcessId(), 7u);
  ProcessHandle self = sim->OpenForWait(7);
  ASSERT_NE(self, nullptr);
  EXPECT_TRUE(sim->StillRunning(self));

  EXPECT_EQ(sim->OpenForWait(100), nullptr);  // not started
  sim->StartProcess(100);
  ProcessHandle first = sim->OpenForWait(100);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(sim->OpenHandles(), 2);
  EXPECT_TRUE(sim->StillRunning(first));

  sim->EndProcess(100);
  EXPECT_FALSE(sim->StillRunning(first));
  EXPECT_EQ(sim->OpenForWait(100), nullptr);

  // The id used again is another process: the old handle still sees its own end.
  sim->StartProcess(100);
  ProcessHandle second = sim->OpenForWait(100);
  EXPECT_TRUE(sim->StillRunning(second));
  EXPECT_FALSE(sim->StillRunning(first));
  EXPECT_EQ(sim->Polls(), 5);

  sim->Close(first);
  sim->Close(second);
  sim->Close(self);
  sim->Close(nullptr);
  EXPECT_EQ(sim->OpenHandles(), 0);
}

}  // namespace
