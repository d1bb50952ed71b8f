// The GPU's conversions between 8-bit UNORM channels and 32-bit floats. The frame library's drawing
// computes its formulas in float between these two, as the GPU path does, so that both paths give the
// same bytes for the same pictures.
#pragma once

#include <cstdint>

// byte / 255, correctly rounded (a division, not a multiplication by 1/255, which rounds differently).
inline float UnormToFloat(uint8_t value) { return static_cast<float>(value) / 255.0f; }

// Saturated to 0 .. 1, then rounded to the nearest byte; NaN gives 0.
inline uint8_t FloatToUnorm8(float value) {
  if (!(value > 0.0f)) return 0;
  if (value >= 1.0f) return 255;
  return static_cast<uint8_t>(value * 255.0f + 0.5f);
}
