#include "tools/cvcapture/pixel_convert.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace {

TVideoProps Video(uint32_t colour, int32_t width, int32_t height, int32_t rowBytes = 0) {
  TVideoProps v{};
  v.colourFormat = colour;
  v.width = width;
  v.height = height;
  v.rowBytes = rowBytes;
  return v;
}

TEST(PixelConvert, KnownColoursMapToTheLimitedRangeAndBack) {
  struct Case {
    int r, g, b;
    int y, u, v;
  } const cases[] = {
      {0, 0, 0, 16, 128, 128},
      {255, 255, 255, 235, 128, 128},
      {255, 0, 0, 63, 102, 240},   // BT.709 red
      {0, 255, 0, 173, 42, 26},    // BT.709 green
      {0, 0, 255, 32, 240, 118},   // BT.709 blue
  };
  for (const Case& c : cases) {
    uint8_t y, u, v;
    RgbToYuv(c.r, c.g, c.b, &y, &u, &v);
    EXPECT_NEAR(y, c.y, 1) << c.r << "," << c.g << "," << c.b;
    EXPECT_NEAR(u, c.u, 1) << c.r << "," << c.g << "," << c.b;
    EXPECT_NEAR(v, c.v, 1) << c.r << "," << c.g << "," << c.b;
    uint8_t r, g, b;
    YuvToRgb(y, u, v, &r, &g, &b);
    EXPECT_NEAR(r, c.r, 2);
    EXPECT_NEAR(g, c.g, 2);
    EXPECT_NEAR(b, c.b, 2);
  }
}

TEST(PixelConvert, RoundTripOfAGreyRampAndOutOfRangeValuesClamp) {
  for (int level = 0; level < 256; level += 5) {
    uint8_t y, u, v, r, g, b;
    RgbToYuv(level, level, level, &y, &u, &v);
    EXPECT_EQ(u, 128);
    EXPECT_EQ(v, 128);
    YuvToRgb(y, u, v, &r, &g, &b);
    EXPECT_NEAR(r, level, 1);
    EXPECT_EQ(r, g);
    EXPECT_EQ(g, b);
  }
  uint8_t r, g, b;
  YuvToRgb(255, 255, 255, &r, &g, &b);
  EXPECT_EQ(r, 255) << "super-white clamps";
  YuvToRgb(0, 128, 128, &r, &g, &b);
  EXPECT_EQ(r, 0) << "below black clamps";
}

TEST(PixelConvert, PackedRowsSplitIntoPlanesInTheirByteOrder) {
  // Two pixel pairs: UYVY as U Y0 V Y1.
  const uint8_t uyvy[] = {10, 20, 30, 40, 11, 21, 31, 41};
  uint8_t y[4], u[2], v[2];
  UYVYToPlanarRow_C(uyvy, y, u, v, 4);
  EXPECT_EQ(std::vector<uint8_t>(y, y + 4), (std::vector<uint8_t>{20, 40, 21, 41}));
  EXPECT_EQ(std::vector<uint8_t>(u, u + 2), (std::vector<uint8_t>{10, 11}));
  EXPECT_EQ(std::vector<uint8_t>(v, v + 2), (std::vector<uint8_t>{30, 31}));

  const uint8_t yuy2[] = {20, 10, 40, 30, 21, 11, 41, 31};
  uint8_t y2[4], u2[2], v2[2];
  YUY2ToPlanarRow_C(yuy2, y2, u2, v2, 4);
  EXPECT_EQ(std::vector<uint8_t>(y2, y2 + 4), (std::vector<uint8_t>{20, 40, 21, 41}));
  EXPECT_EQ(u2[1], 11);
  EXPECT_EQ(v2[1], 31);

  // An odd width keeps its last luma and a chroma sample for it.
  uint8_t y3[3] = {}, u3[2] = {}, v3[2] = {};
  UYVYToPlanarRow_C(uyvy, y3, u3, v3, 3);
  EXPECT_EQ(y3[2], 21);
  EXPECT_EQ(u3[1], 11);
}

