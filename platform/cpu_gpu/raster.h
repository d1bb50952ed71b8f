// The reference layer of the CPU twin, part two: one draw of a triangle list, as Direct3D 11 makes it
// with the default rasterizer state.
//
//   Vertices: POSITION (x, y, z) and TEXCOORD (u, v) pass through the vertex program; w is 1, so the
//   interpolation of u and v needs no perspective division.
//   Viewport: X = left + (x + 1) / 2 * width, Y = top + (1 - y) / 2 * height in float32 (y points up in
//   clip space, down on the target), then snapped to fixed point with 8 fractional bits, rounding to
//   nearest: the device's sub-pixel grid. Edge tests on the snapped grid are exact integer arithmetic.
//   Culling: triangles that run counter-clockwise on the target are back faces and aren't drawn, nor are
//   those without area. A triangle with a coordinate that isn't finite or lies more than 2^20 pixels out
//   isn't drawn either (a device would clip it at its guard band; no draw of the pipeline comes near).
//   Coverage: a pixel is drawn when its centre (x + 0.5, y + 0.5) lies inside the triangle, or on a top
//   or left edge (top-left rule), so two triangles sharing an edge draw each pixel on it once. Only
//   pixels inside the viewport and the render target are drawn: a target narrower than the viewport (the
//   HDYC output, W / 2 of W) takes just the pixels that fall on it.
//   Attributes: u and v at the pixel centre, weighted by the exact integer edge values in double
//   precision and then rounded to float32.
//   Output: the pixel program's result, blended with the target by the blend state, or written straight
//   (all four channels) without one, saturated and rounded to UNORM bytes.
//   Blending: with a UNORM target the source and the blend factor are clamped to 0..1 first; the
//   destination is the stored byte / 255; Min and Max ignore the factors; the write mask picks channels.
#pragma once

#include <cstddef>
#include <optional>

#include "platform/cpu_gpu/programs.h"

namespace cvplat::cpugpu {

// The bound vertex buffer in slot 0 and where the input layout finds the two fields in a vertex.
struct VertexStream {
  const uint8_t* data = nullptr;
  size_t size = 0;  // bytes of the buffer
  UINT stride = 0;
  UINT offset = 0;
  UINT positionOffset = 0;
  UINT texcoordOffset = 0;
};

struct BlendSettings {
  GpuRenderTargetBlendDesc target;  // blendEnable false writes the program's output straight
  float factor[4] = {1.0f, 1.0f, 1.0f, 1.0f};
};

// Everything one draw reads, gathered from the context's bindings.
struct DrawCall {
  VertexStream vertices;
  UINT vertexCount = 0;
  UINT startVertex = 0;
  GpuViewport viewport;
  Surface target;
  GpuProgramId program = GpuProgramId::Overlay;
  ProgramInputs inputs;
  BlendSettings blend;
};

// The plain per-pixel draw: the contract.
void DrawReference(const DrawCall& draw);

// The draw of the final pass: the full-screen quad with the program, the sampler and the blending
// named here, on a target as wide as the viewport (ARGB) or half as wide (HDYC), from the origin.
struct FullScreenDraw {
  GpuProgramId program = GpuProgramId::Argb;
  SamplerFilter filter = SamplerFilter::Point;
  UINT width = 0;   // of the viewport, in pixels
  UINT height = 0;
  bool blended = false;
};
std::optional<FullScreenDraw> MatchFullScreenQuad(const DrawCall& draw);

// The pixels an axis-aligned quad covers and the texture coordinate at each of their centres. The quad
// is the pipeline's: two triangles over the rectangle L..R, T..B of clip space, (L, B) (L, T) (R, B)
// (R, B) (L, T) (R, T), with u and v running from 0 at its left and top to 1 at its right and bottom.
// With the top-left rule the two triangles cover the centres in [left, right) x [top, bottom) once each,
// and on either triangle the interpolation at a centre is the exact quotient below, rounded to double
// and then to float, so a fast path finds the reference's u and v per column and per row.
struct QuadSpan {
  int64_t left = 0, top = 0, right = 0, bottom = 0;  // corners on the target, fixed point, 8 fractional bits
  int64_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;            // pixels covered, clipped: [x0, x1) x [y0, y1)

  float U(int64_t x) const {
    return static_cast<float>(static_cast<double>(x * 256 + 128 - left) / static_cast<double>(right - left));
  }
  float V(int64_t y) const {
    return static_cast<float>(static_cast<double>(y * 256 + 128 - top) / static_cast<double>(bottom - top));
  }
};

// The quad of the final pass seen as a span: the whole target.
QuadSpan FullScreenSpan(const FullScreenDraw& quad, const Surface& target);

// An overlay draw of the pipeline: the overlay or coloured overlay program over a quad at any
// rectangle, blended by the overlay blend state (source alpha over, the smaller alpha kept).
struct OverlayQuad {
  GpuProgramId program = GpuProgramId::Overlay;
  SamplerFilter filter = SamplerFilter::Point;
  QuadSpan span;
};
// Only quads that face the target, have an area and lie within the rasteriser's range are taken; the
// reference draws the rest.
std::optional<OverlayQuad> MatchOverlayQuad(const DrawCall& draw);

// Whether the draw writes every pixel of its target whatever the pixels held: the final pass's
// full-screen quad, unblended, with all four channels.
bool DrawCoversTarget(const DrawCall& draw);

// Runs a draw: a fast path where one takes the draw, else the reference. `forceReference` skips the
// fast paths, so their results can be compared with the reference on the same input.
void ExecuteDraw(const DrawCall& draw, bool forceReference);

}  // namespace cvplat::cpugpu
