// AVX2 row kernels: the SSE2 arithmetic on two 128-bit lanes at once. Most AVX2 byte and word operations
// stay within their lane, so the lanes carry interleaved blocks of the row and one cross-lane permute
// puts the result back in order. This file alone is compiled for AVX2 and holds nothing but these
// kernels and helpers with internal linkage, so no AVX2 code can stand in for a function of the
// baseline build.
#include "primitives/pixel_kernels.h"

#if defined(CV_PRIM_HAVE_AVX2)

#include <immintrin.h>

#include "primitives/pixel_rows.h"

namespace cvprim {

namespace {

inline __m256i Load(const uint8_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
inline void Store(uint8_t* p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }

// 64-bit quarters (0, 2, 1, 3): undoes the lane interleave of a row of blocks.
inline __m256i InOrder(__m256i v) { return _mm256_permute4x64_epi64(v, _MM_SHUFFLE(3, 1, 2, 0)); }

inline __m256i SumHalves(__m256i lo, __m256i hi) {
  const __m256 a = _mm256_castsi256_ps(lo), b = _mm256_castsi256_ps(hi);
  return _mm256_add_epi32(_mm256_castps_si256(_mm256_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))),
                          _mm256_castps_si256(_mm256_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))));
}

inline __m256i Divide125(__m256i a, __m256i b, int shift) {
  const __m256i q = _mm256_packs_epi32(_mm256_srli_epi32(a, shift), _mm256_srli_epi32(b, shift));
  return _mm256_srli_epi16(_mm256_mulhi_epu16(q, _mm256_set1_epi16(short(33555))), 6);
}

inline __m256i LumaSums(__m256i px) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i k = _mm256_set_epi16(0, 257, 504, 98, 0, 257, 504, 98, 0, 257, 504, 98, 0, 257, 504, 98);
  return SumHalves(_mm256_madd_epi16(_mm256_unpacklo_epi8(px, zero), k),
                   _mm256_madd_epi16(_mm256_unpackhi_epi8(px, zero), k));
}

// Per lane the same as the SSE2 PackFour: four pairs in, sixteen bytes out.
template <int kOrder>
inline __m256i PackEight(__m256i a, __m256i b) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i lumaConst = _mm256_set1_epi32(16437);
  const __m256i chromaConst = _mm256_set1_epi32(256000);
  const __m256i y =
      Divide125(_mm256_add_epi32(LumaSums(a), lumaConst), _mm256_add_epi32(LumaSums(b), lumaConst), 3);

  const __m256i sLo = _mm256_add_epi16(_mm256_unpacklo_epi8(a, zero), _mm256_unpacklo_epi8(b, zero));
  const __m256i sHi = _mm256_add_epi16(_mm256_unpackhi_epi8(a, zero), _mm256_unpackhi_epi8(b, zero));
  const __m256i kCb = _mm256_set_epi16(0, -148, -291, 439, 0, -148, -291, 439, 0, -148, -291, 439, 0, -148, -291, 439);
  const __m256i kCr = _mm256_set_epi16(0, 439, -368, -71, 0, 439, -368, -71, 0, 439, -368, -71, 0, 439, -368, -71);
  const __m256i cb =
      _mm256_add_epi32(SumHalves(_mm256_madd_epi16(sLo, kCb), _mm256_madd_epi16(sHi, kCb)), chromaConst);
  const __m256i cr =
      _mm256_add_epi32(SumHalves(_mm256_madd_epi16(sLo, kCr), _mm256_madd_epi16(sHi, kCr)), chromaConst);
  const __m256i c = Divide125(cb, cr, 4);

  const __m256i yy = _mm256_unpacklo_epi16(y, _mm256_unpackhi_epi64(y, y));
  const __m256i cc = _mm256_unpacklo_epi16(c, _mm256_unpackhi_epi64(c, c));
  return kOrder == kYuv422CbYCrY ? _mm256_or_si256(cc, _mm256_slli_epi16(yy, 8))
                                 : _mm256_or_si256(yy, _mm256_slli_epi16(cc, 8));
}

