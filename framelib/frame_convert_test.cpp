// FrameConvert on pictures whose every output pixel can be worked out by hand: solid blocks, stripes and
// checkerboards in each source layout and row order, into each target format.
#include "framelib/frame_convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

#include "framelib/frame.h"
#include "framelib/frame_test_helpers.h"
#include "framelib/picture_layout.h"

namespace {

struct Bgra {
  uint8_t b, g, r, a;
  bool operator==(const Bgra&) const = default;
};

constexpr Bgra kRed{0, 0, 255, 255}, kGreen{0, 255, 0, 255}, kBlue{255, 0, 0, 255}, kWhite{255, 255, 255, 255};
constexpr Bgra kBlack{0, 0, 0, 255}, kClear{0, 0, 0, 0};

using Painter = std::function<Bgra(int32_t x, int32_t y)>;

// A frame of `colour` (ARGB32, RGB32 or RGB24) whose pixel (x, y), counted from the top, is paint(x, y);
// `height` and `rowBytes` as in the format record, so a positive height lies bottom-up.
FramePtr Picture(uint32_t colour, int32_t width, int32_t height, const Painter& paint, int32_t rowBytes = 0) {
  FramePtr frame = MakeFrame(colour, width, height, rowBytes);
  TAvProps props{};
  frame->FormatGet(&props, nullptr);
  TPictureLayout shape{};
  PictureLayoutOf(props.video, &shape);
  uint8_t* pixels = nullptr;
  frame->PixelsGet(0, &pixels);
  const int32_t size = colour == kColourRGB24 ? 3 : 4;
  for (int32_t y = 0; y < shape.lines; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const Bgra p = paint(x, y);
      uint8_t* at = pixels + PictureLineOffset(shape, y) + x * size;
      at[0] = p.b, at[1] = p.g, at[2] = p.r;
      if (size == 4) at[3] = p.a;
    }
  }
  return frame;
}

Painter Solid(Bgra c) {
  return [c](int32_t, int32_t) { return c; };
}

struct Converted {
  HRESULT hr = E_FAIL;
  FramePtr frame;
  TVideoProps video{};
  TPictureLayout shape{};
  uint8_t* pixels = nullptr;

  // Pixel (x, y) from the top of a 32-bit frame.
  Bgra At(int32_t x, int32_t y) const {
    const uint8_t* p = pixels + PictureLineOffset(shape, y) + x * 4;
    return {p[0], p[1], p[2], p[3]};
  }
  // The four bytes of pair `i` of row y of a 4:2:2 frame.
  std::vector<uint8_t> Pair(int32_t i, int32_t y) const {
    const uint8_t* p = pixels + PictureLineOffset(shape, y) + i * 4;
    return {p[0], p[1], p[2], p[3]};
  }
};

Converted Convert(ICVFrame_I* source, uint32_t colour, int32_t width, int32_t height, const wchar_t* options) {
  Converted c;
  ICVFrame_I* out = nullptr;
  c.hr = source->FrameConvert(colour, width, height, 0, &out, options, L"screen-cap");
  c.frame = FramePtr::Adopt(out);
  if (out) {
    TAvProps props{};
    out->FormatGet(&props, nullptr);
    c.video = props.video;
    PictureLayoutOf(c.video, &c.shape);
    out->PixelsGet(0, &c.pixels);
  }
  return c;
}

const std::vector<uint8_t> kRedPair = {90, 81, 239, 81}, kBlackPair = {128, 16, 128, 16};

