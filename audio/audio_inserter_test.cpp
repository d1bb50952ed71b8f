#include "audio/audio_inserter.h"

#include <gtest/gtest.h>

#include "audio/inserter_test_support.h"

namespace {

using namespace inserter_test;
using cvplat::AudioFlow;
using cvplat::SimAudio;

// Frames of 333334 units: at 48000 Hz each one's share is exactly 1600 samples for hundreds of frames.
constexpr int64_t kFrame = 333334;
constexpr int64_t kNeed = 1600;

// An inserter capturing "Mic" of a sim whose clock never moves: the only packets are the test's own.
class Inserter : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(SwitchAudioDevice(inserter.Get(), L"Mic", kRequest, nullptr), S_OK); }

  // `count` stereo samples of a ramp that goes on from the last call: left n, right -n.
  void Put(int64_t count) {
    std::vector<float> packet;
    for (int64_t i = 0; i < count; ++i, ++next) {
      packet.push_back(float(next));
      packet.push_back(-float(next));
    }
    TAudioInserter::OnAudioData(inserter.Get(), kFloatStereo, reinterpret_cast<const uint8_t*>(packet.data()),
                                uint32_t(packet.size() * 4));
  }
  // Joins frame number `n` as the frame finishing does; expects its share of 1600 samples.
  FramePtr Join(int64_t n, HRESULT expected, uint32_t flags = 0) {
    FramePtr frame = MakeFrame(n * kFrame, (n + 1) * kFrame, flags);
    EXPECT_EQ(inserter->JoinAudio(frame.Get(), true, nullptr, TAudioInserter::kFrameWait), expected) << n;
    EXPECT_EQ(Channel(frame.Get(), 0).size(), size_t(kNeed)) << n;
    return frame;
  }
  // The left channel holds the ramp from `first` on; the right one its negation.
  static void ExpectRamp(ICVFrame_I* frame, int64_t first) {
    const std::vector<float> left = Channel(frame, 0);
    const std::vector<float> right = Channel(frame, 1);
    ASSERT_EQ(left.size(), right.size());
    for (size_t i = 0; i < left.size(); ++i) {
      ASSERT_EQ(left[i], float(first + int64_t(i))) << i;
      ASSERT_EQ(right[i], -float(first + int64_t(i))) << i;
    }
  }
  static bool Silent(ICVFrame_I* frame) {
    for (float v : Channel(frame, 0))
      if (v != 0.0f) return false;
    return true;
  }

  std::shared_ptr<SimAudio> sim = SimAudio::Create();
  std::wstring mic = sim->AddEndpoint(AudioFlow::kCapture, L"Mic", kMixFloat);
  TRefPtr<TAudioInserter> inserter = MakeRef<TAudioInserter>(sim);
  int64_t next = 0;
};

TEST_F(Inserter, EachFrameTakesItsShareAndOnlyASurplusAboveThreeSharesIsCut) {
  Put(5000);  // before the first frame the buffer has no format: dropped
  FramePtr first = Join(0, S_OK);
  EXPECT_TRUE(Silent(first.Get())) << "the first frame after a switch gets no samples";
  EXPECT_EQ(inserter->StoredSamples(), 0);
  const TAudioProps audio = FrameAudio(first.Get());
  EXPECT_EQ(audio.channels, 2);
  EXPECT_EQ(audio.bitsPerSample, -32) << "the endpoint's mix format";
  EXPECT_EQ(audio.channelMask, 0x2u);

  next = 0;
  Put(5000);  // above 3 x 1600 on a steady frame: 3397 dropped, 1600 taken, 3 left
  ExpectRamp(Join(1, S_OK).Get(), 3397);
  EXPECT_EQ(inserter->StoredSamples(), 3);

  Put(4797);  // exactly 3 x 1600: no cut
  ExpectRamp(Join(2, S_OK).Get(), 4997);
  EXPECT_EQ(inserter->StoredSamples(), 3200);
  ExpectRamp(Join(3, S_OK).Get(), 6597);
  ExpectRamp(Join(4, S_OK).Get(), 8197);  // exactly the share: taken without a wait
  EXPECT_EQ(inserter->StoredSamples(), 0);

  Put(5000);  // a frame that opens a run keeps a share and a half: 2600 dropped, 800 left
  ExpectRamp(Join(5, S_OK, kFrameFlagGap).Get(), 9797 + 2600);
  EXPECT_EQ(inserter->StoredSamples(), 800);

  // Too few samples: the frame goes out silent at its full length and the buffer keeps what it had.
  EXPECT_TRUE(Silent(Join(6, CV_E_TIMEOUT).Get()));
  EXPECT_EQ(inserter->StoredSamples(), 800);
  Put(800);  // the exact share doesn't end a wait; here it is there before the join
  ExpectRamp(Join(7, S_OK).Get(), 14797 - 800);
}

