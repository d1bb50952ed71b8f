// A rectangle of the desktop: left, top, right, bottom in desktop pixels (negative on a desktop whose
// monitors lie left of or above the first). Right and bottom are exclusive; a rectangle is empty when
// left is not less than right or top is not less than bottom.
#pragma once

#include <cstdint>

struct TRect {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};
