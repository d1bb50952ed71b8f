// The software loop's conversion of a captured ARGB32 picture to HDYC, beside libyuv doing the same work
// in its usual two steps: ARGBToUYVY at the same size; ARGBScale (bilinear) into a frame-sized ARGB
// buffer, then ARGBToUYVY, for the scaled cases. Ours is timed at the pixel entry (the same buffers and
// no allocation, as libyuv is given) on the plain path and on the SIMD path, and once more through
// FrameConvert, which also makes the new frame. Sources are 16:9 like their targets, so letter-box fills
// the frame and both sides scale the same area.
#include <benchmark/benchmark.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/scale_argb.h>

#include <cstdint>
#include <vector>

#include "framelib/framelib.h"
#include "media/auto_obj.h"
#include "media/colour_formats.h"
#include "primitives/pixel_convert.h"
#include "primitives/primitives.h"

namespace {

// A desktop-like picture: flat areas with some detail, so no path profits from constant input.
std::vector<uint8_t> Desktop(int32_t w, int32_t h) {
  std::vector<uint8_t> px(size_t(w) * h * 4);
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; ++x) {
      uint8_t* p = &px[(size_t(y) * w + x) * 4];
      const bool text = (y / 16) % 3 == 0 && ((x * 7 + y * 3) % 11) < 4;
      p[0] = text ? 20 : uint8_t(200 + (x >> 7));
      p[1] = text ? 20 : uint8_t(180 + (y >> 7));
      p[2] = text ? 30 : uint8_t(160 + ((x + y) >> 8));
      p[3] = 255;
    }
  }
  return px;
}

struct Case {
  int32_t srcW, srcH, dstW, dstH;
};
Case CaseOf(const benchmark::State& state) {
  return {int32_t(state.range(0)), int32_t(state.range(1)), int32_t(state.range(2)), int32_t(state.range(3))};
}

void Sizes(benchmark::internal::Benchmark* b) {
  b->Args({1920, 1080, 1920, 1080});
  b->Args({2560, 1440, 1920, 1080});
  b->Args({3840, 2160, 1920, 1080});
  b->Args({1920, 1080, 1280, 720});
  b->Unit(benchmark::kMicrosecond);
}

void Ours(benchmark::State& state, bool simd) {
  const Case c = CaseOf(state);
  const std::vector<uint8_t> src = Desktop(c.srcW, c.srcH);
  std::vector<uint8_t> dst(size_t(c.dstW) * c.dstH * 2);
  const TPixelSource from{src.data(), c.srcW * 4, c.srcW, c.srcH, kPixelSourceBgra};
  const TPixelTarget to{dst.data(), c.dstW * 2, c.dstW, c.dstH, kPixelTargetCbYCrY};
  const TPixelRect fromRect{0, 0, c.srcW, c.srcH}, toRect{0, 0, c.dstW, c.dstH};
  const int32_t before = PrimitivesForceScalar(simd ? 0 : 1);
  for (auto _ : state) {
    PixelScaleConvert(&from, &fromRect, &to, &toRect);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  PrimitivesForceScalar(before);
  state.SetItemsProcessed(state.iterations() * int64_t{c.dstW} * c.dstH);
}

void BM_OursPlain(benchmark::State& state) { Ours(state, false); }
void BM_OursSimd(benchmark::State& state) { Ours(state, true); }
BENCHMARK(BM_OursPlain)->Apply(Sizes);
BENCHMARK(BM_OursSimd)->Apply(Sizes);

void BM_OursFrameConvert(benchmark::State& state) {
  const Case c = CaseOf(state);
  const std::vector<uint8_t> src = Desktop(c.srcW, c.srcH);
  TVideoProps v{};
  v.colourFormat = kColourARGB32;
  v.width = c.srcW;
  v.height = -c.srcH;
  v.frameRate = 30;
  auto factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  ICVFrame_I* raw = nullptr;
  factory->FrameCreate(&v, uint64_t(uintptr_t(src.data())), 0, 0, 0, &raw, nullptr);
  auto shot = TRefPtr<ICVFrame_I>::Adopt(raw);
  for (auto _ : state) {
    ICVFrame_I* out = nullptr;
    shot->FrameConvert(kColourHDYC, c.dstW, c.dstH, 0, &out, L"scale-type='letter-box'", L"screen-cap");
    benchmark::DoNotOptimize(out);
    if (out) out->Release();
  }
  state.SetItemsProcessed(state.iterations() * int64_t{c.dstW} * c.dstH);
}
BENCHMARK(BM_OursFrameConvert)->Apply(Sizes);

void BM_Libyuv(benchmark::State& state) {
  const Case c = CaseOf(state);
  const std::vector<uint8_t> src = Desktop(c.srcW, c.srcH);
  std::vector<uint8_t> scaled(size_t(c.dstW) * c.dstH * 4);
  std::vector<uint8_t> dst(size_t(c.dstW) * c.dstH * 2);
  const bool same = c.srcW == c.dstW && c.srcH == c.dstH;
  for (auto _ : state) {
    const uint8_t* argb = src.data();
    if (!same) {
      libyuv::ARGBScale(src.data(), c.srcW * 4, c.srcW, c.srcH, scaled.data(), c.dstW * 4, c.dstW, c.dstH,
                        libyuv::kFilterBilinear);
      argb = scaled.data();
    }
    libyuv::ARGBToUYVY(argb, c.dstW * 4, dst.data(), c.dstW * 2, c.dstW, c.dstH);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * int64_t{c.dstW} * c.dstH);
}
BENCHMARK(BM_Libyuv)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();
