// Mixing one sample array into another.
#include "primitives/primitives.h"

extern "C" int32_t AddInt16(const int16_t* src, int16_t* dst, int32_t count) {
  if (!src || !dst) return kPrimNullPointer;
  if (count < 1) return kPrimSizeTooSmall;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t s = int32_t(src[i]) + int32_t(dst[i]);
    dst[i] = static_cast<int16_t>(s < -32768 ? -32768 : s > 32767 ? 32767 : s);
  }
  return kPrimOk;
}

extern "C" int32_t AddFloat32(const float* src, float* dst, int32_t count) {
  if (!src || !dst) return kPrimNullPointer;
  if (count < 1) return kPrimSizeTooSmall;
  for (int32_t i = 0; i < count; ++i) dst[i] = src[i] + dst[i];
  return kPrimOk;
}
