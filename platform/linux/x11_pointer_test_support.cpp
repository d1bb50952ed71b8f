#include "platform/x11_pointer_test_support.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <vector>

namespace cvtest {

X11PointerDriver::X11PointerDriver() : display_(XOpenDisplay(nullptr)) {}

X11PointerDriver::~X11PointerDriver() {
  if (!display_) return;
  XUndefineCursor(display_, DefaultRootWindow(display_));
  if (cursor_) XFreeCursor(display_, cursor_);
  XCloseDisplay(display_);
}

void X11PointerDriver::MoveTo(int32_t x, int32_t y) {
  if (!display_) return;
  XTestFakeMotionEvent(display_, -1, x, y, CurrentTime);
  XSync(display_, False);
}

void X11PointerDriver::UseSquarePointer(uint32_t rgb, int32_t side, int32_t hotX, int32_t hotY) {
  if (!display_ || side <= 0) return;
  const Window root = DefaultRootWindow(display_);
  // Every bit set: the source paints the foreground everywhere the mask lets it.
  const std::vector<char> bits(static_cast<size_t>((side + 7) / 8) * side, static_cast<char>(0xFF));
  const Pixmap plane = XCreateBitmapFromData(display_, root, bits.data(), side, side);
  XColor colour{};
  colour.red = static_cast<unsigned short>(((rgb >> 16) & 0xFF) * 0x101);
  colour.green = static_cast<unsigned short>(((rgb >> 8) & 0xFF) * 0x101);
  colour.blue = static_cast<unsigned short>((rgb & 0xFF) * 0x101);
  const Cursor cursor = XCreatePixmapCursor(display_, plane, plane, &colour, &colour, hotX, hotY);
  XFreePixmap(display_, plane);
  XDefineCursor(display_, root, cursor);
  if (cursor_) XFreeCursor(display_, cursor_);
  cursor_ = cursor;
  XSync(display_, False);
}

void X11PointerDriver::Key(uint32_t vk, bool down) {
  if (!display_) return;
  if (vk == 1 || vk == 2) {
    XTestFakeButtonEvent(display_, vk == 1 ? 1 : 3, down, CurrentTime);
  } else {
    KeySym keysym = NoSymbol;
    if (vk == 0x10) keysym = XK_Shift_L;
    if (vk >= 'A' && vk <= 'Z') keysym = XK_a + (vk - 'A');
    if (vk >= '0' && vk <= '9') keysym = XK_0 + (vk - '0');
    const KeyCode code = keysym == NoSymbol ? 0 : XKeysymToKeycode(display_, keysym);
    if (!code) return;
    XTestFakeKeyEvent(display_, code, down, CurrentTime);
  }
  XSync(display_, False);
}

}  // namespace cvtest
