#include "platform/linux/screen_grab_x11.h"

// Before Xlib, whose macros (Always, None) would rename the gpu seam's enumerators.
#include "platform/screen_grab.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace cvplat {

namespace {

// One colour channel of a pixel value, by its mask, scaled to 8 bits.
struct Channel {
  unsigned long mask = 0;
  int shift = 0;
  uint64_t max = 0;

  explicit Channel(unsigned long m) : mask(m) {
    if (!m) return;
    shift = std::countr_zero(m);
    max = m >> shift;
  }
  uint32_t Of(unsigned long pixel) const {
    const uint64_t v = (pixel & mask) >> shift;
    return static_cast<uint32_t>((v * 255 + max / 2) / max);
  }
};

void Black(uint8_t* pixels, int32_t pitch, int32_t x, int32_t y, int32_t width, int32_t height) {
  for (int32_t row = y; row < y + height; ++row) {
    uint8_t* p = pixels + int64_t{row} * pitch + int64_t{x} * 4;
    for (int32_t i = 0; i < width; ++i) std::memcpy(p + size_t(i) * 4, &kOffScreenPixel, 4);
  }
}

}  // namespace

bool CopyImageAsBgra(XImage* image, uint8_t* pixels, int32_t pitch) {
  if (!image || !image->red_mask || !image->green_mask || !image->blue_mask) return false;
  const int width = image->width;
  const int height = image->height;
  const bool nativeOrder = (image->byte_order == LSBFirst) == (std::endian::native == std::endian::little);
  // The common case, a 24- or 32-bit TrueColor visual in the host's byte order: the bytes are already
  // blue, green, red; only the alpha is missing.
  if (image->bits_per_pixel == 32 && nativeOrder && image->red_mask == 0xff0000 && image->green_mask == 0xff00 &&
      image->blue_mask == 0xff) {
    for (int y = 0; y < height; ++y) {
      const uint8_t* from = reinterpret_cast<const uint8_t*>(image->data) + int64_t{y} * image->bytes_per_line;
      uint8_t* to = pixels + int64_t{y} * pitch;
      for (int x = 0; x < width; ++x) {
        uint32_t p;
        std::memcpy(&p, from + size_t(x) * 4, 4);
        p |= 0xFF000000u;
        std::memcpy(to + size_t(x) * 4, &p, 4);
      }
    }
    return true;
  }
  const Channel red(image->red_mask), green(image->green_mask), blue(image->blue_mask);
  for (int y = 0; y < height; ++y) {
    uint8_t* to = pixels + int64_t{y} * pitch;
    for (int x = 0; x < width; ++x) {
      const unsigned long p = XGetPixel(image, x, y);
      const uint32_t bgra = 0xFF000000u | red.Of(p) << 16 | green.Of(p) << 8 | blue.Of(p);
      std::memcpy(to + size_t(x) * 4, &bgra, 4);
    }
  }
  return true;
}

HRESULT GrabRootWindow(Display* display, const TRect& rect, uint8_t* pixels, int32_t pitch) {
  if (!display) return E_FAIL;
  const int screen = DefaultScreen(display);
  const TRect root{0, 0, DisplayWidth(display, screen), DisplayHeight(display, screen)};
  const TRect on{std::max(rect.left, root.left), std::max(rect.top, root.top), std::min(rect.right, root.right),
                 std::min(rect.bottom, root.bottom)};
  const int32_t width = rect.right - rect.left;
  const int32_t height = rect.bottom - rect.top;
  if (on.left >= on.right || on.top >= on.bottom) {
    Black(pixels, pitch, 0, 0, width, height);
    return S_OK;
  }
  XImage* image = XGetImage(display, RootWindow(display, screen), on.left, on.top,
                            static_cast<unsigned>(on.right - on.left), static_cast<unsigned>(on.bottom - on.top),
                            AllPlanes, ZPixmap);
  if (!image) return E_FAIL;
  const int32_t x = on.left - rect.left;
  const int32_t y = on.top - rect.top;
  const bool copied = CopyImageAsBgra(image, pixels + int64_t{y} * pitch + int64_t{x} * 4, pitch);
  XDestroyImage(image);
  if (!copied) return E_FAIL;
  // The bands beyond the root: above, below, and left and right of the copy.
  Black(pixels, pitch, 0, 0, width, y);
  Black(pixels, pitch, 0, on.bottom - rect.top, width, rect.bottom - on.bottom);
  Black(pixels, pitch, 0, y, x, on.bottom - on.top);
  Black(pixels, pitch, on.right - rect.left, y, rect.right - on.right, on.bottom - on.top);
  return S_OK;
}

}  // namespace cvplat
