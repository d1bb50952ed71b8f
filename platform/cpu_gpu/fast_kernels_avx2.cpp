// The AVX2 build of the row kernels: eight lanes, texels fetched by the gather instruction. Built with
// -mavx2 and run only where the processor says it has AVX2; nothing here may be shared with the other
// builds, so it includes no header with inline code of its own.
#include "platform/cpu_gpu/fast_kernels.h"

#if defined(CV_CPU_GPU_AVX2)

#include <immintrin.h>
#include <string.h>

namespace cvplat::cpugpu::fast {
namespace {

struct V {
  static constexpr int32_t kN = 8;
  using F = __m256;
  using I = __m256i;
  using M = __m256;

  static F LoadF(const float* p) { return _mm256_loadu_ps(p); }
  static void StoreF(float* p, F v) { _mm256_storeu_ps(p, v); }
  static F SetF(float v) { return _mm256_set1_ps(v); }
  static F Add(F a, F b) { return _mm256_add_ps(a, b); }
  static F Sub(F a, F b) { return _mm256_sub_ps(a, b); }
  static F Mul(F a, F b) { return _mm256_mul_ps(a, b); }
  static F Min(F a, F b) { return _mm256_min_ps(a, b); }
  static F Max(F a, F b) { return _mm256_max_ps(a, b); }
  static I LoadI(const int32_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  static I SetI(int32_t v) { return _mm256_set1_epi32(v); }
  static I Or(I a, I b) { return _mm256_or_si256(a, b); }
  static I Gather(const uint8_t* row, const int32_t* index) {
    return _mm256_i32gather_epi32(reinterpret_cast<const int*>(row), LoadI(index), 4);
  }
  static I LoadTexels(const uint8_t* p, int32_t n) {
    if (n == kN) return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    int32_t t[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    memcpy(t, p, static_cast<size_t>(n) * 4);
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t));
  }
  static void StoreTexels(uint8_t* p, I v, int32_t n) {
    if (n == kN) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
      return;
    }
    int32_t t[8];
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(t), v);
    memcpy(p, t, static_cast<size_t>(n) * 4);
  }
  // byte / 255 without a division; see the SSE2 build for why this is the quotient's float.
  template <int kShift>
  static F Unorm(I t) {
    const I byte = _mm256_and_si256(_mm256_srli_epi32(t, kShift), _mm256_set1_epi32(255));
    const F y = _mm256_mul_ps(_mm256_cvtepi32_ps(byte), _mm256_set1_ps(65793.0f));
    const F scale = _mm256_set1_ps(1.0f / 16777216.0f);
    return _mm256_mul_ps(_mm256_add_ps(y, _mm256_mul_ps(y, scale)), scale);
  }
  static I ToByte(F v) {
    const F clamped = _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(1.0f));
    return _mm256_cvtps_epi32(_mm256_mul_ps(clamped, _mm256_set1_ps(255.0f)));
  }
  static I Pack(I b, I g, I r, I a) {
    return _mm256_or_si256(_mm256_or_si256(b, _mm256_slli_epi32(g, 8)),
                           _mm256_or_si256(_mm256_slli_epi32(r, 16), _mm256_slli_epi32(a, 24)));
  }
  static M MaskOf(I flags, int32_t bit) {
    const I b = _mm256_set1_epi32(bit);
    return _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_and_si256(flags, b), b));
  }
  static F Select(M mask, F ifSet, F ifClear) { return _mm256_blendv_ps(ifClear, ifSet, mask); }
};

#include "platform/cpu_gpu/fast_kernels_body.h"

}  // namespace

const Kernels& Avx2Kernels() {
  static constexpr Kernels kKernels = MakeKernels("avx2");
  return kKernels;
}

}  // namespace cvplat::cpugpu::fast

#endif
