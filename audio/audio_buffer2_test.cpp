#include "audio/audio_buffer2.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "primitives/sine_analysis.h"

namespace {

TAudioProps Fmt(int32_t channels, int32_t rate, int32_t bits) { return TAudioProps{channels, rate, bits, 0}; }

template <class T>
std::vector<uint8_t> Bytes(const std::vector<T>& v) {
  std::vector<uint8_t> b(v.size() * sizeof(T));
  std::memcpy(b.data(), v.data(), b.size());
  return b;
}

std::vector<uint8_t> Int24(const std::vector<int32_t>& v) {
  std::vector<uint8_t> b;
  for (int32_t x : v)
    for (int k = 0; k < 3; ++k) b.push_back(uint8_t(uint32_t(x) >> (8 * k)));
  return b;
}

// Stored samples of one channel as doubles, whatever the store type.
std::vector<double> Stored(TAudioBuffer2& buf, int32_t channel) {
  const int64_t n = buf.AudioStoredSamples();
  const uint8_t* p = buf.Channels().ChannelPtr(channel, 0);
  std::vector<double> out;
  for (int64_t i = 0; i < n; ++i)
    out.push_back(TAudioBuffer2::StoreBytes(buf.Format()) == 2 ? reinterpret_cast<const int16_t*>(p)[i]
                                                               : reinterpret_cast<const float*>(p)[i]);
  return out;
}

// A mono packet of `srcBits` into a mono buffer of `storeBits` at the same rate.
std::vector<double> Convert(int32_t srcBits, int32_t storeBits, const std::vector<uint8_t>& packet) {
  TAudioBuffer2 buf;
  const TAudioProps store = Fmt(1, 48000, storeBits);
  EXPECT_EQ(buf.AudioFormatInit(&store), S_OK);
  EXPECT_EQ(buf.AudioPut(Fmt(1, 48000, srcBits), packet.data(), uint32_t(packet.size()), false, false), S_OK);
  return Stored(buf, 0);
}

TEST(AudioBuffer2, ConvertsEverySourceTypeIntoEitherStore) {
  using V = std::vector<double>;
  EXPECT_EQ(Convert(16, 16, Bytes<int16_t>({-32768, 32767, 0, -1})), (V{-32768, 32767, 0, -1}));
  // (x + 0.5) / 32767.5: the full range spans exactly -1..1.
  const V from16 = Convert(16, -32, Bytes<int16_t>({-32768, 32767, 0}));
  EXPECT_EQ(from16[0], -1.0);
  EXPECT_EQ(from16[1], 1.0);
  EXPECT_FLOAT_EQ(from16[2], 0.5 / 32767.5);
  for (int32_t bits : {24, 20}) {
    const V from24 = Convert(bits, -32, Int24({-8388608, 8388607, 0}));
    EXPECT_EQ(from24[0], -1.0);
    EXPECT_EQ(from24[1], 1.0);
    EXPECT_FLOAT_EQ(from24[2], 0.5 / 8388607.5);
  }
  // Division by 256 with ties to even, saturated at the top.
  EXPECT_EQ(Convert(24, 16, Int24({8388607, -8388608, 384, 640, -384, 128})), (V{32767, -32768, 2, 2, -2, 0}));
  EXPECT_EQ(Convert(32, -32, Bytes<int32_t>({INT32_MIN, 0x40000000, -0x20000000})), (V{-1.0, 0.5, -0.25}));
  EXPECT_EQ(Convert(32, 16, Bytes<int32_t>({INT32_MAX, INT32_MIN, 0x18000, 0x28000})), (V{32767, -32768, 2, 2}));
  EXPECT_EQ(Convert(-32, -32, Bytes<float>({0.25f, -1.5f})), (V{0.25, -1.5}));
  const float lsb = 1.0f / 32768.0f;
  EXPECT_EQ(Convert(-32, 16, Bytes<float>({1.0f, -1.0f, 1.5f * lsb, 2.5f * lsb, 0.5f * lsb, 3.0f, -3.0f})),
            (V{32767, -32768, 2, 2, 0, 32767, -32768}));
}

TEST(AudioBuffer2, MonoGoesStraightIntoStereoAndStereoIsMixedIntoMono) {
  TAudioBuffer2 stereo;
  const TAudioProps two = Fmt(2, 48000, 16);
  ASSERT_EQ(stereo.AudioFormatInit(&two), S_OK);
  const auto mono = Bytes<int16_t>({100, -200, 300});
  ASSERT_EQ(stereo.AudioPut(Fmt(1, 48000, 16), mono.data(), uint32_t(mono.size()), false, true), S_OK);
  ASSERT_EQ(stereo.AudioPut(Fmt(1, 48000, 16), mono.data(), uint32_t(mono.size()), false, true), S_OK);
  EXPECT_EQ(Stored(stereo, 0), (std::vector<double>{100, -200, 300, 100, -200, 300}));
  EXPECT_EQ(Stored(stereo, 1), std::vector<double>(6, 0.0)) << "the second channel stays silent";
  EXPECT_EQ(Stored(stereo, 2), std::vector<double>(6, 0.0)) << "a channel past the last reads as silence";

  TAudioBuffer2 single;
  const TAudioProps one = Fmt(1, 48000, 16);
  ASSERT_EQ(single.AudioFormatInit(&one), S_OK);
  const auto pairs = Bytes<int16_t>({100, 200, 30000, 30000, -5, 5});
  ASSERT_EQ(single.AudioPut(Fmt(2, 48000, 16), pairs.data(), uint32_t(pairs.size()), false, true), S_OK);
  EXPECT_EQ(Stored(single, 0), (std::vector<double>{300, 32767, 0}));
}

// Output of a 1 kHz sine put as one packet or as packets of the given sizes.
std::vector<double> Resampled(int32_t bits, const std::vector<float>& sine, const std::vector<size_t>& sizes) {
  TAudioBuffer2 buf;
  const TAudioProps store = Fmt(1, 48000, bits);
  EXPECT_EQ(buf.AudioFormatInit(&store), S_OK);
  std::vector<uint8_t> packet;
  if (bits == 16) {
    std::vector<int16_t> s16;
    for (float x : sine) s16.push_back(int16_t(std::lround(x * 32767.0f)));
    packet = Bytes(s16);
  } else {
    packet = Bytes(sine);
  }
  const uint32_t sampleBytes = bits == 16 ? 2 : 4;
  size_t at = 0;
  for (size_t i = 0; at < sine.size(); ++i) {
    const size_t n = std::min(sizes.empty() ? sine.size() : sizes[i % sizes.size()], sine.size() - at);
    EXPECT_EQ(buf.AudioPut(Fmt(1, 44100, bits), packet.data() + at * sampleBytes, uint32_t(n * sampleBytes), false,
                           false),
              S_OK);
    at += n;
  }
  return Stored(buf, 0);
}

TEST(AudioBuffer2, PacketsJoinAsIfTheyWereOneCall) {
  const std::vector<float> sine = cvtest::MakeSine(1000.0 / 44100.0, 0.5, 44100);
  for (int32_t bits : {-32, 16}) {
    SCOPED_TRACE(bits);
    const std::vector<double> whole = Resampled(bits, sine, {});
    // Odd sizes, some shorter than the filter's look-ahead.
    const std::vector<double> parts = Resampled(bits, sine, {1, 7, 31, 33, 127, 509, 1021, 3});
    // The filter holds back its look-ahead of 32 input samples.
    EXPECT_NEAR(double(whole.size()), (44100 - 32) * 48000.0 / 44100.0, 1.0);
    EXPECT_NEAR(double(parts.size()), double(whole.size()), 1.0);
    const double tolerance = bits == 16 ? 1.0 : 1e-6;
    double worst = 0;
    for (size_t i = 0; i < std::min(whole.size(), parts.size()); ++i)
      worst = std::max(worst, std::abs(whole[i] - parts[i]));
    EXPECT_LE(worst, tolerance);
    std::vector<float> out(whole.begin(), whole.end());
    EXPECT_NEAR(cvtest::ZeroCrossingFrequency(out.data(), out.size()), 1000.0 / 48000.0, 1e-6);
  }
}

TEST(AudioBuffer2, TwoThirdsRatePacketsGiveTheExactRatio) {
  TAudioBuffer2 buf;
  const TAudioProps store = Fmt(1, 48000, 16);
  ASSERT_EQ(buf.AudioFormatInit(&store), S_OK);
  const std::vector<uint8_t> packet(320 * 2, 0x11);
  int64_t before = 0;
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(buf.AudioPut(Fmt(1, 32000, 16), packet.data(), uint32_t(packet.size()), false, false), S_OK);
    const int64_t now = buf.AudioStoredSamples();
    // The first packet gives up the 32 input samples of look-ahead.
    EXPECT_EQ(now - before, i == 0 ? (320 - 32) * 3 / 2 : 480) << "packet " << i;
    before = now;
  }
}

