#include "framelib/frame_overlay.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "framelib/frame.h"
#include "framelib/picture_layout.h"
#include "framelib/pixel_unorm.h"
#include "media/colour_formats.h"

namespace {

// The source, read once under its lock: top row first, four bytes a pixel, rows without padding.
struct TSourceCopy {
  int32_t width = 0;
  int32_t height = 0;
  bool opaque = false;
  std::unique_ptr<uint8_t[]> pixels;
};

// One sample along one axis: the two texels the linear sampler mixes and the weight of the second.
struct TTap {
  int32_t first;
  int32_t second;
  float weight;
};

// S_OK and the layout when a picture can be drawn on or from.
HRESULT CheckPicture(const TVideoProps& v, const uint8_t* pixels, int64_t bytes, TPictureLayout* layout) {
  if (!pixels || v.colourFormat == 0) return E_INVALIDARG;
  if (v.colourFormat != kColourARGB32 && v.colourFormat != kColourRGB32) return CV_E_FORMAT_REFUSED;
  if (PictureLayoutOf(v, layout) != TPictureKind::Picture || layout->imageBytes > bytes) return E_INVALIDARG;
  return S_OK;
}

HRESULT CopySource(const TVideoProps& v, const uint8_t* pixels, int64_t bytes, TSourceCopy* out) {
  TPictureLayout layout{};
  if (const HRESULT hr = CheckPicture(v, pixels, bytes, &layout); FAILED(hr)) return hr;
  const size_t row = static_cast<size_t>(v.width) * 4;
  out->pixels.reset(new (std::nothrow) uint8_t[row * static_cast<size_t>(layout.lines)]);
  if (!out->pixels) return E_OUTOFMEMORY;
  for (int32_t line = 0; line < layout.lines; ++line)
    std::memcpy(out->pixels.get() + row * static_cast<size_t>(line), pixels + PictureLineOffset(layout, line), row);
  out->width = v.width;
  out->height = layout.lines;
  out->opaque = v.colourFormat == kColourRGB32;
  return S_OK;
}

// The target pixels [*first, *end) of one axis whose centres lie in [pos, pos + size), cut to 0 .. extent,
// and for each the source texels at the matching point. False when none is covered.
bool CoverAxis(double pos, double size, int32_t extent, int32_t sourceExtent, int32_t* first, int32_t* end,
               std::vector<TTap>* taps) {
  if (!(size > 0)) return false;
  // Clamped in double first: a far-off rectangle must not reach an integer conversion out of range.
  const double lo = std::clamp(std::ceil(pos - 0.5), 0.0, static_cast<double>(extent));
  const double hi = std::clamp(std::ceil(pos + size - 0.5), 0.0, static_cast<double>(extent));
  if (!(lo < hi)) return false;
  *first = static_cast<int32_t>(lo);
  *end = static_cast<int32_t>(hi);
  const double scale = sourceExtent / size;
  taps->resize(static_cast<size_t>(*end - *first));
  for (int32_t i = *first; i < *end; ++i) {
    // Exact at the source's own size and a whole-pixel position: (i + 0.5 - pos) - 0.5 is a texel index.
    const double t = (i + 0.5 - pos) * scale - 0.5;
    TTap tap{0, 0, 0.0f};
    if (t >= sourceExtent - 1) {
      tap.first = tap.second = sourceExtent - 1;
    } else if (t > 0) {  // also false for NaN, which a vanishing size can make
      tap.first = static_cast<int32_t>(t);
      tap.second = tap.first + 1;
      tap.weight = static_cast<float>(t - tap.first);
    }
    (*taps)[static_cast<size_t>(i - *first)] = tap;
  }
  return true;
}

// The linear sampler's value of one channel, in byte units: with both weights 0 it is the texel itself.
inline float Sample(const uint8_t* row0, const uint8_t* row1, const TTap& tx, float wy, int channel) {
  const float a0 = row0[tx.first * 4 + channel];
  const float b0 = row0[tx.second * 4 + channel];
  const float a1 = row1[tx.first * 4 + channel];
  const float b1 = row1[tx.second * 4 + channel];
  const float top = a0 + (b0 - a0) * tx.weight;
  const float bottom = a1 + (b1 - a1) * tx.weight;
  return top + (bottom - top) * wy;
}

struct TBlendRule {
  bool premultiplied;
  float opacity;
  bool targetAlpha;
};

// Every covered pixel of the target. kInterpolate false: every tap hits a texel centre (the source at its
// own size, on whole pixels), so each texel is read as it is; the bytes are the same either way.
template <bool kInterpolate>
void BlendCovered(const TSourceCopy& src, const TBlendRule& rule, const TPictureLayout& layout, uint8_t* pixels,
                  int32_t x0, int32_t y0, const std::vector<TTap>& columns, const std::vector<TTap>& rows) {
  const size_t sourceRow = static_cast<size_t>(src.width) * 4;
  for (size_t j = 0; j < rows.size(); ++j) {
    const TTap& ty = rows[j];
    const uint8_t* row0 = src.pixels.get() + sourceRow * static_cast<size_t>(ty.first);
    const uint8_t* row1 = src.pixels.get() + sourceRow * static_cast<size_t>(ty.second);
    uint8_t* d = pixels + PictureLineOffset(layout, y0 + static_cast<int32_t>(j)) + int64_t{x0} * 4;
    for (const TTap& tx : columns) {
      float s[4];
      if constexpr (kInterpolate) {
        for (int c = 0; c < 4; ++c) s[c] = Sample(row0, row1, tx, ty.weight, c) / 255.0f;
      } else {
        const uint8_t* texel = row0 + tx.first * 4;
        for (int c = 0; c < 4; ++c) s[c] = UnormToFloat(texel[c]);
      }
      const float a = (src.opaque ? 1.0f : s[3]) * rule.opacity;
      const float srcWeight = rule.premultiplied ? rule.opacity : a;
      for (int c = 0; c < 3; ++c) d[c] = FloatToUnorm8(s[c] * srcWeight + UnormToFloat(d[c]) * (1.0f - a));
      if (rule.targetAlpha) d[3] = FloatToUnorm8(std::min(a, UnormToFloat(d[3])));
      d += 4;
    }
  }
}

bool AllOnTexels(const std::vector<TTap>& taps) {
  for (const TTap& t : taps)
    if (t.weight != 0.0f) return false;
  return true;
}

HRESULT Blend(const TSourceCopy& src, const TOverlayRect& r, bool premultiplied, float opacity,
              const TVideoProps& v, uint8_t* pixels, int64_t bytes) {
  TPictureLayout layout{};
  if (const HRESULT hr = CheckPicture(v, pixels, bytes, &layout); FAILED(hr)) return hr;
  int32_t x0 = 0, x1 = 0, y0 = 0, y1 = 0;
  std::vector<TTap> columns, rows;
  if (!CoverAxis(r.x, r.width, v.width, src.width, &x0, &x1, &columns) ||
      !CoverAxis(r.y, r.height, layout.lines, src.height, &y0, &y1, &rows))
    return S_FALSE;
  const TBlendRule rule{premultiplied, opacity, v.colourFormat == kColourARGB32};
  if (AllOnTexels(columns) && AllOnTexels(rows))
    BlendCovered<false>(src, rule, layout, pixels, x0, y0, columns, rows);
  else
    BlendCovered<true>(src, rule, layout, pixels, x0, y0, columns, rows);
  return S_OK;
}

}  // namespace

