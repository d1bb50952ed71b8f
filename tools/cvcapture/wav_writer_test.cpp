#include "tools/cvcapture/wav_writer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

uint32_t Le32(const std::vector<uint8_t>& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | static_cast<uint32_t>(b[at + 3]) << 24;
}
uint16_t Le16(const std::vector<uint8_t>& b, size_t at) { return static_cast<uint16_t>(b[at] | b[at + 1] << 8); }

TAudioProps Audio(int32_t channels, int32_t rate, int32_t bits) { return {channels, rate, bits, 0}; }

TEST(Wav, HeaderFieldsOfIntegerAndFloatLayouts) {
  TWavFormat pcm;
  ASSERT_TRUE(WavFormatFor(Audio(2, 48000, 16), &pcm));
  EXPECT_FALSE(pcm.isFloat);
  const std::vector<uint8_t> h = WavHeader(pcm, 1000);
  ASSERT_EQ(h.size(), 44u);
  EXPECT_EQ(std::string(h.begin(), h.begin() + 4), "RIFF");
  EXPECT_EQ(Le32(h, 4), 1036u);
  EXPECT_EQ(std::string(h.begin() + 8, h.begin() + 16), "WAVEfmt ");
  EXPECT_EQ(Le32(h, 16), 16u);
  EXPECT_EQ(Le16(h, 20), 1) << "integer PCM";
  EXPECT_EQ(Le16(h, 22), 2);
  EXPECT_EQ(Le32(h, 24), 48000u);
  EXPECT_EQ(Le32(h, 28), 48000u * 4) << "byte rate";
  EXPECT_EQ(Le16(h, 32), 4) << "block align";
  EXPECT_EQ(Le16(h, 34), 16);
  EXPECT_EQ(std::string(h.begin() + 36, h.begin() + 40), "data");
  EXPECT_EQ(Le32(h, 40), 1000u);

  TWavFormat flt;
  ASSERT_TRUE(WavFormatFor(Audio(6, 44100, 24), &flt));
  EXPECT_TRUE(flt.isFloat) << "anything but 16-bit integers goes out as floats";
  const std::vector<uint8_t> f = WavHeader(flt, 0);
  EXPECT_EQ(Le16(f, 20), 3);
  EXPECT_EQ(Le16(f, 32), 24);
  EXPECT_EQ(Le16(f, 34), 32);

  TWavFormat bad;
  EXPECT_FALSE(WavFormatFor(Audio(0, 48000, 16), &bad));
  EXPECT_FALSE(WavFormatFor(Audio(2, 48000, 8), &bad));
  EXPECT_FALSE(WavFormatFor(Audio(2, 0, 16), &bad));
}

TEST(Wav, PlanarSamplesInterleaveAndConvert) {
  const int16_t left[] = {1, -2, 3};
  const int16_t right[] = {100, -200, 300};
  const uint8_t* planes16[] = {reinterpret_cast<const uint8_t*>(left), reinterpret_cast<const uint8_t*>(right)};
  TWavFormat pcm;
  ASSERT_TRUE(WavFormatFor(Audio(2, 48000, 16), &pcm));
  std::vector<uint8_t> out;
  InterleaveSamples(Audio(2, 48000, 16), planes16, 3, pcm, &out);
  ASSERT_EQ(out.size(), 12u);
  int16_t got[6];
  std::memcpy(got, out.data(), 12);
  EXPECT_EQ(std::vector<int16_t>(got, got + 6), (std::vector<int16_t>{1, 100, -2, -200, 3, 300}));

  // 24-bit: 0x400000 is one half, 0xC00000 minus one half; 32-bit 0x40000000 one half.
  const uint8_t s24[] = {0x00, 0x00, 0x40, 0x00, 0x00, 0xC0};
  const uint8_t* planes24[] = {s24};
  TWavFormat flt;
  ASSERT_TRUE(WavFormatFor(Audio(1, 48000, 24), &flt));
  out.clear();
  InterleaveSamples(Audio(1, 48000, 24), planes24, 2, flt, &out);
  float f[2];
  ASSERT_EQ(out.size(), 8u);
  std::memcpy(f, out.data(), 8);
  EXPECT_FLOAT_EQ(f[0], 0.5f);
  EXPECT_FLOAT_EQ(f[1], -0.5f);

  const int32_t s32[] = {0x40000000, INT32_MIN};
  const uint8_t* planes32[] = {reinterpret_cast<const uint8_t*>(s32)};
  out.clear();
  InterleaveSamples(Audio(1, 48000, 32), planes32, 2, flt, &out);
  std::memcpy(f, out.data(), 8);
  EXPECT_FLOAT_EQ(f[0], 0.5f);
  EXPECT_FLOAT_EQ(f[1], -1.0f);

  const float sf[] = {0.25f, -0.75f};
  const uint8_t* planesF[] = {reinterpret_cast<const uint8_t*>(sf)};
  out.clear();
  InterleaveSamples(Audio(1, 48000, -32), planesF, 2, flt, &out);
  std::memcpy(f, out.data(), 8);
  EXPECT_FLOAT_EQ(f[1], -0.75f);
}

TEST(Wav, CloseWritesTheFinalSizes) {
  const auto path = std::filesystem::temp_directory_path() / "cvcapture_wav_test.wav";
  TWavFormat pcm;
  ASSERT_TRUE(WavFormatFor(Audio(1, 8000, 16), &pcm));
  {
    TWavWriter writer;
    ASSERT_TRUE(writer.Open(path, pcm));
    ASSERT_TRUE(writer.Write({1, 2, 3, 4}));
    ASSERT_TRUE(writer.Write({5, 6}));
    EXPECT_EQ(writer.DataBytes(), 6u);
    EXPECT_TRUE(writer.Close());
  }
  std::ifstream in(path, std::ios::binary);
  const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  in.close();
  std::filesystem::remove(path);
  ASSERT_EQ(bytes.size(), 50u);
  EXPECT_EQ(Le32(bytes, 4), 42u);
  EXPECT_EQ(Le32(bytes, 40), 6u);
  EXPECT_EQ(bytes[49], 6);
}

}  // namespace
