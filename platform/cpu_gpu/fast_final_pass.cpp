// The final pass row by row. Everything the programs decide per pixel splits into a part of the column
// and a part of the row: u, the sample taps and the column's side of `screen` and `area` are placed once
// per draw, v and the row's side once per row, and the kernels combine them.
#include "platform/cpu_gpu/fast_final_pass.h"

#include <algorithm>
#include <cstring>

#include "platform/cpu_gpu/fast_sampling.h"

namespace cvplat::cpugpu {
namespace {

using fast::kRun;

bool Off(const float rect[4], float x) { return x < rect[0] || x > rect[2]; }
bool OffRow(const float rect[4], float y) { return y < rect[1] || y > rect[3]; }

fast::Shading ShadingOf(const PS_BACKCOLOR_BUFFER& k) {
  const float mix = 1.0f - k.color[3];
  return {k.color[3], {k.color[0] * mix, k.color[1] * mix, k.color[2] * mix}};
}

uint8_t* TargetRow(const Surface& target, int64_t y) { return target.bits + static_cast<size_t>(y) * target.pitch; }

// The columns of the point-sampled ARGB pass, in runs of one kind: the program there is a copy of the
// texel (a byte b comes back from b / 255 x 255 as b), its shading (a table per channel) or zero, so the
// pass needs no float arithmetic per pixel.
class ArgbPointPass {
 public:
  ArgbPointPass(const DrawCall& draw, const std::vector<float>& u) : draw_(draw), width_(u.size()) {
    const PS_BACKCOLOR_BUFFER& k = draw.inputs.constants;
    columns_.Place(u, draw.inputs.texture->width, SamplerFilter::Point);
    const int32_t* texel = columns_.Texels(0);
    for (size_t x = 0; x < u.size(); ++x) {
      const Kind kind = Off(k.screen, u[x]) ? Kind::Zero : Off(k.area, u[x]) ? Kind::Shade : Kind::Copy;
      if (runs_.empty() || runs_.back().kind != kind) runs_.push_back({x, x, kind, true});
      Run& run = runs_.back();
      run.contiguous = run.contiguous && texel[x] == texel[run.begin] + static_cast<int32_t>(x - run.begin);
      run.end = x + 1;
    }
    const fast::Shading shading = ShadingOf(k);
    for (int c = 0; c < 3; ++c)
      for (int b = 0; b < 256; ++b)
        shade_[c][b] = ToUnorm8(FromUnorm8(static_cast<uint8_t>(b)) * shading.keep + shading.tint[c]);
  }

  void Row(float v, uint8_t* dst) const {
    const PS_BACKCOLOR_BUFFER& k = draw_.inputs.constants;
    if (OffRow(k.screen, v)) {
      std::memset(dst, 0, width_ * 4);
      return;
    }
    const bool shadeAll = OffRow(k.area, v);
    const uint8_t* src = fast::PlaceRow(*draw_.inputs.texture, SamplerFilter::Point, v).top;
    const int32_t* texel = columns_.Texels(0);
    for (const Run& run : runs_) {
      uint8_t* out = dst + run.begin * 4;
      const size_t n = run.end - run.begin;
      if (run.kind == Kind::Zero) {
        std::memset(out, 0, n * 4);
      } else if (run.kind == Kind::Shade || shadeAll) {
        for (size_t x = run.begin; x < run.end; ++x, out += 4) {
          const uint8_t* p = src + static_cast<size_t>(texel[x]) * 4;
          out[0] = shade_[2][p[0]];
          out[1] = shade_[1][p[1]];
          out[2] = shade_[0][p[2]];
          out[3] = p[3];
        }
      } else if (run.contiguous) {
        std::memcpy(out, src + static_cast<size_t>(texel[run.begin]) * 4, n * 4);
      } else {
        for (size_t x = run.begin; x < run.end; ++x, out += 4)
          std::memcpy(out, src + static_cast<size_t>(texel[x]) * 4, 4);
      }
    }
  }

