// Test support: the pointer of the X display that DISPLAY names, moved and dressed as a user's would be,
// for tests above the platform that can't speak to the server themselves. Linked into tests only.
#pragma once

#include <cstdint>

struct _XDisplay;

namespace cvtest {

class X11PointerDriver {
 public:
  X11PointerDriver();  // opens the display; Ready() says whether it could
  ~X11PointerDriver();   // puts the standard pointer back
  X11PointerDriver(const X11PointerDriver&) = delete;
  X11PointerDriver& operator=(const X11PointerDriver&) = delete;

  bool Ready() const { return display_ != nullptr; }
  // Moves the pointer's hot spot to (x, y) of the root window, through the test extension.
  void MoveTo(int32_t x, int32_t y);
  // Gives the root window a square opaque pointer of `side` pixels in the colour 0xRRGGBB, its hot spot
  // at (hotX, hotY).
  void UseSquarePointer(uint32_t rgb, int32_t side, int32_t hotX, int32_t hotY);
  // Presses or releases the key of Windows virtual key `vk`, through the test extension: the mouse
  // buttons 1 and 2, Shift (0x10), the letters and the digits.
  void Key(uint32_t vk, bool down);

 private:
  _XDisplay* display_ = nullptr;
  unsigned long cursor_ = 0;
};

}  // namespace cvtest
