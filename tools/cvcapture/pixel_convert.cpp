#include "tools/cvcapture/pixel_convert.h"

namespace {

uint8_t Clamp255(int value) { return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

// Arithmetic right shift of a signed sum, rounding half up, spelled out so it doesn't depend on how the
// compiler shifts negative numbers.
int RoundShift16(int sum) { return sum >= 0 ? (sum + 32768) >> 16 : -((-sum + 32767) >> 16); }

}  // namespace

TPixelLayout PixelLayoutOf(uint32_t colourFormat) {
  switch (colourFormat) {
    case kFourccHDYC:
    case kFourccUYVY:
      return TPixelLayout::UYVY;
    case kFourccYUY2:
      return TPixelLayout::YUY2;
    case kColourCodeARGB32:
    case kColourCodeRGB32:
      return TPixelLayout::BGRA;
    default:
      return TPixelLayout::Unknown;
  }
}

bool PictureFromFrame(const TVideoProps& video, const uint8_t* bytes, int64_t size, TPictureView* view) {
  const TPixelLayout layout = PixelLayoutOf(video.colourFormat);
  const int64_t width = video.width;
  const int64_t height = video.height < 0 ? -static_cast<int64_t>(video.height) : video.height;
  if (layout == TPixelLayout::Unknown || !bytes || width <= 0 || height <= 0) return false;
  const int64_t least = layout == TPixelLayout::BGRA ? width * 4 : (width + 1) / 2 * 4;
  const int64_t stride = video.rowBytes >= least ? video.rowBytes : least;
  if (size < stride * (height - 1) + least) return false;
  const bool bottomUp = layout == TPixelLayout::BGRA && video.height > 0;
  view->layout = layout;
  view->width = static_cast<int32_t>(width);
  view->height = static_cast<int32_t>(height);
  view->stride = static_cast<ptrdiff_t>(bottomUp ? -stride : stride);
  view->first = bottomUp ? bytes + stride * (height - 1) : bytes;
  return true;
}

void RgbToYuv(int r, int g, int b, uint8_t* y, uint8_t* u, uint8_t* v) {
  // BT.709 weights scaled to the limited ranges, in 16.16 fixed point.
  *y = Clamp255(16 + RoundShift16(11966 * r + 40254 * g + 4064 * b));
  *u = Clamp255(128 + RoundShift16(-6598 * r - 22187 * g + 28785 * b));
  *v = Clamp255(128 + RoundShift16(28785 * r - 26148 * g - 2637 * b));
}

void YuvToRgb(int y, int u, int v, uint8_t* r, uint8_t* g, uint8_t* b) {
  const int luma = 76309 * (y - 16);
  const int cb = u - 128;
  const int cr = v - 128;
  *r = Clamp255(RoundShift16(luma + 117489 * cr));
  *g = Clamp255(RoundShift16(luma - 13975 * cb - 34925 * cr));
  *b = Clamp255(RoundShift16(luma + 138438 * cb));
}

namespace {

// Packed 4:2:2 with the byte offsets of Y0, U, Y1 and V inside each group of four.
template <int kY0, int kU, int kY1, int kV>
void Packed422ToPlanarRow(const uint8_t* src, uint8_t* y, uint8_t* u, uint8_t* v, int width) {
  int x = 0;
  for (; x + 1 < width; x += 2, src += 4) {
    y[x] = src[kY0];
    y[x + 1] = src[kY1];
    u[x / 2] = src[kU];
    v[x / 2] = src[kV];
  }
  if (x < width) {
    y[x] = src[kY0];
    u[x / 2] = src[kU];
    v[x / 2] = src[kV];
  }
}

template <int kY0, int kU, int kY1, int kV>
void Packed422ToRGB24Row(const uint8_t* src, uint8_t* rgb, int width) {
  for (int x = 0; x < width; ++x, rgb += 3) {
    const uint8_t* group = src + (x / 2) * 4;
    YuvToRgb(group[x % 2 ? kY1 : kY0], group[kU], group[kV], rgb, rgb + 1, rgb + 2);
  }
}

}  // namespace

void UYVYToPlanarRow_C(const uint8_t* src, uint8_t* y, uint8_t* u, uint8_t* v, int width) {
  Packed422ToPlanarRow<1, 0, 3, 2>(src, y, u, v, width);
}

void YUY2ToPlanarRow_C(const uint8_t* src, uint8_t* y, uint8_t* u, uint8_t* v, int width) {
  Packed422ToPlanarRow<0, 1, 2, 3>(src, y, u, v, width);
}

void BGRAToYUV444Row_C(const uint8_t* src, uint8_t* y, uint8_t* u, uint8_t* v, int width) {
  for (int x = 0; x < width; ++x, src += 4) RgbToYuv(src[2], src[1], src[0], y + x, u + x, v + x);
}

void UYVYToRGB24Row_C(const uint8_t* src, uint8_t* rgb, int width) { Packed422ToRGB24Row<1, 0, 3, 2>(src, rgb, width); }

void YUY2ToRGB24Row_C(const uint8_t* src, uint8_t* rgb, int width) { Packed422ToRGB24Row<0, 1, 2, 3>(src, rgb, width); }

void BGRAToRGB24Row_C(const uint8_t* src, uint8_t* rgb, int width) {
  for (int x = 0; x < width; ++x, src += 4, rgb += 3) {
    rgb[0] = src[2];
    rgb[1] = src[1];
    rgb[2] = src[0];
  }
}

TChroma PlanarChromaOf(TPixelLayout layout) { return layout == TPixelLayout::BGRA ? TChroma::C444 : TChroma::C422; }

int32_t ChromaWidth(TChroma chroma, int32_t width) { return chroma == TChroma::C444 ? width : (width + 1) / 2; }

void PictureToPlanar(const TPictureView& view, uint8_t* y, uint8_t* u, uint8_t* v) {
  const size_t chromaWidth = static_cast<size_t>(ChromaWidth(PlanarChromaOf(view.layout), view.width));
  for (int32_t line = 0; line < view.height; ++line) {
    const uint8_t* src = view.first + view.stride * line;
    uint8_t* yRow = y + static_cast<size_t>(view.width) * static_cast<size_t>(line);
    uint8_t* uRow = u + chromaWidth * static_cast<size_t>(line);
    uint8_t* vRow = v + chromaWidth * static_cast<size_t>(line);
    switch (view.layout) {
      case TPixelLayout::UYVY: UYVYToPlanarRow_C(src, yRow, uRow, vRow, view.width); break;
      case TPixelLayout::YUY2: YUY2ToPlanarRow_C(src, yRow, uRow, vRow, view.width); break;
      case TPixelLayout::BGRA: BGRAToYUV444Row_C(src, yRow, uRow, vRow, view.width); break;
      case TPixelLayout::Unknown: return;
    }
  }
}

void PictureToRgb24(const TPictureView& view, uint8_t* rgb) {
  const size_t rowBytes = static_cast<size_t>(view.width) * 3;
  for (int32_t line = 0; line < view.height; ++line) {
    const uint8_t* src = view.first + view.stride * line;
    uint8_t* out = rgb + rowBytes * static_cast<size_t>(line);
    switch (view.layout) {
      case TPixelLayout::UYVY: UYVYToRGB24Row_C(src, out, view.width); break;
      case TPixelLayout::YUY2: YUY2ToRGB24Row_C(src, out, view.width); break;
      case TPixelLayout::BGRA: BGRAToRGB24Row_C(src, out, view.width); break;
      case TPixelLayout::Unknown: return;
    }
  }
}
