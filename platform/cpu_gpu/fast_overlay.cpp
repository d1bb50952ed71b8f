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
  const bool coloured = quad.program == GpuProgramId::ColouredOverlay;
  const float* colour = coloured ? draw.inputs.constants.color : nullptr;
  std::vector<float> planes(4 * fast::kRun, 0.0f);
  for (int64_t y = span.y0; y < span.y1; ++y) {
    const fast::RowTaps row = fast::PlaceRow(*texture, quad.filter, span.V(y));
    uint8_t* dst = draw.target.bits + static_cast<size_t>(y) * draw.target.pitch + static_cast<size_t>(span.x0) * 4;
    for (size_t first = 0; first < n; first += fast::kRun) {
      const size_t count = std::min(fast::kRun, n - first);
      fast::SampleRun(k, quad.filter, row, columns, first, count, coloured ? 1 : 4, planes.data(), fast::kRun);
      k.blendOverlay(planes.data(), fast::kRun, colour, static_cast<int32_t>(count), dst + first * 4);
    }
  }
  return true;
}

}  // namespace cvplat::cpugpu
