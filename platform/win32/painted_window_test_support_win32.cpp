#include <windows.h>

#include "platform/painted_window_test_support.h"

namespace cvplat {

namespace {

constexpr wchar_t kClassName[] = L"CvPaintedTestWindow";

LRESULT CALLBACK PaintQuarters(HWND window, UINT message, WPARAM w, LPARAM l) {
  if (message == WM_ERASEBKGND) return 1;
  if (message != WM_PAINT) return DefWindowProcW(window, message, w, l);
  PAINTSTRUCT paint;
  HDC dc = BeginPaint(window, &paint);
  RECT client{};
  GetClientRect(window, &client);
  const LONG halfW = client.right / 2, halfH = client.bottom / 2;
  for (int i = 0; i < 4; ++i) {
    const RECT part{i % 2 ? halfW : 0, i / 2 ? halfH : 0, i % 2 ? client.right : halfW, i / 2 ? client.bottom : halfH};
    const uint32_t c = kPaintedQuarters[i];
    HBRUSH brush = CreateSolidBrush(RGB(c >> 16 & 0xFF, c >> 8 & 0xFF, c & 0xFF));
    FillRect(dc, &part, brush);
    DeleteObject(brush);
  }
  EndPaint(window, &paint);
  return 0;
}

}  // namespace

TestPaintedWindow::TestPaintedWindow(const TRect& rect) {
  WNDCLASSW type{};
  type.lpfnWndProc = PaintQuarters;
  type.hInstance = GetModuleHandleW(nullptr);
  type.lpszClassName = kClassName;
  RegisterClassW(&type);
  HWND window = CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, kClassName, L"CV painted test window", WS_POPUP,
                                rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top, nullptr, nullptr,
                                type.hInstance, nullptr);
  if (!window) return;
  ShowWindow(window, SW_SHOWNOACTIVATE);
  UpdateWindow(window);
  handle_ = reinterpret_cast<uintptr_t>(window);
}

TestPaintedWindow::~TestPaintedWindow() {
  if (handle_) DestroyWindow(reinterpret_cast<HWND>(static_cast<uintptr_t>(handle_)));
  UnregisterClassW(kClassName, GetModuleHandleW(nullptr));
}

void TestPaintedWindow::Pump() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
}

bool RunsUnderWine() { return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr; }

}  // namespace cvplat
