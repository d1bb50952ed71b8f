#include "tools/cvcapture/y4m_writer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

TEST(Y4m, RatesBecomeExactFractions) {
  struct Case {
    double rate;
    int64_t num, den;
  } const cases[] = {{30.0, 30, 1},       {29.97, 30000, 1001}, {30000.0 / 1001, 30000, 1001},
                     {59.94, 60000, 1001}, {23.976, 24000, 1001}, {25.0, 25, 1},
                     {12.5, 25, 2},       {0.0, 30, 1},          {-5.0, 30, 1}};
  for (const Case& c : cases) {
    const TRational r = RateFraction(c.rate);
    EXPECT_EQ(r.num, c.num) << c.rate;
    EXPECT_EQ(r.den, c.den) << c.rate;
  }
}

TEST(Y4m, HeaderAndPlaneSizes) {
  EXPECT_EQ(Y4mHeader(1920, 1080, {30, 1}, TChroma::C422), "YUV4MPEG2 W1920 H1080 F30:1 Ip A1:1 C422\n");
  EXPECT_EQ(Y4mHeader(640, 360, {30000, 1001}, TChroma::C444), "YUV4MPEG2 W640 H360 F30000:1001 Ip A1:1 C444\n");
  EXPECT_EQ(Y4mPlaneBytes(1920, 1080, TChroma::C422), 1920u * 1080 * 2);
  EXPECT_EQ(Y4mPlaneBytes(1920, 1080, TChroma::C444), 1920u * 1080 * 3);
  EXPECT_EQ(Y4mPlaneBytes(5, 2, TChroma::C422), 5u * 2 + 2 * 3 * 2) << "odd widths round chroma up";
}

TEST(Y4m, FileHoldsHeaderThenFramesAndRefusesOtherSizes) {
  const auto path = std::filesystem::temp_directory_path() / "cvcapture_y4m_test.y4m";
  const std::vector<uint8_t> uyvy = {128, 16, 128, 235, 100, 50, 200, 60};  // 2x2
  TPictureView view{uyvy.data(), 4, 2, 2, TPixelLayout::UYVY};
  TPictureView wider{uyvy.data(), 4, 4, 1, TPixelLayout::UYVY};
  {
    TY4mWriter writer;
    ASSERT_TRUE(writer.Open(path, 2, 2, {25, 1}, TChroma::C422));
    EXPECT_TRUE(writer.Write(view));
    EXPECT_TRUE(writer.Write(view));
    EXPECT_FALSE(writer.Matches(wider));
    EXPECT_FALSE(writer.Write(wider));
    EXPECT_EQ(writer.Frames(), 2);
    EXPECT_TRUE(writer.Close());
  }
  std::ifstream in(path, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  in.close();
  std::filesystem::remove(path);
  const std::string header = "YUV4MPEG2 W2 H2 F25:1 Ip A1:1 C422\n";
  const std::string frame = std::string("FRAME\n") + "\x10\xEB\x32\x3C" + "\x80\x64" + "\x80\xC8";
  EXPECT_EQ(bytes, header + frame + frame);
}

}  // namespace