template <int kOrder>
int32_t RowTo422(const uint8_t* bgra, uint8_t* dst, int32_t width) {
  int32_t i = 0;
  for (; i + 16 <= width; i += 16) {
    // Lane 0 takes pixels 0-3 and 8-11, lane 1 pixels 4-7 and 12-15.
    const __m256 p0 = _mm256_castsi256_ps(Load(bgra + 4 * i));
    const __m256 p1 = _mm256_castsi256_ps(Load(bgra + 4 * i + 32));
    const __m256i even = _mm256_castps_si256(_mm256_shuffle_ps(p0, p1, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m256i odd = _mm256_castps_si256(_mm256_shuffle_ps(p0, p1, _MM_SHUFFLE(3, 1, 3, 1)));
    Store(dst + 2 * i, InOrder(PackEight<kOrder>(even, odd)));
  }
  return i;
}

template <int kOrder>
int32_t PairsTo422(const uint8_t* first, const uint8_t* second, uint8_t* dst, int32_t pairs) {
  int32_t i = 0;
  for (; i + 8 <= pairs; i += 8) Store(dst + 4 * i, PackEight<kOrder>(Load(first + 4 * i), Load(second + 4 * i)));
  return i;
}

// Output pixels i .. i+3 of the horizontal blend, rounded, as 16-bit channels: lane 0 holds pixels i and
// i+1, lane 1 pixels i+2 and i+3.
inline __m256i LinearFour(const uint8_t* src, const int32_t* x, const uint32_t* weights) {
  auto pair = [src](int32_t at) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + 4 * at)); };
  const __m256i pq = _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_unpacklo_epi64(pair(x[0]), pair(x[1]))),
                                             _mm_unpacklo_epi64(pair(x[2]), pair(x[3])), 1);
  // Each channel of p next to the same channel of q.
  const __m256i mix = _mm256_shuffle_epi8(
      pq, _mm256_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15, 0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9,
                           13, 10, 14, 11, 15));
  const __m256i w = _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(weights)));
  const __m256i wLo = _mm256_permutevar8x32_epi32(w, _mm256_setr_epi32(0, 0, 0, 0, 2, 2, 2, 2));
  const __m256i wHi = _mm256_permutevar8x32_epi32(w, _mm256_setr_epi32(1, 1, 1, 1, 3, 3, 3, 3));
  const __m256i zero = _mm256_setzero_si256(), half = _mm256_set1_epi32(128);
  const __m256i lo = _mm256_madd_epi16(_mm256_unpacklo_epi8(mix, zero), wLo);  // pixels i | i+2
  const __m256i hi = _mm256_madd_epi16(_mm256_unpackhi_epi8(mix, zero), wHi);  // pixels i+1 | i+3
  return _mm256_packs_epi32(_mm256_srli_epi32(_mm256_add_epi32(lo, half), 8),
                            _mm256_srli_epi32(_mm256_add_epi32(hi, half), 8));
}

}  // namespace

int32_t RowToYuv422Avx2(const uint8_t* bgra, uint8_t* dst, int32_t width, int32_t order) {
  return order == kYuv422YCbYCr ? RowTo422<kYuv422YCbYCr>(bgra, dst, width) : RowTo422<kYuv422CbYCrY>(bgra, dst, width);
}

int32_t PairsToYuv422Avx2(const uint8_t* first, const uint8_t* second, uint8_t* dst, int32_t pairs, int32_t order) {
  return order == kYuv422YCbYCr ? PairsTo422<kYuv422YCbYCr>(first, second, dst, pairs)
                                : PairsTo422<kYuv422CbYCrY>(first, second, dst, pairs);
}

int32_t RowBlendAvx2(const uint8_t* top, const uint8_t* bottom, uint8_t* dst, int32_t bytes, int32_t weight) {
  int32_t i = 0;
  if (weight == 0 || weight == 256) {  // one row alone, exactly
    const uint8_t* from = weight ? bottom : top;
    for (; i + 32 <= bytes; i += 32) Store(dst + i, Load(from + i));
    return i;
  }
  if (weight == 128) {  // the rounded-up mean
    for (; i + 32 <= bytes; i += 32) Store(dst + i, _mm256_avg_epu8(Load(top + i), Load(bottom + i)));
    return i;
  }
  // Byte multiply-adds of the unsigned weights (1..255 each) with the pixels moved to -128..127:
  // keep * (t - 128) + take * (b - 128) lies in -32768..32512 because keep + take = 256, so the signed
  // 16-bit sum doesn't saturate, and adding back 128 * 256 + 128 in wrapping 16-bit lanes gives
  // t * keep + b * take + 128 exactly.
  const __m256i w = _mm256_set1_epi16(short((256 - weight) | weight << 8));
  const __m256i flip = _mm256_set1_epi8(char(0x80)), back = _mm256_set1_epi16(short(32896));
  for (; i + 32 <= bytes; i += 32) {
    const __m256i t = _mm256_xor_si256(Load(top + i), flip), b = _mm256_xor_si256(Load(bottom + i), flip);
    const __m256i lo = _mm256_add_epi16(_mm256_maddubs_epi16(w, _mm256_unpacklo_epi8(t, b)), back);
    const __m256i hi = _mm256_add_epi16(_mm256_maddubs_epi16(w, _mm256_unpackhi_epi8(t, b)), back);
    Store(dst + i, _mm256_packus_epi16(_mm256_srli_epi16(lo, 8), _mm256_srli_epi16(hi, 8)));
  }
  return i;
}

