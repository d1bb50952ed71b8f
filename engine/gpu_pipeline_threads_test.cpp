#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "engine/gpu_pipeline.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/sim/gpu_faults.h"
#include "props/xml_node.h"

namespace {

using namespace cvplat;

// A host thread changes "capture.sampler_type" while the capture thread draws: every draw must use a
// sampler that is alive, and none made may outlive Release.
TEST(GpuPipelineThreads, SamplerReplacedWhileTheCaptureThreadDraws) {
  GpuFaults faults([](IGpuDevice** d, UINT* l, IGpuContext** c) { return CreateCpuGpuDevice({}, d, l, c); });
  const XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(L"t-props");
  props->SetString(L"capture.memory_format", L"HDYC");
  TGpuPipeline gpu;
  ASSERT_EQ(gpu.InitDevice(faults.Factory(), props.Get()), 1);

  // A uniform white picture gives the same bytes under every sampler, so each frame can be checked.
  const uint32_t white = 0xFFFFFFFFu;
  std::vector<uint32_t> pixels(16 * 8, white);
  GpuTexture2DDesc desc;
  desc.width = 16;
  desc.height = 8;
  desc.bindFlags = kGpuBindShaderResource | kGpuBindRenderTarget;
  const GpuSubresourceData data{pixels.data(), 16 * 4, 0};
  IGpuTexture2D* raw = nullptr;
  ASSERT_EQ(gpu.Device()->CreateTexture2D(&desc, &data, &raw), S_OK);
  TRefPtr<IGpuTexture2D> picture = TRefPtr<IGpuTexture2D>::Adopt(raw);
  const TCaptureRegion region{{0, 0, 16, 8}, {0, 0, 16, 8}, {0, 0, 16, 8}, {0, 0, 16, 8}, 0, 30};

  // Each side goes on until both have done their share, so the replacements fall among the draws.
  constexpr int kEach = 50;
  std::atomic<int> replaced{0};
  std::atomic<int> frames{0};
  std::thread host([&] {
    while (replaced < kEach || frames < kEach) {
      gpu.CreateSamplerByName(replaced % 2 ? L"point" : L"linear");
      ++replaced;
    }
  });
  int wrong = 0;
  while (replaced < kEach || frames < kEach) {
    TRefPtr<IGpuTexture2D> output;
    EXPECT_EQ(gpu.RenderOutputFrame(picture.Get(), region, 16, 8, props.Get(), output), S_OK);
    EXPECT_EQ(gpu.ReadBack(output.Get(),
                           [&](const uint8_t* p, uint32_t pitch, uint32_t w, uint32_t h) {
                             for (uint32_t y = 0; y < h; ++y)
                               for (uint32_t x = 0; x < w * 4; x += 4)
                                 wrong += p[y * pitch + x] != 128 || p[y * pitch + x + 1] != 235;
                           }),
              S_OK);
    ++frames;
  }
  host.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(faults.Calls(GpuCall::Sampler), replaced + 1);
  picture.Reset();
  gpu.Release();
  EXPECT_EQ(faults.LiveObjects(), 0);
}

}  // namespace
