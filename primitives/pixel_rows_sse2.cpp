// SSE2 row kernels. Integer arithmetic throughout, so matching the plain code is a matter of doing the
// same integer sums; the one rewrite is the division of the pack, which is done as a shift by 3 or 4
// (floor(n / 1000) = floor(floor(n / 8) / 125)) and a multiply-high by ceil(2^22 / 125) = 33555 with a
// shift by 22, exact for every quotient below 59074 while the pack's stay below 30000.
#include "primitives/pixel_kernels.h"

#if defined(CV_PRIM_HAVE_SSE2)

#include <emmintrin.h>

#include "primitives/pixel_rows.h"

namespace cvprim {

namespace {

inline __m128i Load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void Store(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

// Four 32-bit sums, one per pixel or pair, from two multiply-adds of two pixels each: lanes 0+1 of `lo`
// belong to the first, 2+3 to the second, and `hi` likewise to the third and fourth.
inline __m128i SumHalves(__m128i lo, __m128i hi) {
  const __m128 a = _mm_castsi128_ps(lo), b = _mm_castsi128_ps(hi);
  return _mm_add_epi32(_mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 0, 2, 0))),
                       _mm_castps_si128(_mm_shuffle_ps(a, b, _MM_SHUFFLE(3, 1, 3, 1))));
}

// (n >> shift) / 125 for the eight 16-bit lanes made of `a` and `b` (four 32-bit numerators each).
inline __m128i Divide125(__m128i a, __m128i b, int shift) {
  const __m128i q = _mm_packs_epi32(_mm_srli_epi32(a, shift), _mm_srli_epi32(b, shift));
  return _mm_srli_epi16(_mm_mulhi_epu16(q, _mm_set1_epi16(short(33555))), 6);
}

// Luma numerators without the constant, of four pixels.
inline __m128i LumaSums(__m128i px) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i k = _mm_set_epi16(0, 257, 504, 98, 0, 257, 504, 98);  // lanes B, G, R, A
  return SumHalves(_mm_madd_epi16(_mm_unpacklo_epi8(px, zero), k), _mm_madd_epi16(_mm_unpackhi_epi8(px, zero), k));
}

// Four pairs: `a` holds their first pixels, `b` their second. Gives 16 bytes in the wanted order.
template <int kOrder>
inline __m128i PackFour(__m128i a, __m128i b) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i lumaConst = _mm_set1_epi32(16437);
  const __m128i chromaConst = _mm_set1_epi32(256000);
  // y = [ya0 ya1 ya2 ya3 yb0 yb1 yb2 yb3]
  const __m128i y = Divide125(_mm_add_epi32(LumaSums(a), lumaConst), _mm_add_epi32(LumaSums(b), lumaConst), 3);

  const __m128i sLo = _mm_add_epi16(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero));
  const __m128i sHi = _mm_add_epi16(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero));
  const __m128i kCb = _mm_set_epi16(0, -148, -291, 439, 0, -148, -291, 439);
  const __m128i kCr = _mm_set_epi16(0, 439, -368, -71, 0, 439, -368, -71);
  const __m128i cb = _mm_add_epi32(SumHalves(_mm_madd_epi16(sLo, kCb), _mm_madd_epi16(sHi, kCb)), chromaConst);
  const __m128i cr = _mm_add_epi32(SumHalves(_mm_madd_epi16(sLo, kCr), _mm_madd_epi16(sHi, kCr)), chromaConst);
  const __m128i c = Divide125(cb, cr, 4);  // [cb0 cb1 cb2 cb3 cr0 cr1 cr2 cr3]

  const __m128i yy = _mm_unpacklo_epi16(y, _mm_unpackhi_epi64(y, y));  // ya0 yb0 ya1 yb1 ...
  const __m128i cc = _mm_unpacklo_epi16(c, _mm_unpackhi_epi64(c, c));  // cb0 cr0 cb1 cr1 ...
  return kOrder == kYuv422CbYCrY ? _mm_or_si128(cc, _mm_slli_epi16(yy, 8)) : _mm_or_si128(yy, _mm_slli_epi16(cc, 8));
}

template <int kOrder>
int32_t RowTo422(const uint8_t* bgra, uint8_t* dst, int32_t width) {
  int32_t i = 0;
  for (; i + 8 <= width; i += 8) {
    const __m128 p0 = _mm_castsi128_ps(Load(bgra + 4 * i));
    const __m128 p1 = _mm_castsi128_ps(Load(bgra + 4 * i + 16));
    const __m128i even = _mm_castps_si128(_mm_shuffle_ps(p0, p1, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m128i odd = _mm_castps_si128(_mm_shuffle_ps(p0, p1, _MM_SHUFFLE(3, 1, 3, 1)));
    Store(dst + 2 * i, PackFour<kOrder>(even, odd));
  }
  return i;
}

template <int kOrder>
int32_t PairsTo422(const uint8_t* first, const uint8_t* second, uint8_t* dst, int32_t pairs) {
  int32_t i = 0;
  for (; i + 4 <= pairs; i += 4) Store(dst + 4 * i, PackFour<kOrder>(Load(first + 4 * i), Load(second + 4 * i)));
  return i;
}

// One output pixel of the horizontal blend: the four channels as 32-bit sums, before rounding.
inline __m128i LinearPixel(const uint8_t* src, int32_t x, uint32_t weights) {
  const __m128i pq = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + 4 * x));
  const __m128i mixed = _mm_unpacklo_epi8(pq, _mm_srli_si128(pq, 4));  // p.b q.b p.g q.g p.r q.r p.a q.a
  return _mm_madd_epi16(_mm_unpacklo_epi8(mixed, _mm_setzero_si128()), _mm_set1_epi32(int(weights)));
}

}  // namespace

