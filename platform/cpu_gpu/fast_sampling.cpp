#include "platform/cpu_gpu/fast_sampling.h"

#include <algorithm>
#include <cfenv>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace cvplat::cpugpu::fast {
namespace {

int32_t ClampTexel(int64_t i, UINT texels) {
  return static_cast<int32_t>(std::clamp<int64_t>(i, 0, static_cast<int64_t>(texels) - 1));
}

// The left (top) texel of the linear sampler and the fraction toward the next, in 8 bits.
struct LinearTap {
  int64_t first;
  float fraction;
};
LinearTap Linear(int64_t snapped) {
  const int64_t l = snapped - 128;
  return {l >> 8, static_cast<float>(l & 255) / 256.0f};
}

// How a group of kLanes taps can be fetched: as a run of texels from its first left texel, as every
// second texel of a run, from a window of 2 kLanes texels at its first (the runs and the window read
// texels past the last one they use, so those must exist), as adjacent pairs where each right texel
// follows its left one, or one by one. The last group of a row, padded with taps of texel 0, is fetched
// one by one.
uint8_t FetchOf(const int32_t* left, const int32_t* right, size_t lanes, UINT texels) {
  if (lanes < kLanes) return kFetchAny;
  const bool windowFits = int64_t{left[0]} + 2 * kLanes <= int64_t{texels};
  bool run = true;
  bool everySecond = windowFits;
  bool window = windowFits;
  bool pairs = right != nullptr;
  for (size_t j = 0; j < kLanes; ++j) {
    const int32_t offset = left[j] - left[0];
    run = run && offset == static_cast<int32_t>(j);
    everySecond = everySecond && offset == 2 * static_cast<int32_t>(j);
    window = window && offset >= 0 && offset + (right ? 1 : 0) < 2 * kLanes;
    pairs = pairs && right[j] == left[j] + 1;
  }
  if (right && !pairs) return kFetchAny;
  if (run) return kFetchRun;
  if (everySecond) return kFetchEverySecond;
  if (window) return kFetchWindow;
  return pairs ? kFetchPairs : kFetchAny;
}

}  // namespace

void SampleColumns::Place(const std::vector<float>& coords, UINT texels, SamplerFilter filter) {
  // Twice the lanes: the HDYC row reads the samples of kLanes texels, two per texel.
  const size_t n = (coords.size() + 2 * kLanes - 1) / (2 * kLanes) * (2 * kLanes);
  left_.assign(n, 0);
  right_.assign(n, 0);
  window_.assign(n, 0);
  wLeft_.assign(n, 0.0f);
  wRight_.assign(n, 0.0f);
  rightUnused_ = true;
  for (size_t s = 0; s < coords.size(); ++s) {
    const int64_t snapped = SnapToTexels(coords[s], texels);
    if (filter == SamplerFilter::Point) {
      left_[s] = ClampTexel(snapped >> 8, texels);
      continue;
    }
    const LinearTap tap = Linear(snapped);
    left_[s] = ClampTexel(tap.first, texels);
    right_[s] = ClampTexel(tap.first + 1, texels);
    wLeft_[s] = 1.0f - tap.fraction;
    wRight_[s] = tap.fraction;
    rightUnused_ = rightUnused_ && tap.fraction == 0.0f;
  }
  leftFetch_.assign(n / kLanes, kFetchAny);
  pairFetch_.assign(n / kLanes, kFetchAny);
  halves_.assign(n / kLanes, 0);
  for (size_t g = 0; g < n / kLanes; ++g) {
    const size_t first = g * kLanes;
    const size_t lanes = std::min<size_t>(kLanes, coords.size() - first);
    leftFetch_[g] = FetchOf(&left_[first], nullptr, lanes, texels);
    if (filter == SamplerFilter::Linear) pairFetch_[g] = FetchOf(&left_[first], &right_[first], lanes, texels);
    bool halves = filter == SamplerFilter::Linear;
    for (size_t j = 0; j < kLanes; ++j) {
      window_[first + j] = left_[first + j] - left_[first];
      halves = halves && wRight_[first + j] == 0.5f;
    }
    halves_[g] = halves ? 1 : 0;
  }
}

RowTaps PlaceRow(const Surface& texture, SamplerFilter filter, float v) {
  const int64_t snapped = SnapToTexels(v, texture.height);
  auto row = [&](int64_t y) { return texture.bits + static_cast<size_t>(ClampTexel(y, texture.height)) * texture.pitch; };
  if (filter == SamplerFilter::Point) return {row(snapped >> 8), nullptr, 1.0f, 0.0f};
  const LinearTap tap = Linear(snapped);
  return {row(tap.first), tap.fraction == 0.0f ? nullptr : row(tap.first + 1), 1.0f - tap.fraction, tap.fraction};
}

void SampleRun(const Kernels& k, SamplerFilter filter, const RowTaps& row, const SampleColumns& columns,
               size_t first, size_t count, int32_t channels, float* planes, size_t stride) {
  const ColumnTaps taps = columns.Taps(first);
  if (filter == SamplerFilter::Point) {
    k.samplePoint(row.top, &taps, static_cast<int32_t>(count), channels, planes, static_cast<int32_t>(stride));
    return;
  }
  k.sampleLinear(&row, &taps, static_cast<int32_t>(count), channels, planes, static_cast<int32_t>(stride));
}

#if defined(__SSE2__)
NearestRounding::NearestRounding() : saved_(_mm_getcsr()) { _mm_setcsr(saved_ & ~0x6000u); }
NearestRounding::~NearestRounding() { _mm_setcsr(saved_); }
#else
NearestRounding::NearestRounding() : saved_(static_cast<unsigned>(std::fegetround())) { std::fesetround(FE_TONEAREST); }
NearestRounding::~NearestRounding() { std::fesetround(static_cast<int>(saved_)); }
#endif

}  // namespace cvplat::cpugpu::fast
