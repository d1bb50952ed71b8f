#include "platform/bitmap.h"

namespace cvplat {

HRESULT BitmapSize(uint64_t, int32_t* width, int32_t* height) {
  if (width) *width = 0;
  if (height) *height = 0;
  return E_NOTIMPL;
}

HRESULT ReadBitmapPixels(uint64_t, int32_t, int32_t, void*) { return E_NOTIMPL; }

uint64_t CreateBitmap32(int32_t, int32_t, const uint32_t*) { return 0; }

void DeleteBitmap(uint64_t) {}

}  // namespace cvplat
