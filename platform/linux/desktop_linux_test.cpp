// The X11 desktop: what it answers without a display, and against a real one when there is one.
// gtest comes first: Xlib defines macros such as None and Bool that its templates would trip on.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "platform/auto_obj.h"
#include "platform/cpu_gpu/gpu_test_support.h"
#include "platform/desktop.h"

#if CV_DESKTOP_X11
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include "platform/linux/private_x_server_test_support.h"
#include "platform/linux/screen_grab_x11.h"
#include "platform/window_list.h"
#include "platform/linux/x11_error_trap.h"
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
  // No pointer picture and no keys: the overlays draw nothing of them.
  EXPECT_FALSE(capture.cursor);
  EXPECT_FALSE(capture.keys);

  // A shot fails plainly, into memory or into a texture; there is no output to duplicate.
  std::unique_ptr<IScreenGrabber> grabber = capture.makeGrabber();
  uint32_t pixel = 0;
  TRefPtr<IGpuDevice> device;
  EXPECT_EQ(capture.gpu(reinterpret_cast<IGpuDevice**>(&device), nullptr, nullptr), S_OK);
  IGpuTexture2D* texture = reinterpret_cast<IGpuTexture2D*>(1);
#if CV_DESKTOP_X11
  EXPECT_EQ(grabber->GrabToMemory({0, 0, 1, 1}, reinterpret_cast<uint8_t*>(&pixel), 4), E_FAIL);
  EXPECT_EQ(grabber->GrabToTexture(device.Get(), {0, 0, 1, 1}, &texture), E_FAIL);
#else
  EXPECT_EQ(grabber->GrabToMemory({0, 0, 1, 1}, reinterpret_cast<uint8_t*>(&pixel), 4), E_NOTIMPL);
  EXPECT_EQ(grabber->GrabToTexture(device.Get(), {0, 0, 1, 1}, &texture), E_NOTIMPL);
#endif
  EXPECT_EQ(texture, nullptr);
  std::unique_ptr<IGpuOutputs> outputs;
#if CV_DESKTOP_X11
  ASSERT_EQ(capture.duplication->Outputs(device.Get(), &outputs), S_OK);
  OutputInfo output;
  EXPECT_EQ(outputs->Output(0, &output), kDuplicationNotFound);
  std::unique_ptr<IDuplication> duplication;
  EXPECT_EQ(outputs->Duplicate(0, &duplication), kDuplicationNotFound);
#else
  EXPECT_EQ(capture.duplication->Outputs(device.Get(), &outputs), E_NOTIMPL);
  EXPECT_FALSE(outputs);
#endif
  if (saved) setenv("DISPLAY", saved->c_str(), 1);
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
#if CV_INPUT_X11
  EXPECT_TRUE(capture.cursor);
  EXPECT_TRUE(capture.keys);
#endif

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

// Pixels of a shot as 0xAARRGGBB words.
struct Shot {
  int32_t width = 0, height = 0;
  std::vector<uint32_t> pixels;
  Shot(int32_t w, int32_t h) : width(w), height(h), pixels(size_t(w) * h, 0x12345678u) {}
  uint8_t* Bytes() { return reinterpret_cast<uint8_t*>(pixels.data()); }
  uint32_t At(int32_t x, int32_t y) const { return pixels[size_t(y) * width + x]; }
};

// Fills a rectangle of the root window with an exact colour of a TrueColor visual.
void Fill(Display* display, GC gc, int x, int y, unsigned w, unsigned h, uint32_t rgb) {
  XColor colour{};
  colour.red = static_cast<unsigned short>(((rgb >> 16) & 0xff) * 0x101);
  colour.green = static_cast<unsigned short>(((rgb >> 8) & 0xff) * 0x101);
  colour.blue = static_cast<unsigned short>((rgb & 0xff) * 0x101);
  ASSERT_TRUE(XAllocColor(display, DefaultColormap(display, DefaultScreen(display)), &colour));
  XSetForeground(display, gc, colour.pixel);
  XFillRectangle(display, DefaultRootWindow(display), gc, x, y, w, h);
}

