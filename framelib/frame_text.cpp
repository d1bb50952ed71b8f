#include "framelib/frame_text.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include "framelib/markup_items.h"
#include "framelib/picture_layout.h"
#include "framelib/yuv_pair_layout.h"
#include "media/colour_formats.h"
#include "platform/text_raster.h"
#include "primitives/pixel_rows.h"
#include "props/text_chars.h"

namespace {

// Weights run 0 .. 256 so that a blend is one shift: coverage and alpha bytes (0 .. 255) map there with
// 255 becoming 256, so both ends stay exact: weight 0 keeps the picture, 256 puts the colour.
inline uint16_t WeightOf(unsigned byte) { return static_cast<uint16_t>(byte + (byte >> 7)); }

// Colour bytes in the order of a pixel's bytes: B G R A for RGB, and for 4:2:2 the bytes of a pair.
struct TColourBytes {
  uint8_t at[4];
};

TColourBytes RgbBytesOf(Colour c, uint8_t alpha) {
  return {{static_cast<uint8_t>(c >> 16), static_cast<uint8_t>(c >> 8), static_cast<uint8_t>(c), alpha}};
}

// The colour's bytes as the conversion to 4:2:2 gives them for a pair of that colour, so that text on a
// converted frame has exactly the colour of the same text converted: white 235/128/128, black
// 16/128/128, red 81/90/239.
TColourBytes PairBytesOf(Colour c, const TPairLayout& at) {
  const uint8_t pixel[8] = {static_cast<uint8_t>(c >> 16), static_cast<uint8_t>(c >> 8), static_cast<uint8_t>(c), 255,
                            static_cast<uint8_t>(c >> 16), static_cast<uint8_t>(c >> 8), static_cast<uint8_t>(c), 255};
  uint8_t packed[4];  // Cb Y0 Cr Y1
  PixelRowToYuv422(pixel, packed, 2, kYuv422CbYCrY);
  TColourBytes out{};
  out.at[at.cb] = packed[0];
  out.at[at.luma0] = packed[1];
  out.at[at.cr] = packed[2];
  out.at[at.luma1] = packed[3];
  return out;
}

int32_t ScalePlacement(double value, bool relative, int32_t extent) {
  const double pixels = relative ? value * extent : value;
  if (!std::isfinite(pixels)) return 0;
  return static_cast<int32_t>(std::lround(std::clamp(pixels, -1e7, 1e7)));
}

// Where a box of `size` goes along one axis of the area [nearEdge, farEdge).
int64_t PlaceAlong(int64_t nearEdge, int64_t farEdge, int64_t size, bool centre, bool atFarEdge) {
  if (centre) {
    const int64_t room = farEdge - nearEdge - size;
    return nearEdge + (room >= 0 ? room / 2 : -((1 - room) / 2));  // halves towards the near edge
  }
  return atFarEdge ? farEdge - size : nearEdge;
}

// The bytes of one line of the picture that a draw may change, with what each byte blends with: first
// the box (a weight fixed for the whole draw), then the text (a weight per line from the coverage). Each
// byte goes through the same two steps, so one plain loop does every format and compilers vectorise it.
struct TByteBlend {
  std::vector<uint16_t> keep;    // 256 - the box's weight
  std::vector<uint16_t> boxAdd;  // box colour x the box's weight + 128, for rounding
  std::vector<uint8_t> text;     // the text colour's byte
  std::vector<uint16_t> weight;  // the text's weight, refilled for each line

  void Resize(size_t bytes) {
    keep.assign(bytes, 256);
    boxAdd.assign(bytes, 128);
    text.assign(bytes, 0);
    weight.assign(bytes, 0);
  }
  void SetBox(size_t i, uint8_t colour, uint16_t w) {
    keep[i] = static_cast<uint16_t>(256 - w);
    boxAdd[i] = static_cast<uint16_t>(colour * w + 128);
  }
};

// The weights of a line's pixels spread over their bytes, with the byte order fixed at compile time so
// that the loops run without looking anything up.
template <bool kAlpha>
void SpreadPixelWeights(const uint16_t* __restrict pixel, uint16_t* __restrict byte, size_t pixels) {
  for (size_t u = 0; u < pixels; ++u) {
    byte[4 * u] = byte[4 * u + 1] = byte[4 * u + 2] = pixel[u];
    byte[4 * u + 3] = kAlpha ? pixel[u] : 0;
  }
}

// kLuma: the byte of Y0 in a pair (0 for Y0 Cb Y1 Cr, 1 for Cb Y0 Cr Y1). Both chroma bytes take the mean
// of the pair's two weights.
template <int kLuma>
void SpreadPairWeights(const uint16_t* __restrict pixel, uint16_t* __restrict byte, size_t pairs) {
  for (size_t u = 0; u < pairs; ++u) {
    const uint16_t w0 = pixel[2 * u], w1 = pixel[2 * u + 1];
    const uint16_t mean = static_cast<uint16_t>((w0 + w1 + 1) >> 1);
    byte[4 * u + kLuma] = w0;
    byte[4 * u + kLuma + 2] = w1;
    byte[4 * u + 1 - kLuma] = mean;
    byte[4 * u + 3 - kLuma] = mean;
  }
}

// 16-bit arithmetic throughout: 255 x 256 + 128 is the most any step holds, and the casts say so, so
// that a vectorised loop works on eight or sixteen lanes of 16 bits.
void BlendBytes(uint8_t* __restrict bytes, const uint16_t* __restrict keep, const uint16_t* __restrict boxAdd,
                const uint8_t* __restrict text, const uint16_t* __restrict weight, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const uint16_t boxed = static_cast<uint16_t>(static_cast<uint16_t>(bytes[i] * keep[i] + boxAdd[i]) >> 8);
    const uint16_t w = weight[i];
    const uint16_t mixed = static_cast<uint16_t>(boxed * static_cast<uint16_t>(256 - w) + text[i] * w + 128);
    bytes[i] = static_cast<uint8_t>(mixed >> 8);
  }
}

}  // namespace

