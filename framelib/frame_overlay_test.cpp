#include "framelib/frame_overlay.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "framelib/draw_test_helpers.h"

namespace {

HRESULT Draw(ICVFrame_I* target, ICVFrame_I* source, TOverlayRect r, int32_t flags = kOverlayBlend,
             double opacity = 1.0) {
  return target->Overlay(source, 0, &r, flags, opacity, 0, 0);
}

// One pixel of (blue 0, green 50, red 255 or 128, alpha 128) over (200, 100, 0, 255), worked by hand with
// a = 128 / 255 x opacity. Straight: out = src x a + dst x (1 - a); premultiplied: src x opacity instead
// of src x a. The target's alpha becomes min(a, 1): the GPU's MIN, so opacity 0 clears it.
TEST(Overlay, BlendsStraightAndPremultipliedLikeTheGpu) {
  struct Case {
    int32_t flags;
    Pixel source;
    double opacity;
    Pixel expected;
  } cases[] = {
      // a = 0.50196: blue 200 x 0.49804 = 99.6; green 50 x a + 100 x (1 - a) = 74.9; red 255 x a = 128
      {kOverlayBlend, {0, 50, 255, 128}, 1.0, {100, 75, 128, 128}},
      // a = 0.25098: blue 149.8; green 12.55 + 74.90 = 87.45; red 64
      {kOverlayBlend, {0, 50, 255, 128}, 0.5, {150, 87, 64, 64}},
      {kOverlayBlend, {0, 50, 255, 128}, 0.0, {200, 100, 0, 0}},
      // premultiplied, a = 0.50196: green 50 + 49.8; red 128 + 0
      {kOverlayPremultiplied, {0, 50, 128, 128}, 1.0, {100, 100, 128, 128}},
      // a = 0.25098: green 25 + 74.90 = 99.9; red 64
      {kOverlayPremultiplied, {0, 50, 128, 128}, 0.5, {150, 100, 64, 64}},
      {kOverlayPremultiplied | kOverlayBlend, {0, 50, 128, 128}, 0.0, {200, 100, 0, 0}},
      // opacity is clamped, and NaN counts as 0
      {kOverlayBlend, {0, 50, 255, 128}, 7.0, {100, 75, 128, 128}},
      {kOverlayBlend, {0, 50, 255, 128}, std::numeric_limits<double>::quiet_NaN(), {200, 100, 0, 0}},
  };
  for (const Case& c : cases) {
    FramePtr target = Filled(kColourARGB32, 1, 1, {200, 100, 0, 255});
    FramePtr source = Filled(kColourARGB32, 1, -1, c.source);
    ASSERT_EQ(Draw(target.Get(), source.Get(), {0, 0, 1, 1}, c.flags, c.opacity), S_OK);
    EXPECT_EQ(Get(target.Get(), 0, 0), c.expected) << "flags " << c.flags << ", opacity " << c.opacity;
  }

  // An RGB32 source is opaque whatever its fourth byte, and an RGB32 target keeps its fourth byte:
  // at opacity 0.5 each channel is the mean, (100 + 200) / 2 and so on.
  FramePtr target = Filled(kColourRGB32, 1, 1, {200, 100, 10, 77});
  FramePtr source = Filled(kColourRGB32, 1, 1, {100, 0, 30, 0});
  ASSERT_EQ(Draw(target.Get(), source.Get(), {0, 0, 1, 1}, kOverlayBlend, 0.5), S_OK);
  EXPECT_EQ(Get(target.Get(), 0, 0), (Pixel{150, 50, 20, 77}));
}

// A 4 x 3 source whose pixels name their own position (blue x, green y) drawn opaque at its own size
// onto an 8 x 6 grey target: each covered pixel must show exactly the source pixel it lies over, and
// every other pixel must stay grey. For all four row orders, at each edge, and wholly outside.
TEST(Overlay, CopiesExactlyAtItsOwnSizeClipsAtEachEdgeAndKeepsRowOrder) {
  const Pixel grey{7, 7, 7, 255};
  const struct {
    double x, y;
  } places[] = {{2, 1}, {-2, 1}, {6, 2}, {1, -2}, {3, 4}, {-3, -2}, {8, 0}, {-4, 0}, {0, 6}, {0, -3}};
  for (int32_t targetHeight : {6, -6}) {
    for (int32_t sourceHeight : {3, -3}) {
      FramePtr source = MakeFrame(kColourARGB32, 4, sourceHeight);
      for (int32_t y = 0; y < 3; ++y)
        for (int32_t x = 0; x < 4; ++x) Put(source.Get(), x, y, {uint8_t(x), uint8_t(y), 99, 255});
      for (const auto& at : places) {
        FramePtr target = Filled(kColourARGB32, 8, targetHeight, grey);
        const bool inside = at.x > -4 && at.x < 8 && at.y > -3 && at.y < 6;
        EXPECT_EQ(Draw(target.Get(), source.Get(), {at.x, at.y, 4, 3}), inside ? S_OK : S_FALSE);
        for (int32_t y = 0; y < 6; ++y) {
          for (int32_t x = 0; x < 8; ++x) {
            const int32_t sx = x - static_cast<int32_t>(at.x), sy = y - static_cast<int32_t>(at.y);
            const bool covered = sx >= 0 && sx < 4 && sy >= 0 && sy < 3;
            const Pixel expected = covered ? Pixel{uint8_t(sx), uint8_t(sy), 99, 255} : grey;
            ASSERT_EQ(Get(target.Get(), x, y), expected)
                << "at " << at.x << "," << at.y << " pixel " << x << "," << y << " heights " << targetHeight << "/"
                << sourceHeight;
          }
        }
      }
    }
  }
}

// 2 x 2 to 4 x 4: target pixel i samples source texel coordinate (i + 0.5) / 2 - 0.5 = -0.25, 0.25, 0.75,
// 1.25, clamped at both ends to 0 and 1. Blue channel of the source: 0, 100 on top, 200, 60 below.
TEST(Overlay, ScalesBilinearlyWithTexelCentres) {
  FramePtr source = MakeFrame(kColourRGB32, 2, -2);
  Put(source.Get(), 0, 0, {0, 0, 0, 0});
  Put(source.Get(), 1, 0, {100, 0, 0, 0});
  Put(source.Get(), 0, 1, {200, 0, 0, 0});
  Put(source.Get(), 1, 1, {60, 0, 0, 0});
  FramePtr target = Filled(kColourRGB32, 4, -4, {1, 1, 1, 1});
  ASSERT_EQ(Draw(target.Get(), source.Get(), {0, 0, 4, 4}), S_OK);
  // Top row 0 + 100 x (0, .25, .75, 1); bottom row 200 - 140 x the same; rows mixed by 0, .25, .75, 1.
  const uint8_t expected[4][4] = {{0, 25, 75, 100}, {50, 60, 80, 90}, {150, 130, 90, 70}, {200, 165, 95, 60}};
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 4; ++x) EXPECT_EQ(Get(target.Get(), x, y)[0], expected[y][x]) << x << "," << y;

