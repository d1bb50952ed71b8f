#include "media/video_detect.h"

#include <cmath>
#include <initializer_list>

#include "media/colour_formats.h"
#include "media/format_table.h"

namespace {

constexpr double kRateTolerance = 0.01;
constexpr double kRate2997 = 29.97002997002997;
constexpr double kRate2398 = 23.976023976023978;

bool RateIs(double rate, double wanted) { return std::fabs(rate - wanted) < kRateTolerance; }

double Aspect(const TVideoProps& v) {
  if (v.aspectX > 0 && v.aspectY > 0) return static_cast<double>(v.aspectX) / v.aspectY;
  // The sign only says which way up the lines run; the picture's shape is the same.
  const int32_t lines = LineCount(v.height);
  if (lines >= 1) return static_cast<double>(v.width) / lines;
  return 1.7777777777777777;
}

bool Fits(const TVideoProps& v, int32_t format) {
  const TVideoFormatRow& row = *VideoFormatRow(format);
  return RateIs(v.frameRate, row.Rate()) && (v.scan == 0 || v.scan == row.scan);
}

int32_t FirstFit(const TVideoProps& v, std::initializer_list<int32_t> formats) {
  for (int32_t f : formats) {
    if (Fits(v, f)) return f;
  }
  return 0;
}

bool HeightIn(int32_t absHeight, int32_t low, int32_t high) { return absHeight >= low && absHeight <= high; }

int32_t DetectTable(const TVideoProps& v, bool strict) {
  const auto tol = [strict](int32_t n) { return strict ? 0 : n; };
  const int32_t h = LineCount(v.height);
  const int32_t layout = v.layoutFlags & kLayoutPacking;
  switch (v.width) {
    case 720:
      if (HeightIn(h, 576, 576 + tol(39))) {
        if (RateIs(v.frameRate, 25)) return Aspect(v) > 1.4 ? eTVF_PAL_16x9 : eTVF_PAL;
      } else if (HeightIn(h, 480, 486 + tol(39))) {
        if (RateIs(v.frameRate, kRate2997)) return Aspect(v) > 1.4 ? eTVF_NTSC_16x9 : eTVF_NTSC;
        if (RateIs(v.frameRate, kRate2398)) return eTVF_NTSC_2398p;
      }
      return 0;
    case 1280:
      if (HeightIn(h, 720, 720 + tol(30))) {
        const int32_t f = FirstFit(v, {eTVF_HD720_5994p, eTVF_HD720_60p, eTVF_HD720_50p});
        return f ? f | layout : 0;
      }
      return 0;
    case 1920:
      if (HeightIn(h, 1080, 1080 + tol(45))) {
        // Where a rate exists as both, an unset scan takes the interlaced row before the progressive one.
        const int32_t f = FirstFit(v, {eTVF_HD1080_2398p, eTVF_HD1080_24p, eTVF_HD1080_50i, eTVF_HD1080_25p,
                                       eTVF_HD1080_5994i, eTVF_HD1080_2997p, eTVF_HD1080_60i, eTVF_HD1080_30p,
                                       eTVF_HD1080_50p, eTVF_HD1080_5994p, eTVF_HD1080_60p});
        return f ? f | layout : 0;
      }
      return 0;
    case 2048:
      if (h == 1080)
        return FirstFit(v, {eTVF_2K_DCI_2398p, eTVF_2K_DCI_24p, eTVF_2K_DCI_25p, eTVF_2K_DCI_50p,
                            eTVF_2K_DCI_5994p, eTVF_2K_DCI_60p});
      if (h == 1556) return FirstFit(v, {eTVF_2K_2398p, eTVF_2K_24p, eTVF_2K_25p});
      return 0;
    case 3840:
      if (h == 2160)
        return FirstFit(v, {eTVF_4K_UHD_2398p, eTVF_4K_UHD_24p, eTVF_4K_UHD_25p, eTVF_4K_UHD_2997p,
                            eTVF_4K_UHD_30p, eTVF_4K_UHD_50i, eTVF_4K_UHD_5994i, eTVF_4K_UHD_60i,
                            eTVF_4K_UHD_50p, eTVF_4K_UHD_5994p, eTVF_4K_UHD_60p});
      return 0;
    case 4096:
      if (h == 2160)
        return FirstFit(v, {eTVF_4K_DCI_2398p, eTVF_4K_DCI_24p, eTVF_4K_DCI_25p, eTVF_4K_DCI_50p,
                            eTVF_4K_DCI_5994p, eTVF_4K_DCI_60p});
      return 0;
    default:
      return 0;
  }
}

// A half picture that is already a 3D layout would make a layout of a layout: not a format.
int32_t DetectHalf(TVideoProps half, bool strict, int32_t layout) {
  half.layoutFlags = 0;
  const int32_t f = VideoDetect(half, strict);
  return f != 0 && (f & kLayoutBits) == 0 ? f | layout : 0;
}

}  // namespace

int32_t VideoDetect(const TVideoProps& v, bool strict) {
  const int32_t f = DetectTable(v, strict);
  if (f != 0) return f;
  // Unlike the rows, the stacked-pair try takes the signed height: in bottom-up memory the two halves
  // lie in reverse order, which is no top-and-bottom layout.
  if (v.height >= 1440 && v.width <= 2048) {
    TVideoProps half = v;
    half.height = v.height / 2;
    const int32_t tnb = DetectHalf(half, strict, kLayoutTopAndBottom);
    if (tnb != 0) return tnb;
  }
  if (v.width >= 2560 && LineCount(v.height) <= 1080) {
    // A row stride of twice the width's would mean a padded picture, not two pictures beside each other.
    // Without a known colour there is no stride to hold against, so the width alone decides.
    const int64_t limit = 2 * int64_t{ColourRowBytes(v.colourFormat, v.width)};
    if (limit == 0 || v.rowBytes < limit) {
      TVideoProps half = v;
      half.width = v.width / 2;
      return DetectHalf(half, strict, kLayoutHalfSideBySide);
    }
  }
  return 0;
}