int32_t RowHalveAvx2(const uint8_t* src, uint8_t* dst, int32_t dstWidth) {
  int32_t i = 0;
  for (; i + 8 <= dstWidth; i += 8) {
    const __m256 p0 = _mm256_castsi256_ps(Load(src + 8 * i)), p1 = _mm256_castsi256_ps(Load(src + 8 * i + 32));
    const __m256i even = _mm256_castps_si256(_mm256_shuffle_ps(p0, p1, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m256i odd = _mm256_castps_si256(_mm256_shuffle_ps(p0, p1, _MM_SHUFFLE(3, 1, 3, 1)));
    Store(dst + 4 * i, InOrder(_mm256_avg_epu8(even, odd)));
  }
  return i;
}

int32_t RowLinearAvx2(const uint8_t* src, int32_t srcWidth, uint8_t* dst, int32_t dstWidth, const int32_t* x,
                      const uint32_t* weights) {
  const __m256i flip = _mm256_set1_epi8(char(0x80)), back = _mm256_set1_epi16(short(32896));
  const __m256i seven = _mm256_set1_epi32(7), fourteen = _mm256_set1_epi32(14);
  const __m256i highBytes = _mm256_set1_epi32(int(0xFF00FF00u));
  // The weights' low bytes, 256 - f and f, as a byte pair repeated for the four channels of a pixel:
  // pixels 0, 1 of each lane for the low unpack, 2, 3 for the high one.
  const __m256i pairsLo = _mm256_setr_epi8(0, 2, 0, 2, 0, 2, 0, 2, 4, 6, 4, 6, 4, 6, 4, 6, 0, 2, 0, 2, 0, 2, 0, 2, 4,
                                           6, 4, 6, 4, 6, 4, 6);
  const __m256i pairsHi = _mm256_add_epi8(pairsLo, _mm256_set1_epi8(8));
  int32_t i = 0;
  for (; i + 8 <= dstWidth; i += 8) {
    const int32_t x0 = x[i];
    const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(weights + i));
    const __m256i at = _mm256_sub_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(x + i)), _mm256_set1_epi32(x0));
    // Every x within x0 .. x0 + 14 (as unsigned, anything below x0 is huge), and no weight of 256, whose
    // byte pair would need a ninth bit.
    const __m256i near = _mm256_cmpeq_epi32(_mm256_max_epu32(at, fourteen), fourteen);
    if (_mm256_testc_si256(near, _mm256_cmpeq_epi32(near, near)) && _mm256_testz_si256(w, highBytes) &&
        x0 + 17 <= srcWidth) {
      // All eight pairs lie in the 17 pixels from x0: p from the window at x0, q from the one a pixel on,
      // by the same permutes, instead of eight loads of a pair each; byte multiply-adds as in the
      // vertical blend.
      const uint8_t* window = src + 4 * x0;
      const __m256i upper = _mm256_cmpgt_epi32(at, seven);
      auto pick = [&](const uint8_t* from) {
        return _mm256_xor_si256(_mm256_blendv_epi8(_mm256_permutevar8x32_epi32(Load(from), at),
                                                   _mm256_permutevar8x32_epi32(Load(from + 32), at), upper),
                                flip);
      };
      const __m256i p = pick(window), q = pick(window + 4);
      const __m256i wLo = _mm256_shuffle_epi8(w, pairsLo), wHi = _mm256_shuffle_epi8(w, pairsHi);
      const __m256i rLo = _mm256_srli_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(wLo, _mm256_unpacklo_epi8(p, q)), back), 8);
      const __m256i rHi = _mm256_srli_epi16(_mm256_add_epi16(_mm256_maddubs_epi16(wHi, _mm256_unpackhi_epi8(p, q)), back), 8);
      Store(dst + 4 * i, _mm256_packus_epi16(rLo, rHi));
    } else {
      // After the pack lane 0 holds pixels i, i+1, i+4, i+5 and lane 1 i+2, i+3, i+6, i+7.
      const __m256i a = LinearFour(src, x + i, weights + i);
      const __m256i b = LinearFour(src, x + i + 4, weights + i + 4);
      Store(dst + 4 * i, InOrder(_mm256_packus_epi16(a, b)));
    }
  }
  return i;
}

}  // namespace cvprim

#endif