  // Half a pixel to the right at the source's own size: the centres 0.5 and 1.5 are covered, 2.5 (which
  // is x + width) is not; they sample at -0.5, clamped to the edge texel, and at 0.5, the mean of both.
  FramePtr row = Filled(kColourRGB32, 4, -1, {9, 9, 9, 9});
  FramePtr two = MakeFrame(kColourRGB32, 2, -1);
  Put(two.Get(), 0, 0, {40, 0, 0, 0});
  Put(two.Get(), 1, 0, {80, 0, 0, 0});
  ASSERT_EQ(Draw(row.Get(), two.Get(), {0.5, 0, 2, 1}), S_OK);
  EXPECT_EQ(Get(row.Get(), 0, 0)[0], 40);
  EXPECT_EQ(Get(row.Get(), 1, 0)[0], 60);
  EXPECT_EQ(Get(row.Get(), 2, 0)[0], 9);
  EXPECT_EQ(Get(row.Get(), 3, 0)[0], 9);
  // At 0.75 the centre 0.5 lies left of the rectangle; 1.5 samples at 0.25, 2.5 at 1.25, clamped.
  row = Filled(kColourRGB32, 4, -1, {9, 9, 9, 9});
  ASSERT_EQ(Draw(row.Get(), two.Get(), {0.75, 0, 2, 1}), S_OK);
  EXPECT_EQ(Get(row.Get(), 0, 0)[0], 9);
  EXPECT_EQ(Get(row.Get(), 1, 0)[0], 50);
  EXPECT_EQ(Get(row.Get(), 2, 0)[0], 80);
  EXPECT_EQ(Get(row.Get(), 3, 0)[0], 9);
}

