// The SSE2 build of the row kernels: four lanes.
#include "platform/cpu_gpu/fast_kernels.h"

#if defined(CV_CPU_GPU_X86)

#include <emmintrin.h>
#include <string.h>

namespace cvplat::cpugpu::fast {
namespace {

struct V {
  static constexpr int32_t kN = 4;
  using F = __m128;
  using I = __m128i;
  using M = __m128;

  static F LoadF(const float* p) { return _mm_loadu_ps(p); }
  static void StoreF(float* p, F v) { _mm_storeu_ps(p, v); }
  static F SetF(float v) { return _mm_set1_ps(v); }
  static F Add(F a, F b) { return _mm_add_ps(a, b); }
  static F Sub(F a, F b) { return _mm_sub_ps(a, b); }
  static F Mul(F a, F b) { return _mm_mul_ps(a, b); }
  static F Min(F a, F b) { return _mm_min_ps(a, b); }
  static F Max(F a, F b) { return _mm_max_ps(a, b); }
  static I LoadI(const int32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  static I SetI(int32_t v) { return _mm_set1_epi32(v); }
  static I Or(I a, I b) { return _mm_or_si128(a, b); }
  static I Gather(const uint8_t* row, const int32_t* index) {
    int32_t t[4];
    for (int k = 0; k < 4; ++k) memcpy(&t[k], row + static_cast<size_t>(index[k]) * 4, 4);
    return _mm_setr_epi32(t[0], t[1], t[2], t[3]);
  }
  static I LoadTexels(const uint8_t* p, int32_t n) {
    if (n == kN) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    int32_t t[4] = {0, 0, 0, 0};
    memcpy(t, p, static_cast<size_t>(n) * 4);
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(t));
  }
  static void StoreTexels(uint8_t* p, I v, int32_t n) {
    if (n == kN) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
      return;
    }
    int32_t t[4];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(t), v);
    memcpy(p, t, static_cast<size_t>(n) * 4);
  }
  // byte / 255 without a division: with y = byte x 65793 (exact), byte / 255 x 2^24 = y + byte / 255,
  // and y x 2^-24 is within 2^-24 of byte / 255, too close to move the rounding of the sum, which never
  // lies nearer than 1 / 65280 to a rounding boundary. So fl(y + y x 2^-24) x 2^-24 is the quotient's
  // float itself (the plain build's table is the division; the tests hold the two together).
  template <int kShift>
  static F Unorm(I t) {
    const I byte = _mm_and_si128(_mm_srli_epi32(t, kShift), _mm_set1_epi32(255));
    const F y = _mm_mul_ps(_mm_cvtepi32_ps(byte), _mm_set1_ps(65793.0f));
    const F scale = _mm_set1_ps(1.0f / 16777216.0f);
    return _mm_mul_ps(_mm_add_ps(y, _mm_mul_ps(y, scale)), scale);
  }
  // max gives its second operand for a NaN, so a NaN stores 0 as in the reference.
  static I ToByte(F v) {
    const F clamped = _mm_min_ps(_mm_max_ps(v, _mm_setzero_ps()), _mm_set1_ps(1.0f));
    return _mm_cvtps_epi32(_mm_mul_ps(clamped, _mm_set1_ps(255.0f)));
  }
  static I Pack(I b, I g, I r, I a) {
    return _mm_or_si128(_mm_or_si128(b, _mm_slli_epi32(g, 8)),
                        _mm_or_si128(_mm_slli_epi32(r, 16), _mm_slli_epi32(a, 24)));
  }
  static M MaskOf(I flags, int32_t bit) {
    const I b = _mm_set1_epi32(bit);
    return _mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(flags, b), b));
  }
  static F Select(M mask, F ifSet, F ifClear) {
    return _mm_or_ps(_mm_and_ps(mask, ifSet), _mm_andnot_ps(mask, ifClear));
  }
};

#include "platform/cpu_gpu/fast_kernels_body.h"

}  // namespace

const Kernels& Sse2Kernels() {
  static constexpr Kernels kKernels = MakeKernels("sse2");
  return kKernels;
}

}  // namespace cvplat::cpugpu::fast

#endif
