// Internal: the SIMD row kernels behind pixel_rows.h. Each one handles a prefix of the row (a whole number
// of its blocks) and returns how many pixels, pairs or bytes it did; the entry finishes the rest with the
// plain code, which is the contract they match byte for byte. Not for callers of the library.
#pragma once

#include <stdint.h>

#include "primitives/kernels.h"

namespace cvprim {

// True when the AVX2 kernels are compiled in, the processor has AVX2 and PrimitivesForceScalar is off.
bool UseAvx2();

// The arithmetic of the 4:2:2 pack, shared by the plain code and the tests' description of it. The
// program's float value times 255 plus one half, floored, is an exact quotient of integers: luma
// 0.257 R + 0.504 G + 0.098 B + 16 + 0.4375 = (257 R + 504 G + 98 B + 16437.5) / 1000, where the half
// can go since no multiple of 1000 lies between the two numerators; chroma from the channel sums of the
// pair, (-148 SR - 291 SG + 439 SB + 256000) / 2000 and (439 SR - 368 SG - 71 SB + 256000) / 2000. No
// numerator is negative and no result leaves 16..240, so nothing saturates.
inline int32_t LumaByte(int32_t r, int32_t g, int32_t b) { return (257 * r + 504 * g + 98 * b + 16437) / 1000; }
inline int32_t CbByte(int32_t sr, int32_t sg, int32_t sb) { return (-148 * sr - 291 * sg + 439 * sb + 256000) / 2000; }
inline int32_t CrByte(int32_t sr, int32_t sg, int32_t sb) { return (439 * sr - 368 * sg - 71 * sb + 256000) / 2000; }

#if defined(CV_PRIM_HAVE_SSE2)
int32_t RowToYuv422Sse2(const uint8_t* bgra, uint8_t* dst, int32_t width, int32_t order);
int32_t PairsToYuv422Sse2(const uint8_t* first, const uint8_t* second, uint8_t* dst, int32_t pairs, int32_t order);
int32_t RowOpaqueSse2(const uint8_t* src, uint8_t* dst, int32_t width);
int32_t RowBlendSse2(const uint8_t* top, const uint8_t* bottom, uint8_t* dst, int32_t bytes, int32_t weight);
int32_t RowLinearSse2(const uint8_t* src, uint8_t* dst, int32_t dstWidth, const int32_t* x, const uint32_t* weights);
int32_t RowHalveSse2(const uint8_t* src, uint8_t* dst, int32_t dstWidth);
#endif

#if defined(CV_PRIM_HAVE_AVX2)
int32_t RowToYuv422Avx2(const uint8_t* bgra, uint8_t* dst, int32_t width, int32_t order);
int32_t PairsToYuv422Avx2(const uint8_t* first, const uint8_t* second, uint8_t* dst, int32_t pairs, int32_t order);
int32_t RowBlendAvx2(const uint8_t* top, const uint8_t* bottom, uint8_t* dst, int32_t bytes, int32_t weight);
int32_t RowLinearAvx2(const uint8_t* src, int32_t srcWidth, uint8_t* dst, int32_t dstWidth, const int32_t* x,
                      const uint32_t* weights);
int32_t RowHalveAvx2(const uint8_t* src, uint8_t* dst, int32_t dstWidth);
#endif

}  // namespace cvprim
