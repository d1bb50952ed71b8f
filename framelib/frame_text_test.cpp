#include "framelib/frame_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "framelib/frame_test_helpers.h"
#include "framelib/picture_layout.h"
#include "platform/text_raster.h"
#include "platform/pinned_font_test_support.h"

namespace {

using cvtest::kAdvanceEm;
using cvtest::kLineEm;

const wchar_t kTimecodeStyle[] = L"color='yellow' face='Consolas' bg-color='black(100)'";
const TTextPlacement kEnginePlace{0, 0.05, 0, 0, 1};

// A picture in memory with guard bytes around it and a uniform fill, so that every byte a draw may not
// touch can be checked afterwards.
struct TPicture {
  static constexpr size_t kGuard = 64;
  TVideoProps video{};
  TPictureLayout layout{};
  std::vector<uint8_t> memory;

  TPicture(uint32_t colour, int32_t width, int32_t height, const std::vector<uint8_t>& fill, int32_t rowBytes = 0) {
    video.colourFormat = colour;
    video.width = width;
    video.height = height;
    video.rowBytes = rowBytes;
    EXPECT_EQ(PictureLayoutOf(video, &layout), TPictureKind::Picture);
    memory.assign(size_t(layout.imageBytes) + 2 * kGuard, 0xA5);
    // Past the picture's own bytes a line holds padding, which keeps the guard's value.
    const bool rgb = colour == kColourARGB32 || colour == kColourRGB32;
    const int32_t own = rgb ? width * 4 : (width + 1) / 2 * 4;
    for (int32_t y = 0; y < layout.lines; ++y) {
      for (int32_t i = 0; i < own; ++i) Line(y)[i] = fill[size_t(i) % fill.size()];
    }
  }
  uint8_t* Pixels() { return memory.data() + kGuard; }
  uint8_t* Line(int32_t y) { return Pixels() + PictureLineOffset(layout, y); }

  HRESULT Draw(cvplat::ITextRaster* raster, const wchar_t* text, double size, const TTextPlacement& place,
               int32_t flags, const wchar_t* style) {
    return TextDrawPicture(video, Pixels(), text, size, &place, flags, style, raster);
  }
};

struct TBox {
  int32_t left = INT32_MAX, top = INT32_MAX, right = -1, bottom = -1;  // right and bottom exclusive
  bool Empty() const { return right < 0; }
};

// The pixels of 32-bit pictures that differ between two states of the same picture, top line first.
TBox ChangedPixels(TPicture& before, TPicture& after) {
  TBox box;
  for (int32_t y = 0; y < before.layout.lines; ++y) {
    for (int32_t x = 0; x < before.video.width; ++x) {
      if (std::equal(before.Line(y) + 4 * x, before.Line(y) + 4 * x + 4, after.Line(y) + 4 * x)) continue;
      box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1), std::max(box.bottom, y + 1)};
    }
  }
  return box;
}

uint8_t Mix(int s, int d, int a) { return static_cast<uint8_t>(std::lround((s * (255.0 - a) + d * a) / 255.0)); }

TEST(FrameText, StyleReadsItsThreeItemsAndDefaultsTheRest) {
  TTextStyle style = ParseTextStyle(kTimecodeStyle);
  EXPECT_EQ(style.colour, 0xFF00FFFFu);
  EXPECT_EQ(style.background, 0x64000000u) << "alpha 100: that much of the picture shows";
  EXPECT_EQ(style.face, L"Consolas");

  style = ParseTextStyle(L"  FACE=\"Lucida Console\"   Color=red BG-COLOR='#80FF0000' size='7'");
  EXPECT_EQ(style.face, L"Lucida Console");
  EXPECT_EQ(style.colour, 0xFF0000FFu);
  EXPECT_EQ(style.background, 0x800000FFu);

  for (const wchar_t* broken : {static_cast<const wchar_t*>(nullptr), L"", L"colour yellow", L"= = ='",
                                L"color='not a colour' bg-color='' face=", L"color"}) {
    style = ParseTextStyle(broken);
    EXPECT_EQ(style.colour, kTextDefaultColour);
    EXPECT_EQ(style.background, kTextNoBackground);
    EXPECT_TRUE(style.face.empty());
  }
  EXPECT_EQ(ParseTextStyle(L"face='Consolas").face, L"Consolas") << "an open quote runs to the end";
}

