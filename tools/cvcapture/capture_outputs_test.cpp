#include "tools/cvcapture/capture_outputs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tools/cvcapture/pixel_convert.h"

namespace {

std::vector<uint8_t> ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class CaptureOutputsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("cvcapture_outputs_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::filesystem::path folder_;
};

TVideoProps Video(uint32_t colour, int32_t width, int32_t height, double rate) {
  TVideoProps v{};
  v.colourFormat = colour;
  v.width = width;
  v.height = height;
  v.frameRate = rate;
  return v;
}

TEST_F(CaptureOutputsTest, PicturesGoToY4mAndPngsAndOtherSizesAreLeftOut) {
  TCaptureOutputs outputs(folder_, 30.0);
  std::vector<uint8_t> hdyc(8 * 4 * 2, 128);  // 8x4, grey
  std::vector<uint8_t> small(4 * 4 * 2, 128);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(outputs.AddPicture(Video(kFourccHDYC, 8, -4, 29.97), hdyc.data(), 64));
  ASSERT_TRUE(outputs.AddPicture(Video(kFourccHDYC, 4, -4, 29.97), small.data(), 32));
  ASSERT_TRUE(outputs.AddPicture(Video(0x3231564E, 8, 4, 29.97), hdyc.data(), 64)) << "an unreadable layout is no error";
  ASSERT_TRUE(outputs.WriteLastPicture(Video(kFourccHDYC, 8, -4, 29.97), hdyc.data(), 64));
  ASSERT_TRUE(outputs.Finish());

  EXPECT_EQ(outputs.VideoFrames(), 3);
  EXPECT_EQ(outputs.SkippedPictures(), 2);
  EXPECT_EQ(outputs.VideoHeader(), "YUV4MPEG2 W8 H4 F30000:1001 Ip A1:1 C422");
  const size_t frameBytes = 6 + 8 * 4 * 2;
  EXPECT_EQ(ReadAll(folder_ / "video.y4m").size(), outputs.VideoHeader().size() + 1 + 3 * frameBytes);
  const std::vector<uint8_t> first = ReadAll(folder_ / "first.png");
  ASSERT_GT(first.size(), 8u);
  EXPECT_EQ(first[1], 'P');
  EXPECT_EQ(ReadAll(folder_ / "last.png"), first) << "the same picture makes the same file";
  EXPECT_FALSE(outputs.HasAudio());
  EXPECT_FALSE(std::filesystem::exists(folder_ / "audio.wav"));
}

TEST_F(CaptureOutputsTest, RgbFramesUseTheFallbackRateAndFourFourFour) {
  TCaptureOutputs outputs(folder_, 25.0);
  std::vector<uint8_t> rgb(4 * 2 * 4, 0);
  ASSERT_TRUE(outputs.AddPicture(Video(kColourCodeRGB32, 4, -2, 0.0), rgb.data(), 32));
  ASSERT_TRUE(outputs.Finish());
  EXPECT_EQ(outputs.VideoHeader(), "YUV4MPEG2 W4 H2 F25:1 Ip A1:1 C444");
}

TEST_F(CaptureOutputsTest, SoundOfTheFirstFormatGoesToWavWithItsPeak) {
  TCaptureOutputs outputs(folder_, 30.0);
  const TAudioProps stereo{2, 48000, 16, 3};
  const int16_t left[4] = {0, 16384, -8192, 0};
  const int16_t right[4] = {0, 0, 0, -32768};
  const uint8_t* planes[] = {reinterpret_cast<const uint8_t*>(left), reinterpret_cast<const uint8_t*>(right)};
  ASSERT_TRUE(outputs.AddSound(stereo, planes, 8));
  outputs.AddFrameWithoutSound();
  ASSERT_TRUE(outputs.AddSound(stereo, planes, 4));
  const TAudioProps mono{1, 48000, 16, 4};
  ASSERT_TRUE(outputs.AddSound(mono, planes, 8));
  ASSERT_TRUE(outputs.Finish());
  EXPECT_EQ(outputs.AudioSamples(), 6u);
  EXPECT_EQ(outputs.SkippedSounds(), 1);
  // The skipped sound counts for no frame.
  EXPECT_EQ(outputs.FramesWithSound(), 2);
  EXPECT_EQ(outputs.FramesWithoutSound(), 1);
  EXPECT_EQ(outputs.FewestSamplesPerFrame(), 2);
  EXPECT_EQ(outputs.MostSamplesPerFrame(), 4);
  EXPECT_DOUBLE_EQ(outputs.AudioPeak(), 1.0);
  EXPECT_EQ(ReadAll(folder_ / "audio.wav").size(), 44u + 2 * 6 * 2);
}

}  // namespace