HRESULT OverlayFrame(TFrame& target, ICVFrame_I* source, const TOverlayRect* rect, int32_t flags, double opacity) {
  if (!source || !rect) return E_POINTER;
  if ((flags & ~(kOverlayBlend | kOverlayPremultiplied)) != 0) return E_INVALIDARG;
  const TOverlayRect r = *rect;
  if (!std::isfinite(r.x) || !std::isfinite(r.y) || !std::isfinite(r.width) || !std::isfinite(r.height))
    return E_INVALIDARG;
  TFrame* from = TFrame::Of(source);
  if (!from) return E_INVALIDARG;  // only this library's frames say where their picture lies under a lock

  TSourceCopy src;
  const HRESULT taken = from->WithPicture(
      [&](const TVideoProps& v, const uint8_t* pixels, int64_t bytes) { return CopySource(v, pixels, bytes, &src); });
  if (FAILED(taken)) return taken;

  const float weight = std::isnan(opacity) ? 0.0f : static_cast<float>(std::clamp(opacity, 0.0, 1.0));
  const bool premultiplied = (flags & kOverlayPremultiplied) != 0;
  try {
    return target.WithPicture([&](const TVideoProps& v, uint8_t* pixels, int64_t bytes) {
      return Blend(src, r, premultiplied, weight, v, pixels, bytes);
    });
  } catch (const std::bad_alloc&) {  // the sample tables of a vast target; nothing was drawn yet
    return E_OUTOFMEMORY;
  }
}