TEST(FrameText, TimecodeBoxFollowsSizeAndPlacement) {
  REQUIRE_PINNED_RASTER(raster);
  const std::vector<uint8_t> grey{0x40, 0x40, 0x40, 0xFF};
  TPicture before(kColourARGB32, 640, -360, grey), picture = before;
  ASSERT_EQ(picture.Draw(raster.get(), L"01:02:03:04 ", 2.0, kEnginePlace, 0x21, kTimecodeStyle), S_OK);

  // Size 2 on 360 lines: an em of 24 pixels, a padding of 3.
  const double em = 2.0 * 360 / 30;
  const double width = 12 * std::round(kAdvanceEm * em) + 2 * 3, height = kLineEm * em;
  const TBox box = ChangedPixels(before, picture);
  EXPECT_NEAR(box.right - box.left, width, 2);
  EXPECT_NEAR(box.bottom - box.top, height, 2);
  EXPECT_NEAR(box.left, (640 - width) / 2, 2) << "centred";
  EXPECT_NEAR(box.bottom, 360 - 18, 1) << "5% above the bottom";

  // Away from the glyphs, in the box's padding: 100 / 255 of the grey. Outside: untouched, alpha too.
  const uint8_t* padding = picture.Line((box.top + box.bottom) / 2) + 4 * (box.left + 1);
  EXPECT_NEAR(padding[0], Mix(0x40, 0, 155), 1);
  EXPECT_EQ(padding[3], 0xFF);

  // The key line, drawn from the top, stays clear of it.
  TPicture keys = before;
  ASSERT_EQ(keys.Draw(raster.get(), L"Ctrl + Alt + Del ", 2.0, kEnginePlace, 0x01, kTimecodeStyle), S_OK);
  const TBox keyBox = ChangedPixels(before, keys);
  EXPECT_NEAR(keyBox.top, 18, 1);
  EXPECT_LT(keyBox.bottom, box.top);
}

TEST(FrameText, ColoursInsideTheStrokesTheBoxAndOutside) {
  REQUIRE_PINNED_RASTER(raster);
  const std::vector<uint8_t> fill{0x30, 0x60, 0x90, 0x80};
  TPicture before(kColourARGB32, 200, -100, fill), picture = before;
  // A full block fills its cell from top to bottom: its middle is solid text.
  const TTextPlacement place{20, 10, 0, 0, 0};
  ASSERT_EQ(picture.Draw(raster.get(), L"\x2588", 4.0, place, 0, L"color='#FF8000' bg-color='Blue(64)'"), S_OK);
  const TBox box = ChangedPixels(before, picture);
  ASSERT_FALSE(box.Empty());
  EXPECT_EQ(box.left, 20);
  EXPECT_EQ(box.top, 10);
  const uint8_t* solid = picture.Line((box.top + box.bottom) / 2) + 4 * ((box.left + box.right) / 2);
  EXPECT_EQ(solid[0], 0x00);  // blue
  EXPECT_EQ(solid[1], 0x80);  // green
  EXPECT_EQ(solid[2], 0xFF);  // red
  EXPECT_EQ(solid[3], 0xFF) << "the text covers the picture whole";
  // The padding at the box's left: blue over 64 / 255 of the picture; alpha as "over" gives it.
  const uint8_t* padding = picture.Line(box.top + 1) + 4 * box.left;
  EXPECT_NEAR(padding[0], Mix(0x30, 0xFF, 191), 1);
  EXPECT_NEAR(padding[1], Mix(0x60, 0x00, 191), 1);
  EXPECT_NEAR(padding[2], Mix(0x90, 0x00, 191), 1);
  EXPECT_NEAR(padding[3], Mix(0x80, 0xFF, 191), 1);

  // Markup that doesn't read draws white text and no box: the padding stays as it was.
  TPicture plain = before;
  ASSERT_EQ(plain.Draw(raster.get(), L"\x2588", 4.0, place, 0, L"colour='red' bg-color=?"), S_OK);
  const uint8_t* white = plain.Line((box.top + box.bottom) / 2) + 4 * ((box.left + box.right) / 2);
  EXPECT_EQ(white[0], 0xFF);
  EXPECT_EQ(white[1], 0xFF);
  EXPECT_EQ(white[2], 0xFF);
  EXPECT_TRUE(std::equal(fill.begin(), fill.end(), plain.Line(box.top + 1) + 4 * box.left));
}

