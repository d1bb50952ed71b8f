// The Windows desktop as the system (or Wine) answers it: version, monitors, a window of this test, the
// pointer, and the seams that aren't there yet.
#include <gtest/gtest.h>

#include <windows.h>

#include "platform/auto_obj.h"
#include "platform/desktop.h"

namespace cvplat {
namespace {

bool Same(const TRect& a, const TRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

TEST(WindowsDesktop, AnswersVersionMonitorsAndPointer) {
  const CapturePlatform capture = NativeCapturePlatform();
  EXPECT_TRUE(capture.system->AtLeast(5, 1));
  EXPECT_TRUE(capture.system->AtLeast(0, 0));
  EXPECT_FALSE(capture.system->AtLeast(1000, 0));

  // The primary monitor has the origin at its top left corner; every monitor has its own handle.
  const std::vector<MonitorInfo> monitors = capture.monitors->List();
  ASSERT_FALSE(monitors.empty());
  bool primary = false;
  for (size_t i = 0; i < monitors.size(); ++i) {
    const TRect& m = monitors[i].rect;
    EXPECT_TRUE(m.left < m.right && m.top < m.bottom);
    primary = primary || (m.left == 0 && m.top == 0);
    for (size_t j = 0; j < i; ++j) EXPECT_NE(monitors[i].handle, monitors[j].handle);
  }
  EXPECT_TRUE(primary);

  int32_t x = 0, y = 0;
  if (capture.pointer->Position(&x, &y)) {
    POINT p{};
    ASSERT_TRUE(GetCursorPos(&p));
    EXPECT_EQ(x, p.x);
    EXPECT_EQ(y, p.y);
  }
}

TEST(WindowsDesktop, SeamsNotThereYetAnswerNotImplemented) {
  const CapturePlatform capture = NativeCapturePlatform();
  uint32_t pixel = 0;
  EXPECT_EQ(capture.makeGrabber()->GrabToMemory({0, 0, 1, 1}, reinterpret_cast<uint8_t*>(&pixel), 4), E_NOTIMPL);
  TRefPtr<IGpuDevice> device;
  ASSERT_EQ(capture.gpu(reinterpret_cast<IGpuDevice**>(&device), nullptr, nullptr), S_OK);
  std::unique_ptr<IGpuOutputs> outputs;
  EXPECT_EQ(capture.duplication->Outputs(device.Get(), &outputs), E_NOTIMPL);
  EXPECT_FALSE(outputs);
}

TEST(WindowsDesktop, RectanglesOfAWindowAndOfOneThatIsGone) {
  const CapturePlatform capture = NativeCapturePlatform();
  const uint64_t foreground = capture.windows->ForegroundWindow();
  EXPECT_TRUE(foreground == 0 || IsWindow(reinterpret_cast<HWND>(static_cast<uintptr_t>(foreground))));
  HWND window = CreateWindowExW(WS_EX_TOOLWINDOW, L"STATIC", L"CV desktop test", WS_POPUP, 30, 40, 320, 200, nullptr,
                                nullptr, nullptr, nullptr);
  if (!window) GTEST_SKIP() << "no window station to make a window on";
  const uint64_t handle = reinterpret_cast<uintptr_t>(window);
  TRect r{};
  ASSERT_TRUE(capture.windows->WindowRect(handle, &r));
  EXPECT_TRUE(Same(r, {30, 40, 350, 240}));
  // Where the composition manager answers, the visible frame lies within the window.
  TRect frame{};
  if (capture.windows->ExtendedFrameBounds(handle, &frame)) {
    EXPECT_TRUE(frame.left >= r.left && frame.top >= r.top && frame.right <= r.right && frame.bottom <= r.bottom);
  }
  DestroyWindow(window);
  EXPECT_FALSE(capture.windows->WindowRect(handle, &r));
  EXPECT_FALSE(capture.windows->ExtendedFrameBounds(handle, &r));
}

}  // namespace
}  // namespace cvplat
