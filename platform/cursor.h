// The mouse pointer as the overlays need it: whether it shows, where, a stable identity of its shape,
// and its picture rendered at its own size. The merge of a two-plane pointer into one picture with
// alpha is the engine's, so every system gives the same pixels for the same shape.
//
// Threads: the capture thread calls these on every pass; a backend serialises what it shares.
#pragma once

#include <cstdint>

#include "platform/com_types.h"

namespace cvplat {

struct CursorState {
  bool showing = false;  // false also while an application hides the pointer
  uint64_t handle = 0;   // the same value for as long as the shape stays the same
  int32_t x = 0;         // the hot spot on the desktop
  int32_t y = 0;
};

struct CursorShape {
  int32_t hotX = 0;  // the hot spot within the picture
  int32_t hotY = 0;
  // A colour pointer has a picture of its own with alpha; a monochrome one has only the mask, which holds
  // the AND plane above the XOR plane, so its height is twice the pointer's.
  bool colour = false;
  int32_t width = 0;   // of the colour picture, or of the mask
  int32_t height = 0;
};

struct ICursor {
  virtual ~ICursor() = default;
  // The pointer now; false when the system can't tell.
  virtual bool Query(CursorState* state) = 0;
  // The shape of the pointer `handle` from Query; false when it can't be had.
  virtual bool Shape(uint64_t handle, CursorShape* shape) = 0;
  // Draws the pointer `handle` at (0, 0) at its own size onto `width` x `height` 32-bit pixels (blue in
  // the low byte, top row first, width x 4 bytes a row) whose bytes the caller has set to `fill`, as the
  // system draws a pointer on the screen: colour pointers blended by their alpha, monochrome ones by
  // their AND and XOR planes. E_FAIL when the pointer can't be drawn.
  virtual HRESULT Render(uint64_t handle, int32_t width, int32_t height, uint32_t* pixels) = 0;
};

// How Render lays a colour pointer's pixel `s` (premultiplied BGRA) over `d`: byte by byte, rounded, as
// the systems blend a pointer with alpha.
inline uint32_t PremultipliedOver(uint32_t s, uint32_t d) {
  const uint32_t keep = 255 - (s >> 24);
  uint32_t out = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    const uint32_t v = ((s >> shift) & 0xFF) + (((d >> shift) & 0xFF) * keep + 127) / 255;
    out |= (v < 255 ? v : 255) << shift;
  }
  return out;
}

}  // namespace cvplat
