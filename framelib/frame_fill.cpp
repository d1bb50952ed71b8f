#include "framelib/frame_fill.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "framelib/frame.h"
#include "framelib/picture_layout.h"
#include "framelib/pixel_unorm.h"
#include "media/colour_formats.h"
#include "props/number_text.h"

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }

bool SameName(std::wstring_view name, std::wstring_view wanted) {
  if (name.size() != wanted.size()) return false;
  for (size_t i = 0; i < name.size(); ++i) {
    wchar_t c = name[i];
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c - L'A' + L'a');
    if (c != wanted[i]) return false;
  }
  return true;
}

// Where the bytes of one pixel pair of a packed 4:2:2 colour lie: two lumas, Cb, Cr.
struct TPairLayout {
  int luma0;
  int luma1;
  int cb;
  int cr;
};

bool PairLayoutOf(uint32_t colour, TPairLayout* pair) {
  switch (colour) {
    case kColourHDYC:
    case kColourUYVY: *pair = {1, 3, 0, 2}; return true;
    case kColourYUY2: *pair = {0, 2, 1, 3}; return true;
    case kColourYVYU: *pair = {0, 2, 3, 1}; return true;
    default: return false;
  }
}

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
  const std::wstring_view text = markup ? std::wstring_view(markup) : std::wstring_view();
  size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && IsBlank(text[i])) ++i;
    const size_t nameStart = i;
    while (i < text.size() && !IsBlank(text[i]) && text[i] != L'=') ++i;
    const std::wstring_view name = text.substr(nameStart, i - nameStart);
    if (i >= text.size() || text[i] != L'=') continue;  // a word without a value
    ++i;
    std::wstring_view value;
    if (i < text.size() && (text[i] == L'\'' || text[i] == L'"')) {
      const wchar_t quote = text[i++];
      const size_t end = std::min(text.find(quote, i), text.size());
      value = text.substr(i, end - i);
      i = end + (end < text.size() ? 1 : 0);
    } else {
      const size_t start = i;
      while (i < text.size() && !IsBlank(text[i])) ++i;
      value = text.substr(start, i - start);
    }
    if (SameName(name, L"color"))
      m.colour = ParseColor(value, kFillDefaultColour);
    else if (SameName(name, L"width"))
      m.width = ScanInt32(value, 10);
    else if (SameName(name, L"height"))
      m.height = ScanInt32(value, 10);
  }
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
