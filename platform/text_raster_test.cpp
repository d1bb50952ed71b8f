#include "platform/text_raster.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "platform/pinned_font_test_support.h"

namespace {

using cvtest::kAdvanceEm;
using cvtest::kDigitEm;
using cvtest::kLineEm;

struct TInk {
  int32_t left = INT32_MAX, top = INT32_MAX, right = -1, bottom = -1;  // right and bottom exclusive
};

TInk InkOf(const cvplat::TTextLine& line) {
  TInk ink;
  for (int32_t y = 0; y < line.height; ++y) {
    for (int32_t x = 0; x < line.width; ++x) {
      if (line.coverage[size_t(y) * size_t(line.width) + size_t(x)] < 128) continue;
      ink.left = std::min(ink.left, x);
      ink.top = std::min(ink.top, y);
      ink.right = std::max(ink.right, x + 1);
      ink.bottom = std::max(ink.bottom, y + 1);
    }
  }
  return ink;
}

TEST(TextRaster, PinnedFontGivesTheFontsProportions) {
  REQUIRE_PINNED_RASTER(raster);
  constexpr int32_t em = 100;
  cvplat::TTextLine line;
  ASSERT_EQ(raster->RenderLine(L"any face", em, L"0123456789", &line), S_OK);
  ASSERT_EQ(line.advances.size(), 10u);
  for (int32_t advance : line.advances) EXPECT_NEAR(advance, kAdvanceEm * em, 1.0);
  EXPECT_EQ(line.width, 10 * line.advances[0]);
  EXPECT_NEAR(line.height, kLineEm * em, 2.0);
  EXPECT_NEAR(line.baseline, 1901.0 / 2048 * em, 1.0);
  ASSERT_EQ(line.coverage.size(), size_t(line.width) * size_t(line.height));

  // Digits stand on the baseline, as high as the font draws them, inside their cells.
  const TInk ink = InkOf(line);
  EXPECT_NEAR(ink.bottom, line.baseline, 2);
  EXPECT_NEAR(line.baseline - ink.top, kDigitEm * em, 3.0);
  EXPECT_GT(ink.left, 0);
  EXPECT_LT(ink.right, line.width);
  // Somewhere a stem is solid.
  EXPECT_EQ(*std::max_element(line.coverage.begin(), line.coverage.end()), 255);
}

TEST(TextRaster, BlanksControlsAndArguments) {
  REQUIRE_PINNED_RASTER(raster);
  cvplat::TTextLine line;
  ASSERT_EQ(raster->RenderLine(L"", 20, L" \t\n", &line), S_OK);
  ASSERT_EQ(line.advances.size(), 3u);
  EXPECT_EQ(line.advances[1], line.advances[0]) << "a control character takes a blank's place";
  EXPECT_TRUE(std::all_of(line.coverage.begin(), line.coverage.end(), [](uint8_t c) { return c == 0; }));

  ASSERT_EQ(raster->RenderLine(L"", 20, L"", &line), S_OK);
  EXPECT_EQ(line.width, 0);
  EXPECT_TRUE(line.coverage.empty());
  EXPECT_EQ(raster->RenderLine(L"", 0, L"1", &line), E_INVALIDARG);
  EXPECT_EQ(raster->RenderLine(L"", cvplat::ITextRaster::kMaxPixelSize + 1, L"1", &line), E_INVALIDARG);
  EXPECT_EQ(raster->RenderLine(L"", 20, L"1", nullptr), E_POINTER);

  // A line is cut where it would outgrow the limit: only whole characters, and their advances.
  const std::wstring endless(cvplat::ITextRaster::kMaxLineWidth, L'8');
  ASSERT_EQ(raster->RenderLine(L"", 64, endless, &line), S_OK);
  EXPECT_LE(line.width, cvplat::ITextRaster::kMaxLineWidth);
  EXPECT_LT(line.advances.size(), endless.size());
  EXPECT_EQ(line.width, int32_t(line.advances.size()) * line.advances[0]);
}

TEST(TextRaster, GlyphsAreCachedByFaceSizeAndCharacter) {
  REQUIRE_PINNED_RASTER(raster);
  cvplat::TTextLine line;
  ASSERT_EQ(raster->RenderLine(L"Consolas", 30, L"01:02:03:04", &line), S_OK);
  const uint64_t first = raster->GlyphsRendered();
  EXPECT_EQ(first, 6u) << "each distinct character once";
  const std::vector<uint8_t> picture = line.coverage;
  ASSERT_EQ(raster->RenderLine(L"Consolas", 30, L"04:03:02:01", &line), S_OK);
  EXPECT_EQ(raster->GlyphsRendered(), first);
  ASSERT_EQ(raster->RenderLine(L"Consolas", 30, L"01:02:03:04", &line), S_OK);
  EXPECT_EQ(line.coverage, picture) << "the cache gives what the font gave";

  ASSERT_EQ(raster->RenderLine(L"Consolas", 31, L"0", &line), S_OK);
  EXPECT_EQ(raster->GlyphsRendered(), first + 1) << "another size is another glyph";

  // The cache holds a bounded number of fonts: after as many others, the first is rendered afresh.
  for (int32_t size = 40; size < 40 + int32_t(cvplat::TCachedTextRaster::kMaxFonts); ++size) {
    ASSERT_EQ(raster->RenderLine(L"Consolas", size, L"0", &line), S_OK);
  }
  const uint64_t before = raster->GlyphsRendered();
  ASSERT_EQ(raster->RenderLine(L"Consolas", 30, L"0", &line), S_OK);
  EXPECT_EQ(raster->GlyphsRendered(), before + 1);
}

TEST(TextRaster, NativeRasterFallsBackToAMonospaceFace) {
  cvplat::ITextRaster* raster = cvplat::NativeTextRaster();
  ASSERT_NE(raster, nullptr);
  EXPECT_EQ(raster, cvplat::NativeTextRaster());
  for (const wchar_t* face : {L"Consolas", L"No Such Family 7f3a", L""}) {
    cvplat::TTextLine line;
    ASSERT_EQ(raster->RenderLine(face, 24, L"iW.", &line), S_OK) << face;
    ASSERT_EQ(line.advances.size(), 3u);
    EXPECT_GT(line.advances[0], 0) << face;
    EXPECT_EQ(line.advances[0], line.advances[1]) << face;
    EXPECT_EQ(line.advances[1], line.advances[2]) << face;
    EXPECT_GT(InkOf(line).right, 0) << face;
  }
}

}  // namespace
