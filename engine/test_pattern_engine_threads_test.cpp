#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "engine/engine_test_sink.h"
#include "engine/test_pattern_engine.h"

namespace {

using engine_test::FrameSink;
using engine_test::SmallTree;

// Host threads start, stop, restart and close one engine at random while its thread delivers frames.
// Whatever the interleaving, there is never more than one capture thread, numbering within a run has
// no gap, and the last Close leaves no thread.
TEST(TestPatternEngineThreads, HostThreadsDriveOneEngineWhileFramesFlow) {
  FrameSink sink;  // outlives the engine, whose thread calls into it
  XMLParse::XMLNodePtr root = SmallTree(L"HDYC", 60.0);
  TRefPtr<TTestPatternEngine> engine = MakeRef<TTestPatternEngine>();
  sink.engine = engine.Get();
  ASSERT_EQ(engine->Init(TPropertyTree(root.Get())), S_OK);

  constexpr int kThreads = 4;
  constexpr int kRounds = 40;
  std::atomic<int> failures{0};
  std::vector<std::thread> hosts;
  for (int t = 0; t < kThreads; ++t) {
    hosts.emplace_back([&, t] {
      uint32_t seed = 0x9E3779B9u * static_cast<uint32_t>(t + 1);
      for (int round = 0; round < kRounds; ++round) {
        seed = seed * 1664525u + 1013904223u;
        HRESULT hr = S_OK;
        switch ((seed >> 24) % 6) {
          case 0:
          case 1:
            hr = engine->Start(TAvProps{}, &sink, &FrameSink::Callback);
            break;
          case 2:
            hr = engine->Stop();
            break;
          case 3: {
            const wchar_t* memory = (seed & 0x100) ? L"ARGB" : L"HDYC";
            root->SetString(L"capture.memory_format", memory);
            hr = engine->OnPropertyChanged(L"capture.memory_format", memory);
            break;
          }
          case 4:
            hr = engine->Close();
            break;
          default: {
            TAvProps format{};
            engine->FormatCopy(&format);
            const int32_t state = engine->State();
            if (state != eEngineClosed && state != eEngineOpen && state != eEngineRunning) ++failures;
            break;
          }
        }
        if (FAILED(hr)) ++failures;
        std::this_thread::yield();
      }
    });
  }
  for (std::thread& host : hosts) host.join();

  // Whatever state the storm left, a final start delivers frames from 0.
  ASSERT_EQ(engine->Close(), S_OK);
  const size_t before = sink.FrameCount();
  ASSERT_EQ(engine->Start(TAvProps{}, &sink, &FrameSink::Callback), S_OK);
  ASSERT_TRUE(sink.WaitFrames(before + 3));
  EXPECT_EQ(sink.Frames()[before].counter, 0);
  ASSERT_EQ(engine->Close(), S_OK);
  sink.Seal();

  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(engine->State(), eEngineClosed);
  EXPECT_FALSE(engine->ThreadAlive());
  EXPECT_EQ(sink.MostAtOnce(), 1) << "two capture threads ran at once";
  EXPECT_EQ(sink.OutOfOrder(), 0);
  EXPECT_EQ(sink.Failures(), 0);
  EXPECT_EQ(sink.CallsAfterSeal(), 0);
}

// Stop and Start from many threads at once, while the callback refuses frames now and then, so that
// some starts find a failed engine whose thread is still leaving.
TEST(TestPatternEngineThreads, StartsAfterRefusedFramesWaitForTheOldThread) {
  FrameSink sink;  // outlives the engine, whose thread calls into it
  XMLParse::XMLNodePtr root = SmallTree(L"ARGB", 60.0);
  TRefPtr<TTestPatternEngine> engine = MakeRef<TTestPatternEngine>();
  sink.engine = engine.Get();
  ASSERT_EQ(engine->Init(TPropertyTree(root.Get())), S_OK);

  std::vector<std::thread> hosts;
  std::atomic<int> failures{0};
  for (int t = 0; t < 3; ++t) {
    hosts.emplace_back([&] {
      for (int round = 0; round < 15; ++round) {
        sink.RefuseAt(1);
        if (FAILED(engine->Start(TAvProps{}, &sink, &FrameSink::Callback))) ++failures;
        // Another host may stop the run first; then this wait just runs out.
        sink.WaitFrames(sink.FrameCount() + 1, std::chrono::seconds(1));
        if (FAILED(engine->Stop())) ++failures;
      }
    });
  }
  for (std::thread& host : hosts) host.join();
  const size_t before = sink.FrameCount();
  ASSERT_EQ(engine->Start(TAvProps{}, &sink, &FrameSink::Callback), S_OK);
  ASSERT_TRUE(sink.WaitFrames(before + 1));
  ASSERT_EQ(engine->Close(), S_OK);
  sink.Seal();

  EXPECT_EQ(failures.load(), 0);
  EXPECT_FALSE(engine->ThreadAlive());
  EXPECT_EQ(sink.MostAtOnce(), 1);
  EXPECT_EQ(sink.OutOfOrder(), 0);
  EXPECT_EQ(sink.CallsAfterSeal(), 0);
}

// Code run by the frame callback may wait with no limit of its own, as the frame source's wait for a
// first reader does. The capture thread's stop signal has to end that wait, or Stop, which joins the
// thread, never returns.
TEST(TestPatternEngineThreads, StopReachesAWaitInsideTheFrameCallback) {
  struct WaitingSink {
    cvplat::KHandle entered = cvplat::CreateEventObject(true, false);
    cvplat::KHandle backstop = cvplat::CreateEventObject(true, false);  // set only by the watchdog below
    std::atomic<bool> hadSignal{false};
    ~WaitingSink() {
      cvplat::CloseKernelHandle(entered);
      cvplat::CloseKernelHandle(backstop);
    }
    static HRESULT Callback(void* context, ICVFrame_I* frame, int64_t, const wchar_t*) {
      auto* self = static_cast<WaitingSink*>(context);
      if (!frame) return S_FALSE;
      const cvplat::KHandle stop = CaptureStopSignal();
      self->hadSignal = stop != nullptr;
      cvplat::SetEventObject(self->entered);
      const cvplat::KHandle handles[2] = {self->backstop, stop};
      cvplat::WaitForAny(stop ? 2 : 1, handles, cvplat::kInfinite);
      return S_OK;
    }
  };
  EXPECT_EQ(CaptureStopSignal(), nullptr);  // a host thread has none

  WaitingSink sink;  // outlives the engine, whose thread calls into it
  XMLParse::XMLNodePtr root = SmallTree();
  TRefPtr<TTestPatternEngine> engine = MakeRef<TTestPatternEngine>();
  ASSERT_EQ(engine->Init(TPropertyTree(root.Get())), S_OK);
  for (int run = 0; run < 2; ++run) {  // the second run must not find the first one's stop still set
    cvplat::ResetEventObject(sink.entered);
    ASSERT_EQ(engine->Start(TAvProps{}, &sink, &WaitingSink::Callback), S_OK);
    ASSERT_EQ(cvplat::WaitForOne(sink.entered, 20000), cvplat::kWaitObject0);
    EXPECT_TRUE(sink.hadSignal);
    std::future<HRESULT> stop = std::async(std::launch::async, [&] { return engine->Stop(); });
    const bool returned = stop.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    if (!returned) cvplat::SetEventObject(sink.backstop);  // frees the thread so that the test can end
    EXPECT_TRUE(returned) << "Stop did not reach the wait inside the frame callback";
    EXPECT_EQ(stop.get(), S_OK);
    EXPECT_FALSE(engine->ThreadAlive());
  }
  ASSERT_EQ(engine->Close(), S_OK);
}

}  // namespace
