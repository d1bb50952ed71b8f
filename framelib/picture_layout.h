// How a picture of a video format lies in memory: line size, whole size and line order. Pure functions.
#pragma once

#include <cstdint>

#include "media/av_props.h"

struct TPictureLayout {
  int32_t rowBytes;    // the format's when it is above the least a line needs, else that least
  int32_t lines;       // |height|
  int64_t imageBytes;  // planar colours carry their chroma below the luma lines
  bool bottomUp;       // the first line in memory is the bottom line of the picture
};

// Result of PictureLayoutOf.
enum class TPictureKind {
  None,     // the record describes no picture (no width, height or colour)
  Picture,  // `layout` is filled
  Invalid,  // a negative width, a colour outside the supported set, or a picture too large to address
};

// RGB colours with a positive height lie bottom-up, as device-independent bitmaps do; a negative height,
// as the format table gives them, is top-down. Every other colour lies top-down whatever the sign.
TPictureKind PictureLayoutOf(const TVideoProps& v, TPictureLayout* layout);

// Byte offset of picture line `line` counted from the top (0 .. lines-1).
inline int64_t PictureLineOffset(const TPictureLayout& layout, int32_t line) {
  const int32_t memoryLine = layout.bottomUp ? layout.lines - 1 - line : line;
  return int64_t{memoryLine} * layout.rowBytes;
}
