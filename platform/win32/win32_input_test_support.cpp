#include "platform/win32_input_test_support.h"

#include <windows.h>

#include <cstring>
#include <thread>
#include <vector>

namespace cvtest {

namespace {

constexpr UINT kUsePointer = WM_APP + 1;   // wParam: the cursor
constexpr UINT kShowPointer = WM_APP + 2;  // wParam: show or hide
constexpr wchar_t kClass[] = L"CV input test window";

LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM w, LPARAM l) {
  static HCURSOR current = nullptr;
  switch (message) {
    case WM_SETCURSOR:
      // The pointer stays the test's wherever it goes over the window.
      if (current) {
        SetCursor(current);
        return TRUE;
      }
      break;
    case kUsePointer:
      current = reinterpret_cast<HCURSOR>(w);
      SetForegroundWindow(window);
      SetCursor(current ? current : LoadCursorW(nullptr, IDC_ARROW));
      return 0;
    case kShowPointer:
      ShowCursor(w != 0);
      return 0;
    default:
      break;
  }
  return DefWindowProcW(window, message, w, l);
}

// The window and its thread stay until the process ends: Wine waits two seconds for a window manager
// whenever a window that was in the foreground is hidden, and the test's X server has none.
HWND MakeWindow() {
  const HANDLE ready = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (!ready) return nullptr;
  HWND made = nullptr;
  std::thread([ready, &made] {
    const HINSTANCE instance = GetModuleHandleW(nullptr);
    WNDCLASSW type{};
    type.lpfnWndProc = WindowProc;
    type.hInstance = instance;
    type.lpszClassName = kClass;
    type.hbrBackground = CreateSolidBrush(RGB(Win32InputDriver::kBackground >> 16,
                                              (Win32InputDriver::kBackground >> 8) & 0xFF,
                                              Win32InputDriver::kBackground & 0xFF));
    type.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    RegisterClassW(&type);
    // Not the whole screen, which Wine would hand to a window manager.
    const HWND window = CreateWindowExW(WS_EX_TOPMOST | WS_EX_TOOLWINDOW, kClass, L"CV input test",
                                        WS_POPUP | WS_VISIBLE, 0, 0, Win32InputDriver::kWindowWidth,
                                        Win32InputDriver::kWindowHeight, nullptr, nullptr, instance, nullptr);
    if (window) UpdateWindow(window);
    made = window;
    SetEvent(ready);
    if (!window) return;
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
      TranslateMessage(&message);
      DispatchMessageW(&message);
    }
  }).detach();
  WaitForSingleObject(ready, INFINITE);
  CloseHandle(ready);
  return made;
}

}  // namespace

Win32InputDriver::Win32InputDriver() {
  static const HWND window = MakeWindow();
  window_ = window;
  UsePointer(0);
}

Win32InputDriver::~Win32InputDriver() {
  for (uint32_t vk = 0; vk < 256; ++vk)
    if (held_[vk]) Key(vk, false);
  if (hidden_) ShowPointer(true);
  UsePointer(0);
  if (ownCursor_) DestroyIcon(static_cast<HICON>(ownCursor_));
}

void Win32InputDriver::UsePointer(uint64_t cursor) {
  if (window_) SendMessageW(static_cast<HWND>(window_), kUsePointer, static_cast<WPARAM>(cursor), 0);
}

void Win32InputDriver::UseSquarePointer(uint32_t rgb, int32_t side, int32_t hotX, int32_t hotY) {
  if (!window_ || side <= 0) return;
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof info.bmiHeader;
  info.bmiHeader.biWidth = side;
  info.bmiHeader.biHeight = -side;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  void* bits = nullptr;
  const HBITMAP colour = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
  if (!colour || !bits) return;
  const std::vector<uint32_t> pixels(static_cast<size_t>(side) * side, 0xFF000000u | (rgb & 0xFFFFFFu));
  std::memcpy(bits, pixels.data(), pixels.size() * 4);
  // An AND plane of all zeros: the colour picture covers every pixel.
  const std::vector<uint8_t> zeros(static_cast<size_t>((side + 15) / 16 * 2) * side, 0);
  const HBITMAP mask = CreateBitmap(side, side, 1, 1, zeros.data());
  ICONINFO icon{};
  icon.fIcon = FALSE;
  icon.xHotspot = static_cast<DWORD>(hotX);
  icon.yHotspot = static_cast<DWORD>(hotY);
  icon.hbmMask = mask;
  icon.hbmColor = colour;
  const HICON cursor = CreateIconIndirect(&icon);
  DeleteObject(mask);
  DeleteObject(colour);
  if (!cursor) return;
  UsePointer(static_cast<uint64_t>(reinterpret_cast<uintptr_t>(cursor)));
  if (ownCursor_) DestroyIcon(static_cast<HICON>(ownCursor_));
  ownCursor_ = cursor;
}

void Win32InputDriver::ShowPointer(bool show) {
  if (!window_ || show != hidden_) return;
  SendMessageW(static_cast<HWND>(window_), kShowPointer, show ? 1 : 0, 0);
  hidden_ = !show;
}

void Win32InputDriver::MoveTo(int32_t x, int32_t y) { SetCursorPos(x, y); }

void Win32InputDriver::Key(uint32_t vk, bool down) {
  if (vk == 0 || vk >= 256) return;
  INPUT input{};
  if (vk == VK_LBUTTON || vk == VK_RBUTTON) {
    input.type = INPUT_MOUSE;
    input.mi.dwFlags = vk == VK_LBUTTON ? (down ? MOUSEEVENTF_LEFTDOWN : MOUSEEVENTF_LEFTUP)
                                        : (down ? MOUSEEVENTF_RIGHTDOWN : MOUSEEVENTF_RIGHTUP);
  } else {
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = static_cast<WORD>(vk);
    input.ki.dwFlags = down ? 0 : KEYEVENTF_KEYUP;
  }
  if (SendInput(1, &input, sizeof input) == 1) held_[vk] = down;
}

}  // namespace cvtest