TEST(FrameText, BothLineOrdersGiveTheSamePicture) {
  REQUIRE_PINNED_RASTER(raster);
  const std::vector<uint8_t> fill{0x10, 0x20, 0x30, 0x00};
  TPicture topDown(kColourRGB32, 160, -90, fill), bottomUp(kColourRGB32, 160, 90, fill);
  ASSERT_TRUE(bottomUp.layout.bottomUp);
  ASSERT_EQ(topDown.Draw(raster.get(), L"12:34", 2.0, kEnginePlace, 0x21, kTimecodeStyle), S_OK);
  ASSERT_EQ(bottomUp.Draw(raster.get(), L"12:34", 2.0, kEnginePlace, 0x21, kTimecodeStyle), S_OK);
  bool drewLow = false;
  for (int32_t y = 0; y < 90; ++y) {
    ASSERT_TRUE(std::equal(topDown.Line(y), topDown.Line(y) + 160 * 4, bottomUp.Line(y))) << "line " << y;
    for (int32_t x = 0; x < 160; ++x) {
      if (y > 45 && !std::equal(fill.begin(), fill.end(), topDown.Line(y) + 4 * x)) drewLow = true;
    }
  }
  EXPECT_TRUE(drewLow) << "the timecode lies in the lower half, in either order";
  // RGB32's fourth byte isn't alpha: it stays as it was.
  for (int32_t y = 0; y < 90; ++y) {
    for (int32_t x = 0; x < 160; ++x) ASSERT_EQ(topDown.Line(y)[4 * x + 3], 0x00);
  }
}

TEST(FrameText, CutAtEveryEdgeWithoutWritingOutside) {
  REQUIRE_PINNED_RASTER(raster);
  const std::vector<uint8_t> fill{0x11, 0x22, 0x33, 0x44};
  // Lines of 160 bytes for 37 pixels: the padding beyond the picture must stay as well.
  TPicture before(kColourARGB32, 37, -23, fill, 160);
  const TTextPlacement corners[] = {{-30, -5, 0, 0, 0}, {20, 12, 0, 0, 0}, {-0.5, 0.9, 0, 0, 1}};
  for (const TTextPlacement& place : corners) {
    TPicture picture = before;
    ASSERT_EQ(picture.Draw(raster.get(), L"W@W@W@W@W@", 3.0, place, 0, L"bg-color='white(10)'"), S_OK);
    EXPECT_FALSE(ChangedPixels(before, picture).Empty());
    EXPECT_TRUE(std::equal(picture.memory.begin(), picture.memory.begin() + TPicture::kGuard, before.memory.begin()));
    EXPECT_TRUE(std::equal(picture.memory.end() - TPicture::kGuard, picture.memory.end(), before.memory.end() - TPicture::kGuard));
    for (int32_t y = 0; y < 23; ++y) {
      EXPECT_TRUE(std::equal(picture.Line(y) + 37 * 4, picture.Line(y) + 160, before.Line(y) + 37 * 4)) << "line " << y;
    }
  }
  // Wholly outside: nothing at all changes.
  TPicture picture = before;
  ASSERT_EQ(picture.Draw(raster.get(), L"1", 1.0, {100, 100, 0, 0, 0}, 0, L"bg-color='white(10)'"), S_OK);
  EXPECT_EQ(picture.memory, before.memory);
}

