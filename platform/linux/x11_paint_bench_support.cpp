#include "platform/x11_paint_bench_support.h"

#include <X11/Xlib.h>

namespace cvbench {

X11Painter::X11Painter() : display_(XOpenDisplay(nullptr)) {
  if (!display_) return;
  const int screen = DefaultScreen(display_);
  width_ = DisplayWidth(display_, screen);
  height_ = DisplayHeight(display_, screen);
  gc_ = XCreateGC(display_, DefaultRootWindow(display_), 0, nullptr);
}

X11Painter::~X11Painter() {
  if (!display_) return;
  XFreeGC(display_, gc_);
  XCloseDisplay(display_);
}

void X11Painter::Paint(uint64_t n) {
  if (!display_) return;
  const int32_t w = width_ / 4;
  const int32_t h = height_ / 4;
  // A walk that wraps, some pixels on each picture.
  const int32_t x = static_cast<int32_t>(n * 29 % static_cast<uint64_t>(width_ - w + 1));
  const int32_t y = static_cast<int32_t>(n * 17 % static_cast<uint64_t>(height_ - h + 1));
  // The root of a 24-bit server takes 0xRRGGBB as its pixel value; a step of odd numbers never repeats
  // a colour two pictures running.
  const unsigned long colour = (n * 0x2F1B3Du + 0x405060u) & 0xFFFFFFu;
  XSetForeground(display_, gc_, colour);
  XFillRectangle(display_, DefaultRootWindow(display_), gc_, x, y, static_cast<unsigned>(w),
                 static_cast<unsigned>(h));
  XSync(display_, False);
}

}  // namespace cvbench
