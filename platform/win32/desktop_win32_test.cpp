// The Windows desktop as the system (or Wine) answers it: version, monitors, a window of this test, the
// pointer, shots of a window painted by the test into memory and into textures, and DXGI's outputs.
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "platform/auto_obj.h"
#include "platform/cpu_gpu/gpu_test_support.h"
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

bool UnderWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

// DXGI's outputs of the native device are the desktop's monitors, in places of their own. Wine refuses
// the duplication itself (not implemented there); a system that gives one gives images of the output.
TEST(WindowsDesktop, DxgiOutputsAreTheMonitorsAndDuplicateAsTheSystemCan) {
  const CapturePlatform capture = NativeCapturePlatform();
  gputest::GpuRig rig(capture.gpu);
  std::unique_ptr<IGpuOutputs> outputs;
  ASSERT_EQ(capture.duplication->Outputs(rig.device.Get(), &outputs), S_OK);
  ASSERT_TRUE(outputs);
  const std::vector<MonitorInfo> monitors = capture.monitors->List();
  uint32_t count = 0;
  OutputInfo info;
  HRESULT hr;
  while ((hr = outputs->Output(count, &info)) == S_OK) {
    const auto shown = std::find_if(monitors.begin(), monitors.end(),
                                    [&](const MonitorInfo& m) { return m.handle == info.monitor; });
    ASSERT_NE(shown, monitors.end()) << "output " << count << " shows no monitor of the desktop";
    EXPECT_TRUE(Same(shown->rect, info.desktopCoordinates)) << "output " << count;
    ++count;
  }
  EXPECT_EQ(hr, kDuplicationNotFound);
  EXPECT_GE(count, 1u);

  std::unique_ptr<IDuplication> duplication;
  EXPECT_EQ(outputs->Duplicate(count, &duplication), kDuplicationNotFound);
  hr = outputs->Duplicate(0, &duplication);
  if (UnderWine()) {
    EXPECT_EQ(hr, E_NOTIMPL);
    EXPECT_FALSE(duplication);
  } else if (hr == S_OK) {
    ASSERT_EQ(outputs->Output(0, &info), S_OK);
    DuplicationFrameInfo frame;
    TRefPtr<IGpuTexture2D> image;
    hr = duplication->AcquireNextFrame(500, &frame, image.Receive());
    if (hr == S_OK) {
      GpuTexture2DDesc desc;
      image->GetDesc(&desc);
      EXPECT_EQ(desc.width, UINT(info.desktopCoordinates.right - info.desktopCoordinates.left));
      EXPECT_EQ(desc.height, UINT(info.desktopCoordinates.bottom - info.desktopCoordinates.top));
      image.Reset();
      EXPECT_EQ(duplication->ReleaseFrame(), S_OK);
    } else {
      EXPECT_TRUE(hr == kDuplicationWaitTimeout || hr == kDuplicationAccessLost) << std::hex << hr;
    }
  }

  // A device that isn't Direct3D's has no adapter to ask.
  gputest::GpuRig twin(gputest::CpuTwin);
  EXPECT_EQ(capture.duplication->Outputs(twin.device.Get(), &outputs), E_NOINTERFACE);
  EXPECT_FALSE(outputs);
}

// A window of three colours: left and right halves over a band along the bottom, as 0x00RRGGBB.
constexpr COLORREF kLeft = RGB(0x33, 0x66, 0xcc), kRight = RGB(0xc0, 0x80, 0x20), kBand = RGB(0x10, 0xe0, 0xa0);
constexpr int kWidth = 120, kHeight = 80, kBandTop = 60;

uint32_t Bgra(COLORREF c) { return 0xff000000u | uint32_t{GetRValue(c)} << 16 | GetGValue(c) << 8 | GetBValue(c); }

uint32_t Expected(int x, int y) { return Bgra(y >= kBandTop ? kBand : x < kWidth / 2 ? kLeft : kRight); }

LRESULT CALLBACK PaintColours(HWND window, UINT message, WPARAM w, LPARAM l) {
  if (message == WM_ERASEBKGND) return 1;
  if (message != WM_PAINT) return DefWindowProcW(window, message, w, l);
  PAINTSTRUCT paint;
  HDC dc = BeginPaint(window, &paint);
  const RECT parts[3] = {{0, 0, kWidth / 2, kBandTop}, {kWidth / 2, 0, kWidth, kBandTop}, {0, kBandTop, kWidth, kHeight}};
  const COLORREF colours[3] = {kLeft, kRight, kBand};
  for (int i = 0; i < 3; ++i) {
    HBRUSH brush = CreateSolidBrush(colours[i]);
    FillRect(dc, &parts[i], brush);
    DeleteObject(brush);
  }
  EndPaint(window, &paint);
  return 0;
}

void Pump() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

// Shoots `rect` until `matches` says yes or a few seconds pass: a window shows on the screen a while
// after it is painted.
template <class Check>
bool ShootUntil(IScreenGrabber& grabber, const TRect& rect, std::vector<uint32_t>& pixels, Check matches) {
  const int32_t width = rect.right - rect.left;
  pixels.assign(size_t(width) * (rect.bottom - rect.top), 0);
  for (int i = 0; i < 100; ++i) {
    Pump();
    if (grabber.GrabToMemory(rect, reinterpret_cast<uint8_t*>(pixels.data()), width * 4) == S_OK &&
        matches(pixels))
      return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
  }
  return false;
}

