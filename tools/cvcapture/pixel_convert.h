// Pixel conversions of the capture tool: the component's frame pictures into planar YCbCr for Y4M and
// into 8-bit RGB for PNG. The row functions are plain C references; the picture functions walk rows.
// Colour: BT.709 with limited range (16..235 luma, 16..240 chroma) both ways.
#pragma once

#include <cstddef>
#include <cstdint>

#include "CVDeviceSCR.h"

// Colour codes a capture can deliver; RGB codes lie in memory as B, G, R, A/X bytes.
inline constexpr uint32_t kFourccHDYC = 0x43594448;  // U Y0 V Y1, HD colours
inline constexpr uint32_t kFourccUYVY = 0x59565955;  // U Y0 V Y1
inline constexpr uint32_t kFourccYUY2 = 0x32595559;  // Y0 U Y1 V
inline constexpr uint32_t kColourCodeARGB32 = 0x773C9AC0;
inline constexpr uint32_t kColourCodeRGB32 = 0xE436EB7E;

enum class TPixelLayout { Unknown, UYVY, YUY2, BGRA };

TPixelLayout PixelLayoutOf(uint32_t colourFormat);

// A picture read top-down: line y starts at first + y * stride (stride may be negative).
struct TPictureView {
  const uint8_t* first = nullptr;
  ptrdiff_t stride = 0;
  int32_t width = 0;
  int32_t height = 0;
  TPixelLayout layout = TPixelLayout::Unknown;
};

// The view of a frame's picture of format `video` over `size` bytes at `bytes`. RGB pictures with a
// positive height lie bottom-up. False for an unknown layout, an empty size, or bytes that are too few.
bool PictureFromFrame(const TVideoProps& video, const uint8_t* bytes, int64_t size, TPictureView* view);

// Row references. `width` counts pixels; 4:2:2 rows give (width + 1) / 2 chroma samples.
void UYVYToPlanarRow_C(const uint8_t* src, uint8_t* y, uint8_t* u, uint8_t* v, int width);
void YUY2ToPlanarRow_C(const uint8_t* src, uint8_t* y, uint8_t* u, uint8_t* v, int width);
void BGRAToYUV444Row_C(const uint8_t* src, uint8_t* y, uint8_t* u, uint8_t* v, int width);
void UYVYToRGB24Row_C(const uint8_t* src, uint8_t* rgb, int width);
void YUY2ToRGB24Row_C(const uint8_t* src, uint8_t* rgb, int width);
void BGRAToRGB24Row_C(const uint8_t* src, uint8_t* rgb, int width);

// One pixel each way, exposed for the tests' known values.
void RgbToYuv(int r, int g, int b, uint8_t* y, uint8_t* u, uint8_t* v);
void YuvToRgb(int y, int u, int v, uint8_t* r, uint8_t* g, uint8_t* b);

// The chroma layout a picture turns into: 4:2:2 for the packed YCbCr layouts, 4:4:4 for RGB.
enum class TChroma { C422, C444 };
TChroma PlanarChromaOf(TPixelLayout layout);
int32_t ChromaWidth(TChroma chroma, int32_t width);

// Writes the picture as three planes: Y (width x height), then Cb and Cr of ChromaWidth x height.
void PictureToPlanar(const TPictureView& view, uint8_t* y, uint8_t* u, uint8_t* v);
// Writes the picture as width x height x 3 bytes of R, G, B, top-down.
void PictureToRgb24(const TPictureView& view, uint8_t* rgb);