TEST(AudioBuffer2, FormatSetAdaptsTheStoredSamples) {
  TAudioBuffer2 buf;
  const auto pairs = Bytes<int16_t>({-32768, 16384, 1000, -1000});
  ASSERT_EQ(buf.AudioPut(Fmt(2, 48000, 16), pairs.data(), uint32_t(pairs.size()), true, false), S_OK);
  EXPECT_TRUE(buf.AudioReady());
  EXPECT_EQ(buf.AudioFormatSet(Fmt(2, 48000, -32)), 2);
  EXPECT_EQ(Stored(buf, 0), (std::vector<double>{-1.0, 1000 / 32768.0}));
  EXPECT_EQ(buf.AudioFormatSet(Fmt(3, 48000, 16)), 2);
  EXPECT_EQ(Stored(buf, 0), (std::vector<double>{-32768, 1000})) << "there and back is exact";
  EXPECT_EQ(Stored(buf, 1), (std::vector<double>{16384, -1000}));
  EXPECT_EQ(Stored(buf, 2), (std::vector<double>{0, 0}));

  std::vector<int16_t> run(3 * 4800, 0);
  const auto packet = Bytes(run);
  ASSERT_EQ(buf.AudioPut(Fmt(3, 48000, 16), packet.data(), uint32_t(packet.size()), false, false), S_OK);
  EXPECT_EQ(buf.AudioFormatSet(Fmt(3, 24000, 16)), (4802 - 32) / 2);
  EXPECT_EQ(buf.Format().sampleRate, 24000);
}

TEST(AudioBuffer2, DropResetAndSwitchingOff) {
  TAudioBuffer2 buf;
  EXPECT_FALSE(buf.AudioReady());
  EXPECT_EQ(buf.AudioPut(Fmt(0, 48000, 16), nullptr, 16, true, false), E_INVALIDARG);
  ASSERT_EQ(buf.AudioPut(Fmt(2, 48000, 24), nullptr, 6 * 100, true, false), S_OK);
  EXPECT_EQ(buf.AudioStoredSamples(), 100) << "no data means silence of the packet's length";
  EXPECT_EQ(buf.AudioDrop(30), 30);
  EXPECT_EQ(buf.AudioDrop(500), 70);
  EXPECT_EQ(buf.AudioStoredSamples(), 0);

  buf.AudioReset(false);
  EXPECT_TRUE(buf.AudioReady()) << "the channels stay";
  buf.AudioReset(true);
  EXPECT_FALSE(buf.AudioReady());

  EXPECT_EQ(buf.AudioFormatSet(Fmt(-1, 0, 0)), S_OK);
  EXPECT_EQ(buf.AudioPut(Fmt(2, 48000, 16), nullptr, 4, true, false), kAudioSwitchedOff);
}

}  // namespace
