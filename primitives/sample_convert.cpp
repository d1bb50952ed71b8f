// Sample type conversions. The rounding is spelled out rather than left to the floating-point
// environment, so that a host that changes the rounding mode gets the same samples.
#include <cmath>
#include <cstdint>

#include "primitives/kernels.h"
#include "primitives/primitives.h"

namespace {

inline int32_t Clamp(int32_t v, int32_t lo, int32_t hi) { return v < lo ? lo : v > hi ? hi : v; }

inline int16_t Saturate16(int64_t v) {
  return static_cast<int16_t>(v < -32768 ? -32768 : v > 32767 ? 32767 : v);
}

// v is a float times a power of two, held exactly in a double.
inline int16_t RoundSaturate(double v, int32_t rounding) {
  if (v != v) return 0;
  if (v >= 32767.0) return 32767;
  if (v <= -32768.0) return -32768;
  const double fl = std::floor(v);
  const double diff = v - fl;  // exact: |v| < 2^15 and v carries at most 24 significant bits
  const int64_t i = static_cast<int64_t>(fl);
  if (rounding == kRoundTowardZero) return static_cast<int16_t>(v < 0 && diff > 0 ? i + 1 : i);
  if (diff > 0.5) return static_cast<int16_t>(i + 1);
  if (diff < 0.5) return static_cast<int16_t>(i);
  if (rounding == kRoundNearestEven) return static_cast<int16_t>((i & 1) ? i + 1 : i);
  return static_cast<int16_t>(v > 0 ? i + 1 : i);
}

// Round-to-nearest-even right shift for 1 <= shift <= 31.
inline int64_t ShiftRightEven(int64_t x, int32_t shift) {
  const int64_t q = x >> shift;  // floor
  const int64_t r = x - (q << shift);
  const int64_t half = int64_t{1} << (shift - 1);
  return (r > half || (r == half && (q & 1))) ? q + 1 : q;
}

}  // namespace

namespace cvprim {

void Float32ToInt16Plain(const float* src, int16_t* dst, int32_t count, int32_t rounding, int32_t scale) {
  // Beyond +-300 every finite float either saturates or rounds to 0 already, and the product stays
  // exact in a double.
  const double factor = std::ldexp(1.0, -Clamp(scale, -300, 300));
  for (int32_t i = 0; i < count; ++i) dst[i] = RoundSaturate(double(src[i]) * factor, rounding);
}

}  // namespace cvprim

extern "C" int32_t Float32ToInt16(const float* src, int16_t* dst, int32_t count, int32_t rounding, int32_t scale) {
  if (!src || !dst) return kPrimNullPointer;
  if (count < 1) return kPrimSizeTooSmall;
  if (rounding != kRoundTowardZero && rounding != kRoundNearestEven && rounding != kRoundNearestAway)
    return kPrimOutOfRange;
  int32_t done = 0;
#if defined(CV_PRIM_HAVE_SSE2)
  if (rounding == kRoundNearestEven && cvprim::UseSimd())
    done = cvprim::Float32ToInt16NearestSse2(src, dst, count, scale);
#endif
  cvprim::Float32ToInt16Plain(src + done, dst + done, count - done, rounding, scale);
  return kPrimOk;
}

extern "C" int32_t Int16ToFloat32(const int16_t* src, float* dst, int32_t count, int32_t scale) {
  if (!src || !dst) return kPrimNullPointer;
  if (count < 1) return kPrimSizeTooSmall;
  const float factor = std::ldexp(1.0f, -Clamp(scale, -112, 126));
  for (int32_t i = 0; i < count; ++i) dst[i] = float(src[i]) * factor;
  return kPrimOk;
}

extern "C" int32_t Int32ToFloat32(const int32_t* src, float* dst, int32_t count, int32_t scale) {
  if (!src || !dst) return kPrimNullPointer;
  if (count < 1) return kPrimSizeTooSmall;
  // Within the clamp the product of a rounded sample and the factor stays a normal float: exact.
  const float factor = std::ldexp(1.0f, -Clamp(scale, -96, 126));
  for (int32_t i = 0; i < count; ++i) dst[i] = float(src[i]) * factor;
  return kPrimOk;
}

extern "C" int32_t Int32ToInt16(const int32_t* src, int16_t* dst, int32_t count, int32_t scale) {
  if (!src || !dst) return kPrimNullPointer;
  if (count < 1) return kPrimSizeTooSmall;
  for (int32_t i = 0; i < count; ++i) {
    const int64_t x = src[i];
    int64_t y;
    if (scale == 0) {
      y = x;
    } else if (scale > 0) {
      // A shift of 32 or more leaves at most a half, which ties to the even 0.
      y = scale >= 32 ? 0 : ShiftRightEven(x, scale);
    } else {
      y = (x == 0 || scale <= -16) ? (x > 0 ? 32767 : x < 0 ? -32768 : 0) : x * (int64_t{1} << -scale);
    }
    dst[i] = Saturate16(y);
  }
  return kPrimOk;
}

extern "C" int32_t Int24ToInt32(const uint8_t* src, int32_t* dst, int32_t count) {
  if (!src || !dst) return kPrimNullPointer;
  if (count < 1) return kPrimSizeTooSmall;
  for (int32_t i = 0; i < count; ++i) {
    const uint8_t* s = src + size_t(i) * 3;
    const uint32_t v = uint32_t(s[0]) | uint32_t(s[1]) << 8 | uint32_t(s[2]) << 16;
    dst[i] = static_cast<int32_t>(v << 8) >> 8;
  }
  return kPrimOk;
}
