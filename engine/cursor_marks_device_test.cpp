// The hardware loop's marks on the native device against the CPU twin's reference rasteriser: the click
// ring, the highlight disc in its tint and the pointer, each scaled by the sampler and partly cut at
// the picture's edge, land on the same pixels with the same bytes, give or take one step where the
// device rounds the blend's arithmetic the other way. (Where the native device is the twin itself, this
// holds its fast paths to its reference.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "engine/cursor_marks.h"
#include "engine/stock_images.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/cpu_gpu/gpu_test_support.h"
#include "platform/sim/capture_sim.h"
#include "props/xml_node.h"

namespace {

using namespace cvplat;
using cvplat::gputest::Picture;

HRESULT Reference(IGpuDevice** device, UINT* level, IGpuContext** context) {
  CpuGpuOptions options;
  options.forceReference = true;
  return CreateCpuGpuDevice(options, device, level, context);
}

// The picture of `current` after the three marks, drawn on a device of `factory`.
Picture DrawMarks(const GpuDeviceFactory& factory, const wchar_t* sampler, const Picture& desktop) {
  const std::shared_ptr<SimDesktop> sim = SimDesktop::Create();
  sim->SetPointerShape(5, SimPointerShape::ColourArrow());
  sim->SetPointer(true, 170, 140);
  const CapturePlatform platform = sim->Platform(factory);
  XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(L"t-props");
  props->SetString(L"capture.memory_format", L"ARGB");
  props->SetString(L"capture.sampler_type", sampler);

  TGpuPipeline gpu;
  EXPECT_EQ(gpu.InitDevice(platform.gpu, props.Get()), 1);
  EXPECT_EQ(LoadStockTextures(platform, gpu.Device(), gpu.stockTextures), S_OK);
  const TCaptureRegion region{{100, 100, 180, 150}, {100, 100, 180, 150}, {100, 100, 180, 150}, {0, 0, 640, 360}, 0, 30};
  GpuTexture2DDesc desc;
  desc.width = desktop.width;
  desc.height = desktop.height;
  desc.bindFlags = kGpuBindShaderResource | kGpuBindRenderTarget;
  const GpuSubresourceData data{desktop.pixels.data(), desktop.width * 4, 0};
  TRefPtr<IGpuTexture2D> target;
  EXPECT_EQ(gpu.Device()->CreateTexture2D(&desc, &data, target.Receive()), S_OK);
  if (!target) return {};

  // A disc of 64 half off the left edge, a ring of counter 4 (52 wide) at the pointer, the pointer on
  // top. From 100 texels to 64 or 52 pixels no pixel centre samples on a border between two texels,
  // where the point sampler of the device may pick the other one.
  const uint32_t tint = 0x5533CCFFu;
  EXPECT_EQ(DrawOverlayTexture(gpu, target.Get(), region, gpu.stockTextures[kStockIndexHighlight].Get(),
                               {76, 94, 140, 158}, &tint),
            S_OK);
  EXPECT_EQ(DrawOverlayTexture(gpu, target.Get(), region, gpu.stockTextures[kStockIndexLeftClick].Get(),
                               {144, 114, 196, 166}, nullptr),
            S_OK);
  TCursorOverlay cursor(platform);
  EXPECT_EQ(DrawCursorTexture(gpu, cursor, target.Get(), nullptr, region), S_OK);

  Picture out;
  EXPECT_EQ(gpu.ReadBack(target.Get(),
                         [&](const uint8_t* bits, uint32_t pitch, uint32_t w, uint32_t h) {
                           out = Picture::Filled(w, h, {});
                           for (uint32_t y = 0; y < h; ++y) std::memcpy(&out.At(0, y), bits + size_t{y} * pitch, w * 4);
                         }),
            S_OK);
  return out;
}

TEST(HardwareMarks, TheNativeDeviceDrawsTheTwinsRingDiscAndPointer) {
  Picture desktop = Picture::Filled(80, 50, {});
  for (UINT y = 0; y < 50; ++y)
    for (UINT x = 0; x < 80; ++x) desktop.At(x, y) = {uint8_t(3 * x), uint8_t(5 * y), uint8_t(x ^ y), 255};
  for (const wchar_t* sampler : {L"point", L"linear"}) {
    const Picture native = DrawMarks(CreateGpuDevice, sampler, desktop);
    const Picture twin = DrawMarks(Reference, sampler, desktop);
    ASSERT_EQ(native.pixels.size(), twin.pixels.size());
    int most = 0;
    size_t changed = 0;
    for (size_t i = 0; i < native.pixels.size(); ++i) {
      const auto& p = native.pixels[i];
      const auto& q = twin.pixels[i];
      most = std::max({most, std::abs(p.b - q.b), std::abs(p.g - q.g), std::abs(p.r - q.r), std::abs(p.a - q.a)});
      changed += !(q == desktop.pixels[i]);
    }
    EXPECT_LE(most, 1) << "sampler " << (sampler[0] == L'p' ? "point" : "linear");
    EXPECT_GT(changed, 2000u);  // the marks are there to compare
  }
}

}  // namespace
