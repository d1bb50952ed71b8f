#include <windows.h>
#include <dwmapi.h>

#include <cstdint>

#include "platform/desktop.h"
#include "platform/desktop_unavailable.h"

namespace cvplat {

namespace {

// Handles travel as numbers; one that doesn't fit a pointer of this build names no window of it.
bool ToWindow(uint64_t handle, HWND* window) {
  if (handle > UINTPTR_MAX) return false;
  *window = reinterpret_cast<HWND>(static_cast<uintptr_t>(handle));
  return true;
}

TRect FromRect(const RECT& r) { return {r.left, r.top, r.right, r.bottom}; }

class WindowsSystem : public ISystemVersion {
 public:
  // A process without a compatibility manifest is told 6.2 on every later system, which still answers
  // "6.2 or later" truly; Wine answers for the version it imitates.
  bool AtLeast(uint32_t major, uint32_t minor) override {
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    version.dwMajorVersion = major;
    version.dwMinorVersion = minor;
    version.wServicePackMajor = 0;
    ULONGLONG mask = 0;
    mask = VerSetConditionMask(mask, VER_MAJORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_MINORVERSION, VER_GREATER_EQUAL);
    mask = VerSetConditionMask(mask, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    return VerifyVersionInfoW(&version, VER_MAJORVERSION | VER_MINORVERSION | VER_SERVICEPACKMAJOR, mask) != FALSE;
  }
};

BOOL CALLBACK AddMonitor(HMONITOR monitor, HDC, LPRECT rect, LPARAM context) {
  auto* list = reinterpret_cast<std::vector<MonitorInfo>*>(context);
  list->push_back({static_cast<uint64_t>(reinterpret_cast<uintptr_t>(monitor)), FromRect(*rect)});
  return TRUE;
}

class WindowsDesktop : public IMonitors, public IDesktopWindows, public IPointerPosition {
 public:
  std::vector<MonitorInfo> List() override {
    std::vector<MonitorInfo> list;
    // Without a device context or a clip the rectangles are the monitors' own.
    if (!EnumDisplayMonitors(nullptr, nullptr, AddMonitor, reinterpret_cast<LPARAM>(&list))) return {};
    return list;
  }

  bool ExtendedFrameBounds(uint64_t handle, TRect* rect) override {
    HWND window;
    RECT r{};
    if (!rect || !ToWindow(handle, &window) ||
        DwmGetWindowAttribute(window, DWMWA_EXTENDED_FRAME_BOUNDS, &r, sizeof r) != S_OK)
      return false;
    *rect = FromRect(r);
    return true;
  }

  bool WindowRect(uint64_t handle, TRect* rect) override {
    HWND window;
    RECT r{};
    if (!rect || !ToWindow(handle, &window) || !GetWindowRect(window, &r)) return false;
    *rect = FromRect(r);
    return true;
  }

  uint64_t ForegroundWindow() override {
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(GetForegroundWindow()));
  }

  bool Position(int32_t* x, int32_t* y) override {
    CURSORINFO info{};
    info.cbSize = sizeof info;
    if (!x || !y || !GetCursorInfo(&info) || info.flags != CURSOR_SHOWING) return false;
    *x = info.ptScreenPos.x;
    *y = info.ptScreenPos.y;
    return true;
  }
};

}  // namespace

CapturePlatform NativeCapturePlatform() {
  CapturePlatform platform;
  platform.system = std::make_shared<WindowsSystem>();
  auto desktop = std::make_shared<WindowsDesktop>();
  platform.monitors = desktop;
  platform.windows = desktop;
  platform.pointer = desktop;
  // Shots through GDI and duplication through DXGI come with the Direct3D backend.
  platform.makeGrabber = MakeUnavailableGrabber;
  platform.duplication = std::make_shared<UnavailableDesktop>();
  platform.gpu = CreateGpuDevice;
  return platform;
}

}  // namespace cvplat
