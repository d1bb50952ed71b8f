// Test support: a window of the test's own process on the machine's desktop, painted in four colours,
// for tests that capture the desktop and look for it in their pictures. Windows only for now.
#pragma once

#include <cstdint>

#include "platform/rect.h"

namespace cvplat {

// The quarters' colours as 0xRRGGBB: top left, top right, bottom left, bottom right.
inline constexpr uint32_t kPaintedQuarters[4] = {0xd03020, 0x20b040, 0x3040e0, 0xf0e010};

class TestPaintedWindow {
 public:
  // A top-most window without a frame on `rect` of the desktop, shown without taking the focus.
  explicit TestPaintedWindow(const TRect& rect);
  ~TestPaintedWindow();
  TestPaintedWindow(const TestPaintedWindow&) = delete;
  TestPaintedWindow& operator=(const TestPaintedWindow&) = delete;
  // False where the process has no desktop to make a window on.
  explicit operator bool() const { return handle_ != 0; }
  // Dispatches this thread's messages, so that the window paints itself.
  static void Pump();

 private:
  uint64_t handle_ = 0;
};

// Whether the process runs under Wine, whose system differs from Windows in what it implements.
bool RunsUnderWine();

}  // namespace cvplat
