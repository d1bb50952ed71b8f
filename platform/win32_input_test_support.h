// Test support: a pointer and keys of the Windows desktop driven as a user's would be, for tests that
// can't speak to the window manager themselves. A window of the test covers the top left of the
// primary monitor in one flat colour and is brought to the foreground, so the pointer over it is the
// one the test gives it; it runs on a thread of its own with its own message loop, so the test's
// thread needn't pump messages, and it is made once for the process. Presses go through SendInput.
// Linked into tests only.
#pragma once

#include <cstdint>

namespace cvtest {

class Win32InputDriver {
 public:
  static constexpr uint32_t kBackground = 0x284460;  // the window's colour, 0xRRGGBB
  static constexpr int32_t kWindowWidth = 1280;      // its size, from the desktop's origin
  static constexpr int32_t kWindowHeight = 720;

  Win32InputDriver();   // brings the window up; Ready() says whether it could be made
  ~Win32InputDriver();  // lets go of every key and button it pressed, and gives back the standard pointer
  Win32InputDriver(const Win32InputDriver&) = delete;
  Win32InputDriver& operator=(const Win32InputDriver&) = delete;

  bool Ready() const { return window_ != nullptr; }
  // Makes `cursor` (a cursor handle, which the caller keeps alive) the pointer over the window.
  void UsePointer(uint64_t cursor);
  // A colour pointer of the driver's own: a square of `side` pixels in 0xRRGGBB, opaque, its hot spot at
  // (hotX, hotY).
  void UseSquarePointer(uint32_t rgb, int32_t side, int32_t hotX, int32_t hotY);
  // Hides the pointer as an application does (ShowCursor on the window's thread), or shows it again.
  void ShowPointer(bool show);
  // Moves the pointer's hot spot to (x, y) of the desktop.
  void MoveTo(int32_t x, int32_t y);
  // Presses or releases the virtual key `vk`; 1 and 2 are the left and right mouse buttons.
  void Key(uint32_t vk, bool down);

 private:
  void* window_ = nullptr;
  void* ownCursor_ = nullptr;  // the square pointer
  bool hidden_ = false;
  bool held_[256] = {};
};

}  // namespace cvtest
