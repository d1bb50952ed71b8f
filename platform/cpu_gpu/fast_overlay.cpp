#include "platform/cpu_gpu/fast_overlay.h"

#include <algorithm>

#include "platform/cpu_gpu/fast_sampling.h"

namespace cvplat::cpugpu {

bool DrawOverlayFast(const OverlayQuad& quad, const DrawCall& draw) {
  const Surface* texture = draw.inputs.texture;
  if (!texture || !texture->bits || texture->width == 0 || texture->height == 0 ||
      texture->width > fast::kMaxTexels || texture->height > fast::kMaxTexels)
    return false;
  const QuadSpan& span = quad.span;
  if (span.x0 >= span.x1 || span.y0 >= span.y1) return true;
  const fast::Kernels& k = fast::ActiveKernels();
  const fast::NearestRounding nearest;
  const size_t n = static_cast<size_t>(span.x1 - span.x0);
  std::vector<float> u(n);
  for (size_t x = 0; x < n; ++x) u[x] = span.U(span.x0 + static_cast<int64_t>(x));
  fast::SampleColumns columns;
  columns.Place(u, texture->width, quad.filter);
  // The coloured overlay reads only the red channel of its mask.
  const float* colour = quad.program == GpuProgramId::ColouredOverlay ? draw.inputs.constants.color : nullptr;
  const fast::ColumnTaps taps = columns.Taps(0);
  for (int64_t y = span.y0; y < span.y1; ++y) {
    const fast::RowTaps row = fast::PlaceRow(*texture, quad.filter, span.V(y));
    uint8_t* dst = draw.target.bits + static_cast<size_t>(y) * draw.target.pitch + static_cast<size_t>(span.x0) * 4;
    k.overlayRow(&row, &taps, quad.filter == SamplerFilter::Linear, colour, static_cast<int32_t>(n), dst);
  }
  return true;
}

}  // namespace cvplat::cpugpu