TEST(LinuxDesktop, ShotsShowTheRootWindowAndBlackBeyondIt) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) GTEST_SKIP() << "no X display";
  const int screen = DefaultScreen(display);
  if (DefaultDepth(display, screen) < 24) {
    XCloseDisplay(display);
    GTEST_SKIP() << "colours of a display under 24 bits aren't exact";
  }
  const int rootWidth = DisplayWidth(display, screen);
  const int rootHeight = DisplayHeight(display, screen);
  GC gc = XCreateGC(display, DefaultRootWindow(display), 0, nullptr);
  // A picture of three blocks on a grey ground, and a block at the right edge of the screen.
  Fill(display, gc, 90, 40, 110, 70, 0x202020);
  Fill(display, gc, 100, 50, 40, 30, 0x3366cc);
  Fill(display, gc, 140, 50, 40, 30, 0xc08020);
  Fill(display, gc, 100, 80, 80, 20, 0x10e0a0);
  Fill(display, gc, rootWidth - 30, 0, 30, 40, 0xff0000);
  XSync(display, False);

  const CapturePlatform capture = NativeCapturePlatform();
  std::unique_ptr<IScreenGrabber> grabber = capture.makeGrabber();
  Shot shot(90, 60);
  const TRect rect{95, 45, 185, 105};
  ASSERT_EQ(grabber->GrabToMemory(rect, shot.Bytes(), shot.width * 4), S_OK);
  for (int32_t y = 0; y < shot.height; ++y)
    for (int32_t x = 0; x < shot.width; ++x) {
      const int32_t dx = rect.left + x, dy = rect.top + y;
      uint32_t want = 0xff202020;
      if (dx >= 100 && dx < 140 && dy >= 50 && dy < 80) want = 0xff3366cc;
      if (dx >= 140 && dx < 180 && dy >= 50 && dy < 80) want = 0xffc08020;
      if (dx >= 100 && dx < 180 && dy >= 80 && dy < 100) want = 0xff10e0a0;
      ASSERT_EQ(shot.At(x, y), want) << "at " << dx << ", " << dy;
    }

  // Half off the screen, to the right and above: black there, into rows with a gap between them.
  const TRect edge{rootWidth - 20, -10, rootWidth + 20, 30};
  Shot off(48, 40);  // 8 pixels of each row lie beyond the picture and stay as they were
  ASSERT_EQ(grabber->GrabToMemory(edge, off.Bytes(), off.width * 4), S_OK);
  for (int32_t y = 0; y < 40; ++y)
    for (int32_t x = 0; x < 48; ++x) {
      const uint32_t want = x >= 40 ? 0x12345678u : (y >= 10 && x < 20) ? 0xffff0000u : 0xff000000u;
      ASSERT_EQ(off.At(x, y), want) << "at " << x << ", " << y;
    }
  Shot gone(4, 4);
  ASSERT_EQ(grabber->GrabToMemory({-10, -10, -6, -6}, gone.Bytes(), 16), S_OK);
  EXPECT_EQ(std::count(gone.pixels.begin(), gone.pixels.end(), 0xff000000u), 16);
  EXPECT_EQ(grabber->GrabToMemory({5, 5, 5, 9}, gone.Bytes(), 16), E_INVALIDARG);
  EXPECT_EQ(grabber->GrabToMemory({0, 0, 8, 1}, gone.Bytes(), 16), E_INVALIDARG);

  // The texture holds the same picture.
  gputest::GpuRig rig(capture.gpu);
  TRefPtr<IGpuTexture2D> texture;
  ASSERT_EQ(grabber->GrabToTexture(rig.device.Get(), rect, texture.Receive()), S_OK);
  const gputest::Picture picture = rig.Read(texture.Get());
  ASSERT_EQ(picture.width, 90u);
  ASSERT_EQ(picture.height, 60u);
  EXPECT_EQ(std::memcmp(picture.pixels.data(), shot.pixels.data(), shot.pixels.size() * 4), 0);

  // What a whole screen costs; told, not judged.
  Shot whole(rootWidth, rootHeight);
  std::vector<double> ms;
  for (int i = 0; i < 15; ++i) {
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(grabber->GrabToMemory({0, 0, rootWidth, rootHeight}, whole.Bytes(), rootWidth * 4), S_OK);
    ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(ms.begin(), ms.end());
  std::printf("a %dx%d shot: median %.2f ms\n", rootWidth, rootHeight, ms[ms.size() / 2]);
  XFreeGC(display, gc);
  XCloseDisplay(display);
}