int32_t RowToYuv422Sse2(const uint8_t* bgra, uint8_t* dst, int32_t width, int32_t order) {
  return order == kYuv422YCbYCr ? RowTo422<kYuv422YCbYCr>(bgra, dst, width) : RowTo422<kYuv422CbYCrY>(bgra, dst, width);
}

int32_t PairsToYuv422Sse2(const uint8_t* first, const uint8_t* second, uint8_t* dst, int32_t pairs, int32_t order) {
  return order == kYuv422YCbYCr ? PairsTo422<kYuv422YCbYCr>(first, second, dst, pairs)
                                : PairsTo422<kYuv422CbYCrY>(first, second, dst, pairs);
}

int32_t RowOpaqueSse2(const uint8_t* src, uint8_t* dst, int32_t width) {
  const __m128i alpha = _mm_set1_epi32(int(0xFF000000u));
  int32_t i = 0;
  for (; i + 4 <= width; i += 4) Store(dst + 4 * i, _mm_or_si128(Load(src + 4 * i), alpha));
  return i;
}

int32_t RowBlendSse2(const uint8_t* top, const uint8_t* bottom, uint8_t* dst, int32_t bytes, int32_t weight) {
  int32_t i = 0;
  if (weight == 128) {  // (t * 128 + b * 128 + 128) >> 8 is the rounded-up mean
    for (; i + 16 <= bytes; i += 16) Store(dst + i, _mm_avg_epu8(Load(top + i), Load(bottom + i)));
    return i;
  }
  // Every product and the sum stay below 2^16, so unsigned 16-bit lanes hold them without a carry out.
  const __m128i keep = _mm_set1_epi16(short(256 - weight)), take = _mm_set1_epi16(short(weight));
  const __m128i half = _mm_set1_epi16(128), zero = _mm_setzero_si128();
  for (; i + 16 <= bytes; i += 16) {
    const __m128i t = Load(top + i), b = Load(bottom + i);
    const __m128i lo = _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(t, zero), keep),
                                                   _mm_mullo_epi16(_mm_unpacklo_epi8(b, zero), take)),
                                     half);
    const __m128i hi = _mm_add_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(t, zero), keep),
                                                   _mm_mullo_epi16(_mm_unpackhi_epi8(b, zero), take)),
                                     half);
    Store(dst + i, _mm_packus_epi16(_mm_srli_epi16(lo, 8), _mm_srli_epi16(hi, 8)));
  }
  return i;
}

int32_t RowLinearSse2(const uint8_t* src, uint8_t* dst, int32_t dstWidth, const int32_t* x, const uint32_t* weights) {
  const __m128i half = _mm_set1_epi32(128);
  int32_t i = 0;
  for (; i + 4 <= dstWidth; i += 4) {
    const __m128i a = _mm_srli_epi32(_mm_add_epi32(LinearPixel(src, x[i], weights[i]), half), 8);
    const __m128i b = _mm_srli_epi32(_mm_add_epi32(LinearPixel(src, x[i + 1], weights[i + 1]), half), 8);
    const __m128i c = _mm_srli_epi32(_mm_add_epi32(LinearPixel(src, x[i + 2], weights[i + 2]), half), 8);
    const __m128i d = _mm_srli_epi32(_mm_add_epi32(LinearPixel(src, x[i + 3], weights[i + 3]), half), 8);
    Store(dst + 4 * i, _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
  }
  return i;
}

int32_t RowHalveSse2(const uint8_t* src, uint8_t* dst, int32_t dstWidth) {
  int32_t i = 0;
  for (; i + 4 <= dstWidth; i += 4) {
    const __m128 p0 = _mm_castsi128_ps(Load(src + 8 * i)), p1 = _mm_castsi128_ps(Load(src + 8 * i + 16));
    const __m128i even = _mm_castps_si128(_mm_shuffle_ps(p0, p1, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m128i odd = _mm_castps_si128(_mm_shuffle_ps(p0, p1, _MM_SHUFFLE(3, 1, 3, 1)));
    Store(dst + 4 * i, _mm_avg_epu8(even, odd));
  }
  return i;
}

}  // namespace cvprim

#endif
