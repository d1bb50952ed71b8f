#include <windows.h>

#include "platform/bitmap.h"

namespace cvplat {

namespace {

HBITMAP Handle(uint64_t bitmap) { return reinterpret_cast<HBITMAP>(static_cast<uintptr_t>(bitmap)); }

// A handle that doesn't fit a pointer of this build can't name a bitmap of this process.
bool Fits(uint64_t bitmap) { return bitmap != 0 && bitmap == static_cast<uintptr_t>(bitmap); }

}  // namespace

HRESULT BitmapSize(uint64_t bitmap, int32_t* width, int32_t* height) {
  if (!width || !height) return E_POINTER;
  *width = 0;
  *height = 0;
  if (!Fits(bitmap)) return E_INVALIDARG;
  BITMAP info{};
  if (GetObjectW(Handle(bitmap), sizeof(info), &info) != sizeof(info)) return E_INVALIDARG;
  *width = info.bmWidth;
  *height = info.bmHeight < 0 ? -info.bmHeight : info.bmHeight;
  return S_OK;
}

HRESULT ReadBitmapPixels(uint64_t bitmap, int32_t width, int32_t height, void* pixels) {
  if (!pixels) return E_POINTER;
  // GetDIBits would read a handle that names no bitmap as a plain failure, and a size other than the
  // bitmap's own as fewer lines: both are the caller's mistakes.
  int32_t ownWidth = 0, ownHeight = 0;
  if (FAILED(BitmapSize(bitmap, &ownWidth, &ownHeight)) || width != ownWidth || height != ownHeight) {
    return E_INVALIDARG;
  }
  HDC dc = CreateCompatibleDC(nullptr);
  if (!dc) return E_FAIL;
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
  info.bmiHeader.biWidth = width;
  info.bmiHeader.biHeight = -height;  // top line first
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  info.bmiHeader.biCompression = BI_RGB;
  const int lines = GetDIBits(dc, Handle(bitmap), 0, static_cast<UINT>(height), pixels, &info, DIB_RGB_COLORS);
  DeleteDC(dc);
  return lines == height ? S_OK : E_FAIL;
}

uint64_t CreateBitmap32(int32_t width, int32_t height, const uint32_t* pixels) {
  if (width <= 0 || height <= 0) return 0;
  // Bits of a device-dependent bitmap are given top line first, each line padded to 16 bits: at 32 bits
  // a pixel that is exactly `width` pixels.
  HBITMAP made = CreateBitmap(width, height, 1, 32, pixels);
  return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(made));
}

void DeleteBitmap(uint64_t bitmap) {
  if (Fits(bitmap)) DeleteObject(Handle(bitmap));
}

}  // namespace cvplat
