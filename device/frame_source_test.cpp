#include "device/frame_source.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <vector>

#include "device/source_test_host.h"
#include "engine/capture_base.h"

namespace {

constexpr int64_t kLongWait = 100'000'000;  // 10 s: only reached when a wake-up is lost

class FrameSourceTest : public ::testing::Test {
 protected:
  TFakeSourceHost host;
  TFrameSource source{&host};

  int64_t NewReader(const wchar_t* hints = nullptr) {
    int64_t id = 0;
    EXPECT_EQ(source.SourceFrameGetEx_I(&id, nullptr, 0, hints), S_OK);
    EXPECT_NE(id, 0);
    return id;
  }
  TReader::TState State(int64_t id) {
    TReader::TState s{};
    EXPECT_TRUE(source.ReaderState(id, &s));
    return s;
  }
  HRESULT Put(int64_t n, int32_t* waitCount = nullptr, uint32_t flags = 0, int64_t duration = 166667) {
    SourceFramePtr f = MakeNumberedFrame(n, duration, flags);
    return source.Source_PutFrame(f.Get(), 0, -1, nullptr, waitCount);
  }
  SourceFramePtr Read(int64_t id, HRESULT* hr, const wchar_t* hints = nullptr, int64_t timeout = 0) {
    ICVFrame_I* f = nullptr;
    *hr = source.SourceFrameGetEx_I(&id, &f, timeout, hints);
    return SourceFramePtr::Adopt(f);
  }
};

TEST_F(FrameSourceTest, FirstReadMakesDefaultReaderStartsDeviceAndTimesOut) {
  ICVFrame_I* f = nullptr;
  EXPECT_EQ(source.SourceFrameGet_I(&f, 0, nullptr), static_cast<HRESULT>(0x800705B4));
  EXPECT_EQ(f, nullptr);
  EXPECT_EQ(host.opens, 1);
  const int64_t def = source.DefaultReaderId();
  EXPECT_NE(def, 0);
  // Later callers without an id share it, and a running device is not opened again.
  EXPECT_EQ(source.SourceFrameGet_I(&f, 0, nullptr), static_cast<HRESULT>(0x800705B4));
  EXPECT_EQ(source.DefaultReaderId(), def);
  EXPECT_EQ(host.opens, 1);
}

TEST_F(FrameSourceTest, WithoutEngineTheReadFailsButTheReaderStays) {
  host.hasEngine = false;
  int64_t id = 0;
  ICVFrame_I* f = nullptr;
  EXPECT_EQ(source.SourceFrameGetEx_I(&id, &f, 0, nullptr), kDeviceNotAvailable);
  EXPECT_NE(id, 0);
  TReader::TState s{};
  EXPECT_TRUE(source.ReaderState(id, &s));
  EXPECT_EQ(source.SourceReaderOpen(&id), kDeviceNotAvailable);
}

TEST_F(FrameSourceTest, FirstFrameFollowsAGapAndCarriesLabels) {
  const int64_t id = NewReader();
  EXPECT_EQ(Put(0), S_OK);
  EXPECT_EQ(Put(1), S_OK);
  HRESULT hr;
  SourceFramePtr first = Read(id, &hr);
  ASSERT_EQ(hr, S_OK);
  EXPECT_EQ(FrameNumber(first.Get()), 0);
  EXPECT_TRUE(FrameFlags(first.Get()) & kFrameFlagGap);
  SourceFramePtr second = Read(id, &hr);
  ASSERT_EQ(hr, S_OK);
  EXPECT_EQ(FrameNumber(second.Get()), 1);
  EXPECT_FALSE(FrameFlags(second.Get()) & kFrameFlagGap);

  auto outer = [](ICVFrame_I* f) {
    void* p = nullptr;
    f->QueryInterface(IID_ICVFrame, &p);
    return TRefPtr<ICVFrame>::Adopt(static_cast<ICVFrame*>(p));
  };
  int64_t afpt = -1, wait = -1;
  EXPECT_EQ(outer(second.Get())->LabelGet(L"AFPT", &afpt), S_OK);
  EXPECT_EQ(outer(second.Get())->LabelGet(L"WAIT", &wait), S_OK);
  EXPECT_GE(afpt, 0);
  EXPECT_GE(wait, 0);
}

TEST_F(FrameSourceTest, ReadersGetCopiesNotTheDeliveredFrame) {
  const int64_t a = NewReader();
  const int64_t b = NewReader();
  SourceFramePtr delivered = MakeNumberedFrame(4);
  source.Source_PutFrame(delivered.Get(), 0, -1, nullptr, nullptr);
  HRESULT hr1, hr2;
  SourceFramePtr fa = Read(a, &hr1), fb = Read(b, &hr2);
  ASSERT_EQ(hr1, S_OK);
  ASSERT_EQ(hr2, S_OK);
  EXPECT_NE(fa.Get(), delivered.Get());
  EXPECT_NE(fa.Get(), fb.Get());
  // The gap mark went on the copies only.
  EXPECT_FALSE(FrameFlags(delivered.Get()) & kFrameFlagGap);
}

TEST_F(FrameSourceTest, FlushTakesNewestEmptiesQueueAndMarksGap) {
  const int64_t id = NewReader(L"buffers=5");
  Put(0);
  HRESULT hr;
  Read(id, &hr);  // clears the start gap
  ASSERT_EQ(hr, S_OK);
  Put(1);
  Put(2);
  Put(3);
  SourceFramePtr f = Read(id, &hr, L"Flush_Reader");
  ASSERT_EQ(hr, S_OK);
  EXPECT_EQ(FrameNumber(f.Get()), 3);
  EXPECT_TRUE(FrameFlags(f.Get()) & kFrameFlagGap);
  EXPECT_EQ(State(id).length, 0u);
  EXPECT_EQ(State(id).skipCount, 0);
}

TEST_F(FrameSourceTest, CapacityComesFromHintsOrTheTree) {
  host.root_->SetInt(L"output.buffers", 7);
  TReader::TState s = State(NewReader(L"sync_reader buffers = '5'"));
  EXPECT_EQ(s.maxFrames, 5u);
  EXPECT_TRUE(s.syncReader);
  s = State(NewReader(L"sync_reader"));
  EXPECT_EQ(s.maxFrames, 1u);
  s = State(NewReader(L"buffers=0"));
  EXPECT_EQ(s.maxFrames, 7u);
  EXPECT_FALSE(s.syncReader);
  host.root_->SetInt(L"output.buffers", 0);
  EXPECT_EQ(State(NewReader()).maxFrames, 1u);
  // The flags word of the inner face: synchronous, 4 buffers.
  int64_t id = 0;
  EXPECT_EQ(source.SourceFrameGetEx(&id, 0, nullptr, 0x01 | (4u << 8)), S_OK);
  s = State(id);
  EXPECT_EQ(s.maxFrames, 4u);
  EXPECT_TRUE(s.syncReader);
}

TEST_F(FrameSourceTest, FullQueueKeepsNewestAndCountsDrops) {
  const int64_t id = NewReader();  // three buffers by default
  for (int n = 0; n < 5; ++n) Put(n);
  EXPECT_EQ(State(id).skipCount, 1);  // -1 at the start, two drops
  HRESULT hr;
  for (int n = 2; n < 5; ++n) {
    SourceFramePtr f = Read(id, &hr);
    ASSERT_EQ(hr, S_OK);
    EXPECT_EQ(FrameNumber(f.Get()), n);
    EXPECT_EQ((FrameFlags(f.Get()) & kFrameFlagGap) != 0, n == 2);
  }
  EXPECT_EQ(Read(id, &hr).Get(), nullptr);
  EXPECT_EQ(hr, static_cast<HRESULT>(0x800705B4));
}

TEST_F(FrameSourceTest, RemoveReaderIsAnExactWord) {
  const int64_t a = NewReader();
  const int64_t b = NewReader();
  Put(0);
  HRESULT hr;
  SourceFramePtr f = Read(a, &hr, L"remove_reader please");
  EXPECT_EQ(hr, S_OK);  // no flags: an ordinary read
  EXPECT_NE(f.Get(), nullptr);
  Read(a, &hr, L"REMOVE_READER");
  EXPECT_EQ(hr, S_FALSE);  // another reader is left
  TReader::TState s{};
  EXPECT_FALSE(source.ReaderState(a, &s));
  EXPECT_EQ(host.closes, 0);
  Read(b, &hr, L"remove_reader");
  EXPECT_EQ(hr, S_OK);  // the device's close
  EXPECT_EQ(host.closes, 1);
}

TEST_F(FrameSourceTest, UnknownIdsAndCloseStatuses) {
  HRESULT hr;
  Read(12345, &hr);
  EXPECT_EQ(hr, kUnknownReader);
  EXPECT_EQ(source.SourceReaderClose(12345), kUnknownReader);
  EXPECT_EQ(source.SourceReaderOpen(nullptr), E_POINTER);

  ICVFrame_I* f = nullptr;
  source.SourceFrameGet_I(&f, 0, nullptr);
  const int64_t def = source.DefaultReaderId();
  const int64_t other = NewReader();
  EXPECT_EQ(source.SourceReaderClose(0), S_FALSE);  // 0: the default reader
  EXPECT_EQ(source.DefaultReaderId(), 0);
  EXPECT_EQ(source.SourceReaderClose(def), kUnknownReader);
  EXPECT_EQ(source.SourceReaderClose(other), S_OK);
  EXPECT_EQ(host.closes, 1);
  // Failures of the plain inner read come back as S_FALSE.
  ICVFrame* outer = nullptr;
  EXPECT_EQ(source.SourceFrameGet(0, &outer, 0), S_FALSE);
}

TEST_F(FrameSourceTest, ReaderClosedWhileAnotherThreadWaitsWakesItWithAbort) {
  const int64_t id = NewReader();
  HRESULT waited = S_OK;
  std::thread waiter([&] {
    int64_t mine = id;
    ICVFrame_I* f = nullptr;
    waited = source.SourceFrameGetEx_I(&mine, &f, kLongWait, nullptr);
    if (f) f->Release();
  });
  // The waiter may not have started its wait yet; the close must reach it either way.
  cvplat::SleepMs(20);
  EXPECT_EQ(source.SourceReaderClose(id), S_OK);
  waiter.join();
  EXPECT_EQ(waited, E_ABORT);
}

TEST_F(FrameSourceTest, StopWakesEveryWaiterAndRefusesFramesUntilANewRun) {
  std::vector<std::thread> waiters;
  std::vector<HRESULT> results(3, S_OK);
  std::vector<int64_t> ids;
  for (int i = 0; i < 3; ++i) ids.push_back(NewReader());
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&, i] {
      int64_t id = ids[i];
      ICVFrame_I* f = nullptr;
      results[i] = source.SourceFrameGetEx_I(&id, &f, kLongWait, nullptr);
      if (f) f->Release();
    });
  }
  cvplat::SleepMs(20);
  source.Stop();
  for (auto& t : waiters) t.join();
  for (HRESULT r : results) EXPECT_EQ(r, E_ABORT);
  EXPECT_EQ(Put(0), kSourceStopped);
  EXPECT_EQ(Put(1, nullptr, kFrameFlagGap | 0x10), kSourceStopped);
  EXPECT_EQ(Put(2, nullptr, kFrameFlagGap), S_FALSE);  // a new run, but nobody reads
  EXPECT_EQ(Put(3), S_FALSE);
}