TTextStyle ParseTextStyle(const wchar_t* style) {
  TTextStyle out;
  ForEachMarkupItem(style, [&out](std::wstring_view name, std::wstring_view value) {
    if (cv_text::EqualsNoCase(name, L"color")) {
      out.colour = ParseColor(value, kTextDefaultColour);
    } else if (cv_text::EqualsNoCase(name, L"bg-color")) {
      out.background = ParseColor(value, kTextNoBackground);
    } else if (cv_text::EqualsNoCase(name, L"face")) {
      out.face.assign(value);
    }
  });
  return out;
}

int32_t TextPixelSize(double size, int32_t pictureLines) {
  if (!(size > 0) || !std::isfinite(size)) size = 1.0;
  const double em = std::round(size * std::abs(double(pictureLines)) / kTextSizeDivisor);
  return static_cast<int32_t>(
      std::clamp(em, double(kTextMinPixels), double(cvplat::ITextRaster::kMaxPixelSize)));
}

HRESULT TextDrawPicture(const TVideoProps& video, uint8_t* pixels, const wchar_t* text, double size,
                        const TTextPlacement* placement, int32_t flags, const wchar_t* style,
                        cvplat::ITextRaster* raster) {
  if (!placement) return E_POINTER;
  TPictureLayout layout{};
  if (PictureLayoutOf(video, &layout) != TPictureKind::Picture || !pixels) return E_UNEXPECTED;
  TPairLayout pair{};
  const bool rgb = video.colourFormat == kColourARGB32 || video.colourFormat == kColourRGB32;
  if (!rgb && !PairLayoutOf(video.colourFormat, &pair)) return CV_E_FORMAT_REFUSED;
  if (!text || !*text) return S_FALSE;
  if (!raster) return CV_E_DEVICE_NOT_AVAILABLE;

  const TTextStyle look = ParseTextStyle(style);
  const int32_t width = video.width, lines = layout.lines;
  const int32_t em = TextPixelSize(size, lines);
  cvplat::TTextLine line;
  if (const HRESULT hr = raster->RenderLine(look.face, em, text, &line); FAILED(hr)) return hr;

  // The box, and the line inside it, in picture pixels.
  const bool relative = placement->relative == 1;
  const int64_t x = ScalePlacement(placement->x, relative, width);
  const int64_t y = ScalePlacement(placement->y, relative, lines);
  const int64_t w = std::max(0, ScalePlacement(placement->width, relative, width));
  const int64_t h = std::max(0, ScalePlacement(placement->height, relative, lines));
  const int64_t areaRight = w > 0 ? x + w : width - x;
  const int64_t areaBottom = h > 0 ? y + h : lines - y;
  const int64_t pad = TextPadding(em);
  const int64_t boxWidth = line.width + 2 * pad;
  const int64_t boxLeft = PlaceAlong(x, areaRight, boxWidth, flags & kTextCentreAcross, flags & kTextRight);
  const int64_t boxTop = PlaceAlong(y, areaBottom, line.height, flags & kTextCentreDown, flags & kTextBottom);
  const int64_t textLeft = boxLeft + pad;
  const uint16_t boxWeight = WeightOf(255u - (look.background >> 24));

  // What can change, cut at the picture's edges: with no box only the line's own columns.
  auto clampX = [&](int64_t v) { return static_cast<int32_t>(std::clamp<int64_t>(v, 0, width)); };
  const int32_t from = clampX(boxWeight ? boxLeft : textLeft);
  const int32_t to = clampX(boxWeight ? boxLeft + boxWidth : textLeft + line.width);
  const int32_t rowFrom = static_cast<int32_t>(std::clamp<int64_t>(boxTop, 0, lines));
  const int32_t rowTo = static_cast<int32_t>(std::clamp<int64_t>(boxTop + line.height, 0, lines));
  if (from >= to || rowFrom >= rowTo) return S_OK;
  auto inside = [&](int64_t px) { return px >= from && px < to; };
  const int32_t textFrom = clampX(std::max<int64_t>(textLeft, from));
  const int32_t textTo = clampX(std::min<int64_t>(textLeft + line.width, to));

  // Per byte of a line: pixels of 4 bytes, or pairs of 4 bytes for 2 pixels, the last pair of an odd
  // width holding one pixel.
  const int32_t unitFrom = rgb ? from : from / 2;
  const int32_t unitTo = rgb ? to : (to + 1) / 2;
  const size_t bytes = size_t(unitTo - unitFrom) * 4;
  const bool alpha = video.colourFormat == kColourARGB32;
  const TColourBytes textBytes = rgb ? RgbBytesOf(look.colour, 255) : PairBytesOf(look.colour, pair);
  const TColourBytes boxBytes = rgb ? RgbBytesOf(look.background, 255) : PairBytesOf(look.background, pair);
  TByteBlend blend;
  blend.Resize(bytes);
  for (int32_t unit = unitFrom; unit < unitTo; ++unit) {
    const size_t at = size_t(unit - unitFrom) * 4;
    for (int b = 0; b < 4; ++b) blend.text[at + b] = textBytes.at[b];
    if (rgb) {
      for (int b = 0; b < (alpha ? 4 : 3); ++b) blend.SetBox(at + b, boxBytes.at[b], boxWeight);
    } else {
      const uint16_t w0 = inside(2 * int64_t{unit}) ? boxWeight : 0;
      const uint16_t w1 = inside(2 * int64_t{unit} + 1) ? boxWeight : 0;
      blend.SetBox(at + pair.luma0, boxBytes.at[pair.luma0], w0);
      blend.SetBox(at + pair.luma1, boxBytes.at[pair.luma1], w1);
      blend.SetBox(at + pair.cb, boxBytes.at[pair.cb], static_cast<uint16_t>((w0 + w1 + 1) / 2));
      blend.SetBox(at + pair.cr, boxBytes.at[pair.cr], static_cast<uint16_t>((w0 + w1 + 1) / 2));
    }
  }
  // An odd width's last pair has a Y1 byte outside the picture: it is left out of the loop's bytes and
  // its pair done on its own.
  const bool halfPair = !rgb && (width & 1) && unitTo == (width + 1) / 2;
  const size_t loopBytes = halfPair ? bytes - 4 : bytes;

  // The text's weight per pixel of the span, then per byte.
  const int32_t pixelFrom = rgb ? unitFrom : unitFrom * 2;
  std::vector<uint16_t> pixelWeight(size_t(unitTo - unitFrom) * (rgb ? 1 : 2), 0);
  uint16_t* const textWeight = pixelWeight.data() + (textFrom - pixelFrom);
  const int32_t textPixels = std::max(0, textTo - textFrom);
  for (int32_t row = rowFrom; row < rowTo; ++row) {
    const uint8_t* coverage =
        line.coverage.data() + size_t(row - boxTop) * size_t(line.width) + (textFrom - textLeft);
    for (int32_t i = 0; i < textPixels; ++i) textWeight[i] = WeightOf(coverage[i]);
    const size_t units = size_t(unitTo - unitFrom);
    if (rgb) {
      (alpha ? SpreadPixelWeights<true> : SpreadPixelWeights<false>)(pixelWeight.data(), blend.weight.data(), units);
    } else {
      (pair.luma0 == 0 ? SpreadPairWeights<0> : SpreadPairWeights<1>)(pixelWeight.data(), blend.weight.data(), units);
    }
    uint8_t* bytesOfRow = pixels + PictureLineOffset(layout, row) + size_t(unitFrom) * 4;
    BlendBytes(bytesOfRow, blend.keep.data(), blend.boxAdd.data(), blend.text.data(), blend.weight.data(),
               loopBytes);
    if (halfPair) {
      for (int b = 0; b < 4; ++b) {
        if (b == pair.luma1) continue;
        const size_t i = loopBytes + size_t(b);
        BlendBytes(bytesOfRow + i, &blend.keep[i], &blend.boxAdd[i], &blend.text[i], &blend.weight[i], 1);
      }
    }
  }
  return S_OK;
}

HRESULT TextDraw(ICVFrame_I* frame, const wchar_t* text, double size, const TTextPlacement* placement,
                 int32_t flags, const wchar_t* style) {
  if (!frame) return E_POINTER;
  TAvProps props{};
  if (const HRESULT hr = frame->FormatGet(&props, nullptr); FAILED(hr)) return hr;
  uint8_t* pixels = nullptr;
  if (FAILED(frame->PixelsGet(0, &pixels))) pixels = nullptr;
  return TextDrawPicture(props.video, pixels, text, size, placement, flags, style, cvplat::NativeTextRaster());
}
