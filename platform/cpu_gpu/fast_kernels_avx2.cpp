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

  __attribute__((always_inline)) static F LoadF(const float* p) { return _mm256_loadu_ps(p); }
  __attribute__((always_inline)) static void StoreF(float* p, F v) { _mm256_storeu_ps(p, v); }
  __attribute__((always_inline)) static F SetF(float v) { return _mm256_set1_ps(v); }
  __attribute__((always_inline)) static F Add(F a, F b) { return _mm256_add_ps(a, b); }
  __attribute__((always_inline)) static F Sub(F a, F b) { return _mm256_sub_ps(a, b); }
  __attribute__((always_inline)) static F Mul(F a, F b) { return _mm256_mul_ps(a, b); }
  __attribute__((always_inline)) static F Min(F a, F b) { return _mm256_min_ps(a, b); }
  __attribute__((always_inline)) static F Max(F a, F b) { return _mm256_max_ps(a, b); }
  __attribute__((always_inline)) static I LoadI(const int32_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
  __attribute__((always_inline)) static I SetI(int32_t v) { return _mm256_set1_epi32(v); }
  __attribute__((always_inline)) static I Or(I a, I b) { return _mm256_or_si256(a, b); }
  __attribute__((always_inline)) static I Gather(const uint8_t* row, const int32_t* index) {
    return _mm256_i32gather_epi32(reinterpret_cast<const int*>(row), LoadI(index), 4);
  }
  __attribute__((always_inline)) static I LoadRun(const uint8_t* row, int32_t index) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + static_cast<size_t>(index) * 4));
  }
  // Even and odd lanes of lo then hi: the shuffle works within 128-bit halves, the permute puts the
  // 64-bit pieces in order.
  __attribute__((always_inline)) static void Split(I lo, I hi, I* even, I* odd) {
    const F l = _mm256_castsi256_ps(lo);
    const F h = _mm256_castsi256_ps(hi);
    *even = _mm256_permute4x64_epi64(_mm256_castps_si256(_mm256_shuffle_ps(l, h, _MM_SHUFFLE(2, 0, 2, 0))),
                                     _MM_SHUFFLE(3, 1, 2, 0));
    *odd = _mm256_permute4x64_epi64(_mm256_castps_si256(_mm256_shuffle_ps(l, h, _MM_SHUFFLE(3, 1, 3, 1))),
                                    _MM_SHUFFLE(3, 1, 2, 0));
  }
  __attribute__((always_inline)) static void LoadEverySecond(const uint8_t* row, int32_t index, I* even, I* odd) {
    Split(LoadRun(row, index), LoadRun(row, index + 8), even, odd);
  }
  // Each lane picks its texel from the two halves of the window and keeps the one its offset names.
  template <int kPlus>
  __attribute__((always_inline)) static I LoadWindow(const uint8_t* row, const int32_t* index, const int32_t* offset) {
    const I lo = LoadRun(row, index[0]);
    const I hi = LoadRun(row, index[0] + 8);
    const I at = _mm256_add_epi32(LoadI(offset), _mm256_set1_epi32(kPlus));
    const I high = _mm256_cmpgt_epi32(at, _mm256_set1_epi32(7));
    return _mm256_blendv_epi8(_mm256_permutevar8x32_epi32(lo, at), _mm256_permutevar8x32_epi32(hi, at), high);
  }
  __attribute__((always_inline)) static __m128i LoadPair(const uint8_t* row, int32_t index) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + static_cast<size_t>(index) * 4));
  }
  __attribute__((always_inline)) static I LoadPairs4(const uint8_t* row, const int32_t* index) {
    return _mm256_set_m128i(_mm_unpacklo_epi64(LoadPair(row, index[2]), LoadPair(row, index[3])),
                            _mm_unpacklo_epi64(LoadPair(row, index[0]), LoadPair(row, index[1])));
  }
  __attribute__((always_inline)) static void LoadPairs(const uint8_t* row, const int32_t* index, I* left, I* right) {
    Split(LoadPairs4(row, index), LoadPairs4(row, index + 4), left, right);
  }
  // The split without the permute: lanes come in the order 0, 1, 4, 5, 2, 3, 6, 7 of the even (odd)
  // lanes of lo then hi. Kept through a computation and put right once, at its end.
  __attribute__((always_inline)) static void SplitInLanes(I lo, I hi, I* even, I* odd) {
    const F l = _mm256_castsi256_ps(lo);
    const F h = _mm256_castsi256_ps(hi);
    *even = _mm256_castps_si256(_mm256_shuffle_ps(l, h, _MM_SHUFFLE(2, 0, 2, 0)));
    *odd = _mm256_castps_si256(_mm256_shuffle_ps(l, h, _MM_SHUFFLE(3, 1, 3, 1)));
  }
  __attribute__((always_inline)) static void SplitFInLanes(F lo, F hi, F* even, F* odd) {
    *even = _mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0));
    *odd = _mm256_shuffle_ps(lo, hi, _MM_SHUFFLE(3, 1, 3, 1));
  }
  // Twice split in lanes (samples, then first and second pixels of texels), texel k sits in lane
  // 0, 4, 1, 5, 2, 6, 3, 7 for k = 0 .. 7; these move values between that order and the texels'.
  __attribute__((always_inline)) static I ToInLanes(I v) {
    return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
  }
  __attribute__((always_inline)) static I FromInLanes(I v) {
    return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
  }
  __attribute__((always_inline)) static void SplitF(F lo, F hi, F* even, F* odd) {
    I e, o;
    Split(_mm256_castps_si256(lo), _mm256_castps_si256(hi), &e, &o);
    *even = _mm256_castsi256_ps(e);
    *odd = _mm256_castsi256_ps(o);
  }
  __attribute__((always_inline)) static I LoadTexels(const uint8_t* p, int32_t n) {
    if (n == kN) return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
    int32_t t[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    memcpy(t, p, static_cast<size_t>(n) * 4);
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(t));
  }
  __attribute__((always_inline)) static void StoreTexels(uint8_t* p, I v, int32_t n) {
    if (n == kN) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
      return;
    }
    int32_t t[8];
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(t), v);
    memcpy(p, t, static_cast<size_t>(n) * 4);
  }
  // byte / 255 without a division, as in the SSE2 build; y = 65793 b is the byte copied into the three
  // low bytes of its lane, which one shuffle makes.
  template <int kShift>
  __attribute__((always_inline)) static F UnormX(I t) {
    constexpr char k = kShift / 8;
    constexpr char z = -128;  // a shuffle index with the top bit set writes 0
    const I spread = _mm256_setr_epi8(k, k, k, z, k + 4, k + 4, k + 4, z, k + 8, k + 8, k + 8, z, k + 12, k + 12,
                                      k + 12, z, k, k, k, z, k + 4, k + 4, k + 4, z, k + 8, k + 8, k + 8, z, k + 12,
                                      k + 12, k + 12, z);
    const F y = _mm256_cvtepi32_ps(_mm256_shuffle_epi8(t, spread));
    return _mm256_castsi256_ps(_mm256_add_epi32(_mm256_castps_si256(y), _mm256_set1_epi32(1)));
  }
  template <int kShift>
  __attribute__((always_inline)) static F Unorm(I t) {
    return _mm256_mul_ps(UnormX<kShift>(t), _mm256_set1_ps(1.0f / 16777216.0f));
  }
  __attribute__((always_inline)) static I ToByte(F v) {
    const F clamped = _mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(1.0f));
    return _mm256_cvtps_epi32(_mm256_mul_ps(clamped, _mm256_set1_ps(255.0f)));
  }
  __attribute__((always_inline)) static I ToByteUnclamped(F v) {
    return _mm256_cvtps_epi32(_mm256_mul_ps(v, _mm256_set1_ps(255.0f)));
  }
  __attribute__((always_inline)) static I Pack(I b, I g, I r, I a) {
    return _mm256_or_si256(_mm256_or_si256(b, _mm256_slli_epi32(g, 8)),
                           _mm256_or_si256(_mm256_slli_epi32(r, 16), _mm256_slli_epi32(a, 24)));
  }
  __attribute__((always_inline)) static M MaskOf(I flags, int32_t bit) {
    const I b = _mm256_set1_epi32(bit);
    return _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_and_si256(flags, b), b));
  }
  __attribute__((always_inline)) static F Select(M mask, F ifSet, F ifClear) { return _mm256_blendv_ps(ifClear, ifSet, mask); }
};

#include "platform/cpu_gpu/fast_kernels_body.h"

}  // namespace

const Kernels& Avx2Kernels() {
  static constexpr Kernels kKernels = MakeKernels("avx2");
  return kKernels;
}

}  // namespace cvplat::cpugpu::fast

#endif