TEST(FrameConvert, SameSizePacksTheNamedColoursInEachOrder) {
  // Pairs of white, black, red, and red beside white, whose chroma is that of their mean:
  // (-148 * 510 - 291 * 255 + 439 * 255 + 256000) / 2000 = 109, (439 * 510 - 443 * 255 + 256000) / 2000 = 183.
  const Bgra row[8] = {kWhite, kWhite, kBlack, kBlack, kRed, kRed, kRed, kWhite};
  FramePtr source = Picture(kColourARGB32, 8, -2, [&](int32_t x, int32_t) { return row[x]; });
  const std::vector<uint8_t> pairs[4] = {{128, 235, 128, 235}, kBlackPair, kRedPair, {109, 81, 183, 235}};
  for (uint32_t colour : {kColourHDYC, kColourUYVY, kColourYUY2}) {
    const Converted c = Convert(source.Get(), colour, 8, 2, L"scale-type='letter-box'");
    ASSERT_EQ(c.hr, S_OK);
    EXPECT_EQ(c.video.colourFormat, colour);
    for (int32_t i = 0; i < 4; ++i) {
      const std::vector<uint8_t>& p = pairs[i];
      const std::vector<uint8_t> want = colour == kColourYUY2 ? std::vector<uint8_t>{p[1], p[0], p[3], p[2]} : p;
      EXPECT_EQ(c.Pair(i, 1), want) << i;
    }
  }
}

// The inverse of the program's matrix by cofactors, for the way back from 4:2:2 in this test only.
struct Inverse {
  double m[3][3];
  Inverse() {
    const double a[3][3] = {{0.257, 0.504, 0.098}, {-0.148, -0.291, 0.439}, {0.439, -0.368, -0.071}};
    auto cofactor = [&a](int r, int c) {
      return a[(r + 1) % 3][(c + 1) % 3] * a[(r + 2) % 3][(c + 2) % 3] - a[(r + 1) % 3][(c + 2) % 3] * a[(r + 2) % 3][(c + 1) % 3];
    };
    const double det = a[0][0] * cofactor(0, 0) + a[0][1] * cofactor(0, 1) + a[0][2] * cofactor(0, 2);
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) m[i][j] = cofactor(j, i) / det;
  }
};

TEST(FrameConvert, RoundTripThroughUyvyStaysWithinTwoLevels) {
  // Pairs of equal pixels lose nothing to the shared chroma; what remains is rounding each of Y, Cb and
  // Cr to a byte, at most half a level each, which the inverse matrix turns into at most 2.76 / 2,
  // 2.37 / 2 and 3.18 / 2 levels of red, green and blue (half the sums of its rows' magnitudes).
  const int32_t steps = 18;  // 0, 15, ..., 255 in each channel
  const int32_t width = steps * steps * 2, height = steps;
  auto colourOf = [](int32_t x, int32_t y) {
    const int32_t i = x / 2;
    return Bgra{uint8_t(15 * (i % steps)), uint8_t(15 * (i / steps)), uint8_t(15 * y), 255};
  };
  FramePtr source = Picture(kColourRGB32, width, -height, colourOf);
  const Converted c = Convert(source.Get(), kColourUYVY, width, height, nullptr);
  ASSERT_EQ(c.hr, S_OK);
  static const Inverse inv;
  int worst = 0;
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t i = 0; i < width / 2; ++i) {
      const std::vector<uint8_t> p = c.Pair(i, y);
      ASSERT_EQ(p[1], p[3]);
      const double yuv[3] = {(p[1] - 0.0625 * 255) / 255, (p[0] - 127.5) / 255, (p[2] - 127.5) / 255};
      const Bgra want = colourOf(2 * i, y);
      const int rgb[3] = {want.r, want.g, want.b};
      for (int ch = 0; ch < 3; ++ch) {
        const double back = 255 * (inv.m[ch][0] * yuv[0] + inv.m[ch][1] * yuv[1] + inv.m[ch][2] * yuv[2]);
        worst = std::max(worst, int(std::lround(std::fabs(back - rgb[ch]))));
      }
    }
  }
  EXPECT_LE(worst, 2);
}