TEST_F(Inserter, APacketNeverLeavesMoreThanASecondStored) {
  Join(0, S_OK);
  Put(60000);
  EXPECT_EQ(inserter->StoredSamples(), 48000);
  // The front went: the oldest sample kept is number 12000, and a steady frame cuts to its share + 3.
  ExpectRamp(Join(1, S_OK).Get(), 60000 - kNeed - 3);
}

TEST_F(Inserter, FramesWithoutADurationAndWithoutAFrameAreRefused) {
  EXPECT_EQ(inserter->JoinAudio(nullptr, true, nullptr, 15), E_POINTER);
  FramePtr noRate = MakeFrame(0, 0, 0, 0.0);
  EXPECT_EQ(inserter->JoinAudio(noRate.Get(), true, nullptr, 15), E_INVALIDARG);
  // Stamps no more than 1 ms apart: the duration comes from the frame rate.
  FramePtr byRate = MakeFrame(0, 0);
  EXPECT_EQ(inserter->JoinAudio(byRate.Get(), true, nullptr, 15), S_OK);
  const size_t share = Channel(byRate.Get(), 0).size();
  EXPECT_TRUE(share == 1599 || share == 1600) << share;
}

TEST_F(Inserter, SoundAlreadyOnAFrameKeepsItsChannelsAndTheCapturedOnesFollow) {
  Join(0, S_OK);
  Put(kNeed + 1);
  FramePtr frame = MakeFrame(kFrame, 2 * kFrame);
  const TAudioProps own{2, 48000, -32, 0};
  ASSERT_EQ(frame->AudioSet(&own, int32_t(kNeed * 4), 0, 0), S_OK);
  EXPECT_EQ(inserter->JoinAudio(frame.Get(), true, nullptr, 15), S_OK);
  const TAudioProps audio = FrameAudio(frame.Get());
  EXPECT_EQ(audio.channels, 4);
  ASSERT_EQ(Channel(frame.Get(), 2).size(), size_t(kNeed));
  EXPECT_EQ(Channel(frame.Get(), 2)[5], 5.0f);
  EXPECT_EQ(Channel(frame.Get(), 3)[5], -5.0f);
}

TEST_F(Inserter, SwitchingReportsTheOpenFailuresAndNoneStopsTheCapture) {
  EXPECT_TRUE(inserter->Capturing());
  EXPECT_EQ(SwitchAudioDevice(inserter.Get(), L"NONE", kRequest, nullptr), S_FALSE);
  EXPECT_FALSE(inserter->Capturing());
  EXPECT_EQ(SwitchAudioDevice(inserter.Get(), L"Headset", kRequest, nullptr), kAudioNameNotFound);
  sim->RefuseFormats(mic, true);
  EXPECT_EQ(SwitchAudioDevice(inserter.Get(), L"Mic", kRequest, nullptr), cvplat::kAudioUnsupportedFormat);
  EXPECT_FALSE(inserter->Capturing());
  EXPECT_EQ(SwitchAudioDevice(nullptr, L"Mic", kRequest, nullptr), S_FALSE);
}

}  // namespace
