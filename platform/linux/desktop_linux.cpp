// The desktop of the X display: monitors through RandR (its monitor list, else its CRTCs, else the
// root window as one monitor); the active window and its frame from the window manager's properties; the
// pointer from the server; shots of the root window. Without the X client library at build time there
// is no desktop to ask.
#include "platform/desktop.h"
#include "platform/desktop_unavailable.h"

#if CV_DESKTOP_X11
#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <chrono>
#include <mutex>
#include <utility>

#include "platform/linux/duplication_x11.h"
#include "platform/linux/randr_monitors.h"
#include "platform/linux/screen_grab_x11.h"
#include "platform/linux/x11_error_trap.h"
#include "platform/screen_grab.h"
#endif
#if CV_INPUT_X11
#include "platform/linux/cursor_x11.h"
#include "platform/linux/key_input_x11.h"
#endif

namespace cvplat {

namespace {

class LinuxSystem : public ISystemVersion {
 public:
  // Every capture mode is worth trying here; one the machine can't run fails on its own.
  bool AtLeast(uint32_t, uint32_t) override { return true; }
};

#if CV_DESKTOP_X11

// Its calls come on the host's threads as well as the capture's: each keeps a server that went away from
// ending the host through SIGPIPE.
class X11Desktop : public IMonitors, public IDesktopWindows, public IPointerPosition {
 public:
  X11Desktop() = default;
  X11Desktop(const X11Desktop&) = delete;
  X11Desktop& operator=(const X11Desktop&) = delete;
  ~X11Desktop() override {
    if (!display_) return;
    QuietBrokenPipe quiet;
    shared_.Release(display_);
    CloseComponentDisplay(display_);
  }

  std::vector<MonitorInfo> List() override {
    std::lock_guard<std::mutex> hold(lock_);
    QuietBrokenPipe quiet;
    return Monitors();
  }

  // A shot over this connection: its requests and the other seams' take turns on it. The parts of the
  // root that no monitor shows (a desktop of monitors of different sizes) come out black too.
  HRESULT Shoot(const TRect& rect, uint8_t* pixels, int32_t pitch) {
    std::lock_guard<std::mutex> hold(lock_);
    QuietBrokenPipe quiet;
    if (!Open()) return E_FAIL;
    const std::vector<MonitorInfo> monitors = Monitors();
    const HRESULT hr = shared_.Grab(display_, rect, pixels, pitch);
    if (hr == S_OK) PaintOffMonitorsBlack(rect, monitors, pixels, pitch);
    return hr;
  }

  // The client window as the manager placed it, with the frame it drew around it; a client that draws
  // its own frame tells how much of its window is invisible shadow.
  bool ExtendedFrameBounds(uint64_t window, TRect* rect) override {
    std::lock_guard<std::mutex> hold(lock_);
    QuietBrokenPipe quiet;
    TRect r;
    if (!rect || !Placed(window, &r)) return false;
    const std::vector<unsigned long> shadow = Extents(window, gtkFrameExtents_);
    *rect = {r.left + Signed(shadow[0]), r.top + Signed(shadow[2]), r.right - Signed(shadow[1]),
             r.bottom - Signed(shadow[3])};
    return true;
  }

  bool WindowRect(uint64_t window, TRect* rect) override {
    std::lock_guard<std::mutex> hold(lock_);
    QuietBrokenPipe quiet;
    return rect && Placed(window, rect);
  }

  uint64_t ForegroundWindow() override {
    std::lock_guard<std::mutex> hold(lock_);
    QuietBrokenPipe quiet;
    if (!Open()) return 0;
    const std::vector<unsigned long> active =
        LongProperty(DefaultRootWindow(display_), netActiveWindow_, XA_WINDOW, 1);
    return active.empty() ? 0 : active[0];
  }

  bool Position(int32_t* x, int32_t* y) override {
    std::lock_guard<std::mutex> hold(lock_);
    QuietBrokenPipe quiet;
    if (!x || !y || !Open()) return false;
    Window rootReturn = None, child = None;
    int rootX = 0, rootY = 0, winX = 0, winY = 0;
    unsigned int mask = 0;
    // False: the pointer is on another screen of the display, so not on this desktop.
    if (!XQueryPointer(display_, DefaultRootWindow(display_), &rootReturn, &child, &rootX, &rootY, &winX, &winY,
                       &mask))
      return false;
    *x = rootX;
    *y = rootY;
    return true;
  }

 private:
  // List's answer; the caller holds the lock.
  std::vector<MonitorInfo> Monitors() {
    if (!Open()) return {};
    return randr_.List(display_);
  }

  // The connection, opened on first use. A display that can't be opened is asked again after a while,
  // not on every pass of a capture.
  bool Open() {
    // A server that went away leaves a connection that can only be closed; a new one is tried later.
    if (display_ && ConnectionLost(display_)) {
      shared_.Release(display_);
      CloseComponentDisplay(display_);
      display_ = nullptr;
    }
    if (display_) return true;
    const auto now = std::chrono::steady_clock::now();
    if (now < nextTry_) return false;
    nextTry_ = now + std::chrono::seconds(2);
    // A window handle may name no window by now, and an old server may not know RandR 1.5: those calls
    // just fail. Errors of requests without a reply (the attach of shared memory) are kept here too.
    display_ = OpenComponentDisplay();
    if (!display_) return false;
    // Made if they aren't there yet, so that a window manager that starts later is still heard.
    char* names[] = {const_cast<char*>("_NET_ACTIVE_WINDOW"), const_cast<char*>("_NET_FRAME_EXTENTS"),
                     const_cast<char*>("_GTK_FRAME_EXTENTS")};
    Atom atoms[3] = {None, None, None};
    XInternAtoms(display_, names, 3, False, atoms);
    netActiveWindow_ = atoms[0];
    netFrameExtents_ = atoms[1];
    gtkFrameExtents_ = atoms[2];
    randr_.Load(display_);
    return true;
  }