TEST(FrameConvert, HonoursRowOrderAndRowSizeOfSourceAndTarget) {
  // Pixel (x, y) encodes its place, so any row taken from the wrong place or the wrong offset shows.
  auto place = [](int32_t x, int32_t y) { return Bgra{uint8_t(x * 20), uint8_t(y * 30), uint8_t(100 + x), 200}; };
  for (uint32_t colour : {kColourARGB32, kColourRGB32, kColourRGB24}) {
    for (int32_t height : {5, -5}) {
      for (int32_t rowBytes : {0, 64}) {
        FramePtr source = Picture(colour, 7, height, place, rowBytes);
        for (int32_t targetHeight : {-5, 5}) {
          const Converted c = Convert(source.Get(), kColourARGB32, 7, targetHeight, L"scale-type='none'");
          ASSERT_EQ(c.hr, S_OK);
          EXPECT_EQ(c.video.height, targetHeight);
          EXPECT_EQ(c.shape.bottomUp, targetHeight > 0);
          for (int32_t y = 0; y < 5; ++y) {
            for (int32_t x = 0; x < 7; ++x) {
              Bgra want = place(x, y);
              if (colour != kColourARGB32) want.a = 255;  // RGB32 and RGB24 have no alpha to carry
              ASSERT_EQ(c.At(x, y), want) << std::hex << colour << " h=" << height << " rb=" << rowBytes;
            }
          }
        }
      }
    }
  }
}

TEST(FrameConvert, LetterBoxPaintsBarsBlackInEachFormat) {
  // 4 x 2 into 8 x 8: the picture fills the width, rows 2..5, black above and below.
  FramePtr wide = Picture(kColourARGB32, 4, -2, Solid(kRed));
  const Converted hdyc = Convert(wide.Get(), kColourHDYC, 8, 8, L"scale-type='letter-box'");
  ASSERT_EQ(hdyc.hr, S_OK);
  for (int32_t y = 0; y < 8; ++y)
    for (int32_t i = 0; i < 4; ++i) EXPECT_EQ(hdyc.Pair(i, y), y >= 2 && y < 6 ? kRedPair : kBlackPair) << y;

  // A square of 3 into 7 x 5: 5 x 5 at column 1, a bar of one column on each side; the odd width's last
  // pixel pairs with itself, so the last pair is a black bar alone, while pair 0 mixes bar and picture.
  FramePtr square = Picture(kColourRGB24, 3, 3, Solid(kRed));
  const Converted argb = Convert(square.Get(), kColourARGB32, 7, -5, L"scale-type='LETTER-BOX'");
  ASSERT_EQ(argb.hr, S_OK);
  for (int32_t y = 0; y < 5; ++y)
    for (int32_t x = 0; x < 7; ++x) EXPECT_EQ(argb.At(x, y), x >= 1 && x <= 5 ? kRed : kClear) << x << "," << y;
  // RGB32 has no alpha: its bars, and a picture whose alpha was 0, come out opaque.
  FramePtr seeThrough = Picture(kColourARGB32, 3, 3, Solid({0, 0, 255, 0}));
  const Converted rgb = Convert(seeThrough.Get(), kColourRGB32, 7, -5, L"scale-type='letter-box'");
  ASSERT_EQ(rgb.hr, S_OK);
  EXPECT_EQ(rgb.At(0, 0), kBlack);
  EXPECT_EQ(rgb.At(3, 2), kRed);
  const Converted uyvy = Convert(square.Get(), kColourUYVY, 7, 5, L"scale-type='letter-box'");
  ASSERT_EQ(uyvy.hr, S_OK);
  EXPECT_EQ(uyvy.video.rowBytes, 16);
  // Black beside red: Y 16 and 81, chroma of half red: (-148 * 255 + 256000) / 2000 = 109,
  // (439 * 255 + 256000) / 2000 = 183.
  EXPECT_EQ(uyvy.Pair(0, 2), (std::vector<uint8_t>{109, 16, 183, 81}));
  EXPECT_EQ(uyvy.Pair(1, 2), kRedPair);
  EXPECT_EQ(uyvy.Pair(3, 2), kBlackPair);

  // "default" and any unknown text fit as letter-box does.
  for (const wchar_t* text : {L"scale-type='default'", L"scale-type='stretchy'", L"", static_cast<const wchar_t*>(nullptr)}) {
    const Converted d = Convert(square.Get(), kColourARGB32, 7, -5, text);
    ASSERT_EQ(d.hr, S_OK);
    EXPECT_EQ(d.At(0, 0), kClear);
    EXPECT_EQ(d.At(1, 0), kRed);
  }
}

