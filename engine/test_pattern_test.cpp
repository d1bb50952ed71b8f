#include "engine/test_pattern.h"

#include <gtest/gtest.h>

#include <vector>

#include "media/colour_formats.h"

namespace {

TVideoProps Format(uint32_t colour, int32_t width, int32_t height, int32_t extraRowBytes = 0) {
  TVideoProps v{};
  v.colourFormat = colour;
  v.width = width;
  v.height = height;
  v.rowBytes = ColourRowBytes(colour, width) + extraRowBytes;
  return v;
}

std::vector<uint8_t> Picture(const TVideoProps& v) {
  return std::vector<uint8_t>(static_cast<size_t>(v.rowBytes) * static_cast<size_t>(std::abs(v.height)), 0xCD);
}

TEST(TestPattern, CounterCellsCarryTheFrameNumberInEveryColour) {
  const TVideoProps formats[] = {
      Format(kColourHDYC, 320, 240),     Format(kColourUYVY, 200, 150, 16), Format(kColourYUY2, 320, 240),
      Format(kColourRGB32, 320, -240),   Format(kColourRGB32, 320, 240),    Format(kColourARGB32, 202, -150, 8),
  };
  for (const TVideoProps& v : formats) {
    std::vector<uint8_t> pixels = Picture(v);
    for (int64_t n : {0, 1, 2, 255, 0x8001, 0xFFFF, 0x12345}) {
      ASSERT_EQ(DrawTestPattern(pixels.data(), v, n), S_OK);
      EXPECT_EQ(TestPatternCounter(pixels.data(), v), static_cast<int32_t>(n & 0xFFFF))
          << "colour " << std::hex << v.colourFormat << std::dec << " height " << v.height << " frame " << n;
    }
  }
}

TEST(TestPattern, PictureMovesFromFrameToFrameAndRepeatsForOneNumber) {
  for (uint32_t colour : {kColourHDYC, kColourRGB32}) {
    const TVideoProps v = Format(colour, 320, colour == kColourRGB32 ? -240 : 240);
    std::vector<uint8_t> a = Picture(v), again = Picture(v), b = Picture(v);
    ASSERT_EQ(DrawTestPattern(a.data(), v, 10), S_OK);
    ASSERT_EQ(DrawTestPattern(again.data(), v, 10), S_OK);
    ASSERT_EQ(DrawTestPattern(b.data(), v, 11), S_OK);
    EXPECT_EQ(a, again) << "one number, one picture";
    // Below the counter lines the bars alone differ: they have scrolled.
    const size_t below = static_cast<size_t>(v.rowBytes) * 40;
    EXPECT_NE(std::vector<uint8_t>(a.begin() + below, a.end()), std::vector<uint8_t>(b.begin() + below, b.end()));
  }
}

TEST(TestPattern, RgbPixelsAreOpaqueAndYuvLumaStaysInStudioRange) {
  const TVideoProps rgb = Format(kColourRGB32, 256, -160);
  std::vector<uint8_t> p = Picture(rgb);
  ASSERT_EQ(DrawTestPattern(p.data(), rgb, 3), S_OK);
  for (size_t i = 3; i < p.size(); i += 4) ASSERT_EQ(p[i], 255) << "alpha byte " << i;

  const TVideoProps yuv = Format(kColourHDYC, 256, 160);
  std::vector<uint8_t> q = Picture(yuv);
  ASSERT_EQ(DrawTestPattern(q.data(), yuv, 3), S_OK);
  for (size_t i = 1; i < q.size(); i += 2) {
    ASSERT_GE(q[i], 16) << "luma byte " << i;
    ASSERT_LE(q[i], 235) << "luma byte " << i;
  }
}

TEST(TestPattern, PaddingBytesOfALineAreLeftAlone) {
  const TVideoProps v = Format(kColourHDYC, 200, 150, 24);
  std::vector<uint8_t> p = Picture(v);
  ASSERT_EQ(DrawTestPattern(p.data(), v, 1), S_OK);
  for (int32_t y = 0; y < 150; ++y) {
    for (int32_t x = 400; x < v.rowBytes; ++x) {
      ASSERT_EQ(p[static_cast<size_t>(y) * v.rowBytes + x], 0xCD) << "line " << y << " byte " << x;
    }
  }
}

TEST(TestPattern, RefusesWhatItCannotDraw) {
  std::vector<uint8_t> p(1 << 20);
  EXPECT_EQ(DrawTestPattern(nullptr, Format(kColourHDYC, 320, 240), 0), E_POINTER);
  EXPECT_EQ(DrawTestPattern(p.data(), Format(kColourNV12, 320, 240), 0), E_NOTIMPL);
  EXPECT_EQ(DrawTestPattern(p.data(), Format(kColourRGB24, 320, 240), 0), E_NOTIMPL);
  EXPECT_EQ(DrawTestPattern(p.data(), Format(kColourHDYC, 100, 240), 0), E_INVALIDARG) << "narrower than the cells";
  EXPECT_EQ(DrawTestPattern(p.data(), Format(kColourHDYC, 320, 10), 0), E_INVALIDARG) << "lower than the cells";
  TVideoProps shortRows = Format(kColourRGB32, 320, 240);
  shortRows.rowBytes = 320 * 3;
  EXPECT_EQ(DrawTestPattern(p.data(), shortRows, 0), E_INVALIDARG);
  EXPECT_EQ(TestPatternCounter(p.data(), shortRows), -1);
  EXPECT_EQ(TestPatternCounter(nullptr, Format(kColourHDYC, 320, 240)), -1);
}

}  // namespace