// Pixels of other visuals and byte orders take the slow way through the masks.
TEST(LinuxDesktop, PixelsOfOtherFormatsConvertThroughTheirMasks) {
  auto image = [](int bits, int depth, int order, unsigned long r, unsigned long g, unsigned long b, char* data,
                  int width) {
    XImage i{};
    i.width = width;
    i.height = 1;
    i.format = ZPixmap;
    i.data = data;
    i.byte_order = order;
    i.bitmap_unit = 32;
    i.bitmap_bit_order = order;
    i.bitmap_pad = 32;
    i.depth = depth;
    i.bits_per_pixel = bits;
    i.bytes_per_line = (width * bits / 8 + 3) / 4 * 4;
    i.red_mask = r;
    i.green_mask = g;
    i.blue_mask = b;
    EXPECT_NE(XInitImage(&i), 0);
    return i;
  };
  // 5-6-5: full channels stay full, the middle of each range rounds to the nearest 8-bit value.
  char sixteen[8] = {0x00, char(0xf8), char(0xe0), 0x07, 0x1f, 0x00, 0x10, char(0x84)};
  XImage small = image(16, 16, LSBFirst, 0xf800, 0x07e0, 0x001f, sixteen, 4);
  uint32_t out[4] = {};
  ASSERT_TRUE(CopyImageAsBgra(&small, reinterpret_cast<uint8_t*>(out), 16));
  EXPECT_EQ(out[0], 0xffff0000u);
  EXPECT_EQ(out[1], 0xff00ff00u);
  EXPECT_EQ(out[2], 0xff0000ffu);
  EXPECT_EQ(out[3], 0xff848284u);  // 16/31, 32/63, 16/31 of 255
  // 32 bits with the most significant byte first.
  char big[8] = {0x00, char(0xaa), char(0xbb), char(0xcc), 0x00, 0x01, 0x02, 0x03};
  XImage swapped = image(32, 24, MSBFirst, 0xff0000, 0xff00, 0xff, big, 2);
  ASSERT_TRUE(CopyImageAsBgra(&swapped, reinterpret_cast<uint8_t*>(out), 16));
  EXPECT_EQ(out[0], 0xffaabbccu);
  EXPECT_EQ(out[1], 0xff010203u);
  // A visual without colour masks (a colour map) is none this path can read.
  XImage mapped = image(8, 8, LSBFirst, 0, 0, 0, sixteen, 4);
  out[0] = 7;
  EXPECT_FALSE(CopyImageAsBgra(&mapped, reinterpret_cast<uint8_t*>(out), 16));
  EXPECT_EQ(out[0], 7u);
}

#endif