TEST(FrameConvert, CropNoScaleAndStretchPlaceThePictureAsNamed) {
  // Thirds of blue, green and red, 6 x 2. Cropped to a square, the centre third is left, same size.
  FramePtr thirds = Picture(kColourARGB32, 6, -2, [](int32_t x, int32_t) { return x < 2 ? kBlue : x < 4 ? kGreen : kRed; });
  const Converted crop = Convert(thirds.Get(), kColourARGB32, 2, -2, L"scale-type='crop'");
  ASSERT_EQ(crop.hr, S_OK);
  for (int32_t y = 0; y < 2; ++y)
    for (int32_t x = 0; x < 2; ++x) EXPECT_EQ(crop.At(x, y), kGreen);

  // Stretched, each third keeps a third of the width: 12 x 1, columns 0-3, 4-7, 8-11, away from the
  // blends at the borders between them.
  for (const wchar_t* text : {L"scale-type='ignore-ar'", L"scale-type='none'"}) {
    const Converted s = Convert(thirds.Get(), kColourARGB32, 12, -1, text);
    ASSERT_EQ(s.hr, S_OK);
    EXPECT_EQ(s.At(0, 0), kBlue);
    EXPECT_EQ(s.At(6, 0).g, 255);
    EXPECT_EQ(s.At(11, 0), kRed);
  }

  // No scale, smaller source: 6 x 2 centred in 10 x 4 at (2, 1), black around, pixels untouched.
  const Converted small = Convert(thirds.Get(), kColourARGB32, 10, -4, L"scale-type='no-scale'");
  ASSERT_EQ(small.hr, S_OK);
  for (int32_t y = 0; y < 4; ++y)
    for (int32_t x = 0; x < 10; ++x)
      EXPECT_EQ(small.At(x, y), x < 2 || x > 7 || y < 1 || y > 2 ? kClear : x < 4 ? kBlue : x < 6 ? kGreen : kRed);
  // No scale, larger source: the middle 2 x 2 of 6 x 2 is all green.
  const Converted large = Convert(thirds.Get(), kColourARGB32, 2, -2, L"scale-type='no-scale'");
  ASSERT_EQ(large.hr, S_OK);
  EXPECT_EQ(large.At(0, 0), kGreen);
  EXPECT_EQ(large.At(1, 1), kGreen);
}

TEST(FrameConvert, ReductionsAboveTwoAverageAreasOthersBlend) {
  // One white column in every four: reduced by 4, every output pixel covers one white column of four,
  // 255 / 4 = 63.75, so 64. Sampling at pixel centres would fall between two black columns and lose the line.
  FramePtr lines = Picture(kColourARGB32, 16, -4, [](int32_t x, int32_t) { return x % 4 == 0 ? kWhite : kBlack; });
  const Converted quarter = Convert(lines.Get(), kColourARGB32, 4, -4, L"scale-type='ignore-ar'");
  ASSERT_EQ(quarter.hr, S_OK);
  for (int32_t x = 0; x < 4; ++x) EXPECT_EQ(quarter.At(x, 2), (Bgra{64, 64, 64, 255})) << x;

  // A one-pixel checkerboard reduced by 4 both ways is mid grey, 127.5 rounded up.
  FramePtr board = Picture(kColourRGB32, 32, -32, [](int32_t x, int32_t y) { return (x + y) % 2 ? kWhite : kBlack; });
  const Converted grey = Convert(board.Get(), kColourARGB32, 8, -8, L"scale-type='ignore-ar'");
  ASSERT_EQ(grey.hr, S_OK);
  for (int32_t y = 0; y < 8; ++y)
    for (int32_t x = 0; x < 8; ++x) ASSERT_EQ(grey.At(x, y), (Bgra{128, 128, 128, 255}));

  // Black and white enlarged from 2 to 4: centres at -0.25, 0.25, 0.75 and 1.25 source pixels, clamped
  // at the edges, so 0, a quarter (255 * 64 / 256 = 63.75, 64), three quarters (191.25, 191) and 255.
  FramePtr pair = Picture(kColourARGB32, 2, -1, [](int32_t x, int32_t) { return x ? kWhite : kBlack; });
  const Converted wide = Convert(pair.Get(), kColourARGB32, 4, -1, L"scale-type='ignore-ar'");
  ASSERT_EQ(wide.hr, S_OK);
  EXPECT_EQ(wide.At(0, 0).g, 0);
  EXPECT_EQ(wide.At(1, 0).g, 64);
  EXPECT_EQ(wide.At(2, 0).g, 191);
  EXPECT_EQ(wide.At(3, 0).g, 255);
}