TEST(PixelConvert, RgbRowsReadBlueGreenRedAlpha) {
  const uint8_t bgra[] = {1, 2, 3, 255, 40, 50, 60, 0};
  uint8_t rgb[6];
  BGRAToRGB24Row_C(bgra, rgb, 2);
  EXPECT_EQ(std::vector<uint8_t>(rgb, rgb + 6), (std::vector<uint8_t>{3, 2, 1, 60, 50, 40}));

  const uint8_t red[] = {0, 0, 255, 255};
  uint8_t y, u, v;
  BGRAToYUV444Row_C(red, &y, &u, &v, 1);
  uint8_t ey, eu, ev;
  RgbToYuv(255, 0, 0, &ey, &eu, &ev);
  EXPECT_EQ(y, ey);
  EXPECT_EQ(u, eu);
  EXPECT_EQ(v, ev);
}

TEST(PixelConvert, FrameViewsHonourRowBytesOrientationAndSize) {
  // 2x2 RGB32 with a positive height lies bottom-up: the first line in memory is the bottom line.
  std::vector<uint8_t> rgb32 = {0, 0, 255, 0, 0, 0, 255, 0, /* bottom: red */
                                255, 0, 0, 0, 255, 0, 0, 0 /* top: blue */};
  TPictureView view;
  ASSERT_TRUE(PictureFromFrame(Video(kColourCodeRGB32, 2, 2), rgb32.data(), 16, &view));
  uint8_t out[12];
  PictureToRgb24(view, out);
  EXPECT_EQ(out[2], 255) << "top line is blue";
  EXPECT_EQ(out[6], 255) << "bottom line is red";

  ASSERT_TRUE(PictureFromFrame(Video(kColourCodeRGB32, 2, -2), rgb32.data(), 16, &view));
  PictureToRgb24(view, out);
  EXPECT_EQ(out[0], 255) << "a negative height is top-down: red first";

  // Padded lines: rowBytes 8 for a 2-pixel UYVY line of 4 bytes.
  std::vector<uint8_t> padded = {128, 16, 128, 16, 9, 9, 9, 9, 128, 235, 128, 235};
  ASSERT_TRUE(PictureFromFrame(Video(kFourccHDYC, 2, 2, 8), padded.data(), 12, &view));
  EXPECT_EQ(view.stride, 8);
  PictureToRgb24(view, out);
  EXPECT_EQ(out[0], 0);
  EXPECT_EQ(out[6], 255);

  EXPECT_FALSE(PictureFromFrame(Video(kFourccHDYC, 2, 2, 8), padded.data(), 11, &view)) << "too few bytes";
  EXPECT_FALSE(PictureFromFrame(Video(0x3231564E, 2, 2), padded.data(), 12, &view)) << "planar NV12 not read";
  EXPECT_FALSE(PictureFromFrame(Video(kFourccUYVY, 0, 2), padded.data(), 12, &view));
}

TEST(PixelConvert, PicturesBecomePlanesOfTheirChroma) {
  EXPECT_EQ(PlanarChromaOf(PixelLayoutOf(kFourccHDYC)), TChroma::C422);
  EXPECT_EQ(PlanarChromaOf(PixelLayoutOf(kFourccYUY2)), TChroma::C422);
  EXPECT_EQ(PlanarChromaOf(PixelLayoutOf(kColourCodeARGB32)), TChroma::C444);
  EXPECT_EQ(ChromaWidth(TChroma::C422, 5), 3);

  const std::vector<uint8_t> yuy2 = {16, 100, 17, 200, 18, 101, 19, 201, 20, 102, 21, 202, 22, 103, 23, 203};
  TPictureView view;
  ASSERT_TRUE(PictureFromFrame(Video(kFourccYUY2, 4, 2), yuy2.data(), 16, &view));
  std::vector<uint8_t> planes(4 * 2 + 2 * 2 * 2);
  PictureToPlanar(view, planes.data(), planes.data() + 8, planes.data() + 12);
  EXPECT_EQ(planes, (std::vector<uint8_t>{16, 17, 18, 19, 20, 21, 22, 23, 100, 101, 102, 103, 200, 201, 202, 203}));
}

}  // namespace