TEST(WindowsDesktop, ShotsShowAPaintedWindowAndBlackBeyondTheScreen) {
  WNDCLASSW type{};
  type.lpfnWndProc = PaintColours;
  type.hInstance = GetModuleHandleW(nullptr);
  type.lpszClassName = L"CvShotTestWindow";
  RegisterClassW(&type);
  HWND window = CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, type.lpszClassName, L"CV shot test", WS_POPUP, 60,
                                70, kWidth, kHeight, nullptr, nullptr, type.hInstance, nullptr);
  if (!window) GTEST_SKIP() << "no window station to make a window on";
  ShowWindow(window, SW_SHOWNOACTIVATE);
  UpdateWindow(window);
  const CapturePlatform capture = NativeCapturePlatform();
  std::unique_ptr<IScreenGrabber> grabber = capture.makeGrabber();

  // Exactly where it is, every pixel.
  const TRect rect{60, 70, 60 + kWidth, 70 + kHeight};
  std::vector<uint32_t> shot;
  const bool shown = ShootUntil(*grabber, rect, shot, [](const std::vector<uint32_t>& p) {
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x)
        if (p[size_t(y) * kWidth + x] != Expected(x, y)) return false;
    return true;
  });
  EXPECT_TRUE(shown) << "first pixels " << std::hex << shot[0] << " " << shot[kWidth - 1] << " " << shot.back();

  // The same picture in a texture: drawn by GDI into the Direct3D texture's own device context, and by
  // way of memory into a texture of the CPU twin. A pitch wider than the rows keeps the rows' tails.
  gputest::GpuRig rig(capture.gpu);
  gputest::GpuRig twin(gputest::CpuTwin);
  for (gputest::GpuRig* device : {&rig, &twin}) {
    TRefPtr<IGpuTexture2D> texture;
    ASSERT_EQ(grabber->GrabToTexture(device->device.Get(), rect, texture.Receive()), S_OK);
    GpuTexture2DDesc desc;
    texture->GetDesc(&desc);
    EXPECT_EQ(desc.miscFlags, kGpuMiscGdiCompatible);
    EXPECT_EQ(desc.bindFlags, kGpuBindShaderResource | kGpuBindRenderTarget);
    const gputest::Picture picture = device->Read(texture.Get());
    ASSERT_EQ(picture.width, UINT(kWidth));
    ASSERT_EQ(picture.height, UINT(kHeight));
    EXPECT_EQ(std::memcmp(picture.pixels.data(), shot.data(), shot.size() * 4), 0)
        << (device == &rig ? "native" : "twin") << " first texel " << picture.pixels[0];
  }
  std::vector<uint32_t> wide(size_t(kWidth + 3) * kHeight, 7);
  ASSERT_EQ(grabber->GrabToMemory(rect, reinterpret_cast<uint8_t*>(wide.data()), (kWidth + 3) * 4), S_OK);
  for (int y = 0; y < kHeight; ++y) {
    ASSERT_TRUE(std::equal(shot.begin() + y * kWidth, shot.begin() + (y + 1) * kWidth, wide.begin() + y * (kWidth + 3)));
    ASSERT_EQ(wide[size_t(y) * (kWidth + 3) + kWidth], 7u);
  }

  // Moved to the right edge of the desktop, shot half beyond it: what is beyond every monitor is black.
  TRect edge{};
  for (const MonitorInfo& m : capture.monitors->List()) edge.right = std::max(edge.right, m.rect.right);
  SetWindowPos(window, HWND_TOPMOST, edge.right - kWidth, 70, 0, 0, SWP_NOSIZE | SWP_NOACTIVATE);
  InvalidateRect(window, nullptr, TRUE);
  UpdateWindow(window);
  edge = {edge.right - kWidth / 4, 70, edge.right + kWidth / 4, 70 + kHeight};
  const bool halfShown = ShootUntil(*grabber, edge, shot, [](const std::vector<uint32_t>& p) {
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth / 2; ++x)
        if (p[size_t(y) * (kWidth / 2) + x] != (x < kWidth / 4 ? Expected(x + kWidth * 3 / 4, y) : 0xff000000u))
          return false;
    return true;
  });
  EXPECT_TRUE(halfShown) << "first pixels " << std::hex << shot[0] << " " << shot[kWidth / 2 - 1];
  // The texture's picture of it: GDI's colour with the fourth byte set, and the same black beyond.
  TRefPtr<IGpuTexture2D> texture;
  ASSERT_EQ(grabber->GrabToTexture(rig.device.Get(), edge, texture.Receive()), S_OK);
  const gputest::Picture half = rig.Read(texture.Get());
  ASSERT_EQ(half.pixels.size(), shot.size());
  EXPECT_EQ(std::memcmp(half.pixels.data(), shot.data(), shot.size() * 4), 0);
  EXPECT_EQ(grabber->GrabToTexture(rig.device.Get(), {5, 5, 5, 9}, texture.Receive()), E_INVALIDARG);
  EXPECT_FALSE(texture);
  DestroyWindow(window);
  UnregisterClassW(type.lpszClassName, type.hInstance);

  EXPECT_EQ(grabber->GrabToMemory({5, 5, 5, 9}, reinterpret_cast<uint8_t*>(wide.data()), 16), E_INVALIDARG);
  EXPECT_EQ(grabber->GrabToMemory({0, 0, 8, 1}, reinterpret_cast<uint8_t*>(wide.data()), 16), E_INVALIDARG);

  // What a whole primary monitor costs; told, not judged.
  const int w = GetSystemMetrics(SM_CXSCREEN), h = GetSystemMetrics(SM_CYSCREEN);
  std::vector<uint32_t> whole(size_t(w) * h);
  std::vector<double> ms;
  for (int i = 0; i < 15; ++i) {
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(grabber->GrabToMemory({0, 0, w, h}, reinterpret_cast<uint8_t*>(whole.data()), w * 4), S_OK);
    ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(ms.begin(), ms.end());
  std::printf("a %dx%d shot: median %.2f ms\n", w, h, ms[ms.size() / 2]);
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
