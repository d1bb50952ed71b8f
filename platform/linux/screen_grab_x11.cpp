#include "platform/linux/screen_grab_x11.h"

// Before Xlib, whose macros (Always, None) would rename the gpu seam's enumerators.
#include "platform/screen_grab.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/linux/x11_error_trap.h"

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

namespace {

// The root's size as the server has it now. Xlib's own record is the size when the connection opened:
// a resolution raised since would be cut off, a lowered one asked beyond the root, which the server
// refuses.
TRect RootRect(Display* display) {
  Window root = None;
  int x = 0, y = 0;
  unsigned width = 0, height = 0, border = 0, depth = 0;
  if (XGetGeometry(display, DefaultRootWindow(display), &root, &x, &y, &width, &height, &border, &depth))
    return {0, 0, static_cast<int32_t>(width), static_cast<int32_t>(height)};
  const int screen = DefaultScreen(display);
  return {0, 0, DisplayWidth(display, screen), DisplayHeight(display, screen)};
}

// A shot of `rect` of the root: `fetch(on, at)` copies the part `on` of the root that `rect` covers to
// `at`; everything beyond the root comes out black.
template <class Fetch>
HRESULT ShootRoot(Display* display, const TRect& root, const TRect& rect, uint8_t* pixels, int32_t pitch,
                  Fetch fetch) {
  if (!display) return E_FAIL;
  const TRect on{std::max(rect.left, root.left), std::max(rect.top, root.top), std::min(rect.right, root.right),
                 std::min(rect.bottom, root.bottom)};
  const int32_t width = rect.right - rect.left;
  const int32_t height = rect.bottom - rect.top;
  if (on.left >= on.right || on.top >= on.bottom) {
    Black(pixels, pitch, 0, 0, width, height);
    return S_OK;
  }
  const int32_t x = on.left - rect.left;
  const int32_t y = on.top - rect.top;
  if (HRESULT hr = fetch(on, pixels + int64_t{y} * pitch + int64_t{x} * 4); hr != S_OK) return hr;
  // The bands beyond the root: above, below, and left and right of the copy.
  Black(pixels, pitch, 0, 0, width, y);
  Black(pixels, pitch, 0, on.bottom - rect.top, width, rect.bottom - on.bottom);
  Black(pixels, pitch, 0, y, x, on.bottom - on.top);
  Black(pixels, pitch, on.right - rect.left, y, rect.right - on.right, on.bottom - on.top);
  return S_OK;
}

}  // namespace

HRESULT GrabRootWindow(Display* display, const TRect& rect, uint8_t* pixels, int32_t pitch) {
  if (!display) return E_FAIL;
  return ShootRoot(display, RootRect(display), rect, pixels, pitch, [&](const TRect& on, uint8_t* at) -> HRESULT {
    XImage* image = XGetImage(display, DefaultRootWindow(display), on.left, on.top,
                              static_cast<unsigned>(on.right - on.left), static_cast<unsigned>(on.bottom - on.top),
                              AllPlanes, ZPixmap);
    if (!image) return E_FAIL;
    const bool copied = CopyImageAsBgra(image, at, pitch);
    XDestroyImage(image);
    return copied ? S_OK : E_FAIL;
  });
}

SharedRootShot::~SharedRootShot() {
  // The owner releases before closing its connection; a segment left over is at least not kept mapped.
  if (address_) shmdt(address_);
}

bool SharedRootShot::Attach(Display* display, size_t bytes) {
  Release(display);
  int major = 0, minor = 0;
  Bool pixmaps = False;
  if (!XShmQueryVersion(display, &major, &minor, &pixmaps)) return false;
  const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
  if (id < 0) return false;
  void* address = shmat(id, nullptr, 0);
  if (address == reinterpret_cast<void*>(-1)) {
    shmctl(id, IPC_RMID, nullptr);
    return false;
  }
  XShmSegmentInfo info{};
  info.shmid = id;
  info.shmaddr = static_cast<char*>(address);
  info.readOnly = False;
  TakeConnectionError(display);
  const bool attached = XShmAttach(display, &info) && (XSync(display, False), TakeConnectionError(display) == 0);
  // Marked for removal at once: it goes when both sides have let go, even if this process dies.
  shmctl(id, IPC_RMID, nullptr);
  if (!attached) {
    shmdt(address);
    return false;
  }
  segment_ = info.shmseg;
  shmId_ = id;
  address_ = address;
  bytes_ = bytes;
  return true;
}

void SharedRootShot::Release(Display* display) {
  if (!address_) return;
  XShmSegmentInfo info{};
  info.shmseg = segment_;
  info.shmid = shmId_;
  info.shmaddr = static_cast<char*>(address_);
  // A broken connection takes no more requests (x11_error_trap.h); the server has let go already.
  QuietBrokenPipe quiet;
  if (display && !ConnectionLost(display)) {
    XShmDetach(display, &info);
    XSync(display, False);
    TakeConnectionError(display);
  }
  shmdt(address_);
  address_ = nullptr;
  bytes_ = 0;
}

HRESULT SharedRootShot::Grab(Display* display, const TRect& rect, uint8_t* pixels, int32_t pitch) {
  const HRESULT hr = GrabShared(display, rect, pixels, pitch);
  return hr == S_FALSE ? GrabRootWindow(display, rect, pixels, pitch) : hr;
}

HRESULT SharedRootShot::GrabShared(Display* display, const TRect& rect, uint8_t* pixels, int32_t pitch) {
  if (!display || unusable_) return S_FALSE;
  Visual* visual = DefaultVisual(display, DefaultScreen(display));
  const unsigned depth = static_cast<unsigned>(DefaultDepth(display, DefaultScreen(display)));
  const TRect root = RootRect(display);
  return ShootRoot(display, root, rect, pixels, pitch, [&](const TRect& on, uint8_t* at) -> HRESULT {
    const auto width = static_cast<unsigned>(on.right - on.left);
    const auto height = static_cast<unsigned>(on.bottom - on.top);
    XShmSegmentInfo info{};
    info.shmseg = segment_;
    info.shmid = shmId_;
    info.shmaddr = static_cast<char*>(address_);
    XImage* image = XShmCreateImage(display, visual, depth, ZPixmap, nullptr, &info, width, height);
    if (!image) return E_FAIL;
    const size_t needed = static_cast<size_t>(image->bytes_per_line) * height;
    // A segment for the whole root, so that the rectangles of a capture never make another; a root that grew
    // gets a new one.
    if (needed > bytes_) {
      const size_t rootWidth = static_cast<size_t>(root.right);
      const size_t rowBytes = (rootWidth * static_cast<size_t>(image->bits_per_pixel) + 31) / 32 * 4;
      const size_t whole = rowBytes * static_cast<size_t>(root.bottom);
      if (!Attach(display, std::max(needed, whole))) {
        unusable_ = true;
        XDestroyImage(image);
        return S_FALSE;
      }
      info.shmseg = segment_;
      info.shmid = shmId_;
      info.shmaddr = static_cast<char*>(address_);
    }
    image->data = static_cast<char*>(address_);
    image->obdata = reinterpret_cast<char*>(&info);
    const bool got = XShmGetImage(display, DefaultRootWindow(display), image, on.left, on.top, AllPlanes);
    const bool copied = got && CopyImageAsBgra(image, at, pitch);
    image->data = nullptr;  // the segment isn't the image's to free
    XDestroyImage(image);
    return copied ? S_OK : E_FAIL;
  });
}

}  // namespace cvplat
