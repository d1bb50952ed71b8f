// Frames shared between threads: every record a reader sees must be one that a writer wrote whole.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "framelib/frame_test_helpers.h"

namespace {

// Starts `count` threads on `body(index)` at the same moment and joins them.
template <class Body>
void RunTogether(int count, Body body) {
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&, i] {
      while (!go.load(std::memory_order_acquire)) std::this_thread::yield();
      body(i);
    });
  }
  go.store(true, std::memory_order_release);
  for (std::thread& t : threads) t.join();
}

// Must run first in its process (each test runs in a process of its own): the race is on the first use.
TEST(FrameThreads, FactoryIsMadeOnceWhenManyThreadsAskAtOnce) {
  constexpr int kThreads = 8;
  std::vector<ICVFactory*> seen(kThreads, nullptr);
  RunTogether(kThreads, [&](int i) { seen[static_cast<size_t>(i)] = GetFrameFactory(); });
  for (ICVFactory* f : seen) {
    EXPECT_EQ(f, seen[0]);
    f->Release();
  }
}

TEST(FrameThreads, ReadersSeeWholeRecordsWhileWritersChangeThem) {
  FramePtr frame = MakeFrame(kColourRGB32, 16, -8);
  auto factory = Factory();
  constexpr int kRounds = 2000;
  std::atomic<int> torn{0};

  // Two formats of one picture size, two sound layouts whose bytes follow the channel count.
  TAvProps wide{}, tall{};
  frame->FormatGet(&wide, nullptr);
  tall = wide;
  tall.video.width = 8;
  tall.video.height = -16;
  tall.video.rowBytes = 0;
  const TAudioProps mono{1, 48000, 16, 4};
  const TAudioProps stereo{2, 48000, 16, 3};

  RunTogether(6, [&](int role) {
    auto host = Query<ICVFrame>(frame.Get(), IID_ICVFrame);
    auto values = Query<ICVNamedValues>(frame.Get(), IID_ICVNamedValues);
    for (int n = 0; n < kRounds; ++n) {
      switch (role) {
        case 0: {  // time writer: a record whose fields all follow from n
          TFrameTime t = Stamp(n, n + 1, static_cast<uint32_t>(n));
          t.frames = n;
          frame->TimeSet(&t);
          break;
        }
        case 1:  // format and sound writer
          frame->FormatSet(n % 2 ? &wide : &tall, nullptr);
          frame->AudioSet(n % 2 ? &mono : &stereo, n % 2 ? 200 : 400, 0, 0);
          break;
        case 2:  // label and value writer
          frame->LabelSet(L"AFPT", 0, n);
          values->ValueSet(n % 2 ? L"dup" : L"other", n);
          values->ValueRemove(n % 2 ? L"other" : L"dup");
          break;
        case 3: {  // reader through the host's view
          TFrameTime t{};
          host->TimeGet(&t);
          if (t.startTime != kNoTime && (t.endTime != t.startTime + 1 || t.frames != t.startTime)) ++torn;
          TAvProps p{};
          host->FormatGet(&p);
          if (p.video.width * -p.video.height != 128 || p.video.rowBytes != p.video.width * 4) ++torn;
          int64_t size = 0, label = 0;
          uint8_t* bytes = nullptr;
          host->BytesGet(&size, &bytes);
          if (size != 512 || !bytes) ++torn;
          if (host->LabelGet(L"AFPT", &label) == S_OK && (label < 0 || label >= kRounds)) ++torn;
          break;
        }
        case 4: {  // reader of the component's view: sound record and sample bytes agree
          TAvProps p{};
          int32_t audioBytes = 0;
          frame->FormatGet(&p, &audioBytes);
          if (p.audio.channels != 0 && audioBytes != 200 * p.audio.channels) ++torn;
          int64_t v = 0;
          values->ValueGet(L"dup", &v);
          break;
        }
        case 5: {  // a reader thread cloning what it gets
          ICVFrame_I* raw = nullptr;
          if (factory->FrameClone(frame.Get(), &raw, kFrameCloneOwned, 0) != S_OK) {
            ++torn;
            break;
          }
          FramePtr clone = FramePtr::Adopt(raw);
          TFrameTime t{};
          clone->TimeGet(&t);
          if (t.startTime != kNoTime && t.endTime != t.startTime + 1) ++torn;
          TAvProps p{};
          int32_t audioBytes = 0;
          clone->FormatGet(&p, &audioBytes);
          if (p.audio.channels != 0 && audioBytes != 200 * p.audio.channels) ++torn;
          uint8_t* samples = nullptr;
          for (int c = 0; c < p.audio.channels; ++c) {
            if (clone->AudioChannelGet(c, kAudioChannelRead, nullptr, &samples) != S_OK) ++torn;
          }
          break;
        }
      }
    }
  });
  EXPECT_EQ(torn.load(), 0);
}

TEST(FrameThreads, LastReleaseOnAnyThreadDeletesOnce) {
  constexpr int kThreads = 6;
  for (int round = 0; round < 50; ++round) {
    ICVFrame_I* frame = MakeFrame().Detach();
    for (int i = 0; i < kThreads; ++i) frame->AddRef();
    frame->Release();  // the threads now hold every reference
    std::atomic<int> zeros{0};
    RunTogether(kThreads, [&](int) {
      for (int n = 0; n < 100; ++n) {
        auto host = Query<ICVFrame>(frame, IID_ICVFrame);
        host->AddRef();
        host->Release();
      }
      if (frame->Release() == 0) ++zeros;
    });
    EXPECT_EQ(zeros.load(), 1);
  }
}

}  // namespace
