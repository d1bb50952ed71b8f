// The pointer through GetCursorInfo and GetIconInfo: the cursor handle is the shape's identity, and the
// picture comes from DrawIconEx on a DIB section, which blends a colour pointer by its alpha and a
// monochrome one by its AND and XOR planes, as the screen does.
//
// Nothing is kept between calls: each call asks the system afresh, so the calls need no lock.
#include "platform/win32/cursor_win32.h"

#include <windows.h>

#include <cstdlib>
#include <cstring>

namespace cvplat {

namespace {

// Handles travel as numbers; one that doesn't fit a pointer of this build names no cursor of it.
bool ToCursor(uint64_t handle, HCURSOR* cursor) {
  if (!handle || handle > UINTPTR_MAX) return false;
  *cursor = reinterpret_cast<HCURSOR>(static_cast<uintptr_t>(handle));
  return true;
}

// The bitmaps that GetIconInfo hands out belong to the caller.
struct IconBitmaps {
  ICONINFO info{};
  bool valid = false;
  explicit IconBitmaps(HCURSOR cursor) { valid = GetIconInfo(cursor, &info) != FALSE; }
  ~IconBitmaps() {
    if (info.hbmMask) DeleteObject(info.hbmMask);
    if (info.hbmColor) DeleteObject(info.hbmColor);
  }
  IconBitmaps(const IconBitmaps&) = delete;
  IconBitmaps& operator=(const IconBitmaps&) = delete;
};

class Win32Cursor : public ICursor {
 public:
  bool Query(CursorState* state) override {
    if (!state) return false;
    CURSORINFO info{};
    info.cbSize = sizeof info;
    if (!GetCursorInfo(&info)) return false;
    // Only "showing": a pointer that an application hid, or that touch input suppressed, isn't drawn.
    state->showing = info.flags == CURSOR_SHOWING;
    state->handle = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(info.hCursor));
    state->x = info.ptScreenPos.x;
    state->y = info.ptScreenPos.y;
    return true;
  }

  bool Shape(uint64_t handle, CursorShape* shape) override {
    HCURSOR cursor;
    if (!shape || !ToCursor(handle, &cursor)) return false;
    IconBitmaps bitmaps(cursor);
    if (!bitmaps.valid || !bitmaps.info.hbmMask) return false;
    BITMAP bitmap{};
    const HBITMAP sized = bitmaps.info.hbmColor ? bitmaps.info.hbmColor : bitmaps.info.hbmMask;
    if (!GetObjectW(sized, sizeof bitmap, &bitmap)) return false;
    shape->hotX = static_cast<int32_t>(bitmaps.info.xHotspot);
    shape->hotY = static_cast<int32_t>(bitmaps.info.yHotspot);
    shape->colour = bitmaps.info.hbmColor != nullptr;
    shape->width = bitmap.bmWidth;
    shape->height = std::abs(bitmap.bmHeight);
    return true;
  }

  HRESULT Render(uint64_t handle, int32_t width, int32_t height, uint32_t* pixels) override {
    HCURSOR cursor;
    if (!ToCursor(handle, &cursor)) return E_FAIL;
    if (!pixels || width <= 0 || height <= 0) return E_INVALIDARG;
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;  // top row first, as the caller's pixels
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    const HDC dc = CreateCompatibleDC(nullptr);
    if (!dc) return E_FAIL;
    void* bits = nullptr;
    const HBITMAP surface = CreateDIBSection(dc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    HRESULT hr = E_FAIL;
    if (surface && bits) {
      const size_t bytes = size_t(width) * size_t(height) * 4;
      std::memcpy(bits, pixels, bytes);
      const HGDIOBJ previous = SelectObject(dc, surface);
      // At the pointer's own size: with the default-size flag a pointer that isn't of the system's icon
      // size would come out stretched to it.
      if (previous && previous != HGDI_ERROR) {
        if (DrawIconEx(dc, 0, 0, cursor, 0, 0, 0, nullptr, DI_NORMAL | DI_COMPAT)) {
          GdiFlush();
          std::memcpy(pixels, bits, bytes);
          hr = S_OK;
        }
        SelectObject(dc, previous);
      }
    }
    if (surface) DeleteObject(surface);
    DeleteDC(dc);
    return hr;
  }
};

}  // namespace

std::shared_ptr<ICursor> OpenWin32Cursor() { return std::make_shared<Win32Cursor>(); }

}  // namespace cvplat
