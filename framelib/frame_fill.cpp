#include "framelib/frame_fill.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "framelib/frame.h"
#include "framelib/markup_items.h"
#include "framelib/picture_layout.h"
#include "framelib/pixel_unorm.h"
#include "framelib/yuv_pair_layout.h"
#include "media/colour_formats.h"
#include "props/number_text.h"

namespace {

// The shading of every byte value with one component of the colour: a byte table per component, so a
// large rectangle costs a lookup per byte and still gives exactly the float formula's bytes.
struct TShadeTable {
  uint8_t out[256];
  void Make(float colour, float keep) {
    for (int v = 0; v < 256; ++v)
      out[v] = FloatToUnorm8(UnormToFloat(static_cast<uint8_t>(v)) * keep + colour * (1.0f - keep));
  }
};

struct TArea {
  int32_t x0, x1, y0, y1;  // pixels [x0, x1) x lines [y0, y1)
};

void ShadeRGB(const TFillMarkup& m, float keep, const TPictureLayout& layout, const TArea& area, uint8_t* pixels) {
  // Memory order of a 32-bit pixel is blue, green, red; the colour holds red in its low byte.
  TShadeTable table[3];
  table[0].Make(UnormToFloat(static_cast<uint8_t>(m.colour >> 16)), keep);
  table[1].Make(UnormToFloat(static_cast<uint8_t>(m.colour >> 8)), keep);
  table[2].Make(UnormToFloat(static_cast<uint8_t>(m.colour)), keep);
  for (int32_t y = area.y0; y < area.y1; ++y) {
    uint8_t* d = pixels + PictureLineOffset(layout, y) + int64_t{area.x0} * 4;
    for (int32_t x = area.x0; x < area.x1; ++x, d += 4) {
      d[0] = table[0].out[d[0]];
      d[1] = table[1].out[d[1]];
      d[2] = table[2].out[d[2]];
    }
  }
}

void ShadeYUV(const TFillMarkup& m, float keep, const TPairLayout& pair, const TPictureLayout& layout,
              const TArea& area, uint8_t* pixels) {
  const float r = UnormToFloat(static_cast<uint8_t>(m.colour));
  const float g = UnormToFloat(static_cast<uint8_t>(m.colour >> 8));
  const float b = UnormToFloat(static_cast<uint8_t>(m.colour >> 16));
  TShadeTable luma, cb, cr;
  luma.Make(0.257f * r + 0.504f * g + 0.098f * b + 0.0625f, keep);
  cb.Make(-0.148f * r - 0.291f * g + 0.439f * b + 0.5f, keep);
  cr.Make(0.439f * r - 0.368f * g - 0.071f * b + 0.5f, keep);
  const int32_t firstPair = area.x0 / 2;
  const int32_t endPair = (area.x1 + 1) / 2;
  for (int32_t y = area.y0; y < area.y1; ++y) {
    uint8_t* row = pixels + PictureLineOffset(layout, y);
    for (int32_t x = area.x0; x < area.x1; ++x) {
      uint8_t& v = row[int64_t{x / 2} * 4 + (x % 2 ? pair.luma1 : pair.luma0)];
      v = luma.out[v];
    }
    for (int32_t p = firstPair; p < endPair; ++p) {
      uint8_t* d = row + int64_t{p} * 4;
      d[pair.cb] = cb.out[d[pair.cb]];
      d[pair.cr] = cr.out[d[pair.cr]];
    }
  }
}

// [pos, pos + size) cut to [0, extent), in 64 bits so that no sum of two 32-bit values wraps.
bool ClipSpan(int32_t pos, int32_t size, int32_t extent, int32_t* first, int32_t* end) {
  const int64_t lo = std::max<int64_t>(pos, 0);
  const int64_t hi = std::min<int64_t>(int64_t{pos} + size, extent);
  if (lo >= hi) return false;
  *first = static_cast<int32_t>(lo);
  *end = static_cast<int32_t>(hi);
  return true;
}

}  // namespace

TFillMarkup ParseFillMarkup(const wchar_t* markup) {
  TFillMarkup m{kFillDefaultColour, 0, 0};
  ForEachMarkupItem(markup, [&m](std::wstring_view name, std::wstring_view value) {
    if (cv_text::EqualsNoCase(name, L"color"))
      m.colour = ParseColor(value, kFillDefaultColour);
    else if (cv_text::EqualsNoCase(name, L"width"))
      m.width = ScanInt32(value, 10);
    else if (cv_text::EqualsNoCase(name, L"height"))
      m.height = ScanInt32(value, 10);
  });
  return m;
}

HRESULT FillMarkupRect(TFrame& target, int32_t x, int32_t y, double opacity, const wchar_t* markup) {
  const TFillMarkup m = ParseFillMarkup(markup);
  // A / 255 in float is what the GPU's constant buffer holds; a double A / 255 narrows to the same float.
  const float keep = std::isnan(opacity) ? UnormToFloat(static_cast<uint8_t>(m.colour >> 24))
                                         : static_cast<float>(std::clamp(opacity, 0.0, 1.0));

  return target.WithPicture([&](const TVideoProps& v, uint8_t* pixels, int64_t bytes) -> HRESULT {
    TPictureLayout layout{};
    if (!pixels || v.colourFormat == 0) return E_INVALIDARG;
    TPairLayout pair{};
    const bool rgb = v.colourFormat == kColourARGB32 || v.colourFormat == kColourRGB32;
    if (!rgb && !PairLayoutOf(v.colourFormat, &pair)) return CV_E_FORMAT_REFUSED;
    if (PictureLayoutOf(v, &layout) != TPictureKind::Picture || layout.imageBytes > bytes) return E_INVALIDARG;
    TArea area{};
    if (keep >= 1.0f || !ClipSpan(x, m.width, v.width, &area.x0, &area.x1) ||
        !ClipSpan(y, m.height, layout.lines, &area.y0, &area.y1))
      return S_FALSE;
    if (rgb)
      ShadeRGB(m, keep, layout, area, pixels);
    else
      ShadeYUV(m, keep, pair, layout, area, pixels);
    return S_OK;
  });
}
