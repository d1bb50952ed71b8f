#include "engine/gpu_pipeline.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/cpu_gpu/gpu_test_support.h"
#include "platform/sim/gpu_faults.h"
#include "props/xml_node.h"

namespace {

using namespace cvplat;
using cvplat::gputest::Bgra;
using cvplat::gputest::kBlack;
using cvplat::gputest::kRed;
using cvplat::gputest::kWhite;
using cvplat::gputest::Picture;
using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

HRESULT CpuDevice(IGpuDevice** device, UINT* level, IGpuContext** context) {
  return CreateCpuGpuDevice({}, device, level, context);
}

XMLNodePtr Props(const wchar_t* memory, const wchar_t* sampler = L"point") {
  XMLNodePtr props = CoXMLNode::Create(L"t-props");
  props->SetString(L"capture.memory_format", memory);
  props->SetString(L"capture.sampler_type", sampler);
  return props;
}

TCaptureRegion Region(TRect current, TRect screen, TRect visible) { return {current, current, visible, screen, 0, 30}; }
TCaptureRegion Whole(int32_t w, int32_t h) { return Region({0, 0, w, h}, {0, 0, w, h}, {0, 0, w, h}); }

struct Pipeline {
  explicit Pipeline(const XMLNodePtr& properties) : props(properties) {
    EXPECT_EQ(gpu.InitDevice(faults.Factory(), props.Get()), 1);
  }
  ~Pipeline() {
    gpu.Release();
    EXPECT_EQ(faults.LiveObjects(), 0);
  }

  // A render target holding `p`, as the loop's work texture.
  TRefPtr<IGpuTexture2D> Upload(const Picture& p) {
    GpuTexture2DDesc desc;
    desc.width = p.width;
    desc.height = p.height;
    desc.bindFlags = kGpuBindShaderResource | kGpuBindRenderTarget;
    const GpuSubresourceData data{p.pixels.data(), p.width * 4, 0};
    IGpuTexture2D* t = nullptr;
    EXPECT_EQ(gpu.Device()->CreateTexture2D(&desc, &data, &t), S_OK);
    return TRefPtr<IGpuTexture2D>::Adopt(t);
  }

  Picture Read(IGpuTexture2D* texture) {
    Picture out;
    const auto copy = [&](const uint8_t* data, uint32_t pitch, uint32_t w, uint32_t h) {
      out = Picture::Filled(w, h, {});
      for (uint32_t y = 0; y < h; ++y) std::memcpy(&out.At(0, y), data + size_t{y} * pitch, size_t{w} * 4);
    };
    EXPECT_EQ(gpu.ReadBack(texture, copy), S_OK);
    return out;
  }

  Picture Render(const Picture& picture, const TCaptureRegion& region, int32_t W, int32_t H) {
    const TRefPtr<IGpuTexture2D> source = Upload(picture);
    TRefPtr<IGpuTexture2D> output;
    EXPECT_EQ(gpu.RenderOutputFrame(source.Get(), region, W, H, props.Get(), output), S_OK);
    return output ? Read(output.Get()) : Picture{};
  }

