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

  __attribute__((always_inline)) static F LoadF(const float* p) { return _mm_loadu_ps(p); }
  __attribute__((always_inline)) static void StoreF(float* p, F v) { _mm_storeu_ps(p, v); }
  __attribute__((always_inline)) static F SetF(float v) { return _mm_set1_ps(v); }
  __attribute__((always_inline)) static F Add(F a, F b) { return _mm_add_ps(a, b); }
  __attribute__((always_inline)) static F Sub(F a, F b) { return _mm_sub_ps(a, b); }
  __attribute__((always_inline)) static F Mul(F a, F b) { return _mm_mul_ps(a, b); }
  __attribute__((always_inline)) static F Min(F a, F b) { return _mm_min_ps(a, b); }
  __attribute__((always_inline)) static F Max(F a, F b) { return _mm_max_ps(a, b); }
  __attribute__((always_inline)) static I LoadI(const int32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
  __attribute__((always_inline)) static I SetI(int32_t v) { return _mm_set1_epi32(v); }
  __attribute__((always_inline)) static I Or(I a, I b) { return _mm_or_si128(a, b); }
  __attribute__((always_inline)) static I Gather(const uint8_t* row, const int32_t* index) {
    int32_t t[4];
    for (int k = 0; k < 4; ++k) memcpy(&t[k], row + static_cast<size_t>(index[k]) * 4, 4);
    return _mm_setr_epi32(t[0], t[1], t[2], t[3]);
  }
  __attribute__((always_inline)) static I LoadRun(const uint8_t* row, int32_t index) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + static_cast<size_t>(index) * 4));
  }
  __attribute__((always_inline)) static void Split(I lo, I hi, I* even, I* odd) {
    const F l = _mm_castsi128_ps(lo);
    const F h = _mm_castsi128_ps(hi);
    *even = _mm_castps_si128(_mm_shuffle_ps(l, h, _MM_SHUFFLE(2, 0, 2, 0)));
    *odd = _mm_castps_si128(_mm_shuffle_ps(l, h, _MM_SHUFFLE(3, 1, 3, 1)));
  }
  __attribute__((always_inline)) static void LoadEverySecond(const uint8_t* row, int32_t index, I* even, I* odd) {
    Split(LoadRun(row, index), LoadRun(row, index + 4), even, odd);
  }
  // Four lanes have no permute of their own: the window's texels are fetched one by one.
  template <int kPlus>
  __attribute__((always_inline)) static I LoadWindow(const uint8_t* row, const int32_t* index, const int32_t*) {
    int32_t t[4];
    for (int k = 0; k < 4; ++k) memcpy(&t[k], row + static_cast<size_t>(index[k] + kPlus) * 4, 4);
    return _mm_setr_epi32(t[0], t[1], t[2], t[3]);
  }
  __attribute__((always_inline)) static I LoadPair(const uint8_t* row, int32_t index) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(row + static_cast<size_t>(index) * 4));
  }
  __attribute__((always_inline)) static void LoadPairs(const uint8_t* row, const int32_t* index, I* left, I* right) {
    Split(_mm_unpacklo_epi64(LoadPair(row, index[0]), LoadPair(row, index[1])),
          _mm_unpacklo_epi64(LoadPair(row, index[2]), LoadPair(row, index[3])), left, right);
  }
  // Four lanes split within themselves: the lane order is the texels' already.
  __attribute__((always_inline)) static void SplitInLanes(I lo, I hi, I* even, I* odd) { Split(lo, hi, even, odd); }
  __attribute__((always_inline)) static void SplitFInLanes(F lo, F hi, F* even, F* odd) { SplitF(lo, hi, even, odd); }
  __attribute__((always_inline)) static I ToInLanes(I v) { return v; }
  __attribute__((always_inline)) static I FromInLanes(I v) { return v; }
  __attribute__((always_inline)) static void SplitF(F lo, F hi, F* even, F* odd) {
    *even = _mm_shuffle_ps(lo, hi, _MM_SHUFFLE(2, 0, 2, 0));
    *odd = _mm_shuffle_ps(lo, hi, _MM_SHUFFLE(3, 1, 3, 1));
  }
  __attribute__((always_inline)) static I LoadTexels(const uint8_t* p, int32_t n) {
    if (n == kN) return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    int32_t t[4] = {0, 0, 0, 0};
    memcpy(t, p, static_cast<size_t>(n) * 4);
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(t));
  }
  __attribute__((always_inline)) static void StoreTexels(uint8_t* p, I v, int32_t n) {
    if (n == kN) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
      return;
    }
    int32_t t[4];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(t), v);
    memcpy(p, t, static_cast<size_t>(n) * 4);
  }
  // byte / 255 without a division. For 1 <= b <= 255, y = 65793 b is exact in float, and
  // b x 2^24 / 255 = y + b / 255, where b / 255 lies between 0.50 and 1.004 units in the last place of y
  // (for 2^j <= b < 2^(j+1) that unit is 2^(j-7)). So the quotient times 2^24 rounds to the float right
  // above y: y's bits plus one. For b = 0 that gives the smallest subnormal in place of 0, which vanishes
  // in every product the kernels make of it (by 2^-24 or by a weight that carries 2^-24; the draw rounds
  // to nearest). The plain build's table is the division itself, and the tests hold the builds together.
  template <int kShift>
  __attribute__((always_inline)) static F UnormX(I t) {
    const I byte = _mm_and_si128(_mm_srli_epi32(t, kShift), _mm_set1_epi32(255));
    const F y = _mm_mul_ps(_mm_cvtepi32_ps(byte), _mm_set1_ps(65793.0f));
    return _mm_castsi128_ps(_mm_add_epi32(_mm_castps_si128(y), _mm_set1_epi32(1)));
  }
  template <int kShift>
  __attribute__((always_inline)) static F Unorm(I t) {
    return _mm_mul_ps(UnormX<kShift>(t), _mm_set1_ps(1.0f / 16777216.0f));
  }
  // max gives its second operand for a NaN, so a NaN stores 0 as in the reference.
  __attribute__((always_inline)) static I ToByte(F v) {
    const F clamped = _mm_min_ps(_mm_max_ps(v, _mm_setzero_ps()), _mm_set1_ps(1.0f));
    return _mm_cvtps_epi32(_mm_mul_ps(clamped, _mm_set1_ps(255.0f)));
  }
  __attribute__((always_inline)) static I ToByteUnclamped(F v) {
    return _mm_cvtps_epi32(_mm_mul_ps(v, _mm_set1_ps(255.0f)));
  }
  __attribute__((always_inline)) static I Pack(I b, I g, I r, I a) {
    return _mm_or_si128(_mm_or_si128(b, _mm_slli_epi32(g, 8)),
                        _mm_or_si128(_mm_slli_epi32(r, 16), _mm_slli_epi32(a, 24)));
  }
  __attribute__((always_inline)) static M MaskOf(I flags, int32_t bit) {
    const I b = _mm_set1_epi32(bit);
    return _mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(flags, b), b));
  }
  __attribute__((always_inline)) static F Select(M mask, F ifSet, F ifClear) {
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