TEST(FrameConvert, CarriesTimeLabelsValuesAndHoldsOneReference) {
  FramePtr source = Picture(kColourARGB32, 4, -4, Solid(kGreen));
  const TFrameTime stamp = Stamp(400000, 800000, kFrameFlagGap);
  ASSERT_EQ(source->TimeSet(&stamp), S_OK);
  ASSERT_EQ(source->LabelSet(L"AFPT", 0, 1234), S_OK);
  auto values = Query<ICVNamedValues>(source.Get(), IID_ICVNamedValues);
  ASSERT_EQ(values->ValueSet(L"dup", 1), S_OK);

  const Converted c = Convert(source.Get(), kColourHDYC, 6, 2, L"scale-type='letter-box' async_id='screen-cap'");
  ASSERT_EQ(c.hr, S_OK);
  TFrameTime time{};
  ASSERT_EQ(c.frame->TimeGet(&time), S_OK);
  EXPECT_TRUE(SameBytes(&time, &stamp, sizeof(time)));
  int64_t label = 0, dup = 0;
  EXPECT_EQ(Query<ICVFrame>(c.frame.Get(), IID_ICVFrame)->LabelGet(L"AFPT", &label), S_OK);
  EXPECT_EQ(label, 1234);
  EXPECT_EQ(Query<ICVNamedValues>(c.frame.Get(), IID_ICVNamedValues)->ValueGet(L"dup", &dup), S_OK);
  EXPECT_EQ(dup, 1);
  EXPECT_EQ(c.video.frameRate, 25);
  c.frame->AddRef();
  EXPECT_EQ(c.frame->Release(), 1u);  // the holder's one reference, nothing kept by the library
}

TEST(FrameConvert, RefusesWhatItCannotMakeAndLeavesNoFrame) {
  FramePtr source = Picture(kColourARGB32, 4, -4, Solid(kGreen));
  auto expect = [](ICVFrame_I* from, uint32_t colour, int32_t w, int32_t h, HRESULT want) {
    ICVFrame_I* out = reinterpret_cast<ICVFrame_I*>(1);
    EXPECT_EQ(from->FrameConvert(colour, w, h, 0, &out, nullptr, nullptr), want) << std::hex << colour << " " << w << "x" << h;
    EXPECT_EQ(out, nullptr);
  };
  EXPECT_EQ(source->FrameConvert(kColourHDYC, 4, 4, 0, nullptr, nullptr, nullptr), E_POINTER);
  for (uint32_t colour : {kColourNV12, kColourRGB24, kColourV210, 0u, 0x12345678u})
    expect(source.Get(), colour, 4, 4, CV_E_FORMAT_REFUSED);
  for (auto [w, h] : {std::pair{0, 4}, {4, 0}, {-4, 4}, {kConvertMaxSide + 1, 4}, {4, -kConvertMaxSide - 1}})
    expect(source.Get(), kColourARGB32, w, h, E_INVALIDARG);

  FramePtr packed = MakeFrame(kColourUYVY, 4, 4);
  expect(packed.Get(), kColourARGB32, 4, 4, CV_E_FORMAT_REFUSED);
  FramePtr noPicture = FramePtr::Adopt(TFrame::New());
  expect(noPicture.Get(), kColourARGB32, 4, 4, E_UNEXPECTED);
}

}  // namespace
