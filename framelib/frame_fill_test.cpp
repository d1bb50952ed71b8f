#include "framelib/frame_fill.h"

#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <string>

#include "framelib/draw_test_helpers.h"
#include "props/value_codecs.h"

namespace {

const double kOwnAlpha = std::numeric_limits<double>::quiet_NaN();

std::wstring Markup(const std::wstring& colour, int32_t width, int32_t height) {
  return L"color=" + colour + L" width=" + std::to_wstring(width) + L" height=" + std::to_wstring(height);
}

// As the software loop calls it: the property's text, and A / 255 of that text's colour as the opacity.
HRESULT FillAsEngine(ICVFrame_I* frame, int32_t x, int32_t y, const std::wstring& colour, int32_t w, int32_t h) {
  const double a = static_cast<double>(ParseColor(colour, kFillDefaultColour) >> 24) / 255.0;
  return frame->MarkupFill(0, 0, x, y, a, Markup(colour, w, h).c_str(), 0);
}

// The GPU's shading c x A + colour x (1 - A), worked by hand on the picture (blue 40, green 120, red 200);
// the alpha byte 33 is the picture's and stays.
TEST(MarkupFill, ShadesLikeTheGpuForEveryColourForm) {
  const struct {
    const wchar_t* colour;
    Pixel expected;
  } cases[] = {
      // A = 170, 2/3 of the picture: 26.7, 80, 133.3
      {L"Black(170)", {27, 80, 133, 33}},
      // A = 128 (0.5 x 255 rounded), red: 20.1, 60.2, 100.4 + 127
      {L"Red(0.5)", {20, 60, 227, 33}},
      // alpha from the number's top byte, red first in the text: green 60.2 + 128 x 0.498 = 124.0
      {L"#80FF8000", {20, 124, 227, 33}},
      {L"0x80FF8000", {20, 124, 227, 33}},
      // A = 136, yellow: 21.3, 64 + 119, 106.7 + 119
      {L"yellow(136)", {21, 183, 226, 33}},
      // A = 0: the solid colour, 0x8A5406 in blue, green, red
      {L"tw(0)", {138, 84, 6, 33}},
  };
  for (const auto& c : cases) {
    FramePtr frame = Filled(kColourARGB32, 1, 1, {40, 120, 200, 33});
    ASSERT_EQ(FillAsEngine(frame.Get(), 0, 0, c.colour, 1, 1), S_OK) << c.colour;
    EXPECT_EQ(Get(frame.Get(), 0, 0), c.expected) << c.colour;
  }
  // A = 255 leaves the picture as it is.
  FramePtr frame = Filled(kColourRGB32, 1, 1, {40, 120, 200, 33});
  EXPECT_EQ(FillAsEngine(frame.Get(), 0, 0, L"#FF8000", 1, 1), S_FALSE);
  EXPECT_EQ(Get(frame.Get(), 0, 0), (Pixel{40, 120, 200, 33}));
}

// The engine's opacity is a double A / 255; the GPU holds A / 255 as a float. For every A and every byte
// value the double must give what the colour's own alpha (the float) gives.
TEST(MarkupFill, OpacityFromTheEngineEqualsTheColoursOwnAlpha) {
  for (int alpha = 0; alpha < 256; ++alpha) {
    const std::wstring text = Markup(L"Teal(" + std::to_wstring(alpha) + L")", 256, 1);
    FramePtr byOpacity = MakeFrame(kColourRGB32, 256, 1);
    for (int32_t x = 0; x < 256; ++x) Put(byOpacity.Get(), x, 0, {uint8_t(x), uint8_t(255 - x), uint8_t(x ^ 0x5A), 0});
    ICVFrame_I* copy = nullptr;
    ASSERT_EQ(byOpacity->FrameDuplicate(&copy, kFrameDuplicateWork, 0), S_OK);
    FramePtr byColour = FramePtr::Adopt(copy);
    byOpacity->MarkupFill(0, 0, 0, 0, alpha / 255.0, text.c_str(), 0);
    byColour->MarkupFill(0, 0, 0, 0, kOwnAlpha, text.c_str(), 0);
    for (int32_t x = 0; x < 256; ++x) ASSERT_EQ(Get(byOpacity.Get(), x, 0), Get(byColour.Get(), x, 0)) << alpha;
  }
}

// Solid white rectangles on a black 6 x 4 picture in both row orders: exactly the clipped rectangle changes,
// counted from the top row.
TEST(MarkupFill, PlacesAndClipsTheRectangle) {
  const struct {
    int32_t x, y, w, h;
    int32_t x0, x1, y0, y1;  // the painted part, empty when x0 == x1
  } cases[] = {
      {1, 1, 2, 2, 1, 3, 1, 3},          {4, 2, 5, 5, 4, 6, 2, 4},        {-2, -1, 3, 2, 0, 1, 0, 1},
      {1, 1, -3, 2, 0, 0, 0, 0},         {6, 0, 2, 2, 0, 0, 0, 0},        {0, -2, 6, 2, 0, 0, 0, 0},
      {INT32_MAX - 1, 0, INT32_MAX, 4, 0, 0, 0, 0}, {INT32_MIN, 0, INT32_MAX, 4, 0, 0, 0, 0},
      {-5, 3, INT32_MAX, INT32_MAX, 0, 6, 3, 4},
  };
  for (int32_t height : {4, -4}) {
    for (const auto& c : cases) {
      FramePtr frame = Filled(kColourARGB32, 6, height, {0, 0, 0, 9});
      const std::wstring text = Markup(L"White", c.w, c.h);
      EXPECT_EQ(frame->MarkupFill(0, 0, c.x, c.y, 0.0, text.c_str(), 0), c.x0 < c.x1 ? S_OK : S_FALSE) << text;
      for (int32_t y = 0; y < 4; ++y) {
        for (int32_t x = 0; x < 6; ++x) {
          const bool inside = x >= c.x0 && x < c.x1 && y >= c.y0 && y < c.y1;
          const Pixel expected = inside ? Pixel{255, 255, 255, 9} : Pixel{0, 0, 0, 9};
          ASSERT_EQ(Get(frame.Get(), x, y), expected)
              << "at " << c.x << "," << c.y << " " << text << ", pixel " << x << "," << y << ", height " << height;
        }
      }
    }
  }
}

TEST(MarkupFill, ReadsLenientMarkupAndTakesDefaults) {
  const Pixel picture{40, 120, 200, 0};
  const Pixel white{255, 255, 255, 0};
  const struct {
    const wchar_t* markup;
    double opacity;
    HRESULT status;
    Pixel expected;
  } cases[] = {
      {nullptr, 0.0, S_FALSE, picture},
      {L"", 0.0, S_FALSE, picture},
      {L"width=abc height=1 color=White", 0.0, S_FALSE, picture},
      {L"color=White width=1", 0.0, S_FALSE, picture},
      // an unreadable colour is the background's default, black with A = 170, as the GPU path reads it
      {L"color=nonsense width=1 height=1", kOwnAlpha, S_OK, {27, 80, 133, 0}},
      {L"width=1 height=1", 170.0 / 255.0, S_OK, {27, 80, 133, 0}},
      // any case, any order, quotes, stray words and blanks
      {L"  HEIGHT=\"1\" junk COLOR='White'\twidth=1 ", 0.0, S_OK, white},
      // the opacity is clamped
      {L"color=White width=1 height=1", -3.0, S_OK, white},
      {L"color=White width=1 height=1", 3.0, S_FALSE, picture},
  };
  for (const auto& c : cases) {
    FramePtr frame = Filled(kColourRGB32, 1, 1, picture);
    EXPECT_EQ(frame->MarkupFill(0, 0, 0, 0, c.opacity, c.markup, 0), c.status) << (c.markup ? c.markup : L"null");
    EXPECT_EQ(Get(frame.Get(), 0, 0), c.expected) << (c.markup ? c.markup : L"null");
  }

  ICVFrame_I* bare = nullptr;
  ASSERT_EQ(Factory()->FrameAlloc(64, &bare), S_OK);
  FramePtr noPicture = FramePtr::Adopt(bare);
  EXPECT_EQ(noPicture->MarkupFill(0, 0, 0, 0, 0.0, L"color=Red width=2 height=2", 0), E_INVALIDARG);
  EXPECT_EQ(MakeFrame(kColourRGB24, 4, 4)->MarkupFill(0, 0, 0, 0, 0.0, L"color=Red width=2 height=2", 0),
            CV_E_FORMAT_REFUSED);
}

// Packed 4:2:2 pictures take the colour in studio-range BT.601: solid red is Cb 90, Y 81, Cr 239. A pair
// with one pixel inside has its chroma shaded; the other pixel keeps its luma.
TEST(MarkupFill, ShadesPackedYuvByComponent) {
  FramePtr hdyc = Filled(kColourHDYC, 4, 1, {128, 235, 128, 235});  // white: Cb Y0 Cr Y1
  ASSERT_EQ(hdyc->MarkupFill(0, 0, 1, 0, 0.0, L"color=Red width=1 height=1", 0), S_OK);
  EXPECT_EQ(Get(hdyc.Get(), 0, 0), (Pixel{90, 235, 239, 81}));
  EXPECT_EQ(Get(hdyc.Get(), 1, 0), (Pixel{128, 235, 128, 235}));

  FramePtr yuy2 = Filled(kColourYUY2, 4, 1, {235, 128, 235, 128});  // white: Y0 Cb Y1 Cr
  ASSERT_EQ(yuy2->MarkupFill(0, 0, 2, 0, 0.0, L"color=Red width=9 height=1", 0), S_OK);
  EXPECT_EQ(Get(yuy2.Get(), 0, 0), (Pixel{235, 128, 235, 128}));
  EXPECT_EQ(Get(yuy2.Get(), 1, 0), (Pixel{81, 90, 81, 239}));
}

}  // namespace
