// The cost per 1080p frame of the marks: the highlight disc, a click ring at its full size and the
// pointer in each loop (on the CPU twin in the hardware loop, through the frame library in the software
// loop), and the timecode and key lines on the finished frame; beside each, the pass they ride on
// without them (the final pass with its readback, the software loop's conversion to HDYC).
#include <benchmark/benchmark.h>

#include "engine/cursor_marks.h"
#include "engine/stock_images.h"
#include "engine/text_overlays.h"
#include "framelib/frame_factory.h"
#include "media/colour_formats.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/sim/capture_sim.h"
#include "props/catalogue.h"

namespace {

using namespace cvplat;

constexpr int32_t kW = 1920;
constexpr int32_t kH = 1080;

HRESULT CpuTwin(IGpuDevice** device, UINT* level, IGpuContext** context) {
  return CreateCpuGpuDevice({}, device, level, context);
}

// A desktop with the colour arrow at the centre, the left button held and Shift + A down; properties
// with every mark and both lines on.
struct Scene {
  Scene() : desktop(SimDesktop::Create()), platform(desktop->Platform(CpuTwin)), cursor(platform) {
    XMLParse::SetDefaults(*props);
    props->SetString(L"capture.show_mouse", L"show");
    props->SetString(L"capture.highlight_mouse", L"show");
    props->SetBool(L"capture.show_clicks", true);
    props->SetBool(L"capture.show_keypresses", true);
    props->SetBool(L"timecode.print", true);
    props->SetString(L"capture.memory_format", L"HDYC");
    props->SetString(L"capture.sampler_type", L"linear");
    desktop->SetMonitors({{0x10001, {0, 0, kW, kH}}});
    desktop->SetPointer(true, kW / 2, kH / 2);
    desktop->PressKey(0x10);
    desktop->PressKey('A');
    cursor.ResetDeadlines(props.Get());
    state = {kW / 2, kH / 2, -8};
    region = {{0, 0, kW, kH}, {0, 0, kW, kH}, {0, 0, kW, kH}, {0, 0, kW, kH}, 0, 30.0};
  }

  TRefPtr<ICVFrame_I> Frame(uint32_t colour) {
    TVideoProps video{};
    video.colourFormat = colour;
    video.width = kW;
    video.height = colour == kColourHDYC ? kH : -kH;
    video.rowBytes = colour == kColourHDYC ? kW * 2 : kW * 4;
    video.scan = 3;
    video.frameRate = 30.0;
    ICVFrame_I* made = nullptr;
    factory->FrameCreate(&video, 0, 0, 0, 0, &made, nullptr);
    return TRefPtr<ICVFrame_I>::Adopt(made);
  }

  std::shared_ptr<SimDesktop> desktop;
  CapturePlatform platform;
  TCursorOverlay cursor;
  XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  TCursorState state;
  TCaptureRegion region{};
};

struct HardwareScene : Scene {
  HardwareScene() {
    ok = gpu.InitDevice(CpuTwin, props.Get()) == 1 &&
         SUCCEEDED(LoadStockTextures(platform, gpu.Device(), gpu.stockTextures)) &&
         SUCCEEDED(gpu.EnsureRenderTexture(region.current, work));
  }
  ~HardwareScene() { gpu.Release(); }
  TGpuPipeline gpu;
  TRefPtr<IGpuTexture2D> work;
  bool ok = false;
};

void BM_HardwareMarks(benchmark::State& state) {
  HardwareScene scene;
  if (!scene.ok) return state.SkipWithError("no pipeline");
  for (auto _ : state) {
    DrawHardwareMarks(scene.gpu, scene.cursor, scene.state, scene.work.Get(), scene.region, scene.props.Get());
  }
  state.SetLabel("disc + ring 100 + pointer, 1920x1080 texture");
}

void BM_HardwarePassWithoutMarks(benchmark::State& state) {
  HardwareScene scene;
  if (!scene.ok) return state.SkipWithError("no pipeline");
  for (auto _ : state) {
    TRefPtr<IGpuTexture2D> output;
    scene.gpu.RenderOutputFrame(scene.work.Get(), scene.region, kW, kH, scene.props.Get(), output);
    scene.gpu.ReadBack(output.Get(), [](const uint8_t* data, uint32_t, uint32_t, uint32_t) {
      benchmark::DoNotOptimize(data);
    });
  }
  state.SetLabel("final pass HDYC + readback");
}

struct SoftwareScene : Scene {
  SoftwareScene() {
    shot = Frame(kColourARGB32);
    ok = SUCCEEDED(LoadStockFrames(platform, factory.Get(), stock)) && shot;
  }
  TRefPtr<ICVFrame_I> stock[3];
  TRefPtr<ICVFrame_I> shot;
  bool ok = false;
};

void BM_SoftwareMarks(benchmark::State& state) {
  SoftwareScene scene;
  if (!scene.ok) return state.SkipWithError("no stock frames");
  ICVFrame_I* const stock[3] = {scene.stock[0].Get(), scene.stock[1].Get(), scene.stock[2].Get()};
  for (auto _ : state) {
    DrawSoftwareMarks(scene.factory.Get(), stock, scene.cursor, scene.state, scene.shot.Get(), scene.region,
                      scene.props.Get());
  }
  state.SetLabel("disc + ring 101 + pointer, 1920x1080 ARGB32 shot");
}

void BM_SoftwarePassWithoutMarks(benchmark::State& state) {
  SoftwareScene scene;
  if (!scene.ok) return state.SkipWithError("no stock frames");
  for (auto _ : state) {
    ICVFrame_I* converted = nullptr;
    scene.shot->FrameConvert(kColourHDYC, kW, kH, 0, &converted, nullptr, L"screen-cap");
    if (converted) converted->Release();
  }
  state.SetLabel("conversion to HDYC");
}

void BM_TextLines(benchmark::State& state) {
  Scene scene;
  TRefPtr<ICVFrame_I> frame = scene.Frame(kColourHDYC);
  if (!frame) return state.SkipWithError("no frame");
  TFrameTime time{};
  time.hours = 1;
  time.minutes = 2;
  time.seconds = 3;
  time.frames = 4;
  time.timecodeFlags = 0x41;
  frame->TimeSet(&time);
  for (auto _ : state) {
    DrawTextLines(frame.Get(), scene.props.Get(), scene.platform.keys.get());
  }
  state.SetLabel("timecode + \"Shift + A \", 1920x1080 HDYC");
}

BENCHMARK(BM_HardwareMarks)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_HardwarePassWithoutMarks)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SoftwareMarks)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SoftwarePassWithoutMarks)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TextLines)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
