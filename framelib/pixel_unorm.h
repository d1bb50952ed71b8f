// The GPU's conversions between 8-bit UNORM channels and 32-bit floats. The frame library's drawing
// computes its formulas in float between these two, as the GPU path does, so that both paths give the
// same bytes for the same pictures.
#pragma once

#include <array>
#include <cstdint>

// byte / 255, correctly rounded (a division, not a multiplication by 1/255, which rounds differently),
// looked up: the drawing loops convert every byte they touch.
inline constexpr std::array<float, 256> kUnormFloats = [] {
  std::array<float, 256> table{};
  for (int i = 0; i < 256; ++i) table[i] = static_cast<float>(i) / 255.0f;
  return table;
}();
inline float UnormToFloat(uint8_t value) { return kUnormFloats[value]; }

// Saturated to 0 .. 1, then rounded to the nearest byte; NaN gives 0.
inline uint8_t FloatToUnorm8(float value) {
  if (!(value > 0.0f)) return 0;
  if (value >= 1.0f) return 255;
  return static_cast<uint8_t>(value * 255.0f + 0.5f);
}
