// The software loop's drawing per frame: the marks (ring, pointer, highlight disc) overlaid onto a 1080p
// shot, and the shading of the part outside the visible area; a whole-frame overlay and fill give the
// cost per pixel.
#include <benchmark/benchmark.h>

#include <cstring>

#include "CVDeviceSCR.h"
#include "framelib/frame_factory.h"
#include "framelib/frame_overlay.h"
#include "media/auto_obj.h"
#include "media/colour_formats.h"

namespace {

using FramePtr = TRefPtr<ICVFrame_I>;

// A picture with every byte different from its neighbours, so no blend is trivially 0 or 1.
FramePtr Picture(uint32_t colour, int32_t width, int32_t height) {
  TVideoProps v{};
  v.colourFormat = colour;
  v.width = width;
  v.height = height;
  v.frameRate = 25;
  ICVFrame_I* frame = nullptr;
  TRefPtr<ICVFactory>::Adopt(GetFrameFactory())->FrameCreate(&v, 0, 0, 0, 0, &frame, nullptr);
  uint8_t* pixels = nullptr;
  frame->PixelsGet(0, &pixels);
  const int64_t bytes = int64_t{width} * (height < 0 ? -height : height) * 4;
  for (int64_t i = 0; i < bytes; ++i) pixels[i] = static_cast<uint8_t>(i * 7 + i / 4);
  return FramePtr::Adopt(frame);
}

void Overlay(benchmark::State& state, int32_t sourceSize, double drawnSize, int32_t flags) {
  FramePtr target = Picture(kColourARGB32, 1920, 1080);
  FramePtr source = Picture(kColourARGB32, sourceSize, -sourceSize);
  const TOverlayRect rect{900, 500, drawnSize, drawnSize};
  for (auto _ : state) benchmark::DoNotOptimize(target->Overlay(source.Get(), 0, &rect, flags, 1.0, 0, 0));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(drawnSize * drawnSize));
}

// The click ring at its largest, as FrameConvert hands it over: its own size.
void BM_OverlayRing101(benchmark::State& state) { Overlay(state, 101, 101, kOverlayBlend); }
BENCHMARK(BM_OverlayRing101);

void BM_OverlayPointer32(benchmark::State& state) { Overlay(state, 32, 32, kOverlayBlend); }
BENCHMARK(BM_OverlayPointer32);

// A stock image scaled in the overlay itself: the bilinear path.
void BM_OverlayScaled100To70(benchmark::State& state) { Overlay(state, 100, 70, kOverlayBlend); }
BENCHMARK(BM_OverlayScaled100To70);

void BM_OverlayWholeFrame(benchmark::State& state) {
  FramePtr target = Picture(kColourARGB32, 1920, 1080);
  FramePtr source = Picture(kColourARGB32, 1920, -1080);
  const TOverlayRect rect{0, 0, 1920, 1080};
  for (auto _ : state) benchmark::DoNotOptimize(target->Overlay(source.Get(), 0, &rect, kOverlayBlend, 1.0, 0, 0));
  state.SetItemsProcessed(state.iterations() * 1920 * 1080);
}
BENCHMARK(BM_OverlayWholeFrame)->Unit(benchmark::kMillisecond);

// The four strips outside a visible area of 1280 x 720 in the middle of a 1080p shot, as
// FillOutsideVisible paints them with the default background colour.
void BM_MarkupFillOutsideVisible(benchmark::State& state) {
  FramePtr frame = Picture(kColourRGB32, 1920, 1080);
  const double keep = 170.0 / 255.0;
  for (auto _ : state) {
    frame->MarkupFill(0, 0, 0, 0, keep, L"color=0xAA000000 width=1920 height=180", 0);
    frame->MarkupFill(0, 0, 0, 900, keep, L"color=0xAA000000 width=1920 height=180", 0);
    frame->MarkupFill(0, 0, 0, 180, keep, L"color=0xAA000000 width=320 height=720", 0);
    frame->MarkupFill(0, 0, 1600, 180, keep, L"color=0xAA000000 width=320 height=720", 0);
  }
  state.SetItemsProcessed(state.iterations() * (1920 * 1080 - 1280 * 720));
}
BENCHMARK(BM_MarkupFillOutsideVisible)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
