// Pixel access for the tests of the drawing operations: pixels by picture position, whatever the row order.
#pragma once

#include <array>
#include <cstdint>

#include "framelib/frame_test_helpers.h"
#include "framelib/picture_layout.h"

using Pixel = std::array<uint8_t, 4>;  // bytes in memory order: blue, green, red, alpha (or Cb Y Cr Y)

// The first byte of the 4-byte group `x` of picture line `y` (line 0 is the top one).
inline uint8_t* GroupAt(ICVFrame_I* frame, int32_t x, int32_t y) {
  TAvProps p{};
  frame->FormatGet(&p, nullptr);
  TPictureLayout layout{};
  PictureLayoutOf(p.video, &layout);
  uint8_t* pixels = nullptr;
  frame->PixelsGet(0, &pixels);
  return pixels + PictureLineOffset(layout, y) + int64_t{x} * 4;
}

inline Pixel Get(ICVFrame_I* frame, int32_t x, int32_t y) {
  const uint8_t* g = GroupAt(frame, x, y);
  return {g[0], g[1], g[2], g[3]};
}

inline void Put(ICVFrame_I* frame, int32_t x, int32_t y, Pixel value) {
  uint8_t* g = GroupAt(frame, x, y);
  for (int i = 0; i < 4; ++i) g[i] = value[i];
}

// A frame whose every 4-byte group is `value`; a negative height lies top-down.
inline FramePtr Filled(uint32_t colour, int32_t width, int32_t height, Pixel value) {
  FramePtr frame = MakeFrame(colour, width, height);
  const int32_t groups = colour == kColourARGB32 || colour == kColourRGB32 ? width : (width + 1) / 2;
  for (int32_t y = 0; y < (height < 0 ? -height : height); ++y)
    for (int32_t x = 0; x < groups; ++x) Put(frame.Get(), x, y, value);
  return frame;
}
