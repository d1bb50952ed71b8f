// The X11 desktop: what it answers without a display, and against a real one when there is one.
// gtest comes first: Xlib defines macros such as None and Bool that its templates would trip on.
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "platform/auto_obj.h"
#include "platform/desktop.h"

#if CV_DESKTOP_X11
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#endif

namespace cvplat {
namespace {

bool Same(const TRect& a, const TRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

TEST(LinuxDesktop, WithoutADisplayNothingIsThere) {
  const char* display = std::getenv("DISPLAY");
  const std::optional<std::string> saved = display ? std::optional<std::string>(display) : std::nullopt;
  unsetenv("DISPLAY");
  const CapturePlatform capture = NativeCapturePlatform();

  EXPECT_TRUE(capture.system->AtLeast(6, 2));
  EXPECT_TRUE(capture.system->AtLeast(100, 0));
  EXPECT_TRUE(capture.monitors->List().empty());
  TRect r{};
  EXPECT_FALSE(capture.windows->ExtendedFrameBounds(0x200001, &r));
  EXPECT_FALSE(capture.windows->WindowRect(0x200001, &r));
  EXPECT_EQ(capture.windows->ForegroundWindow(), 0u);
  int32_t x = 0, y = 0;
  EXPECT_FALSE(capture.pointer->Position(&x, &y));
  if (saved) setenv("DISPLAY", saved->c_str(), 1);

  // Shots and duplication are not there yet on any display; the gpu device is.
  uint32_t pixel = 0;
  EXPECT_EQ(capture.makeGrabber()->GrabToMemory({0, 0, 1, 1}, reinterpret_cast<uint8_t*>(&pixel), 4), E_NOTIMPL);
  TRefPtr<IGpuDevice> device;
  ASSERT_EQ(capture.gpu(reinterpret_cast<IGpuDevice**>(&device), nullptr, nullptr), S_OK);
  IGpuTexture2D* texture = reinterpret_cast<IGpuTexture2D*>(1);
  EXPECT_EQ(capture.makeGrabber()->GrabToTexture(device.Get(), {0, 0, 1, 1}, &texture), E_NOTIMPL);
  EXPECT_EQ(texture, nullptr);
  std::unique_ptr<IGpuOutputs> outputs;
  EXPECT_EQ(capture.duplication->Outputs(device.Get(), &outputs), E_NOTIMPL);
  EXPECT_FALSE(outputs);
}

#if CV_DESKTOP_X11

void SetCardinals(Display* display, Window window, const char* name, std::vector<long> values) {
  XChangeProperty(display, window, XInternAtom(display, name, False), XA_CARDINAL, 32, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(values.data()), static_cast<int>(values.size()));
}

TEST(LinuxDesktop, AnswersForTheDisplaysMonitorsWindowsAndPointer) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) GTEST_SKIP() << "no X display";
  const Window root = DefaultRootWindow(display);
  const int rootWidth = DisplayWidth(display, DefaultScreen(display));
  const int rootHeight = DisplayHeight(display, DefaultScreen(display));
  const CapturePlatform capture = NativeCapturePlatform();

  // Monitors lie on the screen, each with its own handle.
  const std::vector<MonitorInfo> monitors = capture.monitors->List();
  ASSERT_FALSE(monitors.empty());
  for (size_t i = 0; i < monitors.size(); ++i) {
    const TRect& m = monitors[i].rect;
    EXPECT_TRUE(m.left >= 0 && m.top >= 0 && m.left < m.right && m.top < m.bottom && m.right <= rootWidth &&
                m.bottom <= rootHeight);
    for (size_t j = 0; j < i; ++j) EXPECT_NE(monitors[i].handle, monitors[j].handle);
  }

  // An unmapped window stays where it was made; the frame the manager draws widens its rectangle, and
  // the shadow a client draws itself narrows the visible one.
  const Window window = XCreateSimpleWindow(display, root, 10, 20, 300, 200, 0, 0, 0);
  XSync(display, False);
  TRect r{};
  ASSERT_TRUE(capture.windows->WindowRect(window, &r));
  EXPECT_TRUE(Same(r, {10, 20, 310, 220}));
  ASSERT_TRUE(capture.windows->ExtendedFrameBounds(window, &r));
  EXPECT_TRUE(Same(r, {10, 20, 310, 220}));
  SetCardinals(display, window, "_NET_FRAME_EXTENTS", {4, 5, 30, 6});
  SetCardinals(display, window, "_GTK_FRAME_EXTENTS", {1, 2, 3, 4});
  XSync(display, False);
  ASSERT_TRUE(capture.windows->WindowRect(window, &r));
  EXPECT_TRUE(Same(r, {6, -10, 315, 226}));
  ASSERT_TRUE(capture.windows->ExtendedFrameBounds(window, &r));
  EXPECT_TRUE(Same(r, {7, -7, 313, 222}));

  // Without a window manager the active window and the pointer are this test's to set.
  const Atom active = XInternAtom(display, "_NET_ACTIVE_WINDOW", False);
  int count = 0;
  Atom* properties = XListProperties(display, root, &count);
  bool managed = false;
  for (int i = 0; i < count; ++i) managed = managed || properties[i] == active;
  if (properties) XFree(properties);
  if (!managed) {
    XChangeProperty(display, root, active, XA_WINDOW, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&window), 1);
    XWarpPointer(display, None, root, 0, 0, 0, 0, 33, 44);
    XSync(display, False);
    EXPECT_EQ(capture.windows->ForegroundWindow(), window);
    int32_t x = 0, y = 0;
    ASSERT_TRUE(capture.pointer->Position(&x, &y));
    EXPECT_EQ(x, 33);
    EXPECT_EQ(y, 44);
    XDeleteProperty(display, root, active);
  }

  // A handle that names no window is a plain "no", not the end of the process.
  XDestroyWindow(display, window);
  XSync(display, False);
  EXPECT_FALSE(capture.windows->WindowRect(window, &r));
  EXPECT_FALSE(capture.windows->ExtendedFrameBounds(window, &r));
  XCloseDisplay(display);
}

#endif

}  // namespace
}  // namespace cvplat
