// Where the bytes of one pixel pair of a packed 4:2:2 picture lie, for the drawing operations that
// change a pair's bytes in place.
#pragma once

#include <cstdint>

#include "media/colour_formats.h"

struct TPairLayout {
  int luma0;
  int luma1;
  int cb;
  int cr;
};

// False for any colour that isn't a packed 4:2:2 one.
inline bool PairLayoutOf(uint32_t colour, TPairLayout* pair) {
  switch (colour) {
    case kColourHDYC:
    case kColourUYVY: *pair = {1, 3, 0, 2}; return true;
    case kColourYUY2: *pair = {0, 2, 1, 3}; return true;
    case kColourYVYU: *pair = {0, 2, 3, 1}; return true;
    default: return false;
  }
}
