// What one pass of each shot mode costs on the machine's own desktop, stage by stage, for a 1920x1080
// picture made into a 1920x1080 HDYC frame: the DirectX mode (a GDI shot into a texture, the private copy,
// the final pass, the readback) and the GDI mode (a GDI shot into a frame, its clone, the conversion), and
// GDI's shot of 1080p into memory and into textures. The stages run one after another on one thread;
// the capture runs the shot on a thread of its own beside the rest. Medians and 90th percentiles in
// milliseconds. Under Wine the device is Mesa's software rasteriser: the DirectX figures are CPU time.
// usage: bench_capture_modes [ROUNDS]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "engine/gpu_pipeline.h"
#include "engine/scale_request.h"
#include "framelib/frame_factory.h"
#include "media/colour_formats.h"
#include "platform/desktop.h"
#include "platform/kernel.h"
#include "platform/screen_grab.h"
#include "platform/system.h"
#include "props/catalogue.h"

namespace {

using namespace cvplat;

constexpr int32_t kW = 1920;
constexpr int32_t kH = 1080;

double Ms(int64_t ticks) {
  return static_cast<double>(ticks) * 1e3 / static_cast<double>(PerformanceFrequency());
}

// The samples of one stage.
struct Stage {
  std::string name;
  std::vector<double> ms;
};

void Print(const char* mode, std::vector<Stage>& stages) {
  std::printf("%s\n", mode);
  for (Stage& s : stages) {
    if (s.ms.empty()) {
      std::printf("  %-46s failed\n", s.name.c_str());
      continue;
    }
    std::sort(s.ms.begin(), s.ms.end());
    const double median = s.ms[s.ms.size() / 2];
    const double p90 = s.ms[std::min(s.ms.size() - 1, s.ms.size() * 9 / 10)];
    std::printf("  %-46s median %8.2f ms  p90 %8.2f ms\n", s.name.c_str(), median, p90);
  }
}

// Times `step` into `stage` when it succeeds; false when it failed.
template <class Step>
bool Time(Stage& stage, Step step) {
  const int64_t start = PerformanceCounter();
  const bool ok = step();
  if (ok) stage.ms.push_back(Ms(PerformanceCounter() - start));
  return ok;
}

void Shots(const CapturePlatform& platform, IGpuDevice* device, int rounds) {
  const TRect rect{0, 0, kW, kH};
  std::unique_ptr<IScreenGrabber> grabber = platform.makeGrabber();
  std::vector<uint8_t> pixels(size_t(kW) * kH * 4), scratch;
  std::vector<Stage> stages = {{"into memory", {}},
                               {"into a texture (on Windows: GDI into its DC)", {}},
                               {"into a texture by way of memory", {}}};
  for (int i = 0; i < rounds; ++i) {
    Time(stages[0], [&] { return SUCCEEDED(grabber->GrabToMemory(rect, pixels.data(), kW * 4)); });
    if (!device) continue;
    TRefPtr<IGpuTexture2D> texture;
    Time(stages[1], [&] { return SUCCEEDED(grabber->GrabToTexture(device, rect, texture.Receive())); });
    Time(stages[2], [&] { return SUCCEEDED(GrabThroughMemory(*grabber, device, rect, scratch, texture.Receive())); });
  }
  Print("shot of 1920x1080", stages);
}

void DirectXPasses(const CapturePlatform& platform, int rounds) {
  XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
  XMLParse::SetDefaults(*props);
  TGpuPipeline gpu;
  if (gpu.InitDevice(platform.gpu, props.Get()) != 1) {
    std::printf("DirectX mode: no device\n");
    return;
  }
  Shots(platform, gpu.Device(), rounds);
  std::unique_ptr<IScreenGrabber> grabber = platform.makeGrabber();
  TCaptureRegion region{};
  region.current = region.target = region.visible = region.screen = {0, 0, kW, kH};
  region.fps = 30.0;
  std::vector<uint8_t> frame(size_t(kW) * kH * 2);
  std::vector<Stage> stages = {{"shot into a texture", {}},
                               {"copy into the private render target", {}},
                               {"final pass to HDYC (submitted)", {}},
                               {"readback (waits for the GPU's work)", {}},
                               {"whole pass", {}}};
  TRefPtr<IGpuTexture2D> copy;
  for (int i = 0; i < rounds; ++i) {
    const int64_t start = PerformanceCounter();
    TRefPtr<IGpuTexture2D> shot, output;
    const bool ok =
        Time(stages[0], [&] { return SUCCEEDED(grabber->GrabToTexture(gpu.Device(), region.current, shot.Receive())); }) &&
        Time(stages[1], [&] {
          return SUCCEEDED(gpu.EnsureRenderTexture(region.current, copy)) &&
                 SUCCEEDED(gpu.CopyTextureFromOrigin(copy.Get(), shot.Get(), region.current));
        }) &&
        Time(stages[2], [&] {
          return SUCCEEDED(gpu.RenderOutputFrame(copy.Get(), region, kW, kH, props.Get(), output));
        }) &&
        Time(stages[3], [&] {
          return SUCCEEDED(gpu.ReadBack(output.Get(), [&](const uint8_t* data, uint32_t pitch, uint32_t w, uint32_t h) {
            for (uint32_t y = 0; y < h; ++y) std::memcpy(&frame[size_t(y) * w * 4], data + size_t(y) * pitch, w * 4);
          }));
        });
    if (ok) stages[4].ms.push_back(Ms(PerformanceCounter() - start));
  }
  Print("DirectX mode (hardware loop), one pass of 1920x1080 to HDYC 1920x1080", stages);
  gpu.Release();
}

void GdiPasses(const CapturePlatform& platform, int rounds) {
  XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
  XMLParse::SetDefaults(*props);
  TVideoProps format{};
  format.colourFormat = kColourHDYC;
  format.width = kW;
  format.height = kH;
  const TScaleOptions scale = BuildScaleOptions(props.Get(), format);
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  std::unique_ptr<IScreenGrabber> grabber = platform.makeGrabber();

  TAvProps shotFormat{};
  shotFormat.video.colourFormat = kColourARGB32;
  shotFormat.video.width = kW;
  shotFormat.video.height = -kH;
  shotFormat.video.rowBytes = ColourRowBytes(kColourARGB32, kW);
  shotFormat.video.scan = 3;
  shotFormat.video.frameRate = 30.0;
  std::vector<Stage> stages = {{"shot into a frame", {}},
                               {"clone to work on", {}},
                               {std::string("conversion to HDYC (") + std::string(scale.options.begin(), scale.options.end()) + ")", {}},
                               {"whole pass", {}}};
  for (int i = 0; i < rounds; ++i) {
    const int64_t start = PerformanceCounter();
    TRefPtr<ICVFrame_I> shot, clone, converted;
    const bool ok =
        Time(stages[0], [&] {
          uint8_t* pixels = nullptr;
          return SUCCEEDED(factory->FrameAlloc(ColourImageBytes(kColourARGB32, shotFormat.video.rowBytes, kH),
                                               shot.Receive())) &&
                 SUCCEEDED(shot->PixelsGet(0, &pixels)) && pixels &&
                 SUCCEEDED(grabber->GrabToMemory({0, 0, kW, kH}, pixels, shotFormat.video.rowBytes)) &&
                 SUCCEEDED(shot->FormatSet(&shotFormat, nullptr));
        }) &&
        Time(stages[1], [&] {
          return SUCCEEDED(factory->FrameDuplicate(shot.Get(), clone.Receive(), kFrameDuplicateWork)) && clone;
        }) &&
        Time(stages[2], [&] {
          return SUCCEEDED(clone->FrameConvert(scale.pixelFormat, scale.width, scale.height, 0, converted.Receive(),
                                               scale.options.c_str(), L"screen-cap")) &&
                 converted;
        });
    if (ok) stages[3].ms.push_back(Ms(PerformanceCounter() - start));
  }
  Print("GDI mode (software loop), one pass of 1920x1080 to HDYC 1920x1080", stages);
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(5, std::atoi(argv[1])) : 40;
  const CapturePlatform platform = NativeCapturePlatform();
  const std::vector<MonitorInfo> monitors = platform.monitors->List();
  if (monitors.empty()) {
    std::printf("capture modes: no desktop to shoot (no display)\n");
    return 0;
  }
  const TRect& m = monitors[0].rect;
  std::printf("capture modes on %s, desktop %dx%d, %d rounds each\n", PlatformName(), m.right - m.left,
              m.bottom - m.top, rounds);
  DirectXPasses(platform, rounds);
  GdiPasses(platform, rounds);
  return 0;
}