  static int32_t Signed(unsigned long v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

  // The window's rectangle on the root, with the frame the window manager drew around it.
  bool Placed(uint64_t handle, TRect* rect) {
    if (!Open() || handle == 0 || handle > UINT32_MAX) return false;
    const Window window = static_cast<Window>(handle);
    XWindowAttributes attributes;
    Window child = None;
    int x = 0, y = 0;
    if (!XGetWindowAttributes(display_, window, &attributes) ||
        !XTranslateCoordinates(display_, window, attributes.root, 0, 0, &x, &y, &child))
      return false;
    const std::vector<unsigned long> frame = Extents(window, netFrameExtents_);
    *rect = {x - Signed(frame[0]), y - Signed(frame[2]), x + attributes.width + Signed(frame[1]),
             y + attributes.height + Signed(frame[3])};
    return true;
  }

  // Left, right, top and bottom of a frame property; zeros where the window has none.
  std::vector<unsigned long> Extents(Window window, Atom property) {
    std::vector<unsigned long> extents = LongProperty(window, property, XA_CARDINAL, 4);
    extents.resize(4, 0);
    return extents;
  }

  // The first `count` items of a property of format 32 (Xlib hands them out as longs); empty when it
  // isn't there or is shorter.
  std::vector<unsigned long> LongProperty(Window window, Atom property, Atom type, long count) {
    std::vector<unsigned long> items;
    if (property == None) return items;
    Atom actualType = None;
    int actualFormat = 0;
    unsigned long got = 0, after = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(display_, window, property, 0, count, False, type, &actualType, &actualFormat, &got,
                           &after, &data) == Success &&
        data && actualType == type && actualFormat == 32 && got >= static_cast<unsigned long>(count)) {
      const auto* values = reinterpret_cast<const unsigned long*>(data);
      items.assign(values, values + count);
    }
    if (data) XFree(data);
    return items;
  }

  std::mutex lock_;
  Display* display_ = nullptr;
  SharedRootShot shared_;
  std::chrono::steady_clock::time_point nextTry_{};
  Atom netActiveWindow_ = None;
  Atom netFrameExtents_ = None;
  Atom gtkFrameExtents_ = None;
  RandrMonitors randr_;
};

// One shot thread's grabber: the pixels come over the desktop's connection; the grabber keeps only the
// picture a texture is made from.
class X11Grabber : public IScreenGrabber {
 public:
  explicit X11Grabber(std::shared_ptr<X11Desktop> desktop) : desktop_(std::move(desktop)) {}

  HRESULT GrabToMemory(const TRect& rect, uint8_t* pixels, int32_t pitch) override {
    if (!pixels || rect.left >= rect.right || rect.top >= rect.bottom ||
        int64_t{pitch} < (int64_t{rect.right} - rect.left) * 4)
      return E_INVALIDARG;
    return desktop_->Shoot(rect, pixels, pitch);
  }

  HRESULT GrabToTexture(IGpuDevice* device, const TRect& rect, IGpuTexture2D** texture) override {
    return GrabThroughMemory(*this, device, rect, picture_, texture);
  }

  void ReleaseCached() override { std::vector<uint8_t>().swap(picture_); }

 private:
  std::shared_ptr<X11Desktop> desktop_;
  std::vector<uint8_t> picture_;
};

#endif

}  // namespace

CapturePlatform NativeCapturePlatform() {
  CapturePlatform platform;
  platform.system = std::make_shared<LinuxSystem>();
#if CV_DESKTOP_X11
  auto desktop = std::make_shared<X11Desktop>();
#else
  auto desktop = std::make_shared<UnavailableDesktop>();
#endif
  platform.monitors = desktop;
  platform.windows = desktop;
  platform.pointer = desktop;
#if CV_DESKTOP_X11
  // Shots through memory shared with the server where it can, plain GetImage where it can't.
  platform.makeGrabber = [desktop] { return std::unique_ptr<IScreenGrabber>(new X11Grabber(desktop)); };
  platform.duplication = X11DuplicationSource([desktop] { return desktop->List(); });
#else
  platform.makeGrabber = MakeUnavailableGrabber;
  platform.duplication = std::make_shared<UnavailableDesktop>();
#endif
  platform.gpu = CreateGpuDevice;
  // The sound server is asked when a device lists the endpoints it offers and when one is opened.
  platform.audio = NativeAudioEndpoints();
#if CV_INPUT_X11
  // Each on a connection of its own: the keys' connection gathers events between polls, and neither
  // waits for the other or for a shot. Without a display both stay null, and no pointer is drawn.
  platform.cursor = OpenX11Cursor();
  platform.keys = OpenX11KeyInput();
#endif
  return platform;
}

}  // namespace cvplat