#if CV_DESKTOP_X11
// The server going away while the component holds its connections: the process lives on, and every
// seam answers with a failure from then on.
TEST(LinuxDesktop, AServerThatDiesLeavesTheProcessAliveAndTheSeamsFailing) {
  if (std::system("command -v Xvfb >/dev/null 2>&1") != 0) GTEST_SKIP() << "no Xvfb installed";
  cvtest::PrivateXServer server;
  ASSERT_FALSE(server.Name().empty()) << "the private X server did not start";
  const char* old = std::getenv("DISPLAY");
  const std::optional<std::string> saved = old ? std::optional<std::string>(old) : std::nullopt;
  setenv("DISPLAY", server.Name().c_str(), 1);
  {
    const CapturePlatform capture = NativeCapturePlatform();
    gputest::GpuRig rig(capture.gpu);
    std::unique_ptr<IScreenGrabber> grabber = capture.makeGrabber();
    std::vector<uint32_t> pixels(64 * 64);
    ASSERT_EQ(grabber->GrabToMemory({0, 0, 64, 64}, reinterpret_cast<uint8_t*>(pixels.data()), 256), S_OK);
    std::unique_ptr<IGpuOutputs> outputs;
    ASSERT_EQ(capture.duplication->Outputs(rig.device.Get(), &outputs), S_OK);
    std::unique_ptr<IDuplication> duplication;
    ASSERT_EQ(outputs->Duplicate(0, &duplication), S_OK);
    DuplicationFrameInfo info;
    TRefPtr<IGpuTexture2D> image;
    ASSERT_EQ(duplication->AcquireNextFrame(100, &info, image.Receive()), S_OK);
    ASSERT_EQ(duplication->ReleaseFrame(), S_OK);
    CursorState pointer;
    if (capture.cursor) {
      ASSERT_TRUE(capture.cursor->Query(&pointer));
    }

    server.Kill();
    EXPECT_EQ(grabber->GrabToMemory({0, 0, 64, 64}, reinterpret_cast<uint8_t*>(pixels.data()), 256), E_FAIL);
    EXPECT_TRUE(capture.monitors->List().empty());
    int32_t x = 0, y = 0;
    EXPECT_FALSE(capture.pointer->Position(&x, &y));
    EXPECT_EQ(duplication->AcquireNextFrame(20, &info, image.Receive()), kDuplicationAccessLost);
    if (capture.cursor) {
      EXPECT_FALSE(capture.cursor->Query(&pointer));
    }
    if (capture.keys) {
      EXPECT_FALSE(capture.keys->KeyDown(0x41));
    }
    EXPECT_TRUE(ListTopWindows().empty());
  }
  if (saved)
    setenv("DISPLAY", saved->c_str(), 1);
  else
    unsetenv("DISPLAY");
}

// The duplication of the output: the first image, then nothing until something is drawn or the pointer
// moves; an image must be given back before the next.
TEST(LinuxDesktop, DuplicationReportsDrawingAndPointerMotionAndTimesOutOnAStillScreen) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) GTEST_SKIP() << "no X display";
  if (DefaultDepth(display, DefaultScreen(display)) < 24) {
    XCloseDisplay(display);
    GTEST_SKIP() << "colours of a display under 24 bits aren't exact";
  }
  GC gc = XCreateGC(display, DefaultRootWindow(display), 0, nullptr);
  Fill(display, gc, 0, 0, 64, 64, 0x204060);
  XWarpPointer(display, None, DefaultRootWindow(display), 0, 0, 0, 0, 300, 300);
  XSync(display, False);
  const CapturePlatform capture = NativeCapturePlatform();
  gputest::GpuRig rig(capture.gpu);
  std::unique_ptr<IGpuOutputs> outputs;
  ASSERT_EQ(capture.duplication->Outputs(rig.device.Get(), &outputs), S_OK);
  OutputInfo output;
  ASSERT_EQ(outputs->Output(0, &output), S_OK);
  std::unique_ptr<IDuplication> duplication;
  ASSERT_EQ(outputs->Duplicate(0, &duplication), S_OK);
  const TRect& o = output.desktopCoordinates;

  DuplicationFrameInfo info;
  TRefPtr<IGpuTexture2D> image;
  ASSERT_EQ(duplication->AcquireNextFrame(100, &info, image.Receive()), S_OK);
  EXPECT_NE(info.lastPresentTime, 0);
  gputest::Picture picture = rig.Read(image.Get());
  ASSERT_EQ(picture.width, static_cast<UINT>(o.right - o.left));
  EXPECT_EQ(picture.At(10 - o.left, 10 - o.top).r, 0x20);
  EXPECT_EQ(duplication->AcquireNextFrame(0, &info, image.Receive()), static_cast<HRESULT>(0x887A0001u))
      << "an image is still held";
  ASSERT_EQ(duplication->ReleaseFrame(), S_OK);
  EXPECT_EQ(duplication->AcquireNextFrame(30, &info, image.Receive()), kDuplicationWaitTimeout);

  Fill(display, gc, 0, 0, 64, 64, 0xc0a080);
  XSync(display, False);
  ASSERT_EQ(duplication->AcquireNextFrame(500, &info, image.Receive()), S_OK);
  EXPECT_NE(info.lastPresentTime, 0);
  EXPECT_EQ(rig.Read(image.Get()).At(10 - o.left, 10 - o.top).r, 0xc0);
  ASSERT_EQ(duplication->ReleaseFrame(), S_OK);

  XWarpPointer(display, None, DefaultRootWindow(display), 0, 0, 0, 0, 310, 305);
  XSync(display, False);
  ASSERT_EQ(duplication->AcquireNextFrame(500, &info, image.Receive()), S_OK);
  EXPECT_EQ(info.lastPresentTime, 0) << "moving the pointer draws nothing";
  EXPECT_NE(info.lastMouseUpdateTime, 0);
  ASSERT_EQ(duplication->ReleaseFrame(), S_OK);
  EXPECT_EQ(duplication->ReleaseFrame(), static_cast<HRESULT>(0x887A0001u));
  duplication.reset();
  XFreeGC(display, gc);
  XCloseDisplay(display);
}

