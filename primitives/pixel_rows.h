// Row kernels on 4-byte pixels in memory order blue, green, red, alpha (ARGB32 and RGB32 as little-endian
// words): packing to 4:2:2, the two steps of a bilinear or area resize, and the small row chores around
// them. The picture-level conversion (pixel_convert.h) runs them over strips of rows; a CPU twin of the
// GPU programs can run the pack step on its own rows of sampled pixels.
//
// Each entry has a plain version that is the contract and, where it pays, SSE2 and AVX2 versions that
// give the same bytes; PrimitivesForceScalar(1) pins every entry to the plain code. No entry checks its
// arguments: sizes are at least 1 and every pointer covers what the comment says. Rows need no alignment.
// Nothing is read or written beyond the bytes named, so a row may end at the last byte of a page.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Byte orders of a pixel pair in 4:2:2: Cb Y0 Cr Y1 (HDYC and UYVY share it) or Y0 Cb Y1 Cr (YUY2).
enum { kYuv422CbYCrY = 0, kYuv422YCbYCr = 1 };

// Studio-range BT.601 bytes of the HDYC program: Y0 and Y1 are the lumas of the pair's first and second
// pixel, Cb and Cr come from the mean of the two. These are exactly the bytes of the program's float32
// evaluation rounded to nearest wherever the exact value isn't halfway between two bytes; at the halfway
// points, where float32 rounding noise of a particular evaluation order would decide, they round up.
// Alpha plays no part.
//
// A row of `width` pixels, pairs (0, 1), (2, 3), ...; with an odd width the last pixel pairs with
// itself. Writes (width + 1) / 2 * 4 bytes.
void PixelRowToYuv422(const uint8_t* bgra, uint8_t* dst, int32_t width, int32_t order);
// Pair i is (first[i], second[i]): for callers that sample the two pixels of a pair apart, as the HDYC
// program does. Writes pairs * 4 bytes.
void PixelPairsToYuv422(const uint8_t* first, const uint8_t* second, uint8_t* dst, int32_t pairs, int32_t order);

// Copies `width` pixels with alpha set to 255. `src` may equal `dst`.
void PixelRowOpaque32(const uint8_t* src, uint8_t* dst, int32_t width);
// Three bytes blue, green, red per source pixel to four with alpha 255.
void PixelRowRgb24To32(const uint8_t* src, uint8_t* dst, int32_t width);

// Vertical step of a bilinear resize: dst = (top * (256 - weight) + bottom * weight + 128) >> 8 byte by
// byte, for 0 <= weight <= 256.
void PixelRowBlend(const uint8_t* top, const uint8_t* bottom, uint8_t* dst, int32_t bytes, int32_t weight);

// Horizontal step of a bilinear resize. Output pixel i blends source pixels x[i] and x[i] + 1 of a row of
// `srcWidth` pixels (so x[i] + 1 < srcWidth) with the weights in `weights[i]`: 256 - f in the low half,
// f in the high half, f in 0..256; each channel is (p * (256 - f) + q * f + 128) >> 8.
void PixelRowLinear(const uint8_t* src, int32_t srcWidth, uint8_t* dst, int32_t dstWidth, const int32_t* x,
                    const uint32_t* weights);

// The horizontal step of a reduction by exactly 2: output pixel i is the mean of source pixels 2i and
// 2i + 1, rounded up, (p + q + 1) >> 1, which is PixelRowLinear with x[i] = 2i and f = 128.
void PixelRowHalve(const uint8_t* src, uint8_t* dst, int32_t dstWidth);

// Area averaging, for reductions of more than 2. A tap list per output pixel: `first[i]` is its first
// source pixel (or row), `count[i]` how many follow, and their weights start at weights[offset[i]]; the
// weights of one output pixel sum to kPixelAreaOne.
enum { kPixelAreaShift = 14, kPixelAreaOne = 1 << kPixelAreaShift };
// Horizontal: each channel of output pixel i is (sum of weight * source channel + kPixelAreaOne / 2) >>
// kPixelAreaShift.
void PixelRowArea(const uint8_t* src, uint8_t* dst, int32_t dstWidth, const int32_t* first, const int32_t* count,
                  const int32_t* offset, const uint16_t* weights);
// Vertical, one source row at a time: acc[j] += weight * row[j] (acc starts at zero); then
// PixelRowAreaEnd writes (acc[j] + kPixelAreaOne / 2) >> kPixelAreaShift.
void PixelRowAreaAdd(const uint8_t* row, uint32_t* acc, int32_t bytes, uint32_t weight);
void PixelRowAreaEnd(const uint32_t* acc, uint8_t* dst, int32_t bytes);

// Fills `count` 4-byte groups with the same four bytes (a pixel, or a black 4:2:2 pair).
void PixelRowFill4(uint8_t* dst, int32_t count, const uint8_t value[4]);

#ifdef __cplusplus
}
#endif