TEST_F(FrameSourceTest, SynchronousReaderThatNeverReadsStopsDelayingAfterItsCycles) {
  host.root_->SetInt(L"pull_mode.put_wait", 2);
  host.root_->SetInt(L"pull_mode.wait_till_get", 0);
  const int64_t id = NewReader(L"sync_reader");
  int waits = 0, lastWait = -1;
  for (int n = 0; n < 30; ++n) {
    int32_t w = 0;
    // Frames of 1.5 ms keep each wait at a millisecond.
    EXPECT_EQ(Put(n, &w, kFrameFlagCounterStamps, 15000), S_OK);
    waits += w;
    lastWait = w;
  }
  // One wait per frame while the drops are below 15, counted from -1: sixteen in all.
  EXPECT_EQ(waits, 16);
  EXPECT_EQ(lastWait, 0);
  EXPECT_EQ(State(id).length, 1u);
}

TEST_F(FrameSourceTest, WithDefaultsASynchronousReaderDelaysNothing) {
  const int64_t id = NewReader(L"sync_reader");
  int waits = 0;
  for (int n = 0; n < 10; ++n) {
    int32_t w = 0;
    Put(n, &w, kFrameFlagCounterStamps);
    waits += w;
  }
  EXPECT_EQ(waits, 0);
  EXPECT_EQ(State(id).length, 1u);
  EXPECT_EQ(State(id).skipCount, 8);
}

