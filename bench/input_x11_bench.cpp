// The pointer and the keys of the X desktop as a capture pass asks for them: one query of the pointer
// with its shape (what each pass costs before any drawing), a redraw of its picture, and one frame's key
// polls (the click check's two, then the key line's sweep of all 256). Run it with a display, under
// scripts/with-xvfb.sh on a machine without one.
#include <benchmark/benchmark.h>

#include <vector>

#include "platform/desktop.h"

namespace {

using namespace cvplat;

const CapturePlatform& Native() {
  static const CapturePlatform platform = NativeCapturePlatform();
  return platform;
}

void BM_CursorQueryAndShape(benchmark::State& state) {
  ICursor* cursor = Native().cursor.get();
  if (!cursor) return state.SkipWithError("no X display with XFixes");
  CursorState now;
  CursorShape shape;
  for (auto _ : state) {
    bool ok = cursor->Query(&now) && cursor->Shape(now.handle, &shape);
    benchmark::DoNotOptimize(ok);
  }
}
BENCHMARK(BM_CursorQueryAndShape)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_CursorRender(benchmark::State& state) {
  ICursor* cursor = Native().cursor.get();
  CursorState now;
  CursorShape shape;
  if (!cursor || !cursor->Query(&now) || !cursor->Shape(now.handle, &shape))
    return state.SkipWithError("no X display with XFixes");
  std::vector<uint32_t> pixels(size_t(shape.width) * shape.height);
  for (auto _ : state) {
    HRESULT hr = cursor->Render(now.handle, shape.width, shape.height, pixels.data());
    benchmark::DoNotOptimize(hr);
  }
}
BENCHMARK(BM_CursorRender)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_KeyPollsOfAFrame(benchmark::State& state) {
  IKeyInput* keys = Native().keys.get();
  if (!keys) return state.SkipWithError("no X display with XInput 2");
  for (auto _ : state) {
    int down = keys->KeyDown(1) + keys->KeyDown(2);
    for (uint32_t vk = 0; vk < 256; ++vk) down += keys->KeyDown(vk);
    benchmark::DoNotOptimize(down);
  }
}
BENCHMARK(BM_KeyPollsOfAFrame)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