TEST(FrameText, PackedYuvBlendsInStudioRange) {
  REQUIRE_PINNED_RASTER(raster);
  // Mid grey: Cb Y0 Cr Y1 = 128 128 128 128.
  const std::vector<uint8_t> grey{128, 128, 128, 128};
  const TTextPlacement place{4, 4, 0, 0, 0};
  TPicture hdyc(kColourHDYC, 63, 120, grey), before = hdyc;  // an odd width ends in half a pair
  ASSERT_EQ(hdyc.Draw(raster.get(), L"\x2588\x2588", 4.0, place, 0, L"color=yellow bg-color='black(100)'"), S_OK);
  // An em of 16 pixels: the box from column 4, the blocks from 6 to 26. 100% yellow in BT.601 studio
  // range: Y 210, Cb 16, Cr 146.
  const uint8_t* solid = hdyc.Line(12) + 2 * 10;
  EXPECT_EQ(solid[0], 16);
  EXPECT_EQ(solid[1], 210);
  EXPECT_EQ(solid[2], 146);
  EXPECT_EQ(solid[3], 210);
  // The box's first pair, in its padding: black (16, 128, 128) over 100 / 255 of the grey.
  const uint8_t* padding = hdyc.Line(12) + 2 * 4;
  EXPECT_NEAR(padding[1], Mix(128, 16, 155), 1);
  EXPECT_NEAR(padding[0], 128, 1);
  EXPECT_EQ(hdyc.Line(3)[2 * 4 + 1], 128) << "above the box";
  EXPECT_EQ(hdyc.Line(12)[2 * 2 + 1], 128) << "left of the box";

  // Cut at the right edge of the odd width: the last pair's Y1 lies outside the picture and stays.
  TPicture edge = before;
  ASSERT_EQ(edge.Draw(raster.get(), L"\x2588\x2588", 4.0, {50, 4, 0, 0, 0}, 0, L"bg-color='black(100)'"), S_OK);
  EXPECT_NE(edge.Line(12)[4 * 31 + 1], 128) << "the last pixel, Y0 of the last pair";
  for (int32_t y = 0; y < 120; ++y) ASSERT_EQ(edge.Line(y)[4 * 31 + 3], 128) << "line " << y;

  // YUY2 is the same picture with each pair's bytes in the order Y0 Cb Y1 Cr.
  std::vector<uint8_t> yuy2Grey{128, 128, 128, 128};
  TPicture yuy2(kColourYUY2, 63, 120, yuy2Grey);
  ASSERT_EQ(yuy2.Draw(raster.get(), L"\x2588\x2588", 4.0, place, 0, L"color=yellow bg-color='black(100)'"), S_OK);
  for (int32_t y = 0; y < 120; ++y) {
    for (int32_t pair = 0; pair < 32; ++pair) {
      const uint8_t* u = hdyc.Line(y) + 4 * pair;
      const uint8_t* v = yuy2.Line(y) + 4 * pair;
      ASSERT_EQ(v[0], u[1]);
      ASSERT_EQ(v[1], u[0]);
      ASSERT_EQ(v[2], u[3]);
      ASSERT_EQ(v[3], u[2]);
    }
  }
}

TEST(FrameText, FrameDrawsWithTheMachinesRasterAndReusesItsGlyphs) {
  FramePtr frame = MakeFrame(kColourHDYC, 320, 180);
  uint8_t* pixels = nullptr;
  ASSERT_EQ(frame->PixelsGet(0, &pixels), S_OK);
  std::fill(pixels, pixels + 320 * 2 * 180, uint8_t{128});
  ASSERT_EQ(frame->TextDraw(L"01:02:03:04 ", 2.0, &kEnginePlace, 0x21, kTimecodeStyle), S_OK);
  EXPECT_NE(std::count(pixels, pixels + 320 * 2 * 180, uint8_t{128}), 320 * 2 * 180);
  cvplat::ITextRaster* raster = cvplat::NativeTextRaster();
  ASSERT_NE(raster, nullptr);
  const uint64_t rendered = raster->GlyphsRendered();
  ASSERT_EQ(frame->TextDraw(L"01:02:03:04 ", 2.0, &kEnginePlace, 0x21, kTimecodeStyle), S_OK);
  ASSERT_EQ(frame->TextDraw(L"04:03:02:01 ", 2.0, &kEnginePlace, 0x21, kTimecodeStyle), S_OK);
  EXPECT_EQ(raster->GlyphsRendered(), rendered);
}

TEST(FrameText, StatusesOfWhatCantBeDrawn) {
  FramePtr frame = MakeFrame(kColourARGB32, 16, -8);
  uint8_t* pixels = nullptr;
  frame->PixelsGet(0, &pixels);
  const std::vector<uint8_t> blank(pixels, pixels + 16 * 4 * 8);
  EXPECT_EQ(frame->TextDraw(L"1", 1.0, nullptr, 0, nullptr), E_POINTER);
  EXPECT_EQ(frame->TextDraw(nullptr, 1.0, &kEnginePlace, 0, kTimecodeStyle), S_FALSE);
  EXPECT_EQ(frame->TextDraw(L"", 1.0, &kEnginePlace, 0, kTimecodeStyle), S_FALSE);
  EXPECT_EQ(std::vector<uint8_t>(pixels, pixels + blank.size()), blank);

  ICVFrame_I* raw = nullptr;
  ASSERT_EQ(Factory()->FrameAlloc(64, &raw), S_OK);
  FramePtr noPicture = FramePtr::Adopt(raw);
  EXPECT_EQ(noPicture->TextDraw(L"1", 1.0, &kEnginePlace, 0, nullptr), E_UNEXPECTED);
  EXPECT_EQ(MakeFrame(kColourNV12, 16, 8)->TextDraw(L"1", 1.0, &kEnginePlace, 0, nullptr), CV_E_FORMAT_REFUSED);
  EXPECT_EQ(MakeFrame(kColourRGB24, 16, 8)->TextDraw(L"1", 1.0, &kEnginePlace, 0, nullptr), CV_E_FORMAT_REFUSED);
}

}  // namespace
