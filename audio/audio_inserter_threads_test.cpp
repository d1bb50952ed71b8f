#include "audio/audio_inserter.h"

#include <gtest/gtest.h>

#include <cmath>

#include "audio/inserter_test_support.h"

namespace {

using namespace inserter_test;
using cvplat::AudioFlow;
using cvplat::SimAudio;

int64_t FrameStart(int64_t n) { return std::llround(double(n) * kTimeUnitsPerSecond / 30.0); }

double MeanSquare(const std::vector<float>& samples) {
  double sum = 0;
  for (float v : samples) sum += double(v) * v;
  return samples.empty() ? 0.0 : sum / double(samples.size());
}

struct DriftRun {
  int frames = 0;
  int silent = 0;            // frames after the first that went out without samples
  int silentNotAfterCut = 0;  // of those, the ones whose previous frame wasn't cut, start-up aside
  int cuts = 0;
  int64_t shares = 0;        // samples of all frames, silent or not
  int64_t taken = 0;         // samples that went into frames
  int64_t cutAway = 0;
  int64_t beforeFirst = 0;   // delivered before the first frame gave the buffer its format
  int64_t delivered = 0;
  int64_t left = 0;
  int64_t mostBefore = 0;    // stored, before a join
  int64_t mostAfter = 0;     // and after it
};

// Ten simulated minutes at 30 frames a second over an endpoint whose clock runs `drift` fast. Each
// frame is joined once the clock has reached its end, when its sound has been played.
DriftRun TenMinutes(double drift) {
  DriftRun run;
  auto sim = SimAudio::Create();
  const std::wstring mic = sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
  sim->SetDrift(mic, drift);
  TRefPtr<TAudioInserter> inserter = MakeRef<TAudioInserter>(sim);
  EXPECT_EQ(SwitchAudioDevice(inserter.Get(), L"Mic", kRequest, nullptr), S_OK);
  EXPECT_TRUE(sim->WaitStarted(mic, 10000));

  bool previousCut = false;
  for (int64_t n = 0; n < 30 * 600; ++n, ++run.frames) {
    sim->Advance(FrameStart(n + 1) - sim->Now());
    if (!sim->WaitDrained(10000)) {
      ADD_FAILURE() << "the capture thread stopped taking packets at frame " << n;
      break;
    }
    if (n == 0) run.beforeFirst = sim->Counters(mic).frames;
    const int64_t before = inserter->StoredSamples();
    FramePtr frame = MakeFrame(FrameStart(n), FrameStart(n + 1), n == 0 ? kFrameFlagGap : 0);
    const HRESULT hr = inserter->JoinAudio(frame.Get(), true, nullptr, TAudioInserter::kFrameWait);
    const std::vector<float> left = Channel(frame.Get(), 0);
    const std::vector<float> right = Channel(frame.Get(), 1);
    const int64_t share = int64_t(left.size());
    EXPECT_TRUE(share >= 1599 && share <= 1601) << n << ": " << share;
    EXPECT_EQ(right.size(), left.size());
    run.shares += share;

    const bool cut = n > 0 && before > 3 * share;
    if (n == 0 || hr != S_OK) {
      EXPECT_TRUE(n == 0 ? hr == S_OK : hr == CV_E_TIMEOUT) << n << ": " << std::hex << hr;
      EXPECT_EQ(MeanSquare(left), 0.0) << n;
      if (n > 0) {
        ++run.silent;
        if (!previousCut && n > 1) ++run.silentNotAfterCut;
      }
    } else {
      // The tone of the sim: amplitude 0.5 on the left, 0.25 on the right.
      EXPECT_NEAR(MeanSquare(left), 0.125, 0.125 * 0.05) << n;
      EXPECT_NEAR(MeanSquare(right), 0.03125, 0.03125 * 0.05) << n;
      run.taken += share;
      if (cut) {
        ++run.cuts;
        run.cutAway += before - (share + 3);
      }
    }
    previousCut = cut;
    run.mostBefore = std::max(run.mostBefore, before);
    run.mostAfter = std::max(run.mostAfter, inserter->StoredSamples());
  }
  run.left = inserter->StoredSamples();
  run.delivered = sim->Counters(mic).frames;
  inserter->StopCapture(true);
  return run;
}

void ExpectWithinLimits(const DriftRun& run) {
  EXPECT_EQ(run.frames, 18000);
  // Every frame carries its share; the count owes the next frame the part of a sample that its time
  // truncated to whole 100 ns units left over, so a run can end one sample short.
  EXPECT_LE(int64_t{48000} * 600 - run.shares, 1);
  EXPECT_GE(int64_t{48000} * 600 - run.shares, 0);
  // Every delivered sample went into a frame, was cut as a surplus, is still stored, or came before
  // the buffer had a format.
  EXPECT_EQ(run.taken + run.cutAway + run.left + run.beforeFirst, run.delivered);
  EXPECT_LE(run.mostAfter, 2 * 1601) << "a join leaves at most two shares";
  EXPECT_LE(run.mostBefore, 3 * 1601 + 4 * 480) << "three shares and what one frame's time brings";
}

TEST(InserterDrift, SlowEndpointMakesUpItsDeficitWithSilentFramesAndIsNeverCut) {
  const DriftRun run = TenMinutes(-0.005);
  ExpectWithinLimits(run);
  EXPECT_EQ(run.cuts, 0);
  // 0.5 % of ten minutes is 144000 samples, 90 frames: those frames go out silent.
  EXPECT_GE(run.silent, 89);
  EXPECT_LE(run.silent, 93);
}

TEST(InserterDrift, FastEndpointIsCutAndSilentFramesOnlyFollowACut) {
  const DriftRun run = TenMinutes(0.005);
  ExpectWithinLimits(run);
  // The surplus of 144000 samples goes in cuts of two shares or more.
  EXPECT_GE(run.cutAway, 144000 - 2 * 1601);
  EXPECT_GE(run.cuts, 1);
  // A cut leaves 3 samples, and packets of 10 ms bring 1440 or 1920 in a frame's time: the frame after
  // a cut may find too few. No other frame does.
  EXPECT_EQ(run.silentNotAfterCut, 0);
  EXPECT_LE(run.silent, run.cuts + 1);
}

TEST(InserterDrift, EndpointOnTimeIsNeitherCutNorShortAfterStartUp) {
  const DriftRun run = TenMinutes(0.0);
  ExpectWithinLimits(run);
  EXPECT_EQ(run.cuts, 0);
  EXPECT_EQ(run.silentNotAfterCut, 0);
  EXPECT_LE(run.silent, 1) << "only the second frame may find less than a share";
}

TEST(InserterThreads, VanishedEndpointGivesSilentFramesAtOnceAndCantBeReopened) {
  auto sim = SimAudio::Create();
  const std::wstring mic = sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
  TRefPtr<TAudioInserter> inserter = MakeRef<TAudioInserter>(sim);
  ASSERT_EQ(SwitchAudioDevice(inserter.Get(), L"Mic", kRequest, nullptr), S_OK);
  ASSERT_TRUE(sim->WaitStarted(mic, 10000));
  for (int64_t n = 0; n < 10; ++n) {
    sim->Advance(FrameStart(n + 1) - sim->Now());
    ASSERT_TRUE(sim->WaitDrained(10000));
    FramePtr frame = MakeFrame(FrameStart(n), FrameStart(n + 1), n == 0 ? kFrameFlagGap : 0);
    inserter->JoinAudio(frame.Get(), true, nullptr, TAudioInserter::kFrameWait);
  }

  sim->HoldEmptyPoll(mic, 130);
  sim->Vanish(mic);
  ASSERT_TRUE(sim->WaitHeld(mic, 10000)) << "the capture thread keeps polling the vanished endpoint";
  EXPECT_TRUE(inserter->NoData());
  FramePtr frame = MakeFrame(FrameStart(10), FrameStart(11));
  EXPECT_EQ(inserter->JoinAudio(frame.Get(), true, nullptr, TAudioInserter::kFrameWait), CV_E_DEVICE_NOT_AVAILABLE);
  const std::vector<float> left = Channel(frame.Get(), 0);
  EXPECT_TRUE(left.size() >= 1599 && left.size() <= 1601) << left.size();
  EXPECT_EQ(MeanSquare(left), 0.0);
  sim->ReleaseHeld(mic);

  EXPECT_EQ(SwitchAudioDevice(inserter.Get(), L"Mic", kRequest, nullptr), cvplat::kAudioDeviceInvalidated);
  EXPECT_FALSE(inserter->Capturing());
  EXPECT_EQ(sim->Counters(mic).liveStreams, 0);
}

}  // namespace
