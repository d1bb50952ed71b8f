#include <gtest/gtest.h>

#include "framelib/frame_test_helpers.h"

namespace {

const TAudioProps kStereo16{2, 48000, 16, 3};

TEST(FrameAudio, AudioSetLaysOutOneSilentWritableBlockPerChannel) {
  FramePtr frame = MakeFrame();
  ASSERT_EQ(frame->AudioSet(&kStereo16, 3840, 0, 0), S_OK);
  TAvProps props{};
  int32_t audioBytes = 0;
  frame->FormatGet(&props, &audioBytes);
  EXPECT_TRUE(SameBytes(&props.audio, &kStereo16, sizeof(TAudioProps)));
  EXPECT_EQ(audioBytes, 3840);

  uint8_t* left = nullptr;
  uint8_t* right = nullptr;
  int32_t bytes = 0;
  ASSERT_EQ(frame->AudioChannelGet(0, kAudioChannelWrite, &bytes, &left), S_OK);
  EXPECT_EQ(bytes, 3840);
  ASSERT_EQ(frame->AudioChannelGet(1, kAudioChannelWrite, &bytes, &right), S_OK);
  ASSERT_TRUE(left && right);
  // Planar: each channel its own block, so a full write of one can't reach the other.
  EXPECT_TRUE(left + 3840 <= right || right + 3840 <= left);
  for (int i = 0; i < 3840; ++i) ASSERT_EQ(left[i] | right[i], 0) << i;
  for (int i = 0; i < 3840; ++i) left[i] = 0x11;
  for (int i = 0; i < 3840; ++i) ASSERT_EQ(right[i], 0) << i;
  EXPECT_EQ(frame->AudioCommit(), S_OK);
  EXPECT_EQ(left[3839], 0x11);
}

TEST(FrameAudio, CommitEndsOnlyAnOpenWrite) {
  FramePtr frame = MakeFrame();
  ASSERT_EQ(frame->AudioSet(&kStereo16, 8, 0, 0), S_OK);
  EXPECT_EQ(frame->AudioCommit(), S_FALSE) << "nothing was handed out for writing";
  uint8_t* samples = nullptr;
  ASSERT_EQ(frame->AudioChannelGet(0, kAudioChannelRead, nullptr, &samples), S_OK);
  EXPECT_EQ(frame->AudioCommit(), S_FALSE) << "reading opens no write";
  ASSERT_EQ(frame->AudioChannelGet(1, kAudioChannelWrite, nullptr, &samples), S_OK);
  EXPECT_EQ(frame->AudioCommit(), S_OK);
  EXPECT_EQ(frame->AudioCommit(), S_FALSE);
}

TEST(FrameAudio, NullOrZeroRecordWithoutBytesRemovesTheAudio) {
  const TAudioProps zero{};
  for (const TAudioProps* none : {static_cast<const TAudioProps*>(nullptr), &zero}) {
    FramePtr frame = MakeFrame();
    ASSERT_EQ(frame->AudioSet(&kStereo16, 64, 0, 0), S_OK);
    ASSERT_EQ(frame->AudioSet(none, 0, 0, 0), S_OK);
    TAvProps props{};
    int32_t audioBytes = -1;
    frame->FormatGet(&props, &audioBytes);
    EXPECT_TRUE(SameBytes(&props.audio, &zero, sizeof(zero)));
    EXPECT_EQ(audioBytes, 0);
    uint8_t* samples = nullptr;
    EXPECT_EQ(frame->AudioChannelGet(0, kAudioChannelRead, nullptr, &samples), CV_E_BAD_INDEX);
    EXPECT_EQ(frame->AudioSet(none, 16, 0, 0), E_INVALIDARG) << "bytes of no format";
  }
}

TEST(FrameAudio, RefusedAudioLeavesTheSamplesAlone) {
  FramePtr frame = MakeFrame();
  ASSERT_EQ(frame->AudioSet(&kStereo16, 8, 0, 0), S_OK);
  uint8_t* samples = nullptr;
  frame->AudioChannelGet(0, kAudioChannelWrite, nullptr, &samples);
  samples[0] = 0x42;
  frame->AudioCommit();

  const TAudioProps tooMany{33, 48000, 16, 0};
  const TAudioProps tooSlow{2, 800, 16, 0};
  const TAudioProps eightBit{2, 48000, 8, 0};
  EXPECT_EQ(frame->AudioSet(&tooMany, 8, 0, 0), E_INVALIDARG);
  EXPECT_EQ(frame->AudioSet(&tooSlow, 8, 0, 0), E_INVALIDARG);
  EXPECT_EQ(frame->AudioSet(&eightBit, 8, 0, 0), E_INVALIDARG);
  EXPECT_EQ(frame->AudioSet(&kStereo16, 7, 0, 0), E_INVALIDARG) << "half a sample";
  EXPECT_EQ(frame->AudioSet(&kStereo16, -2, 0, 0), E_INVALIDARG);

  TAvProps props{};
  int32_t audioBytes = 0;
  frame->FormatGet(&props, &audioBytes);
  EXPECT_TRUE(SameBytes(&props.audio, &kStereo16, sizeof(TAudioProps)));
  EXPECT_EQ(audioBytes, 8);
  frame->AudioChannelGet(0, kAudioChannelRead, nullptr, &samples);
  EXPECT_EQ(samples[0], 0x42);
}

TEST(FrameAudio, SampleSizesFollowTheBitsPerSample) {
  FramePtr frame = MakeFrame();
  const TAudioProps float32{1, 44100, -32, 4};
  const TAudioProps packed24{6, 48000, 24, 0x3F};
  const TAudioProps in20{2, 48000, 20, 0};  // 20-bit samples sit in three bytes
  EXPECT_EQ(frame->AudioSet(&float32, 6, 0, 0), E_INVALIDARG);
  EXPECT_EQ(frame->AudioSet(&float32, 8, 0, 0), S_OK);
  EXPECT_EQ(frame->AudioSet(&packed24, 8, 0, 0), E_INVALIDARG);
  EXPECT_EQ(frame->AudioSet(&packed24, 9, 0, 0), S_OK);
  EXPECT_EQ(frame->AudioSet(&in20, 6, 0, 0), S_OK);
  uint8_t* samples = nullptr;
  EXPECT_EQ(frame->AudioChannelGet(1, kAudioChannelRead, nullptr, &samples), S_OK);
  EXPECT_EQ(frame->AudioChannelGet(2, kAudioChannelRead, nullptr, &samples), CV_E_BAD_INDEX);
  EXPECT_EQ(samples, nullptr);
}

TEST(FrameAudio, ChannelGetChecksItsArguments) {
  FramePtr frame = MakeFrame();
  ASSERT_EQ(frame->AudioSet(&kStereo16, 8, 0, 0), S_OK);
  uint8_t* samples = nullptr;
  int32_t bytes = -1;
  EXPECT_EQ(frame->AudioChannelGet(-1, kAudioChannelRead, &bytes, &samples), CV_E_BAD_INDEX);
  EXPECT_EQ(bytes, 0);
  EXPECT_EQ(frame->AudioChannelGet(2, kAudioChannelRead, &bytes, &samples), CV_E_BAD_INDEX);
  EXPECT_EQ(frame->AudioChannelGet(0, 2, &bytes, &samples), E_INVALIDARG);
  EXPECT_EQ(frame->AudioChannelGet(0, kAudioChannelRead, &bytes, nullptr), E_POINTER);
}

TEST(FrameAudio, FormatSetKeepsSamplesOnlyWhileTheSoundFormatStays) {
  FramePtr frame = MakeFrame();
  ASSERT_EQ(frame->AudioSet(&kStereo16, 8, 0, 0), S_OK);
  uint8_t* samples = nullptr;
  frame->AudioChannelGet(1, kAudioChannelWrite, nullptr, &samples);
  samples[1] = 7;
  frame->AudioCommit();

  TAvProps props{};
  frame->FormatGet(&props, nullptr);
  props.video.frameRate = 50;  // a new picture format, the same sound
  ASSERT_EQ(frame->FormatSet(&props, nullptr), S_OK);
  int32_t audioBytes = 0;
  frame->FormatGet(&props, &audioBytes);
  EXPECT_EQ(audioBytes, 8);
  frame->AudioChannelGet(1, kAudioChannelRead, nullptr, &samples);
  EXPECT_EQ(samples[1], 7);

  props.audio.sampleRate = 44100;
  ASSERT_EQ(frame->FormatSet(&props, nullptr), S_OK);
  frame->FormatGet(&props, &audioBytes);
  EXPECT_EQ(props.audio.sampleRate, 44100);
  EXPECT_EQ(audioBytes, 0) << "samples of the old rate would play wrongly";
  EXPECT_EQ(frame->AudioChannelGet(0, kAudioChannelRead, nullptr, &samples), CV_E_BAD_INDEX);
}

}  // namespace
