// Format work runs per frame (timecode, duration) and per format request (normalise, detect, text).
#include <benchmark/benchmark.h>

#include "media/duration_snap.h"
#include "media/format_table.h"
#include "media/format_text.h"
#include "media/timecode.h"
#include "media/video_detect.h"
#include "media/video_format.h"

namespace {

void BM_VideoNormaliseTableRows(benchmark::State& state) {
  int32_t f = 1;
  for (auto _ : state) {
    TVideoProps v{};
    v.videoFormat = f;
    benchmark::DoNotOptimize(VideoNormalise(v, false));
    f = f == eTVF_Disabled - 1 ? 1 : f + 1;
  }
}
BENCHMARK(BM_VideoNormaliseTableRows);

void BM_VideoDetectSideBySide(benchmark::State& state) {
  TVideoProps v{};
  v.width = 3840;
  v.height = 1080;
  v.frameRate = 30000.0 / 1001;
  v.scan = 3;
  for (auto _ : state) benchmark::DoNotOptimize(VideoDetect(v, true));
}
BENCHMARK(BM_VideoDetectSideBySide);

void BM_VideoTextLong(benchmark::State& state) {
  TVideoProps v{};
  v.videoFormat = eTVF_HD1080_5994i;
  for (auto _ : state) benchmark::DoNotOptimize(VideoText(v));
}
BENCHMARK(BM_VideoTextLong);

void BM_TimecodeDropFrame(benchmark::State& state) {
  TFrameTime t{};
  int32_t n = 0;
  for (auto _ : state) {
    TimecodeFromFrame(n++, 60000.0 / 1001, true, t);
    benchmark::DoNotOptimize(t);
  }
}
BENCHMARK(BM_TimecodeDropFrame);

void BM_DurationSnap(benchmark::State& state) {
  for (auto _ : state) {
    int64_t d = 417083;
    benchmark::DoNotOptimize(DurationSnap(d));
  }
}
BENCHMARK(BM_DurationSnap);

}  // namespace
