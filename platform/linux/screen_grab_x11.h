// Shots of the X display's root window through the core protocol's GetImage, and the conversion of the
// server's pixels into 32-bit BGRA.
#pragma once

#include <cstdint>

#include "platform/com_types.h"
#include "platform/rect.h"

struct _XDisplay;
struct _XImage;

namespace cvplat {

// Copies `rect` of the root window of `display` into `pixels` (BGRA, alpha 255, top row first, rows
// `pitch` bytes apart); the part of `rect` beyond the root comes out opaque black. E_FAIL where the
// server refuses the image or its pixels have no colour masks to read. The caller owns the connection
// and keeps other threads off it meanwhile.
HRESULT GrabRootWindow(_XDisplay* display, const TRect& rect, uint8_t* pixels, int32_t pitch);

// Writes the pixels of a ZPixmap `image` as BGRA with alpha 255 into `pixels`, the image's top left
// pixel first. False, with nothing written, for an image without red, green and blue masks.
bool CopyImageAsBgra(_XImage* image, uint8_t* pixels, int32_t pitch);

}  // namespace cvplat