// The shared segment gives the plain shot's bytes, beyond the root included, and is made once.
TEST(LinuxDesktop, SharedMemoryShotsEqualPlainOnesAndErrorsOfTheConnectionStayWithIt) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) GTEST_SKIP() << "no X display";
  TrapConnectionErrors(display);
  const int rootWidth = DisplayWidth(display, DefaultScreen(display));
  GC gc = XCreateGC(display, DefaultRootWindow(display), 0, nullptr);
  for (int i = 0; i < 8; ++i) Fill(display, gc, rootWidth - 64 + 8 * i, 8 * i, 8, 8, 0x102030u * (i + 1));
  XSync(display, False);
  SharedRootShot shared;
  for (const TRect rect : {TRect{rootWidth - 70, -5, rootWidth + 10, 75}, TRect{0, 0, 33, 17}}) {
    const int32_t w = rect.right - rect.left, h = rect.bottom - rect.top;
    Shot viaShared(w, h), viaPlain(w, h);
    ASSERT_EQ(shared.Grab(display, rect, viaShared.Bytes(), w * 4), S_OK);
    ASSERT_EQ(GrabRootWindow(display, rect, viaPlain.Bytes(), w * 4), S_OK);
    EXPECT_EQ(viaShared.pixels, viaPlain.pixels);
    EXPECT_TRUE(shared.Attached());
  }
  shared.Release(display);
  EXPECT_FALSE(shared.Attached());

  // A request without a reply on a window that isn't there: the error is kept for this connection, and
  // another connection's errors still reach the handler that was there before.
  static int otherErrors = 0;
  XErrorHandler before = XSetErrorHandler([](Display*, XErrorEvent*) { return ++otherErrors, 0; });
  Display* other = XOpenDisplay(nullptr);
  ASSERT_NE(other, nullptr);
  TrapConnectionErrors(display);  // chained after the handler set just now
  XMapWindow(display, 0x7fffff0);
  XSync(display, False);
  EXPECT_EQ(TakeConnectionError(display), BadWindow);
  EXPECT_EQ(TakeConnectionError(display), 0);
  XMapWindow(other, 0x7fffff0);
  XSync(other, False);
  EXPECT_EQ(otherErrors, 1);
  ReleaseConnectionErrors(display);
  XSetErrorHandler(before);
  XCloseDisplay(other);
  XFreeGC(display, gc);
  XCloseDisplay(display);
}
#endif

}  // namespace
}  // namespace cvplat
