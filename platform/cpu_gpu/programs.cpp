#include "platform/cpu_gpu/programs.h"

#include <algorithm>
#include <cmath>

namespace cvplat::cpugpu {
namespace {

// A scaled texture coordinate in fixed point with 8 fractional bits. Far coordinates are held at
// +-2^20 texels first: the clamp address mode gives the edge texel for them all the same.
int64_t SnapToFixed8(float scaled) {
  if (std::isnan(scaled)) return 0;
  constexpr float kLimit = 1048576.0f;
  scaled = std::clamp(scaled, -kLimit, kLimit);
  return static_cast<int64_t>(std::nearbyint(scaled * 256.0f));
}

Float4 Texel(const Surface& t, int64_t x, int64_t y) {
  x = std::clamp<int64_t>(x, 0, static_cast<int64_t>(t.width) - 1);
  y = std::clamp<int64_t>(y, 0, static_cast<int64_t>(t.height) - 1);
  const uint8_t* p = t.bits + static_cast<size_t>(y) * t.pitch + static_cast<size_t>(x) * 4;
  return {FromUnorm8(p[2]), FromUnorm8(p[1]), FromUnorm8(p[0]), FromUnorm8(p[3])};
}

// Vectors of the constant buffer, as rectangles: x, y, z, w are left, top, right, bottom.
bool Outside(const float rect[4], float x, float y) {
  return x < rect[0] || y < rect[1] || x > rect[2] || y > rect[3];
}

struct Rgb {
  float r = 0.0f;
  float g = 0.0f;
  float b = 0.0f;
};

// What lies outside `area`: the picture shows through with the colour's A, the rest is the colour.
Rgb Shade(const Rgb& c, const float color[4]) {
  const float keep = color[3];
  const float mix = 1.0f - keep;
  return {c.r * keep + color[0] * mix, c.g * keep + color[1] * mix, c.b * keep + color[2] * mix};
}

Rgb ColourOf(const Float4& c) { return {c.r, c.g, c.b}; }

Float4 RunArgb(const ProgramInputs& in, float u, float v) {
  const PS_BACKCOLOR_BUFFER& k = in.constants;
  if (Outside(k.screen, u, v)) return {0.0f, 0.0f, 0.0f, 0.0f};
  const Float4 c = SampleClamp(in.texture, in.filter, u, v);
  const Rgb rgb = Outside(k.area, u, v) ? Shade(ColourOf(c), k.color) : ColourOf(c);
  return {rgb.r, rgb.g, rgb.b, c.a};
}

// One pixel of the pair: black off the screen, shaded off the area, else the picture.
Rgb HdycPixel(const ProgramInputs& in, float x, float y) {
  const PS_BACKCOLOR_BUFFER& k = in.constants;
  const Rgb c = ColourOf(SampleClamp(in.texture, in.filter, x, y));
  if (Outside(k.screen, x, y)) return {};
  return Outside(k.area, x, y) ? Shade(c, k.color) : c;
}

float Luma(const Rgb& p) { return 0.257f * p.r + 0.504f * p.g + 0.098f * p.b + 0.0625f; }

// The target is half the viewport's width, so u runs to 0.5 only; doubled, it spans the picture.
Float4 RunHdyc(const ProgramInputs& in, float u, float v) {
  const PS_BACKCOLOR_BUFFER& k = in.constants;
  const float x1 = 2.0f * u;
  const Rgb a = HdycPixel(in, x1, v);
  const float x2 = x1 + k.pitch[0];
  // The second pixel past the screen's right edge repeats the first, so a row's last pixel keeps its
  // colour instead of fading into black.
  const Rgb b = x2 > k.screen[2] ? a : HdycPixel(in, x2, v);
  const Rgb m{(a.r + b.r) * 0.5f, (a.g + b.g) * 0.5f, (a.b + b.b) * 0.5f};
  Float4 out;
  out.r = 0.439f * m.r - 0.368f * m.g - 0.071f * m.b + 0.5f;   // Cr
  out.g = Luma(a);                                              // Y of the first pixel
  out.b = -0.148f * m.r - 0.291f * m.g + 0.439f * m.b + 0.5f;  // Cb
  out.a = Luma(b);                                              // Y of the second pixel
  return out;
}

}  // namespace

float FromUnorm8(uint8_t value) { return static_cast<float>(value) / 255.0f; }

uint8_t ToUnorm8(float value) {
  if (!(value > 0.0f)) return 0;  // NaN too
  if (value >= 1.0f) return 255;
  return static_cast<uint8_t>(std::nearbyint(value * 255.0f));
}

int64_t SnapToTexels(float coord, UINT texels) { return SnapToFixed8(coord * static_cast<float>(texels)); }

Float4 SampleClamp(const Surface* texture, SamplerFilter filter, float u, float v) {
  if (!texture || !texture->bits || texture->width == 0 || texture->height == 0) return {};
  const int64_t fu = SnapToTexels(u, texture->width);
  const int64_t fv = SnapToTexels(v, texture->height);
  if (filter == SamplerFilter::Point) return Texel(*texture, fu >> 8, fv >> 8);

  const int64_t lu = fu - 128;
  const int64_t lv = fv - 128;
  const int64_t x0 = lu >> 8;
  const int64_t y0 = lv >> 8;
  const float fx = static_cast<float>(lu & 255) / 256.0f;
  const float fy = static_cast<float>(lv & 255) / 256.0f;
  const float w00 = (1.0f - fx) * (1.0f - fy);
  const float w10 = fx * (1.0f - fy);
  const float w01 = (1.0f - fx) * fy;
  const float w11 = fx * fy;
  const Float4 t00 = Texel(*texture, x0, y0);
  const Float4 t10 = Texel(*texture, x0 + 1, y0);
  const Float4 t01 = Texel(*texture, x0, y0 + 1);
  const Float4 t11 = Texel(*texture, x0 + 1, y0 + 1);
  auto mix = [&](float Float4::*ch) {
    return t00.*ch * w00 + t10.*ch * w10 + t01.*ch * w01 + t11.*ch * w11;
  };
  return {mix(&Float4::r), mix(&Float4::g), mix(&Float4::b), mix(&Float4::a)};
}

Float4 RunPixelProgram(GpuProgramId program, const ProgramInputs& in, float u, float v) {
  switch (program) {
    case GpuProgramId::Overlay:
      return SampleClamp(in.texture, in.filter, u, v);
    case GpuProgramId::ColouredOverlay: {
      // The texture's first channel masks the colour; A of the colour is its transparency.
      const float m = SampleClamp(in.texture, in.filter, u, v).r;
      const float* c = in.constants.color;
      return {m * c[0], m * c[1], m * c[2], m * (1.0f - c[3])};
    }
    case GpuProgramId::Argb:
      return RunArgb(in, u, v);
    case GpuProgramId::Hdyc:
      return RunHdyc(in, u, v);
    case GpuProgramId::Vertex:
      break;
  }
  return {};
}

}  // namespace cvplat::cpugpu
