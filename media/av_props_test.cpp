#include "media/av_props.h"

#include <gtest/gtest.h>

namespace {

TVideoProps Video() { return TVideoProps{}; }

TEST(AvProps, VideoValidNeedsTableEntryOrFullSize) {
  TVideoProps v = Video();
  EXPECT_FALSE(VideoIsValid(v));
  v.videoFormat = 3;
  EXPECT_TRUE(VideoIsValid(v));
  v.videoFormat = kVideoFormatDisabled;
  v.width = 1920;
  v.height = -1080;
  v.colourFormat = 0x43594448;
  EXPECT_FALSE(VideoIsValid(v)) << "the disabled entry is never valid";
  v.videoFormat = 0;
  EXPECT_TRUE(VideoIsValid(v)) << "a negative height counts as a height";
  v.colourFormat = 0;
  EXPECT_FALSE(VideoIsValid(v));
  v.colourFormat = 0x43594448;
  v.height = 0;
  EXPECT_FALSE(VideoIsValid(v));
}

TEST(AvProps, VideoRequestFromAnyActionableField) {
  EXPECT_FALSE(VideoIsRequest(Video()));
  TVideoProps v = Video();
  v.frameRate = 25;
  EXPECT_TRUE(VideoIsRequest(v));
  v = Video();
  v.scan = 5;
  EXPECT_TRUE(VideoIsRequest(v));
  v = Video();
  v.aspectX = 16;
  EXPECT_FALSE(VideoIsRequest(v)) << "half an aspect pair asks for nothing";
  v.aspectY = 9;
  EXPECT_TRUE(VideoIsRequest(v));
  v = Video();
  v.width = 640;
  EXPECT_FALSE(VideoIsRequest(v));
  v.height = -480;
  EXPECT_TRUE(VideoIsRequest(v));
}

TEST(AvProps, AudioValidity) {
  TAudioProps a{2, 48000, 16, 0};
  EXPECT_TRUE(AudioIsValid(a));
  for (int bits : {20, 24, 32, -32}) {
    a.bitsPerSample = bits;
    EXPECT_TRUE(AudioIsValid(a)) << bits;
  }
  a.bitsPerSample = 8;
  EXPECT_FALSE(AudioIsValid(a));
  a = {33, 48000, 16, 0};
  EXPECT_FALSE(AudioIsValid(a));
  a = {-1, 48000, 16, 0};
  EXPECT_FALSE(AudioIsValid(a));
  a = {1, 800, 16, 0};
  EXPECT_FALSE(AudioIsValid(a));
  a.sampleRate = 801;
  EXPECT_TRUE(AudioIsValid(a));
}

TEST(AvProps, SpeedHintScalesAroundSixtyFour) {
  EXPECT_EQ(FrameSpeedHint(0), 0.0);
  EXPECT_DOUBLE_EQ(FrameSpeedHint(1u << 24), -1.0);
  EXPECT_DOUBLE_EQ(FrameSpeedHint(64u << 24), 0.0);
  EXPECT_DOUBLE_EQ(FrameSpeedHint(126u << 24), 1.0);
  EXPECT_DOUBLE_EQ(FrameSpeedHint(127u << 24), 63.0 / 62.0) << "the top code runs a little past 1";
  EXPECT_DOUBLE_EQ(FrameSpeedHint((32u << 24) | 0x1), -32.0 / 63.0);
}

}  // namespace
