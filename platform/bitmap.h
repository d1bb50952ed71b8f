// Bitmaps named by a 64-bit handle: what the frame library needs to turn one into a picture, and to make
// one from pixels (stock images, pointer pictures, tests). On Windows they are the graphics interface's
// bitmaps; on Linux, which has no such objects, pictures kept by this process. A handle that names no
// bitmap is refused with E_INVALIDARG on both.
#pragma once

#include <cstdint>

#include "platform/com_types.h"

namespace cvplat {

// Width and height of the bitmap in pixels.
HRESULT BitmapSize(uint64_t bitmap, int32_t* width, int32_t* height);
// The bitmap as 32-bit pixels (blue in the low byte), top line first, `width` x 4 bytes a line, into
// `pixels`, which holds width x height x 4 bytes. The size must be the bitmap's own.
HRESULT ReadBitmapPixels(uint64_t bitmap, int32_t width, int32_t height, void* pixels);

// A bitmap of 32-bit pixels given top line first; 0 when none could be made. Free it with DeleteBitmap.
uint64_t CreateBitmap32(int32_t width, int32_t height, const uint32_t* pixels);
void DeleteBitmap(uint64_t bitmap);

}  // namespace cvplat
