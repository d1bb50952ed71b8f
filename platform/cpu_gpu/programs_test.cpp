// The programs of the final pass and the overlays, drawn through the seam on each test device. Expected bytes
// come from the formulas by hand: a UNORM byte is round(255 x value), HDYC texels lie in memory as
// Cb, Y0, Cr, Y1 (the blue, green, red, alpha bytes of a B8G8R8A8 texel).
#include <gtest/gtest.h>

#include <string>

#include "platform/cpu_gpu/gpu_test_support.h"

namespace cvplat::gputest {
namespace {

class HdycProgram : public DeviceTest {};
class ArgbProgram : public DeviceTest {};
class ColouredOverlayProgram : public DeviceTest {};
CV_ON_TEST_DEVICES(HdycProgram);
CV_ON_TEST_DEVICES(ArgbProgram);
CV_ON_TEST_DEVICES(ColouredOverlayProgram);

const float kWhole[4] = {0, 0, 1, 1};
const float kDefaultBackground[4] = {0, 0, 0, 170 / 255.0f};  // 0xAA000000

Picture Pattern(UINT w, UINT h) {
  Picture p = Picture::Filled(w, h, {});
  for (UINT y = 0; y < h; ++y)
    for (UINT x = 0; x < w; ++x)
      p.At(x, y) = {uint8_t(20 * x + 3), uint8_t(40 * y + 7), uint8_t((11 * x * y + 5) % 256),
                    uint8_t(255 - 9 * x - 5 * y)};
  return p;
}

// Studio-range BT.601 bytes: white Y 0.9215, black Y 0.0625, red Y 0.3195, Cb 0.352, Cr 0.939; chroma of
// white and black 0.5 (127.5, even rounding gives 128). That is a tie: the twin rounds it to even, while
// Direct3D allows a device 0.6 of a step in its conversion to bytes, and the device's order of the
// additions may land a bit below 0.5, so a device other than the twin may give 127 there.
TEST_P(HdycProgram, PairsOfWhiteBlackAndRedGiveStudioRangeBytes) {
  const bool twin = std::string(GetParam().name) == "CpuTwin";
  const auto chromaTie = [&](const Bgra& got, const Bgra& want) {
    const bool tie = want.b == 128 && want.r == 128;
    return got == want || (!twin && tie && got.g == want.g && got.a == want.a && got.b >= 127 && got.b <= 128 &&
                           got.r >= 127 && got.r <= 128);
  };
  const struct {
    Bgra colour;
    Bgra texel;  // Cb, Y0, Cr, Y1
  } cases[] = {{kWhite, {128, 235, 128, 235}}, {kBlack, {128, 16, 128, 16}}, {kRed, {90, 81, 239, 81}}};
  for (IGpuSamplerState* sampler : {rig.point.Get(), rig.linear.Get()}) {
    for (const auto& c : cases) {
      const Picture out = rig.FinalPass(Picture::Filled(4, 2, c.colour), GpuProgramId::Hdyc, sampler,
                                        Constants(kDefaultBackground, kWhole, kWhole, 4, 2), 4, 2);
      ASSERT_EQ(out.width, 2u);
      for (const Bgra& texel : out.pixels) EXPECT_TRUE(chromaTie(texel, c.texel)) << texel << " for " << c.colour;
    }
  }
}

// W = 5: two texels. Texel i samples at (2i + 1) / 5 and (2i + 2) / 5, pixel borders that the point
// sampler gives to the right-hand pixel: texel 0 takes pixels 1 and 2, texel 1 pixels 3 and 4.
// Black + red: m = (0.5, 0, 0), Cr = 0.7195 (183.47), Cb = 0.426 (108.63).
// White + red: m = (1, 0.5, 0.5), Cr = 0.439 - 0.184 - 0.0355 + 0.5 = 0.7195, Cb = 0.426 too.
TEST_P(HdycProgram, OddWidthFillsHalfAsManyTexelsRoundedDown) {
  Picture picture = Picture::Filled(5, 1, kRed);
  picture.At(1, 0) = kBlack;
  picture.At(3, 0) = kWhite;
  const Picture out = rig.FinalPass(picture, GpuProgramId::Hdyc, rig.point.Get(),
                                    Constants(kDefaultBackground, kWhole, kWhole, 5, 1), 5, 1);
  ASSERT_EQ(out.width, 2u);
  EXPECT_EQ(out.At(0, 0), (Bgra{109, 16, 183, 81}));
  EXPECT_EQ(out.At(1, 0), (Bgra{109, 235, 183, 81}));
}

// `screen` ends at 0.4 of a red row of 8. Texel 1 samples at 0.375 (on the screen) and 0.5 (past its
// right edge): its second pixel repeats the first, so it stays red rather than half black. Texels 2 and
// 3 start off the screen: black.
TEST_P(HdycProgram, SecondPixelPastTheScreensEdgeRepeatsTheFirst) {
  const float screen[4] = {0, 0, 0.4f, 1};
  const Picture out = rig.FinalPass(Picture::Filled(8, 1, kRed), GpuProgramId::Hdyc, rig.point.Get(),
                                    Constants(kDefaultBackground, screen, screen, 8, 1), 8, 1);
  ASSERT_EQ(out.width, 4u);
  EXPECT_EQ(out.At(0, 0), (Bgra{90, 81, 239, 81}));
  EXPECT_EQ(out.At(1, 0), (Bgra{90, 81, 239, 81}));
  EXPECT_EQ(out.At(2, 0), (Bgra{128, 16, 128, 16}));
  EXPECT_EQ(out.At(3, 0), (Bgra{128, 16, 128, 16}));
}

TEST_P(ArgbProgram, PointSamplerCopiesAPictureOfTheFramesSize) {
  const Picture picture = Pattern(7, 5);
  const Picture out = rig.FinalPass(picture, GpuProgramId::Argb, rig.point.Get(),
                                    Constants(kDefaultBackground, kWhole, kWhole, 7, 5), 7, 5);
  EXPECT_EQ(out.pixels, picture.pixels);
}

// `screen` covers the left half below the first quarter: pixel centres at u = 0.5625 and beyond, and the
// first row (v = 0.125), lie off it and are transparent black.
TEST_P(ArgbProgram, CurrentBeyondScreenIsBlackWithAlphaZero) {
  const Picture picture = Pattern(8, 4);
  const float screen[4] = {0, 0.25f, 0.5f, 1};
  const Picture out = rig.FinalPass(picture, GpuProgramId::Argb, rig.point.Get(),
                                    Constants(kDefaultBackground, screen, screen, 8, 4), 8, 4);
  for (UINT y = 0; y < 4; ++y)
    for (UINT x = 0; x < 8; ++x)
      EXPECT_EQ(out.At(x, y), (x < 4 && y >= 1) ? picture.At(x, y) : Bgra{}) << x << "," << y;
}

// `area` is the middle 2 x 2 of 4 x 4. The background's A is the part of the picture that remains.
TEST_P(ArgbProgram, BackgroundTopByteKeepsThePictureOrPaintsTheColour) {
  const Picture picture = Pattern(4, 4);
  const float area[4] = {0.25f, 0.25f, 0.75f, 0.75f};
  const float opaque[4] = {10 / 255.0f, 20 / 255.0f, 30 / 255.0f, 1};
  const float solid[4] = {10 / 255.0f, 20 / 255.0f, 30 / 255.0f, 0};

  Picture out =
      rig.FinalPass(picture, GpuProgramId::Argb, rig.point.Get(), Constants(opaque, area, kWhole, 4, 4), 4, 4);
  EXPECT_EQ(out.pixels, picture.pixels);

  out = rig.FinalPass(picture, GpuProgramId::Argb, rig.point.Get(), Constants(solid, area, kWhole, 4, 4), 4, 4);
  for (UINT y = 0; y < 4; ++y)
    for (UINT x = 0; x < 4; ++x) {
      const bool inside = x >= 1 && x <= 2 && y >= 1 && y <= 2;
      const Bgra& p = picture.At(x, y);
      EXPECT_EQ(out.At(x, y), inside ? p : (Bgra{30, 20, 10, p.a})) << x << "," << y;
    }
}

// 4 x 2 to 2 x 1: output pixel j samples at texel coordinate (2j + 1, 1), the corner of four texels.
// Point takes the texel right and below it; linear weighs all four by a quarter.
TEST_P(ArgbProgram, LinearAveragesWherePointPicksAtHalfSize) {
  const uint8_t grey[2][4] = {{10, 30, 50, 90}, {20, 40, 60, 100}};
  Picture picture = Picture::Filled(4, 2, {});
  for (UINT y = 0; y < 2; ++y)
    for (UINT x = 0; x < 4; ++x) picture.At(x, y) = {grey[y][x], grey[y][x], grey[y][x], 255};
  const auto k = Constants(kDefaultBackground, kWhole, kWhole, 2, 1);

  const Picture point = rig.FinalPass(picture, GpuProgramId::Argb, rig.point.Get(), k, 2, 1);
  EXPECT_EQ(point.At(0, 0), (Bgra{40, 40, 40, 255}));
  EXPECT_EQ(point.At(1, 0), (Bgra{100, 100, 100, 255}));

  const Picture linear = rig.FinalPass(picture, GpuProgramId::Argb, rig.linear.Get(), k, 2, 1);
  EXPECT_EQ(linear.At(0, 0), (Bgra{25, 25, 25, 255}));  // (10 + 30 + 20 + 40) / 4
  EXPECT_EQ(linear.At(1, 0), (Bgra{75, 75, 75, 255}));  // (50 + 90 + 60 + 100) / 4
}

// Mask 1 then 0 over a green target of alpha 0.6, colour (1, 0, 0.4) with A 0.2: the program gives
// (1, 0, 0.4, 0.8) and (0, 0, 0, 0); the blend mixes colour by the source alpha and keeps the smaller
// alpha.
//   mask 1: r 1 x 0.8 = 0.8 (204), g 1 x 0.2 = 0.2 (51), b 0.4 x 0.8 = 0.32 (81.6), a min(0.8, 0.6) (153)
//   mask 0: the target's colour unchanged, a min(0, 0.6) = 0
TEST_P(ColouredOverlayProgram, TintsByTheMaskAndBlendsOverTheTarget) {
  Picture mask = Picture::Filled(2, 1, {0, 0, 0, 255});
  mask.At(0, 0).r = 255;
  const TRefPtr<IGpuTexture2D> overlay = rig.Texture(mask);
  const TRefPtr<IGpuTexture2D> target =
      rig.Texture(Picture::Filled(2, 1, {0, 255, 0, 153}), kGpuBindShaderResource | kGpuBindRenderTarget);
  const float colour[4] = {1, 0, 102 / 255.0f, 51 / 255.0f};
  const TRefPtr<IGpuBuffer> cb = rig.Buffer(colour, 16, kGpuBindConstantBuffer);
  rig.DrawQuad(&kQuad[0][0], 2, 1, target.Get(), overlay.Get(), GpuProgramId::ColouredOverlay, rig.point.Get(),
               cb.Get(), rig.overlayBlend.Get());
  const Picture out = rig.Read(target.Get());
  EXPECT_EQ(out.At(0, 0), (Bgra{82, 51, 204, 153}));
  EXPECT_EQ(out.At(1, 0), (Bgra{0, 255, 0, 0}));
}

}  // namespace
}  // namespace cvplat::gputest