TEST(Overlay, FrameOntoItselfReadsTheOldPicture) {
  FramePtr frame = MakeFrame(kColourRGB32, 4, -1);
  for (int32_t x = 0; x < 4; ++x) Put(frame.Get(), x, 0, {uint8_t(10 * (x + 1)), 0, 0, 0});
  ASSERT_EQ(Draw(frame.Get(), frame.Get(), {1, 0, 4, 1}), S_OK);
  // Shifted right by one, each pixel from the picture before the draw rather than from a smeared one.
  EXPECT_EQ(Get(frame.Get(), 0, 0)[0], 10);
  EXPECT_EQ(Get(frame.Get(), 1, 0)[0], 10);
  EXPECT_EQ(Get(frame.Get(), 2, 0)[0], 20);
  EXPECT_EQ(Get(frame.Get(), 3, 0)[0], 30);
}

TEST(Overlay, RefusesWhatItCannotDrawAndNeverWritesOutside) {
  FramePtr target = Filled(kColourARGB32, 4, 4, {5, 5, 5, 5});
  FramePtr source = Filled(kColourARGB32, 2, 2, {200, 200, 200, 255});
  TOverlayRect r{0, 0, 2, 2};
  EXPECT_EQ(target->Overlay(nullptr, 0, &r, 1, 1.0, 0, 0), E_POINTER);
  EXPECT_EQ(target->Overlay(source.Get(), 0, nullptr, 1, 1.0, 0, 0), E_POINTER);
  EXPECT_EQ(Draw(target.Get(), source.Get(), r, 4), E_INVALIDARG) << "unknown flag bit";
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Draw(target.Get(), source.Get(), {nan, 0, 2, 2}), E_INVALIDARG);
  EXPECT_EQ(Draw(target.Get(), source.Get(), {0, 0, inf, 2}), E_INVALIDARG);
  EXPECT_EQ(Draw(target.Get(), source.Get(), {0, 0, 0, 2}), S_FALSE);
  EXPECT_EQ(Draw(target.Get(), source.Get(), {0, 0, 2, -2}), S_FALSE);

  ICVFrame_I* bare = nullptr;
  ASSERT_EQ(Factory()->FrameAlloc(64, &bare), S_OK);
  FramePtr noPicture = FramePtr::Adopt(bare);
  EXPECT_EQ(Draw(target.Get(), noPicture.Get(), r), E_INVALIDARG) << "a source without a picture";
  EXPECT_EQ(Draw(noPicture.Get(), source.Get(), r), E_INVALIDARG) << "a target without a picture";
  EXPECT_EQ(Draw(MakeFrame(kColourHDYC, 4, 4).Get(), source.Get(), r), CV_E_FORMAT_REFUSED);
  EXPECT_EQ(Draw(target.Get(), MakeFrame(kColourRGB24, 2, 2).Get(), r), CV_E_FORMAT_REFUSED);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 4; ++x) ASSERT_EQ(Get(target.Get(), x, y), (Pixel{5, 5, 5, 5}));

  // Far-off and vast rectangles stay inside the picture: a huge one covers it all with the clamped edge.
  EXPECT_EQ(Draw(target.Get(), source.Get(), {1e300, -1e300, 1e300, 1e300}), S_FALSE);
  EXPECT_EQ(Draw(target.Get(), source.Get(), {-1e300, -1e300, 1e301, 1e301}), S_OK);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 4; ++x) ASSERT_EQ(Get(target.Get(), x, y), (Pixel{200, 200, 200, 5}));
}

}  // namespace
