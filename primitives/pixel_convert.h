// One picture into another of any size and of a 32-bit RGB or 4:2:2 layout, in a single pass over strips
// of rows: each output row is resized vertically, then horizontally, then packed while its source rows
// are still in the cache, so no whole-frame intermediate is written or read.
//
// Filters, chosen for each axis on its own by the ratio of source span to target span:
//   - equal: the pixels are taken as they are, with no resampling;
//   - a reduction of more than 2: area averaging, each output pixel the mean of the source area it covers
//     (fractional at the edges), so that thin lines such as text strokes keep their weight instead of
//     falling between two samples;
//   - anything else, enlargements included: bilinear with pixel centres at (i + 0.5), 8-bit weights,
//     clamped at the picture's edges. A reduction by exactly 2 samples halfway between two source pixels,
//     which is the 2 x 2 mean.
// A source of one pixel's width or height is spread over its whole span.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Source layouts: B, G, R, A with alpha that counts; B, G, R, x with a byte that doesn't (read as 255);
// B, G, R.
enum { kPixelSourceBgra = 0, kPixelSourceBgrx = 1, kPixelSourceBgr = 2 };
// Target layouts: B, G, R, A with alpha taken from the source; B, G, R, 255; 4:2:2 in either order of
// pixel_rows.h.
enum { kPixelTargetBgra = 0, kPixelTargetBgrx = 1, kPixelTargetCbYCrY = 2, kPixelTargetYCbYCr = 3 };

// A picture: the first byte of its top row and the signed distance from one row to the next one down,
// so bottom-up pictures pass the address of their last row in memory and a negative step.
typedef struct {
  const uint8_t* top;
  int32_t step;
  int32_t width;
  int32_t height;
  int32_t layout;
} TPixelSource;

typedef struct {
  uint8_t* top;
  int32_t step;
  int32_t width;
  int32_t height;
  int32_t layout;
} TPixelTarget;

typedef struct {
  int32_t x, y, width, height;
} TPixelRect;

// Resizes the part `from` of the source into the part `to` of the target and paints the rest of the
// target black: 0, 0, 0, 0 in kPixelTargetBgra (nothing there, as the GPU program paints what lies off
// the screen), 0, 0, 0, 255 in kPixelTargetBgrx, studio black (Y 16, Cb and Cr 128) in 4:2:2. Every byte
// of the target's rows is written up to the row's last pixel or pair; the bytes behind it are not.
// kPrimNullPointer, kPrimSizeTooSmall for an empty picture or rectangle, kPrimOutOfRange for a rectangle
// that isn't inside its picture or an unknown layout, kPrimNoMemory when the row buffers can't be had.
int32_t PixelScaleConvert(const TPixelSource* src, const TPixelRect* from, const TPixelTarget* dst,
                          const TPixelRect* to);

#ifdef __cplusplus
}
#endif
