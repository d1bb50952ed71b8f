// SSE2 kernels. Each one gives the bits of its plain kernel: the same operations in the same order,
// products and sums rounded one at a time (the library is built without contraction into fused
// multiply-adds).
#include "primitives/kernels.h"

#if defined(CV_PRIM_HAVE_SSE2)

#include <emmintrin.h>

#include <cmath>

namespace cvprim {

namespace {

// Conversion to integers follows the rounding field of MXCSR; the kernel needs nearest-even whatever the
// host has set, and gives the host its setting back.
class NearestRounding {
 public:
  NearestRounding() : saved_(_mm_getcsr()) { _mm_setcsr(saved_ & ~0x6000u); }
  ~NearestRounding() { _mm_setcsr(saved_); }
  NearestRounding(const NearestRounding&) = delete;
  NearestRounding& operator=(const NearestRounding&) = delete;

 private:
  unsigned saved_;
};

inline __m128i RoundSaturate4(__m128 x, __m128 factor) {
  const __m128 v = _mm_mul_ps(x, factor);
  // max/min return their second operand for a NaN, which the mask below then clears.
  const __m128 clamped = _mm_min_ps(_mm_max_ps(v, _mm_set1_ps(-32768.0f)), _mm_set1_ps(32767.0f));
  const __m128i i = _mm_cvtps_epi32(clamped);
  return _mm_and_si128(i, _mm_castps_si128(_mm_cmpord_ps(v, v)));
}

}  // namespace

int32_t Float32ToInt16NearestSse2(const float* src, int16_t* dst, int32_t count, int32_t scale) {
  // A float product is exact as long as the factor is a normal float; when it overflows or underflows
  // the plain kernel's double product saturates or rounds to 0 just the same.
  if (scale < -127 || scale > 126) return 0;
  const __m128 factor = _mm_set1_ps(std::ldexp(1.0f, -scale));
  const NearestRounding nearest;
  int32_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const __m128i lo = RoundSaturate4(_mm_loadu_ps(src + i), factor);
    const __m128i hi = RoundSaturate4(_mm_loadu_ps(src + i + 4), factor);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packs_epi32(lo, hi));
  }
  return i;
}

int32_t Int16ToFloatPlanesSse2(const int16_t* src, float* const dstPlanes[], int32_t channels, int32_t frames) {
  const __m128 mul = _mm_set1_ps(3.0518044e-5f);
  const __m128 add = _mm_set1_ps(1.5259022e-5f);
  int32_t f = 0;
  if (channels == 1) {
    float* out = dstPlanes[0];
    for (; f + 8 <= frames; f += 8) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + f));
      const __m128 a = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16));
      const __m128 b = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16));
      _mm_storeu_ps(out + f, _mm_add_ps(_mm_mul_ps(a, mul), add));
      _mm_storeu_ps(out + f + 4, _mm_add_ps(_mm_mul_ps(b, mul), add));
    }
  } else if (channels == 2) {
    float* left = dstPlanes[0];
    float* right = dstPlanes[1];
    for (; f + 4 <= frames; f += 4) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 2 * f));
      const __m128 a = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16));  // L0 R0 L1 R1
      const __m128 b = _mm_cvtepi32_ps(_mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16));  // L2 R2 L3 R3
      const __m128 l = _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0));
      const __m128 r = _mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1));
      _mm_storeu_ps(left + f, _mm_add_ps(_mm_mul_ps(l, mul), add));
      _mm_storeu_ps(right + f, _mm_add_ps(_mm_mul_ps(r, mul), add));
    }
  }
  return f;
}

}  // namespace cvprim

#endif