TEST_F(FrameSourceTest, ProducerWaitsForAFirstReaderUnlessForbidden) {
  host.root_->SetInt(L"pull_mode.put_wait", 5);  // bit 4 forbids the wait: no limit would hang here
  int32_t w = -1, readers = -1;
  SourceFramePtr f = MakeNumberedFrame(0);
  EXPECT_EQ(source.Source_PutFrame(f.Get(), 0, -1, &readers, &w), S_FALSE);
  EXPECT_EQ(readers, 0);

  host.root_->SetInt(L"pull_mode.put_wait", 1);
  HRESULT put = S_OK;
  std::thread producer([&] { put = source.Source_PutFrame(f.Get(), 0, -1, &readers, &w); });
  cvplat::SleepMs(20);
  const int64_t id = NewReader();
  producer.join();
  EXPECT_EQ(put, S_OK);
  EXPECT_EQ(readers, 1);
  EXPECT_EQ(w, 1);
  EXPECT_EQ(State(id).length, 1u);
}

// The device puts with no limit of its own; the engine's Stop joins the capture thread with none either.
// So the stop signal of the capture thread has to end the wait for a first reader.
TEST_F(FrameSourceTest, CaptureThreadStopEndsTheWaitForAFirstReader) {
  host.root_->SetInt(L"pull_mode.put_wait", 1);
  const cvplat::KHandle stopSignal = cvplat::CreateEventObject(true, false);
  int32_t w = -1;
  std::future<HRESULT> put = std::async(std::launch::async, [&] {
    TCaptureStopScope scope(stopSignal);  // this thread plays the capture thread
    SourceFramePtr f = MakeNumberedFrame(0);  // no pull flag: the kind of frame that waits
    return source.Source_PutFrame(f.Get(), 0, -1, nullptr, &w);
  });
  cvplat::SleepMs(20);  // most likely inside the wait by now; set before it, the signal must count too
  cvplat::SetEventObject(stopSignal);
  const bool returned = put.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
  if (!returned) source.Stop();  // the only other way out, so that the test can end
  EXPECT_TRUE(returned) << "the capture thread's stop did not reach the wait for a first reader";
  EXPECT_EQ(put.get(), S_FALSE);  // the frame went on, to nobody
  EXPECT_EQ(w, 1);
  cvplat::CloseKernelHandle(stopSignal);
}