 private:
  enum class Kind { Zero, Shade, Copy };
  struct Run {
    size_t begin;
    size_t end;
    Kind kind;
    bool contiguous;
  };
  const DrawCall& draw_;
  const size_t width_;
  fast::SampleColumns columns_;
  std::vector<Run> runs_;
  uint8_t shade_[3][256];  // red, green, blue
};

// Whether any of the flags of the samples in [first, first + count) is set, per run of kRun.
std::vector<bool> RunsWithFlags(const std::vector<int32_t>& flags) {
  std::vector<bool> any((flags.size() + kRun - 1) / kRun, false);
  for (size_t s = 0; s < flags.size(); ++s)
    if (flags[s]) any[s / kRun] = true;
  return any;
}

void ArgbLinearPass(const DrawCall& draw, const QuadSpan& span, const std::vector<float>& u) {
  const fast::Kernels& k = fast::ActiveKernels();
  const PS_BACKCOLOR_BUFFER& c = draw.inputs.constants;
  const Surface& texture = *draw.inputs.texture;
  fast::SampleColumns columns;
  columns.Place(u, texture.width, SamplerFilter::Linear);
  std::vector<int32_t> flags(fast::Padded(u.size()), 0);
  for (size_t x = 0; x < u.size(); ++x)
    flags[x] = (Off(c.screen, u[x]) ? fast::kArgbOffScreen : 0) | (Off(c.area, u[x]) ? fast::kArgbOffArea : 0);
  const std::vector<bool> flagged = RunsWithFlags(flags);
  const fast::Shading shading = ShadingOf(c);
  for (int64_t y = span.y0; y < span.y1; ++y) {
    const float v = span.V(y);
    const int32_t rowFlags = (OffRow(c.screen, v) ? fast::kArgbOffScreen : 0) | (OffRow(c.area, v) ? fast::kArgbOffArea : 0);
    const fast::RowTaps row = fast::PlaceRow(texture, SamplerFilter::Linear, v);
    uint8_t* dst = TargetRow(draw.target, y);
    for (size_t first = 0; first < u.size(); first += kRun) {
      const fast::ColumnTaps taps = columns.Taps(first);
      k.argbRow(&row, &taps, flagged[first / kRun] ? flags.data() + first : nullptr, rowFlags, &shading,
                static_cast<int32_t>(std::min(kRun, u.size() - first)), dst + first * 4);
    }
  }
}

void ArgbPass(const DrawCall& draw, const QuadSpan& span, SamplerFilter filter) {
  std::vector<float> u(static_cast<size_t>(span.x1 - span.x0));
  for (size_t x = 0; x < u.size(); ++x) u[x] = span.U(span.x0 + static_cast<int64_t>(x));
  if (filter == SamplerFilter::Linear) {
    ArgbLinearPass(draw, span, u);
    return;
  }
  const ArgbPointPass pass(draw, u);
  for (int64_t y = span.y0; y < span.y1; ++y) pass.Row(span.V(y), TargetRow(draw.target, y));
}

// Texel i of the target holds the pixels at x1 = 2u and x2 = x1 + `pitch`.x of the frame. Their samples
// are taken as one sequence x1, x2, x1, x2, ..., along which the texels usually advance evenly, so they
// are fetched as runs.
void HdycPass(const DrawCall& draw, const QuadSpan& span, SamplerFilter filter) {
  const fast::Kernels& k = fast::ActiveKernels();
  const PS_BACKCOLOR_BUFFER& c = draw.inputs.constants;
  const Surface& texture = *draw.inputs.texture;
  const size_t n = static_cast<size_t>(span.x1 - span.x0);
  std::vector<float> x(2 * n);
  std::vector<int32_t> flags(fast::Padded(n), 0);
  for (size_t i = 0; i < n; ++i) {
    const float x1 = 2.0f * span.U(span.x0 + static_cast<int64_t>(i));
    const float x2 = x1 + c.pitch[0];
    x[2 * i] = x1;
    x[2 * i + 1] = x2;
    flags[i] = (Off(c.screen, x1) ? fast::kHdycFirstOffScreen : 0) | (Off(c.area, x1) ? fast::kHdycFirstOffArea : 0) |
               (x2 > c.screen[2] ? fast::kHdycSecondPastRight : 0) |
               (Off(c.screen, x2) ? fast::kHdycSecondOffScreen : 0) | (Off(c.area, x2) ? fast::kHdycSecondOffArea : 0);
  }
  fast::SampleColumns pairs;
  pairs.Place(x, texture.width, filter);
  const std::vector<bool> flagged = RunsWithFlags(flags);
  const fast::Shading shading = ShadingOf(c);
  for (int64_t y = span.y0; y < span.y1; ++y) {
    const float v = span.V(y);
    int32_t rowFlags = 0;
    if (OffRow(c.screen, v)) rowFlags |= fast::kHdycFirstOffScreen | fast::kHdycSecondOffScreen;
    if (OffRow(c.area, v)) rowFlags |= fast::kHdycFirstOffArea | fast::kHdycSecondOffArea;
    const fast::RowTaps row = fast::PlaceRow(texture, filter, v);
    uint8_t* dst = TargetRow(draw.target, y);
    for (size_t at = 0; at < n; at += kRun) {
      const fast::ColumnTaps taps = pairs.Taps(2 * at);
      k.hdycRow(&row, &taps, filter == SamplerFilter::Linear, flagged[at / kRun] ? flags.data() + at : nullptr,
                rowFlags, &shading, static_cast<int32_t>(std::min(kRun, n - at)), dst + at * 4);
    }
  }
}

}  // namespace

bool DrawFinalPassFast(const FullScreenDraw& quad, const DrawCall& draw) {
  const Surface* texture = draw.inputs.texture;
  if (quad.blended || draw.blend.target.renderTargetWriteMask != kGpuColorWriteAll || !draw.target.bits ||
      !texture || !texture->bits || texture->width == 0 || texture->height == 0 ||
      texture->width > fast::kMaxTexels || texture->height > fast::kMaxTexels)
    return false;
  const QuadSpan span = FullScreenSpan(quad, draw.target);
  const fast::NearestRounding nearest;
  if (quad.program == GpuProgramId::Hdyc) HdycPass(draw, span, quad.filter);
  else ArgbPass(draw, span, quad.filter);
  return true;
}

}  // namespace cvplat::cpugpu
