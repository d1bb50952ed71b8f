// What the fast paths share: where the samples of a draw read, placed once per draw for the columns and
// once per row, with the sampler's own snapping and clamping (SampleClamp's steps), and the rounding
// mode the draw runs under.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/cpu_gpu/fast_kernels.h"
#include "platform/cpu_gpu/programs.h"

namespace cvplat::cpugpu::fast {

// Rows are handed to the kernels in runs of this many pixels, so a run where no column is off `screen` or
// `area` goes without the masks.
inline constexpr size_t kRun = 256;

inline size_t Padded(size_t n) { return (n + kLanes - 1) / kLanes * kLanes; }

// The taps of samples at texture coordinates along a row: for the point sampler the texel, for the
// linear one the two texels and their weights. Padded with reads of texel 0 of weight 0.
class SampleColumns {
 public:
  void Place(const std::vector<float>& coords, UINT texels, SamplerFilter filter);
  // The taps from sample `first`, a multiple of kLanes.
  ColumnTaps Taps(size_t first) const {
    return {left_.data() + first,
            right_.data() + first,
            window_.data() + first,
            wLeft_.data() + first,
            wRight_.data() + first,
            leftFetch_.data() + first / kLanes,
            pairFetch_.data() + first / kLanes,
            halves_.data() + first / kLanes,
            rightUnused_ ? 1 : 0};
  }
  const int32_t* Texels(size_t first) const { return left_.data() + first; }

 private:
  std::vector<int32_t> left_;
  std::vector<int32_t> right_;
  std::vector<int32_t> window_;
  std::vector<float> wLeft_;
  std::vector<float> wRight_;
  std::vector<uint8_t> leftFetch_;
  std::vector<uint8_t> pairFetch_;
  std::vector<uint8_t> halves_;
  bool rightUnused_ = true;
};

// The texture rows that samples at v read.
RowTaps PlaceRow(const Surface& texture, SamplerFilter filter, float v);

// Samples `count` taps from `first` into planes `stride` floats apart: the sampling the row kernels do,
// on its own, so that tests can hold its floats against the reference's.
void SampleRun(const Kernels& k, SamplerFilter filter, const RowTaps& row, const SampleColumns& columns,
               size_t first, size_t count, int32_t channels, float* planes, size_t stride);

// Round to nearest for the length of a draw, whatever the host has set, as the device rounds; the
// conversions to bytes follow the processor's rounding mode.
class NearestRounding {
 public:
  NearestRounding();
  ~NearestRounding();
  NearestRounding(const NearestRounding&) = delete;
  NearestRounding& operator=(const NearestRounding&) = delete;

 private:
  unsigned saved_ = 0;
};

// Textures up to this size keep every texel offset within the kernels' 32-bit indices.
inline constexpr UINT kMaxTexels = 1u << 16;

}  // namespace cvplat::cpugpu::fast
