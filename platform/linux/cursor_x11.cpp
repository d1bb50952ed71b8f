// The pointer through XFixes: one request gives where the pointer is, the serial number the server gives
// each cursor (a new one for every shape, and for every frame of an animated one), its hot spot and its
// picture. The picture of the last query is kept, so that the shape and the drawing the overlays ask for
// right after a query cost no second trip to the server.
//
// X has no hidden pointer: an application that hides it sets an empty cursor, which draws nothing; so
// the pointer always counts as showing.
#include "platform/linux/cursor_x11.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>
// A size class of Xlib's, in the way of the seam's type of the same name.
#undef CursorShape

#include <algorithm>
#include <mutex>

#include "platform/linux/x11_error_trap.h"

namespace cvplat {

namespace {


class X11Cursor : public ICursor {
 public:
  explicit X11Cursor(Display* display) : display_(display) {}
  X11Cursor(const X11Cursor&) = delete;
  X11Cursor& operator=(const X11Cursor&) = delete;
  ~X11Cursor() override {
    if (image_) XFree(image_);
    CloseComponentDisplay(display_);
  }

  bool Query(CursorState* state) override {
    if (!state) return false;
    std::lock_guard<std::mutex> hold(lock_);
    if (!Fetch()) return false;
    state->showing = true;
    state->handle = image_->cursor_serial;
    state->x = image_->x;
    state->y = image_->y;
    return true;
  }

  bool Shape(uint64_t handle, CursorShape* shape) override {
    if (!shape) return false;
    std::lock_guard<std::mutex> hold(lock_);
    if (!Holding(handle)) return false;
    shape->hotX = image_->xhot;
    shape->hotY = image_->yhot;
    // Cursors of the X server all have a picture with alpha; the two-colour ones of the core protocol
    // come out opaque where they paint and transparent elsewhere.
    shape->colour = true;
    shape->width = image_->width;
    shape->height = image_->height;
    return true;
  }

  HRESULT Render(uint64_t handle, int32_t width, int32_t height, uint32_t* pixels) override {
    std::lock_guard<std::mutex> hold(lock_);
    if (!Holding(handle)) return E_FAIL;
    if (!pixels || width <= 0 || height <= 0) return E_INVALIDARG;
    const int32_t w = std::min<int32_t>(width, image_->width);
    const int32_t h = std::min<int32_t>(height, image_->height);
    for (int32_t y = 0; y < h; ++y) {
      // Xlib hands the 32-bit pixels out in longs.
      const unsigned long* from = image_->pixels + size_t(y) * image_->width;
      uint32_t* to = pixels + size_t(y) * size_t(width);
      for (int32_t x = 0; x < w; ++x)
        to[x] = PremultipliedOver(static_cast<uint32_t>(from[x] & 0xFFFFFFFFul), to[x]);
    }
    return S_OK;
  }

 private:
  // The pointer now, in place of the one kept; the caller holds the lock.
  bool Fetch() {
    if (ConnectionLost(display_)) return false;
    XFixesCursorImage* image = XFixesGetCursorImage(display_);
    if (!image) return false;
    if (image_) XFree(image_);
    image_ = image;
    return true;
  }

  // Whether the kept picture is that of `handle`, asking the server once more when it isn't: the pointer
  // may have changed since the query, and then the old handle's picture is gone.
  bool Holding(uint64_t handle) {
    if (image_ && image_->cursor_serial == handle) return true;
    return Fetch() && image_->cursor_serial == handle;
  }

  std::mutex lock_;
  Display* display_;
  XFixesCursorImage* image_ = nullptr;
};

}  // namespace

std::shared_ptr<ICursor> OpenX11Cursor() {
  Display* display = OpenComponentDisplay();
  if (!display) return nullptr;
  int eventBase = 0, errorBase = 0, major = 2, minor = 0;
  if (!XFixesQueryExtension(display, &eventBase, &errorBase) || !XFixesQueryVersion(display, &major, &minor) ||
      major < 2) {
    CloseComponentDisplay(display);
    return nullptr;
  }
  return std::make_shared<X11Cursor>(display);
}

}  // namespace cvplat
