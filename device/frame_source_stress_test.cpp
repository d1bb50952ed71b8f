// Readers that join, read, flush and leave at random while the producer delivers at 60 frames a second
// and another thread keeps changing the pull-mode properties. Ends without deadlock or leak, and every
// reader sees its frame numbers rise.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "device/frame_source.h"
#include "device/source_test_host.h"

namespace {

constexpr int64_t kFrame = 166667;  // 100 ns units at 60 frames a second
constexpr uint32_t kRunMs = 3000;

TEST(FrameSourceStress, ReadersComeAndGoWhileTheProducerRuns) {
  TFakeSourceHost host;
  TFrameSource source(&host);
  std::atomic<bool> done{false};
  std::atomic<int64_t> framesRead{0};
  std::atomic<int> orderFaults{0};

  std::thread producer([&] {
    for (int64_t n = 0; !done; ++n) {
      SourceFramePtr f = MakeNumberedFrame(n, kFrame, n == 0 ? kFrameFlagGap : 0);
      // Bounded waits, so that a reader that never reads cannot hold the test.
      source.Source_PutFrame(f.Get(), 0, 200000, nullptr, nullptr);
      cvplat::SleepMs(16);
    }
  });

  std::thread props([&] {
    std::mt19937 rng(7);
    while (!done) {
      host.root_->SetInt(L"pull_mode.put_wait", static_cast<int32_t>(rng() % 6));
      host.root_->SetInt(L"pull_mode.wait_till_get", static_cast<int32_t>(rng() % 5));
      host.root_->SetInt(L"pull_mode.cycles_before_disconnect", static_cast<int32_t>(rng() % 20));
      host.root_->SetInt(L"output.buffers", static_cast<int32_t>(1 + rng() % 5));
      host.root_->SetInt(L"pull_mode.output_type", static_cast<int32_t>(rng() % 3));
      cvplat::SleepMs(3);
    }
  });

  std::vector<std::thread> readers;
  for (int r = 0; r < 8; ++r) {
    readers.emplace_back([&, r] {
      std::mt19937 rng(100 + r);
      const wchar_t* joinHints[] = {nullptr, L"sync_reader", L"buffers=4", L"sync_reader buffers=2"};
      while (!done) {
        int64_t id = 0;
        source.SourceFrameGetEx_I(&id, nullptr, 0, joinHints[rng() % 4]);
        int64_t last = -1;
        const int reads = static_cast<int>(rng() % 20);
        for (int i = 0; i < reads && !done; ++i) {
          ICVFrame_I* f = nullptr;
          const wchar_t* hints = (rng() % 4 == 0) ? L"flush_reader" : nullptr;
          const int64_t timeout = static_cast<int64_t>(rng() % 40) * 10000;
          if (source.SourceFrameGetEx_I(&id, &f, timeout, hints) == S_OK) {
            const int64_t n = FrameNumber(f, kFrame);
            if (n <= last) ++orderFaults;
            last = n;
            ++framesRead;
            f->Release();
          }
          if (rng() % 8 == 0) cvplat::SleepMs(static_cast<uint32_t>(rng() % 40));  // a slow reader
        }
        if (rng() % 2) {
          source.SourceReaderClose(id);
        } else {
          source.SourceFrameGetEx_I(&id, nullptr, 0, L"remove_reader");
        }
      }
    });
  }

  cvplat::SleepMs(kRunMs);
  done = true;
  for (auto& t : readers) t.join();
  props.join();
  producer.join();

  EXPECT_EQ(orderFaults, 0);
  EXPECT_GT(framesRead, 0);
  // Nothing is left wedged: a new reader gets the next frame.
  int64_t id = 0;
  ASSERT_EQ(source.SourceFrameGetEx_I(&id, nullptr, 0, nullptr), S_OK);
  SourceFramePtr f = MakeNumberedFrame(1000000, kFrame);
  EXPECT_EQ(source.Source_PutFrame(f.Get(), 0, 0, nullptr, nullptr), S_OK);
  ICVFrame_I* got = nullptr;
  ASSERT_EQ(source.SourceFrameGetEx_I(&id, &got, 0, nullptr), S_OK);
  EXPECT_EQ(FrameNumber(got, kFrame), 1000000);
  got->Release();
  source.Stop();
}

// Callers without a reader id race threads that keep closing the default reader. A caller that finds
// its default reader gone makes (or shares) a new one: it never hears that the reader is unknown.
TEST(FrameSourceStress, DefaultReaderClosedUnderACallerWithoutAnId) {
  TFakeSourceHost host;
  TFrameSource source(&host);
  std::atomic<bool> done{false};
  std::atomic<int> unknown{0}, otherFailures{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      while (!done) {
        ICVFrame_I* f = nullptr;
        // Only makes the reader, or reads with a poll: both must find or make the default reader.
        const HRESULT hr = source.SourceFrameGet_I(t % 2 == 0 ? nullptr : &f, 0, nullptr);
        if (f) f->Release();
        if (hr == kUnknownReader) {
          ++unknown;
        } else if (t % 2 == 0 && hr != S_OK) {
          ++otherFailures;  // a reader is all it asks for, and one is always made
        }
      }
    });
  }
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      while (!done) source.SourceReaderClose(0);
    });
  }
  cvplat::SleepMs(1000);
  done = true;
  for (auto& t : threads) t.join();
  EXPECT_EQ(unknown, 0);
  EXPECT_EQ(otherFailures, 0);
}

}  // namespace
