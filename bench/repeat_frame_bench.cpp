// The cost of a frame on a still desktop in the duplication mode: the frame in hand cloned, labelled
// "dup" and stamped with the next number, with no gpu work and no readback.
#include <benchmark/benchmark.h>

#include "engine/frame_stamp.h"
#include "engine/hardware_loop.h"
#include "framelib/frame_factory.h"
#include "media/colour_formats.h"
#include "props/catalogue.h"

namespace {

void BM_RepeatFrame(benchmark::State& state) {
  const bool hdyc = state.range(0) == 0;
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  TVideoProps format{};
  format.colourFormat = hdyc ? kColourHDYC : kColourRGB32;
  format.width = 1920;
  format.height = hdyc ? 1080 : -1080;
  format.rowBytes = hdyc ? 3840 : 7680;
  format.scan = 3;
  format.frameRate = 30.0;
  ICVFrame_I* made = nullptr;
  if (FAILED(factory->FrameCreate(&format, 0, 0, 0, 0, &made, nullptr)) || !made) {
    state.SkipWithError("no frame");
    return;
  }
  TRefPtr<ICVFrame_I> frame = TRefPtr<ICVFrame_I>::Adopt(made);
  XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
  XMLParse::SetDefaults(*props);
  int64_t n = 0;
  int64_t clones = 0;
  for (auto _ : state) {
    // A reader still holds the frame before: the clone must not touch it.
    TRefPtr<ICVFrame_I> held = frame;
    RepeatFrame(factory.Get(), frame, 30.0, props.Get(), ++n);
    clones += frame.Get() != held.Get();
    benchmark::DoNotOptimize(frame.Get());
  }
  if (clones != n) state.SkipWithError("a repeat made no clone");
  state.SetLabel(hdyc ? "1920x1080 HDYC" : "1920x1080 RGB32");
}

BENCHMARK(BM_RepeatFrame)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();
