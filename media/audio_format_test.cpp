#include "media/audio_format.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

constexpr TAudioProps kStereo16{2, 48000, 16, 0};

TEST(AudioMerge, NullRequestGivesTheBaseOrNothing) {
  TAudioProps out = AudioMerge(nullptr, &kStereo16);
  EXPECT_EQ(0, memcmp(&out, &kStereo16, sizeof out));
  out = AudioMerge(nullptr, nullptr);
  const TAudioProps zero{};
  EXPECT_EQ(0, memcmp(&out, &zero, sizeof out));
}

TEST(AudioMerge, UnsetFieldsFromAValidBase) {
  const TAudioProps request{0, 0, -32, 0};
  const TAudioProps out = AudioMerge(&request, &kStereo16);
  EXPECT_EQ(out.channels, 2);
  EXPECT_EQ(out.sampleRate, 48000);
  EXPECT_EQ(out.bitsPerSample, -32) << "a set field of the request stands";
  const TAudioProps rateOnly{6, -5, 24, 0x3F};
  const TAudioProps merged = AudioMerge(&rateOnly, &kStereo16);
  EXPECT_EQ(merged.sampleRate, 48000) << "a rate below 1 is unset";
  EXPECT_EQ(merged.channels, 6);
  EXPECT_EQ(merged.channelMask, 0x3Fu);
}

TEST(AudioMerge, NoAudioAndInvalidBasesLeaveTheRequest) {
  const TAudioProps none{-1, 0, 0, 0};
  TAudioProps out = AudioMerge(&none, &kStereo16);
  EXPECT_EQ(out.channels, -1);
  EXPECT_EQ(out.sampleRate, 0);
  const TAudioProps badBase{2, 48000, 12, 0};
  const TAudioProps request{0, 0, 0, 0};
  out = AudioMerge(&request, &badBase);
  EXPECT_EQ(out.channels, 0);
  out = AudioMerge(&request, nullptr);
  EXPECT_EQ(out.channels, 0);
}

TEST(AudioSizes, BlockBytesRoundBitsUpToBytes) {
  EXPECT_EQ(AudioBlockBytes(kStereo16), 4);
  EXPECT_EQ(AudioBlockBytes(TAudioProps{1, 48000, 20, 0}), 3) << "20-bit samples take 3 bytes";
  EXPECT_EQ(AudioBlockBytes(TAudioProps{2, 48000, 20, 0}), 6);
  EXPECT_EQ(AudioBlockBytes(TAudioProps{6, 48000, 24, 0}), 18);
  EXPECT_EQ(AudioBlockBytes(TAudioProps{8, 48000, -32, 0}), 32);
  EXPECT_EQ(AudioBlockBytes(TAudioProps{2, 48000, 12, 0}), 0) << "not a valid format";
}

TEST(AudioSizes, BytesAndSamples) {
  EXPECT_EQ(AudioBytesFromSamples(kStereo16, 1601), 6404);
  EXPECT_EQ(AudioSamplesFromBytes(kStereo16, 6407), 1601) << "a partial block is no sample";
  EXPECT_EQ(AudioSamplesFromBytes(TAudioProps{}, 6407), 0);
  EXPECT_EQ(AudioBytesFromSamples(TAudioProps{}, 1601), 0);
}

TEST(AudioSizes, TimeRoundsHalfAwayFromZero) {
  EXPECT_EQ(AudioTimeFromSamples(kStereo16, 48000), 10000000);
  EXPECT_EQ(AudioTimeFromSamples(kStereo16, 1), 208) << "208.33";
  EXPECT_EQ(AudioTimeFromSamples(TAudioProps{2, 44100, 16, 0}, 1), 227) << "226.76";
  EXPECT_EQ(AudioTimeFromSamples(TAudioProps{2, 32000, 16, 0}, 1), 313) << "312.5 goes up";
  EXPECT_EQ(AudioTimeFromSamples(TAudioProps{2, 32000, 16, 0}, -1), -313) << "and -312.5 down";
  EXPECT_EQ(AudioSamplesFromTime(kStereo16, 333667), 1602) << "1601.6";
  EXPECT_EQ(AudioSamplesFromTime(kStereo16, 333333), 1600);
  EXPECT_EQ(AudioSamplesFromTime(TAudioProps{2, 32000, 16, 0}, 3125), 10);
  EXPECT_EQ(AudioSamplesFromTime(TAudioProps{2, 32000, 16, 0}, 3281), 10) << "10.4992";
  EXPECT_EQ(AudioSamplesFromTime(TAudioProps{2, 32000, 16, 0}, 3282), 11) << "10.5024";
  EXPECT_EQ(AudioSamplesFromTime(TAudioProps{1, 8000, 16, 0}, 625), 1) << "0.5 goes up";
  EXPECT_EQ(AudioSamplesFromTime(TAudioProps{1, 8000, 16, 0}, -625), -1) << "and -0.5 down";
  EXPECT_EQ(AudioSamplesFromTime(TAudioProps{1, 8000, 16, 0}, 624), 0);
  EXPECT_EQ(AudioSamplesFromTime(TAudioProps{}, 3282), 0);
  EXPECT_EQ(AudioTimeFromSamples(TAudioProps{}, 3282), 0);
}

TEST(AudioSizes, LongDurationsStayExact) {
  // A day of samples at 192 kHz: the product with 10^7 still fits in 64 bits.
  const TAudioProps hiRes{2, 192000, 24, 0};
  const int64_t day = int64_t{192000} * 86400;
  EXPECT_EQ(AudioTimeFromSamples(hiRes, day), int64_t{86400} * 10000000);
  EXPECT_EQ(AudioSamplesFromTime(hiRes, int64_t{86400} * 10000000), day);
  // Far beyond that, the conversion degrades to floating point rather than wrapping around.
  EXPECT_GT(AudioTimeFromSamples(hiRes, int64_t{1} << 50), 0);
}

}  // namespace
