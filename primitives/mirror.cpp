// Mirroring 4-byte pixels in place, and the byte copy. Pixels are moved with memcpy: a caller's rows
// need not be aligned to 4 bytes.
#include <cstring>

#include "primitives/primitives.h"

namespace {

using Byte = unsigned char;

inline Byte* RowAt(void* buf, int32_t step, int32_t y) { return static_cast<Byte*>(buf) + int64_t{step} * y; }

void SwapBytes(Byte* a, Byte* b, size_t n) {
  Byte tmp[1024];
  while (n > 0) {
    const size_t chunk = n < sizeof(tmp) ? n : sizeof(tmp);
    std::memcpy(tmp, a, chunk);
    std::memcpy(a, b, chunk);
    std::memcpy(b, tmp, chunk);
    a += chunk;
    b += chunk;
    n -= chunk;
  }
}

inline void SwapPixel(Byte* a, Byte* b) {
  uint32_t pa, pb;
  std::memcpy(&pa, a, 4);
  std::memcpy(&pb, b, 4);
  std::memcpy(a, &pb, 4);
  std::memcpy(b, &pa, 4);
}

// Pixel x of row a trades places with pixel width-1-x of row b; a == b reverses one row.
void SwapReversed(Byte* a, Byte* b, int32_t width) {
  const int32_t pairs = a == b ? width / 2 : width;
  for (int32_t x = 0; x < pairs; ++x) SwapPixel(a + 4 * x, b + 4 * (width - 1 - x));
}

}  // namespace

extern "C" int32_t Mirror32s(void* buf, int32_t step, int32_t width, int32_t height, int32_t axis) {
  if (!buf) return kPrimNullPointer;
  if (width < 1 || height < 1) return kPrimSizeTooSmall;
  if (axis != kMirrorTopBottom && axis != kMirrorLeftRight && axis != kMirrorBoth) return kPrimBadMirrorAxis;
  if (axis != kMirrorLeftRight && height < 2) return kPrimSizeTooSmall;
  if (axis != kMirrorTopBottom && width < 2) return kPrimSizeTooSmall;

  switch (axis) {
    case kMirrorTopBottom:
      for (int32_t y = 0; y < height / 2; ++y)
        SwapBytes(RowAt(buf, step, y), RowAt(buf, step, height - 1 - y), size_t(width) * 4);
      break;
    case kMirrorLeftRight:
      for (int32_t y = 0; y < height; ++y) SwapReversed(RowAt(buf, step, y), RowAt(buf, step, y), width);
      break;
    default:
      for (int32_t y = 0; y < (height + 1) / 2; ++y)
        SwapReversed(RowAt(buf, step, y), RowAt(buf, step, height - 1 - y), width);
      break;
  }
  return kPrimOk;
}

extern "C" int32_t Copy8u(const uint8_t* src, uint8_t* dst, int32_t count) {
  if (!src || !dst) return kPrimNullPointer;
  if (count < 1) return kPrimSizeTooSmall;
  std::memmove(dst, src, size_t(count));
  return kPrimOk;
}