TEST_F(FrameSourceTest, LastFormatWaitsForADeliveryAfterOpen) {
  int64_t id = 0;
  EXPECT_EQ(source.SourceReaderOpen(&id), S_OK);
  EXPECT_NE(id, 0);
  EXPECT_EQ(host.opens, 1);
  TAvProps props{};
  EXPECT_EQ(source.SourceLastFormatGet(&props), kDeviceNotAvailable);
  Put(0);
  EXPECT_EQ(source.SourceLastFormatGet(&props), S_OK);
  EXPECT_EQ(props.video.width, 8);
  // A second open forgets it again.
  EXPECT_EQ(source.SourceReaderOpen(&id), S_OK);
  EXPECT_EQ(source.SourceLastFormatGet(&props), kDeviceNotAvailable);
}

TEST_F(FrameSourceTest, TwoThreadsReadingAtOnceStartTheDeviceOnce) {
  for (int round = 0; round < 20; ++round) {
    std::thread a([&] {
      ICVFrame_I* f = nullptr;
      int64_t id = 0;
      source.SourceFrameGetEx_I(&id, &f, 0, nullptr);
    });
    std::thread b([&] {
      ICVFrame_I* f = nullptr;
      source.SourceFrameGet_I(&f, 0, nullptr);
    });
    a.join();
    b.join();
    EXPECT_EQ(host.opens, round + 1);
    host.LastReaderLeft();
  }
}

}  // namespace
