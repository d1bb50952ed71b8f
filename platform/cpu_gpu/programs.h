// The reference layer of the CPU twin, part one: the texture sampler and the pixel programs, in 32-bit
// float, step for step as the pipeline's formulas say. This is the contract that the fast paths and the
// Direct3D 11 output are compared with, so it is plain and exact rather than quick. The folder is built
// without fused multiply-adds (and with SSE arithmetic on 32-bit x86) so every target gives the same bits.
//
// Sampling, as Direct3D 11 defines it for a clamp sampler on one mip level:
//   The coordinate is scaled by the texture's size in float32 (texel centres at (i + 0.5) / W) and then
//   snapped to fixed point with 8 fractional bits, rounding to nearest (ties to even).
//   Point: the texel is the integer part, clamped to the texture.
//   Linear: the snapped coordinate minus one half gives the left (top) texel in its integer part and the
//   fraction f in its 8 bits; the four neighbours, clamped, are weighted (1 - fx)(1 - fy), fx(1 - fy),
//   (1 - fx)fy, fx fy, computed in float32 from the 8-bit fractions.
// Why snap: Direct3D 11 hardware converts the scaled coordinate to such fixed point before it picks texels
// or weights (it needs at least 8 bits of sub-texel precision), so the twin picks the same texels and
// weights as the device it stands in for. It also makes the pipeline's border samples deterministic: the
// HDYC program samples at (2i + 1) / W and (2i + 2) / W, exactly on borders between pixels, where a float
// floor would pick either neighbour by the last bit of the interpolation; snapped, the border belongs to
// the pixel on its right (point) or halves the two (linear), as on the device.
#pragma once

#include <cstdint>

#include "platform/gpu.h"

namespace cvplat::cpugpu {

// A picture in B8G8R8A8 memory: blue, green, red, alpha bytes per pixel, rows `pitch` bytes apart.
struct Surface {
  uint8_t* bits = nullptr;
  UINT width = 0;
  UINT height = 0;
  UINT pitch = 0;
};

// Red, green, blue, alpha: what a program sees when it samples and what it writes.
struct Float4 {
  float r = 0.0f;
  float g = 0.0f;
  float b = 0.0f;
  float a = 0.0f;
};

enum class SamplerFilter { Point, Linear };

// A texture coordinate scaled by the texture's size `texels` in float32 and snapped to fixed point with
// 8 fractional bits, as the sampler places it. The fast paths place their samples with this same step.
int64_t SnapToTexels(float coord, UINT texels);

// The sample at (u, v) with the clamp address mode. No texture samples as zeros, as an unbound slot does.
Float4 SampleClamp(const Surface* texture, SamplerFilter filter, float u, float v);

// What a pixel program reads: the texture and sampler in slot 0 and the constant buffer in slot 0
// (zeros past the bound buffer's end and when none is bound).
struct ProgramInputs {
  const Surface* texture = nullptr;
  SamplerFilter filter = SamplerFilter::Linear;
  PS_BACKCOLOR_BUFFER constants{};
};

// Runs one of the four pixel programs at the texture coordinate (u, v).
Float4 RunPixelProgram(GpuProgramId program, const ProgramInputs& inputs, float u, float v);

// A float channel as a UNORM byte: saturated to 0..1 (NaN as 0), times 255, rounded to nearest even.
uint8_t ToUnorm8(float value);
// A UNORM byte as float: byte / 255.
float FromUnorm8(uint8_t value);

}  // namespace cvplat::cpugpu