  GpuFaults faults{CpuDevice};
  XMLNodePtr props;
  TGpuPipeline gpu;
};

// Every pixel distinct, so a shifted or resampled copy shows.
Picture Numbered(UINT w, UINT h) {
  Picture p = Picture::Filled(w, h, {});
  for (UINT y = 0; y < h; ++y)
    for (UINT x = 0; x < w; ++x) p.At(x, y) = {uint8_t(x * 16 + y), uint8_t(y * 32), uint8_t(200 - x), 255};
  return p;
}

TEST(GpuPipeline, HdycPacksStudioRangePairsAndDropsTheOddColumn) {
  Pipeline p(Props(L"hdyc"));
  struct Case {
    Bgra colour;
    Bgra bytes;  // Cb, Y0, Cr, Y1 as they lie in memory
  };
  for (const Case& c : {Case{kWhite, {128, 235, 128, 235}}, Case{kBlack, {128, 16, 128, 16}},
                        Case{kRed, {90, 81, 239, 81}}}) {
    const Picture out = p.Render(Picture::Filled(7, 3, c.colour), Whole(7, 3), 7, 3);
    ASSERT_EQ(out.width, 3u);  // seven pixels: three texels, the last column unwritten
    ASSERT_EQ(out.height, 3u);
    for (const Bgra& texel : out.pixels) EXPECT_EQ(texel, c.bytes) << c.colour;
  }
}

TEST(GpuPipeline, BackgroundPaintsOutsideVisibleByItsAlphaAndOffScreenIsTransparentBlack) {
  Pipeline p(Props(L"ARGB"));
  const Picture picture = Numbered(6, 4);
  // Visible: the left half. Top byte 0 is the solid colour there, 255 the picture unchanged.
  p.props->SetString(L"capture.background_color", L"#00FF0000");
  Picture out = p.Render(picture, Region({0, 0, 6, 4}, {0, 0, 6, 4}, {0, 0, 3, 4}), 6, 4);
  for (UINT y = 0; y < 4; ++y)
    for (UINT x = 0; x < 6; ++x) {
      const Bgra& want = picture.At(x, y);
      EXPECT_EQ(out.At(x, y), (x < 3 ? want : Bgra{0, 0, 255, want.a})) << x << "," << y;
    }
  p.props->SetString(L"capture.background_color", L"Red");
  out = p.Render(picture, Region({0, 0, 6, 4}, {0, 0, 6, 4}, {0, 0, 3, 4}), 6, 4);
  EXPECT_EQ(out.pixels, picture.pixels);

  // `current` two pixels past the screen's right edge: the copy stops at the desktop's edge, the point
  // sampler copies the rest exactly, and the final pass blanks what lies off the screen.
  const TRefPtr<IGpuTexture2D> desktop = p.Upload(picture);
  TRefPtr<IGpuTexture2D> work;
  const TRect screen{0, 0, 6, 4};
  const TRect current{2, 0, 8, 4};
  ASSERT_EQ(p.gpu.CopyRegionToWork(desktop.Get(), screen, current, work), S_OK);
  TRefPtr<IGpuTexture2D> output;
  ASSERT_EQ(p.gpu.RenderOutputFrame(work.Get(), Region(current, screen, current), 6, 4, p.props.Get(), output), S_OK);
  out = p.Read(output.Get());
  for (UINT y = 0; y < 4; ++y)
    for (UINT x = 0; x < 6; ++x) EXPECT_EQ(out.At(x, y), (x < 4 ? picture.At(x + 2, y) : Bgra{})) << x << "," << y;
}

TEST(GpuPipeline, CopyRegionToWorkPlacesTheOverlapOnDesktopsLeftOfAndAboveTheOrigin) {
  Pipeline p(Props(L"ARGB"));
  const Picture desk = Numbered(8, 4);  // the screen -8, -4 .. 0, 0
  const TRect screen{-8, -4, 0, 0};
  const TRefPtr<IGpuTexture2D> desktop = p.Upload(desk);
  const Bgra marker{1, 2, 3, 4};
  TRefPtr<IGpuTexture2D> work = p.Upload(Picture::Filled(6, 4, marker));
  IGpuTexture2D* const kept = work.Get();

  // Sticking out left of and above the screen: desktop 0..3 x 0..1 lands at 2, 2.
  ASSERT_EQ(p.gpu.CopyRegionToWork(desktop.Get(), screen, {-10, -6, -4, -2}, work), S_OK);
  EXPECT_EQ(work.Get(), kept);  // same size: the texture stays
  Picture got = p.Read(work.Get());
  for (UINT y = 0; y < 4; ++y)
    for (UINT x = 0; x < 6; ++x)
      EXPECT_EQ(got.At(x, y), x >= 2 && y >= 2 ? desk.At(x - 2, y - 2) : marker) << x << "," << y;

  // Inside: from desktop 3, 1 to work 0, 0.
  ASSERT_EQ(p.gpu.CopyRegionToWork(desktop.Get(), screen, {-5, -3, -1, -1}, work), S_OK);
  got = p.Read(work.Get());
  EXPECT_EQ(got.width, 4u);
  for (UINT y = 0; y < 2; ++y)
    for (UINT x = 0; x < 4; ++x) EXPECT_EQ(got.At(x, y), desk.At(x + 3, y + 1)) << x << "," << y;

  // Touching the screen's right edge only: no overlap, the work texture keeps what it held.
  work = p.Upload(Picture::Filled(4, 2, marker));
  ASSERT_EQ(p.gpu.CopyRegionToWork(desktop.Get(), screen, {0, -3, 4, -1}, work), S_OK);
  EXPECT_EQ(p.Read(work.Get()).pixels, Picture::Filled(4, 2, marker).pixels);
}

TEST(GpuPipeline, SamplerFollowsItsNameAndAFailedReplacementKeepsTheOldOne) {
  Pipeline p(Props(L"ARGB", L"point"));
  Picture halves = Picture::Filled(2, 1, kBlack);
  halves.At(1, 0) = kWhite;
  const auto second = [&] { return p.Render(halves, Whole(2, 1), 4, 1).At(1, 0); };  // u = 0.375
  EXPECT_EQ(second(), kBlack);
  p.faults.Fail(GpuCall::Sampler, p.faults.Calls(GpuCall::Sampler) + 1);
  p.gpu.CreateSamplerByName(L"linear");
  EXPECT_EQ(second(), kBlack);
  p.gpu.CreateSamplerByName(L"LINEAR");
  EXPECT_EQ(second(), (Bgra{64, 64, 64, 255}));  // a quarter of the way from black to white
  p.gpu.CreateSamplerByName(L"bicubic");  // unknown names are point
  EXPECT_EQ(second(), kBlack);
}

TEST(GpuPipeline, EveryFailedCreationOfInitDeviceGivesZeroAndLeavesNothing) {
  const std::function<void(GpuFaults&)> scripts[] = {
      [](GpuFaults& f) { f.Fail(GpuCall::CreateDevice, 1); },
      [](GpuFaults& f) { f.ReportFeatureLevel(kGpuFeatureLevel9_3); },
      [](GpuFaults& f) { f.Fail(GpuCall::BlendState, 1); },
      [](GpuFaults& f) { f.FailProgram(GpuProgramId::Vertex, 1); },
      [](GpuFaults& f) { f.Fail(GpuCall::InputLayout, 1); },
      [](GpuFaults& f) { f.FailProgram(GpuProgramId::Hdyc, 1); },
      [](GpuFaults& f) { f.FailProgram(GpuProgramId::Overlay, 1); },
      [](GpuFaults& f) { f.FailProgram(GpuProgramId::ColouredOverlay, 1); },
      [](GpuFaults& f) { f.Fail(GpuCall::Buffer, 1); },
  };
  const XMLNodePtr props = Props(L"Hdyc");
  for (size_t i = 0; i < std::size(scripts); ++i) {
    GpuFaults faults(CpuDevice);
    scripts[i](faults);
    TGpuPipeline gpu;
    EXPECT_EQ(gpu.InitDevice(faults.Factory(), props.Get()), 0) << "script " << i;
    gpu.Release();
    EXPECT_EQ(faults.LiveObjects(), 0) << "script " << i;
  }
  // The main program follows the memory format; a sampler that can't be made is no failure.
  GpuFaults faults(CpuDevice);
  faults.Fail(GpuCall::Sampler, 1);
  TGpuPipeline gpu;
  EXPECT_EQ(gpu.InitDevice(faults.Factory(), Props(L"UYVY").Get()), 1);
  EXPECT_EQ(faults.ProgramCalls(GpuProgramId::Argb), 1);
  EXPECT_EQ(faults.ProgramCalls(GpuProgramId::Hdyc), 0);
  gpu.Release();
  gpu.Release();
  EXPECT_EQ(faults.LiveObjects(), 0);
}

TEST(GpuPipeline, FinalPassFailuresLeaveNothingAndARefusedConstantBufferStillDraws) {
  Pipeline p(Props(L"ARGB"));
  const TRefPtr<IGpuTexture2D> picture = p.Upload(Numbered(4, 2));
  const int idle = p.faults.LiveObjects();
  for (const GpuCall call : {GpuCall::ShaderResourceView, GpuCall::Texture, GpuCall::RenderTargetView}) {
    TRefPtr<IGpuTexture2D> output = p.Upload(Numbered(1, 1));
    p.faults.Fail(call, p.faults.Calls(call) + 1);
    EXPECT_EQ(p.gpu.RenderOutputFrame(picture.Get(), Whole(4, 2), 4, 2, p.props.Get(), output), E_FAIL);
    EXPECT_FALSE(output);
    EXPECT_EQ(p.faults.LiveObjects(), idle);
  }
  // Without a new constant buffer the draw keeps the last pass's constants, which fit this pass too.
  EXPECT_EQ(p.Render(Numbered(4, 2), Whole(4, 2), 4, 2).pixels, Numbered(4, 2).pixels);
  p.faults.Fail(GpuCall::ConstantBuffer, p.faults.Calls(GpuCall::ConstantBuffer) + 1);
  const Picture other = Picture::Filled(4, 2, kRed);
  EXPECT_EQ(p.Render(other, Whole(4, 2), 4, 2).pixels, other.pixels);
}

}  // namespace
