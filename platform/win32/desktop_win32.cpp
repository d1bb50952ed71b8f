#include <windows.h>
#include <d3d11.h>
#include <dwmapi.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "platform/auto_obj.h"
#include "platform/desktop.h"
#include "platform/screen_grab.h"
#include "platform/win32/cursor_win32.h"
#include "platform/win32/duplication_dxgi.h"
#include "platform/win32/gpu_d3d11.h"
#include "platform/win32/key_input_win32.h"

namespace cvplat {

namespace {

// Handles travel as numbers; one that doesn't fit a pointer of this build names no window of it.
bool ToWindow(uint64_t handle, HWND* window) {
  if (handle > UINTPTR_MAX) return false;
  *window = reinterpret_cast<HWND>(static_cast<uintptr_t>(handle));
  return true;
}

TRect FromRect(const RECT& r) { return {r.left, r.top, r.right, r.bottom}; }

// All monitors' bounding rectangle: a copy from beyond it may come out all black, or not at all.
TRect VirtualScreen() {
  const int32_t left = GetSystemMetrics(SM_XVIRTUALSCREEN), top = GetSystemMetrics(SM_YVIRTUALSCREEN);
  return {left, top, left + GetSystemMetrics(SM_CXVIRTUALSCREEN), top + GetSystemMetrics(SM_CYVIRTUALSCREEN)};
}

TRect Intersection(const TRect& a, const TRect& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

bool Empty(const TRect& r) { return r.left >= r.right || r.top >= r.bottom; }

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

// Shots through GDI. Into memory: the desktop window's device context copied into a bitmap of the shot's
// size, whose bits come out as a top-down 32-bit DIB; the window, its device context, a memory device
// context and the bitmap stay from shot to shot, and a new size makes a new bitmap. Into a texture: the
// desktop copied into the device context of a new GDI-compatible texture.
class GdiGrabber : public IScreenGrabber {
 public:
  explicit GdiGrabber(std::shared_ptr<WindowsDesktop> desktop) : desktop_(std::move(desktop)) {}
  GdiGrabber(const GdiGrabber&) = delete;
  GdiGrabber& operator=(const GdiGrabber&) = delete;
  ~GdiGrabber() override { ReleaseCached(); }

  HRESULT GrabToMemory(const TRect& rect, uint8_t* pixels, int32_t pitch) override {
    const int64_t width = int64_t{rect.right} - rect.left;
    const int64_t height = int64_t{rect.bottom} - rect.top;
    if (!pixels || width <= 0 || height <= 0 || int64_t{pitch} < width * 4) return E_INVALIDARG;
    const int w = static_cast<int>(width);
    const int h = static_cast<int>(height);
    if (w != width_ || h != height_) {
      // Only the GDI objects: `pixels` may be this grabber's own picture, on its way into a texture.
      ReleaseGdiObjects();
      width_ = w;
      height_ = h;
    }
    if (!window_ && !(window_ = GetDesktopWindow())) return E_FAIL;
    if (!windowDc_ && !(windowDc_ = GetDC(window_))) return E_FAIL;
    if (!memoryDc_ && !(memoryDc_ = CreateCompatibleDC(windowDc_))) return E_FAIL;
    if (!bitmap_ && !(bitmap_ = CreateCompatibleBitmap(windowDc_, w, h))) return E_FAIL;

    // Only what lies on the virtual screen is copied. The rest of the bitmap is painted over below.
    const TRect screen = VirtualScreen();
    const TRect on = Intersection(rect, screen);
    const bool visible = !Empty(on);
    if (visible) {
      // The bitmap is in the memory context only for the copy: its bits can't be read while selected.
      const HGDIOBJ previous = SelectObject(memoryDc_, bitmap_);
      if (!previous || previous == HGDI_ERROR) return E_FAIL;
      const BOOL copied = BitBlt(memoryDc_, on.left - rect.left, on.top - rect.top, on.right - on.left,
                                 on.bottom - on.top, windowDc_, on.left, on.top, SRCCOPY);
      SelectObject(memoryDc_, previous);
      if (!copied) return E_FAIL;
    }

    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = w;
    info.bmiHeader.biHeight = -h;  // top row first
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    // 32-bit rows need no padding, so a buffer of exactly that pitch takes the bits directly.
    const bool direct = pitch == w * 4;
    if (!direct) rows_.resize(size_t(w) * h * 4);
    uint8_t* target = direct ? pixels : rows_.data();
    if (GetDIBits(windowDc_, bitmap_, 0, static_cast<UINT>(h), target, &info, DIB_RGB_COLORS) != h) return E_FAIL;

    // GDI leaves the fourth byte 0.
    for (int y = 0; y < h; ++y) {
      uint8_t* row = pixels + int64_t{y} * pitch;
      if (!direct) std::memcpy(row, target + size_t(y) * w * 4, size_t(w) * 4);
      for (int x = 0; x < w; ++x) row[size_t(x) * 4 + 3] = 0xFF;
    }
    PaintOffMonitorsBlack(rect, {{0, screen}}, pixels, pitch);
    PaintOffMonitorsBlack(rect, desktop_->List(), pixels, pitch);
    return S_OK;
  }

  // GDI draws the shot straight into the texture through the surface's own device context, with no copy
  // through memory. The desktop's device context is taken anew for each shot.
  HRESULT GrabToTexture(IGpuDevice* device, const TRect& rect, IGpuTexture2D** texture) override {
    if (texture) *texture = nullptr;
    const int64_t width = int64_t{rect.right} - rect.left;
    const int64_t height = int64_t{rect.bottom} - rect.top;
    if (!device || !texture || width <= 0 || height <= 0 || width > INT32_MAX / 4) return E_INVALIDARG;
    // A device other than Direct3D's (the CPU twin, a test's wrapper) has no device contexts for its
    // textures: its shot comes by way of memory.
    TRefPtr<ID3D11Device> native;
    if (FAILED(device->QueryInterface(__uuidof(ID3D11Device), reinterpret_cast<void**>(native.Receive()))) || !native)
      return GrabThroughMemory(*this, device, rect, picture_, texture);
    GpuTexture2DDesc desc;
    desc.width = static_cast<UINT>(width);
    desc.height = static_cast<UINT>(height);
    desc.format = GpuFormat::B8G8R8A8Unorm;
    desc.usage = GpuUsage::Default;
    desc.bindFlags = kGpuBindShaderResource | kGpuBindRenderTarget;
    desc.miscFlags = kGpuMiscGdiCompatible;
    TRefPtr<IGpuTexture2D> made;
    if (const HRESULT hr = device->CreateTexture2D(&desc, nullptr, made.Receive()); FAILED(hr)) return hr;
    if (!made) return E_FAIL;
    HDC surface = nullptr;
    if (FAILED(GetGpuTextureDC(made.Get(), TRUE, &surface)) || !surface) return E_FAIL;
    const HRESULT drawn = DrawDesktop(surface, rect);
    ReleaseGpuTextureDC(made.Get());
    if (FAILED(drawn)) return drawn;
    *texture = made.Detach();
    return S_OK;
  }

  void ReleaseCached() override {
    ReleaseGdiObjects();
    std::vector<uint8_t>().swap(rows_);
    std::vector<uint8_t>().swap(picture_);
  }

 private:
  void ReleaseGdiObjects() {
    if (opaque_) DeleteObject(opaque_);
    opaque_ = nullptr;
    if (bitmap_) DeleteObject(bitmap_);
    if (memoryDc_) DeleteDC(memoryDc_);
    if (windowDc_) ReleaseDC(window_, windowDc_);
    bitmap_ = nullptr;
    memoryDc_ = nullptr;
    windowDc_ = nullptr;
    window_ = nullptr;
    width_ = height_ = -1;
  }

  // `rect` of the desktop into `target` at (0, 0), as the memory path gives it: black (opaque) where no
  // monitor shows, and the fourth byte 0xFF everywhere.
  HRESULT DrawDesktop(HDC target, const TRect& rect) {
    const int w = rect.right - rect.left, h = rect.bottom - rect.top;
    const TRect screen = VirtualScreen();
    const TRect on = Intersection(rect, screen);
    if (!Empty(on)) {
      const HWND window = GetDesktopWindow();
      const HDC desktop = window ? GetDC(window) : nullptr;
      if (!desktop) return E_FAIL;
      const BOOL copied = BitBlt(target, on.left - rect.left, on.top - rect.top, on.right - on.left,
                                 on.bottom - on.top, desktop, on.left, on.top, SRCCOPY);
      ReleaseDC(window, desktop);
      if (!copied) return E_FAIL;
    }

    // What lies on no monitor, or off the virtual screen where the monitors aren't known. The discarded
    // surface holds anything there.
    std::vector<MonitorInfo> monitors = desktop_->List();
    if (monitors.empty()) monitors.push_back({0, screen});
    const HRGN dark = CreateRectRgn(0, 0, w, h);
    const HRGN shown = CreateRectRgn(0, 0, 0, 0);
    bool painted = dark && shown;
    if (painted) {
      int left = SIMPLEREGION;
      for (const MonitorInfo& m : monitors) {
        const TRect part = Intersection(Intersection(m.rect, screen), rect);
        if (Empty(part)) continue;
        SetRectRgn(shown, part.left - rect.left, part.top - rect.top, part.right - rect.left, part.bottom - rect.top);
        left = CombineRgn(dark, dark, shown, RGN_DIFF);
        if (left == NULLREGION || left == ERROR) break;
      }
      painted = left != ERROR &&
                (left == NULLREGION || FillRgn(target, dark, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH))));
    }
    if (shown) DeleteObject(shown);
    if (dark) DeleteObject(dark);
    if (!painted) return E_FAIL;

    // GDI writes colour only and leaves the fourth byte as it finds it (0 after a copy from the screen);
    // a pattern of 0xFF000000 ORed over the surface sets it, as GDI's raster operations work on whole
    // 32-bit pixels.
    if (!opaque_) {
      struct {
        BITMAPINFOHEADER header;
        uint32_t pixels[8 * 8];
      } pattern{};
      pattern.header.biSize = sizeof pattern.header;
      pattern.header.biWidth = 8;
      pattern.header.biHeight = 8;
      pattern.header.biPlanes = 1;
      pattern.header.biBitCount = 32;
      pattern.header.biCompression = BI_RGB;
      for (uint32_t& p : pattern.pixels) p = 0xFF000000u;
      opaque_ = CreateDIBPatternBrushPt(&pattern, DIB_RGB_COLORS);
      if (!opaque_) return E_FAIL;
    }
    constexpr DWORD kPatternOr = 0x00FA0089;  // destination OR pattern
    const HGDIOBJ previous = SelectObject(target, opaque_);
    if (!previous || previous == HGDI_ERROR) return E_FAIL;
    const BOOL opaque = PatBlt(target, 0, 0, w, h, kPatternOr);
    SelectObject(target, previous);
    return opaque ? S_OK : E_FAIL;
  }

