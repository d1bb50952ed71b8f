#include "platform/cpu_gpu/raster.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/cpu_gpu/fast_final_pass.h"
#include "platform/cpu_gpu/fast_overlay.h"

namespace cvplat::cpugpu {
namespace {

// A vertex on the target: position in fixed point with 8 fractional bits, and the texture coordinate.
struct ScreenVertex {
  int64_t x = 0;
  int64_t y = 0;
  float u = 0.0f;
  float v = 0.0f;
};

// A field of vertex `index`; a vertex past the end of the buffer reads as zeros, as on the device.
void ReadField(const VertexStream& s, uint64_t index, UINT fieldOffset, float* out, int count) {
  const uint64_t at = uint64_t{s.offset} + index * s.stride + fieldOffset;
  const uint64_t bytes = static_cast<uint64_t>(count) * sizeof(float);
  if (!s.data || at > s.size || s.size - at < bytes) {
    std::fill(out, out + count, 0.0f);
    return;
  }
  std::memcpy(out, s.data + at, static_cast<size_t>(bytes));
}

constexpr float kFarLimit = 1048576.0f;  // 2^20 pixels

bool ToScreen(const VertexStream& s, uint64_t index, const GpuViewport& vp, ScreenVertex* out) {
  float position[3];
  float uv[2];
  ReadField(s, index, s.positionOffset, position, 3);
  ReadField(s, index, s.texcoordOffset, uv, 2);
  const float x = vp.topLeftX + (position[0] + 1.0f) * 0.5f * vp.width;
  const float y = vp.topLeftY + (1.0f - position[1]) * 0.5f * vp.height;
  if (!std::isfinite(x) || !std::isfinite(y) || std::fabs(x) > kFarLimit || std::fabs(y) > kFarLimit) return false;
  out->x = static_cast<int64_t>(std::nearbyint(x * 256.0f));
  out->y = static_cast<int64_t>(std::nearbyint(y * 256.0f));
  out->u = uv[0];
  out->v = uv[1];
  return true;
}

// Twice the signed area of (a, b, p) on the target; positive when p lies right of a -> b as the target
// shows it (y down), that is inside a clockwise triangle.
int64_t Edge(const ScreenVertex& a, const ScreenVertex& b, int64_t px, int64_t py) {
  return (b.x - a.x) * (py - a.y) - (b.y - a.y) * (px - a.x);
}

// In a clockwise triangle a left edge runs upwards and a top edge runs right along a row.
bool IsTopLeft(const ScreenVertex& a, const ScreenVertex& b) {
  const int64_t dy = b.y - a.y;
  return dy < 0 || (dy == 0 && b.x > a.x);
}

bool Covers(int64_t edge, bool topLeft) { return edge > 0 || (edge == 0 && topLeft); }

int64_t CeilDiv256(int64_t v) { return -((-v) >> 8); }

float Clamp01(float v) { return v > 0.0f ? std::min(v, 1.0f) : 0.0f; }

float Factor(GpuBlend f, float s, float d, float sa, float da, float k) {
  switch (f) {
    case GpuBlend::Zero: return 0.0f;
    case GpuBlend::One: return 1.0f;
    case GpuBlend::SrcColor: return s;
    case GpuBlend::InvSrcColor: return 1.0f - s;
    case GpuBlend::SrcAlpha: return sa;
    case GpuBlend::InvSrcAlpha: return 1.0f - sa;
    case GpuBlend::DestAlpha: return da;
    case GpuBlend::InvDestAlpha: return 1.0f - da;
    case GpuBlend::DestColor: return d;
    case GpuBlend::InvDestColor: return 1.0f - d;
    case GpuBlend::BlendFactor: return k;
    case GpuBlend::InvBlendFactor: return 1.0f - k;
  }
  return 0.0f;
}

float Combine(GpuBlendOp op, float s, float fs, float d, float fd) {
  switch (op) {
    case GpuBlendOp::Add: return s * fs + d * fd;
    case GpuBlendOp::Subtract: return s * fs - d * fd;
    case GpuBlendOp::RevSubtract: return d * fd - s * fs;
    case GpuBlendOp::Min: return std::min(s, d);
    case GpuBlendOp::Max: return std::max(s, d);
  }
  return 0.0f;
}

// Blends `src` into the pixel at `p` (blue, green, red, alpha bytes) and stores the channels of the mask.
void StorePixel(uint8_t* p, const Float4& src, const BlendSettings& blend) {
  const GpuRenderTargetBlendDesc& rt = blend.target;
  Float4 out = src;
  if (rt.blendEnable) {
    const Float4 s{Clamp01(src.r), Clamp01(src.g), Clamp01(src.b), Clamp01(src.a)};
    const Float4 d{FromUnorm8(p[2]), FromUnorm8(p[1]), FromUnorm8(p[0]), FromUnorm8(p[3])};
    const float* k = blend.factor;
    auto colour = [&](float sc, float dc, float kc) {
      const float fs = Factor(rt.srcBlend, sc, dc, s.a, d.a, Clamp01(kc));
      const float fd = Factor(rt.destBlend, sc, dc, s.a, d.a, Clamp01(kc));
      return Combine(rt.blendOp, sc, fs, dc, fd);
    };
    out.r = colour(s.r, d.r, k[0]);
    out.g = colour(s.g, d.g, k[1]);
    out.b = colour(s.b, d.b, k[2]);
    const float fs = Factor(rt.srcBlendAlpha, s.a, d.a, s.a, d.a, Clamp01(k[3]));
    const float fd = Factor(rt.destBlendAlpha, s.a, d.a, s.a, d.a, Clamp01(k[3]));
    out.a = Combine(rt.blendOpAlpha, s.a, fs, d.a, fd);
  }
  const uint8_t mask = rt.renderTargetWriteMask;
  if (mask & 1) p[2] = ToUnorm8(out.r);
  if (mask & 2) p[1] = ToUnorm8(out.g);
  if (mask & 4) p[0] = ToUnorm8(out.b);
  if (mask & 8) p[3] = ToUnorm8(out.a);
}

// Pixels whose centres lie inside the viewport and on the target: [x0, x1) x [y0, y1).
struct PixelRect {
  int64_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;
};

PixelRect DrawableRect(const DrawCall& draw) {
  const GpuViewport& vp = draw.viewport;
  auto first = [](double edge) { return static_cast<int64_t>(std::ceil(edge - 0.5)); };
  PixelRect r;
  r.x0 = std::max<int64_t>(0, first(vp.topLeftX));
  r.y0 = std::max<int64_t>(0, first(vp.topLeftY));
  r.x1 = std::min<int64_t>(draw.target.width, first(static_cast<double>(vp.topLeftX) + vp.width));
  r.y1 = std::min<int64_t>(draw.target.height, first(static_cast<double>(vp.topLeftY) + vp.height));
  return r;
}

void DrawTriangle(const DrawCall& draw, const PixelRect& clip, const ScreenVertex& v0, const ScreenVertex& v1,
                  const ScreenVertex& v2) {
  const int64_t area = Edge(v0, v1, v2.x, v2.y);
  if (area <= 0) return;  // a back face or no area

  const bool tl0 = IsTopLeft(v1, v2);
  const bool tl1 = IsTopLeft(v2, v0);
  const bool tl2 = IsTopLeft(v0, v1);
  // Pixel x has its centre at 256 x + 128 on the fixed-point grid.
  const int64_t bx0 = std::max(clip.x0, CeilDiv256(std::min({v0.x, v1.x, v2.x}) - 128));
  const int64_t by0 = std::max(clip.y0, CeilDiv256(std::min({v0.y, v1.y, v2.y}) - 128));
  const int64_t bx1 = std::min(clip.x1, ((std::max({v0.x, v1.x, v2.x}) - 128) >> 8) + 1);
  const int64_t by1 = std::min(clip.y1, ((std::max({v0.y, v1.y, v2.y}) - 128) >> 8) + 1);
  const double a = static_cast<double>(area);

  for (int64_t y = by0; y < by1; ++y) {
    const int64_t py = y * 256 + 128;
    uint8_t* row = draw.target.bits + static_cast<size_t>(y) * draw.target.pitch;
    for (int64_t x = bx0; x < bx1; ++x) {
      const int64_t px = x * 256 + 128;
      const int64_t w0 = Edge(v1, v2, px, py);
      const int64_t w1 = Edge(v2, v0, px, py);
      const int64_t w2 = Edge(v0, v1, px, py);
      if (!Covers(w0, tl0) || !Covers(w1, tl1) || !Covers(w2, tl2)) continue;
      const double d0 = static_cast<double>(w0), d1 = static_cast<double>(w1), d2 = static_cast<double>(w2);
      const float u = static_cast<float>((d0 * v0.u + d1 * v1.u + d2 * v2.u) / a);
      const float v = static_cast<float>((d0 * v0.v + d1 * v1.v + d2 * v2.v) / a);
      const Float4 colour = RunPixelProgram(draw.program, draw.inputs, u, v);
      StorePixel(row + static_cast<size_t>(x) * 4, colour, draw.blend);
    }
  }
}

// The full-screen quad of the pipeline as x, y, z, u, v.
constexpr float kFullScreenQuad[6][5] = {
    {-1, -1, 0, 0, 1}, {-1, 1, 0, 0, 0}, {1, -1, 0, 1, 1}, {1, -1, 0, 1, 1}, {-1, 1, 0, 0, 0}, {1, 1, 0, 1, 0},
};

bool WholePixels(float v) { return v > 0.0f && v <= kFarLimit && v == std::floor(v); }

// The blend state of the overlays: source alpha over the target, the smaller alpha kept.
bool IsOverlayBlend(const GpuRenderTargetBlendDesc& b) {
  return b.blendEnable && b.srcBlend == GpuBlend::SrcAlpha && b.destBlend == GpuBlend::InvSrcAlpha &&
         b.blendOp == GpuBlendOp::Add && b.srcBlendAlpha == GpuBlend::One && b.destBlendAlpha == GpuBlend::Zero &&
         b.blendOpAlpha == GpuBlendOp::Min && b.renderTargetWriteMask == kGpuColorWriteAll;
}

// The quad's corners on the target, if its six vertices are the pipeline's two triangles over one
// rectangle with u, v from 0 to 1; z plays no part in what is drawn.
std::optional<QuadSpan> MatchQuad(const DrawCall& draw) {
  constexpr float kUv[6][2] = {{0, 1}, {0, 0}, {1, 1}, {1, 1}, {0, 0}, {1, 0}};
  constexpr bool kRight[6] = {false, false, true, true, false, true};
  constexpr bool kTop[6] = {false, true, false, false, true, true};
  if (draw.vertexCount != 6) return std::nullopt;
  ScreenVertex corner[6];
  float x[6];
  float y[6];
  for (UINT k = 0; k < 6; ++k) {
    float position[3];
    float uv[2];
    const uint64_t index = uint64_t{draw.startVertex} + k;
    ReadField(draw.vertices, index, draw.vertices.positionOffset, position, 3);
    ReadField(draw.vertices, index, draw.vertices.texcoordOffset, uv, 2);
    if (uv[0] != kUv[k][0] || uv[1] != kUv[k][1] || !ToScreen(draw.vertices, index, draw.viewport, &corner[k]))
      return std::nullopt;
    x[k] = position[0];
    y[k] = position[1];
  }
  // Same floats give the same snapped corners; compare the bits so a NaN never passes.
  for (UINT k = 1; k < 6; ++k) {
    const UINT sameX = kRight[k] ? 2 : 0;
    const UINT sameY = kTop[k] ? 1 : 0;
    if (std::memcmp(&x[k], &x[sameX], sizeof(float)) != 0 || std::memcmp(&y[k], &y[sameY], sizeof(float)) != 0)
      return std::nullopt;
  }
  QuadSpan span;
  span.left = corner[0].x;
  span.right = corner[2].x;
  span.top = corner[1].y;
  span.bottom = corner[0].y;
  // A quad drawn mirrored faces away and is culled; one without area draws nothing. Both stay with the
  // reference, which needs no help to draw nothing.
  if (span.right <= span.left || span.bottom <= span.top) return std::nullopt;
  const PixelRect clip = DrawableRect(draw);
  span.x0 = std::max(clip.x0, CeilDiv256(span.left - 128));
  span.x1 = std::min(clip.x1, CeilDiv256(span.right - 128));
  span.y0 = std::max(clip.y0, CeilDiv256(span.top - 128));
  span.y1 = std::min(clip.y1, CeilDiv256(span.bottom - 128));
  return span;
}

}  // namespace

void DrawReference(const DrawCall& draw) {
  if (!draw.target.bits || draw.viewport.width <= 0.0f || draw.viewport.height <= 0.0f) return;
  const PixelRect clip = DrawableRect(draw);
  if (clip.x0 >= clip.x1 || clip.y0 >= clip.y1) return;
  for (UINT t = 0; t + 3 <= draw.vertexCount; t += 3) {
    ScreenVertex v[3];
    bool onGrid = true;
    for (UINT k = 0; k < 3; ++k)
      onGrid = onGrid && ToScreen(draw.vertices, uint64_t{draw.startVertex} + t + k, draw.viewport, &v[k]);
    if (onGrid) DrawTriangle(draw, clip, v[0], v[1], v[2]);
  }
}

std::optional<FullScreenDraw> MatchFullScreenQuad(const DrawCall& draw) {
  const GpuViewport& vp = draw.viewport;
  if (draw.vertexCount != 6 || vp.topLeftX != 0.0f || vp.topLeftY != 0.0f || !WholePixels(vp.width) ||
      !WholePixels(vp.height))
    return std::nullopt;
  for (UINT k = 0; k < 6; ++k) {
    float position[3];
    float uv[2];
    ReadField(draw.vertices, uint64_t{draw.startVertex} + k, draw.vertices.positionOffset, position, 3);
    ReadField(draw.vertices, uint64_t{draw.startVertex} + k, draw.vertices.texcoordOffset, uv, 2);
    const float* q = kFullScreenQuad[k];
    if (position[0] != q[0] || position[1] != q[1] || position[2] != q[2] || uv[0] != q[3] || uv[1] != q[4])
      return std::nullopt;
  }
  FullScreenDraw quad;
  quad.program = draw.program;
  quad.filter = draw.inputs.filter;
  quad.width = static_cast<UINT>(vp.width);
  quad.height = static_cast<UINT>(vp.height);
  quad.blended = draw.blend.target.blendEnable != 0;
  const UINT targetWidth = draw.program == GpuProgramId::Hdyc ? quad.width / 2 : quad.width;
  const bool finalPass = draw.program == GpuProgramId::Argb || draw.program == GpuProgramId::Hdyc;
  if (!finalPass || draw.target.width != targetWidth || draw.target.height != quad.height) return std::nullopt;
  return quad;
}

QuadSpan FullScreenSpan(const FullScreenDraw& quad, const Surface& target) {
  QuadSpan span;
  span.right = int64_t{quad.width} * 256;
  span.bottom = int64_t{quad.height} * 256;
  span.x1 = std::min(quad.width, target.width);
  span.y1 = std::min(quad.height, target.height);
  return span;
}

std::optional<OverlayQuad> MatchOverlayQuad(const DrawCall& draw) {
  if ((draw.program != GpuProgramId::Overlay && draw.program != GpuProgramId::ColouredOverlay) ||
      !IsOverlayBlend(draw.blend.target) || !draw.target.bits || draw.viewport.width <= 0.0f ||
      draw.viewport.height <= 0.0f)
    return std::nullopt;
  const std::optional<QuadSpan> span = MatchQuad(draw);
  if (!span) return std::nullopt;
  return OverlayQuad{draw.program, draw.inputs.filter, *span};
}

bool DrawCoversTarget(const DrawCall& draw) {
  const GpuRenderTargetBlendDesc& b = draw.blend.target;
  return !b.blendEnable && (b.renderTargetWriteMask & kGpuColorWriteAll) == kGpuColorWriteAll &&
         MatchFullScreenQuad(draw).has_value();
}

void ExecuteDraw(const DrawCall& draw, bool forceReference) {
  if (!forceReference) {
    if (const std::optional<FullScreenDraw> quad = MatchFullScreenQuad(draw)) {
      if (DrawFinalPassFast(*quad, draw)) return;
    } else if (const std::optional<OverlayQuad> overlay = MatchOverlayQuad(draw)) {
      if (DrawOverlayFast(*overlay, draw)) return;
    }
  }
  DrawReference(draw);
}

}  // namespace cvplat::cpugpu