  std::shared_ptr<WindowsDesktop> desktop_;
  HBRUSH opaque_ = nullptr;
  HWND window_ = nullptr;
  HDC windowDc_ = nullptr;
  HDC memoryDc_ = nullptr;
  HBITMAP bitmap_ = nullptr;
  int width_ = -1;
  int height_ = -1;
  std::vector<uint8_t> rows_;     // the DIB's rows where the caller's pitch differs
  std::vector<uint8_t> picture_;  // a texture's picture
};

}  // namespace

CapturePlatform NativeCapturePlatform() {
  CapturePlatform platform;
  platform.system = std::make_shared<WindowsSystem>();
  auto desktop = std::make_shared<WindowsDesktop>();
  platform.monitors = desktop;
  platform.windows = desktop;
  platform.pointer = desktop;
  platform.makeGrabber = [desktop] { return std::unique_ptr<IScreenGrabber>(new GdiGrabber(desktop)); };
  platform.duplication = DxgiDuplicationSource();
  platform.gpu = CreateGpuDevice;
  // The audio layer is asked when a device lists the endpoints it offers and when one is opened.
  platform.audio = NativeAudioEndpoints();
  platform.cursor = OpenWin32Cursor();
  platform.keys = OpenWin32KeyInput();
  return platform;
}

}  // namespace cvplat
