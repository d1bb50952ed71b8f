// The final pass of the CPU twin through the gpu seam, on the fast path (in each kernel build this
// processor runs) and on the reference, beside a peer that does the same job in two passes: libyuv's
// bilinear ARGBScale to the frame's size, then ARGBToUYVY (the byte order of HDYC). Frames are 1920 x 1080
// HDYC from pictures of 1920 x 1080 (point and linear), 2560 x 1440 and 3840 x 2160 (linear). Then the
// overlay quads of a pass: the 100 x 100 disc drawn 70 x 70 in colour and a 32 x 32 pointer, linear.
#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/auto_obj.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/cpu_gpu/fast_kernels.h"

namespace {

using namespace cvplat;

struct Case {
  const char* name;
  UINT pictureWidth, pictureHeight;
  bool linear;
};
constexpr UINT kW = 1920;
constexpr UINT kH = 1080;
const Case kCases[] = {
    {"1920x1080 point", 1920, 1080, false},
    {"1920x1080 linear", 1920, 1080, true},
    {"2560x1440 linear", 2560, 1440, true},
    {"3840x2160 linear", 3840, 2160, true},
};

// A desktop-like picture: gradients with some noise, every byte value in every channel.
std::vector<uint8_t> Picture(UINT w, UINT h) {
  std::vector<uint8_t> p(size_t{w} * h * 4);
  uint32_t noise = 12345;
  for (UINT y = 0; y < h; ++y)
    for (UINT x = 0; x < w; ++x) {
      noise = noise * 1664525u + 1013904223u;
      uint8_t* px = &p[(size_t{y} * w + x) * 4];
      px[0] = static_cast<uint8_t>(x * 255 / w + (noise >> 29));
      px[1] = static_cast<uint8_t>(y * 255 / h);
      px[2] = static_cast<uint8_t>((x + y) + (noise >> 27));
      px[3] = 255;
    }
  return p;
}

// One draw as the pipeline binds it: the quad, a program, the picture in slot 0, the target, constants
// and the blend state. Everything is made once; a pass is one Draw.
struct DrawSetup {
  UINT pictureWidth, pictureHeight;
  UINT targetWidth, targetHeight;  // the viewport is kW x kH
  GpuProgramId program;
  bool linear;
  float quad[30];
  PS_BACKCOLOR_BUFFER constants;
  bool overlayBlend;
};

DrawSetup FinalPassSetup(const Case& c) {
  return {c.pictureWidth, c.pictureHeight, kW / 2, kH, GpuProgramId::Hdyc, c.linear,
          {-1, -1, 0, 0, 1, -1, 1, 0, 0, 0, 1, -1, 0, 1, 1, 1, -1, 0, 1, 1, -1, 1, 0, 0, 0, 1, 1, 0, 1, 0},
          {{0, 0, 0, 170 / 255.0f}, {0, 0, 1, 1}, {0, 0, 1, 1}, {1.0f / kW, 1.0f / kH, 0, 0}}, false};
}

// A w x h picture drawn at (x, y) of the frame, as DrawOverlayTexture places it.
DrawSetup OverlaySetup(UINT picture, float x, float y, float w, float h, GpuProgramId program) {
  const float l = 2 * x / kW - 1, r = 2 * (x + w) / kW - 1, t = 1 - 2 * y / kH, b = 1 - 2 * (y + h) / kH;
  return {picture, picture, kW, kH, program, true,
          {l, b, 0, 0, 1, l, t, 0, 0, 0, r, b, 0, 1, 1, r, b, 0, 1, 1, l, t, 0, 0, 0, r, t, 0, 1, 0},
          {{1, 1, 0, 0x88 / 255.0f}, {}, {}, {}}, true};
}

class SeamDraw {
 public:
  SeamDraw(const DrawSetup& setup, bool forceReference) {
    CpuGpuOptions options;
    options.forceReference = forceReference;
    IGpuDevice* d = nullptr;
    IGpuContext* x = nullptr;
    ok_ = CreateCpuGpuDevice(options, &d, nullptr, &x) == S_OK;
    device_ = TRefPtr<IGpuDevice>::Adopt(d);
    context_ = TRefPtr<IGpuContext>::Adopt(x);
    if (!ok_) return;

    const std::vector<uint8_t> pixels = Picture(setup.pictureWidth, setup.pictureHeight);
    GpuTexture2DDesc desc;
    desc.width = setup.pictureWidth;
    desc.height = setup.pictureHeight;
    desc.bindFlags = kGpuBindShaderResource;
    GpuSubresourceData data{pixels.data(), setup.pictureWidth * 4, 0};
    ok_ = ok_ && device_->CreateTexture2D(&desc, &data, picture_.Receive()) == S_OK;
    desc.width = setup.targetWidth;
    desc.height = setup.targetHeight;
    desc.bindFlags = kGpuBindShaderResource | kGpuBindRenderTarget;
    ok_ = ok_ && device_->CreateTexture2D(&desc, nullptr, target_.Receive()) == S_OK;
    ok_ = ok_ && device_->CreateShaderResourceView(picture_.Get(), nullptr, view_.Receive()) == S_OK;
    ok_ = ok_ && device_->CreateRenderTargetView(target_.Get(), nullptr, rtv_.Receive()) == S_OK;
    ok_ = ok_ && device_->CreateProgram(GpuProgramId::Vertex, vertex_.Receive()) == S_OK;
    ok_ = ok_ && device_->CreateProgram(setup.program, pixel_.Receive()) == S_OK;
    GpuInputElementDesc layout[2];
    layout[0] = {"POSITION", 0, GpuFormat::R32G32B32Float, 0, 0, kGpuInputPerVertexData, 0};
    layout[1] = {"TEXCOORD", 0, GpuFormat::R32G32Float, 0, 12, kGpuInputPerVertexData, 0};
    ok_ = ok_ && device_->CreateInputLayout(layout, 2, vertex_.Get(), layout_.Receive()) == S_OK;
    GpuSamplerDesc sampler;
    sampler.filter = setup.linear ? GpuFilter::MinMagMipLinear : GpuFilter::MinMagMipPoint;
    ok_ = ok_ && device_->CreateSamplerState(&sampler, sampler_.Receive()) == S_OK;
    GpuBlendDesc blend;
    blend.renderTarget[0] = {1, GpuBlend::SrcAlpha, GpuBlend::InvSrcAlpha, GpuBlendOp::Add, GpuBlend::One,
                             GpuBlend::Zero, GpuBlendOp::Min, kGpuColorWriteAll};
    ok_ = ok_ && device_->CreateBlendState(&blend, blend_.Receive()) == S_OK;

    GpuBufferDesc vb{sizeof setup.quad, GpuUsage::Default, kGpuBindVertexBuffer, 0, 0, 0};
    GpuSubresourceData vbData{setup.quad, 0, 0};
    ok_ = ok_ && device_->CreateBuffer(&vb, &vbData, vertices_.Receive()) == S_OK;
    GpuBufferDesc cb{sizeof setup.constants, GpuUsage::Dynamic, kGpuBindConstantBuffer, kGpuCpuAccessWrite, 0, 0};
    GpuSubresourceData cbData{&setup.constants, 0, 0};
    ok_ = ok_ && device_->CreateBuffer(&cb, &cbData, constants_.Receive()) == S_OK;
    if (!ok_) return;

    const GpuViewport viewport{0, 0, float(kW), float(kH), 0, 1};
    const UINT stride = 20;
    const UINT offset = 0;
    IGpuBuffer* vbs = vertices_.Get();
    IGpuBuffer* cbs = constants_.Get();
    IGpuRenderTargetView* rt = rtv_.Get();
    IGpuShaderResourceView* srv = view_.Get();
    IGpuSamplerState* smp = sampler_.Get();
    context_->IASetInputLayout(layout_.Get());
    context_->RSSetViewports(1, &viewport);
    const float noFactor[4] = {0, 0, 0, 0};
    context_->OMSetBlendState(setup.overlayBlend ? blend_.Get() : nullptr, noFactor, 0xFFFFFFFFu);
    context_->OMSetRenderTargets(1, &rt);
    context_->VSSetShader(vertex_.Get());
    context_->PSSetShader(pixel_.Get());
    context_->PSSetConstantBuffers(0, 1, &cbs);
    context_->PSSetShaderResources(0, 1, &srv);
    context_->PSSetSamplers(0, 1, &smp);
    context_->IASetPrimitiveTopology(GpuTopology::TriangleList);
    context_->IASetVertexBuffers(0, 1, &vbs, &stride, &offset);
  }

  bool ok() const { return ok_; }
  void Draw() { context_->Draw(6, 0); }

 private:
  bool ok_ = false;
  TRefPtr<IGpuDevice> device_;
  TRefPtr<IGpuContext> context_;
  TRefPtr<IGpuTexture2D> picture_, target_;
  TRefPtr<IGpuShaderResourceView> view_;
  TRefPtr<IGpuRenderTargetView> rtv_;
  TRefPtr<IGpuProgram> vertex_, pixel_;
  TRefPtr<IGpuInputLayout> layout_;
  TRefPtr<IGpuSamplerState> sampler_;
  TRefPtr<IGpuBlendState> blend_;
  TRefPtr<IGpuBuffer> vertices_, constants_;
};

// Arguments: the case, and the kernel build (0 plainest; past the last one available: the fastest).
void BM_FinalPassFast(benchmark::State& state) {
  const Case& c = kCases[state.range(0)];
  const cpugpu::fast::Kernels* builds[4];
  const int32_t count = cpugpu::fast::AvailableKernels(builds, 4);
  if (state.range(1) >= count) {
    state.SkipWithError("kernel build not available here");
    return;
  }
  cpugpu::fast::PinKernels(builds[state.range(1)]);
  SeamDraw pass(FinalPassSetup(c), false);
  if (!pass.ok()) state.SkipWithError("setup failed");
  for (auto _ : state) pass.Draw();
  cpugpu::fast::PinKernels(nullptr);
  state.SetLabel(std::string(c.name) + ", " + builds[state.range(1)]->name);
  state.SetItemsProcessed(state.iterations() * int64_t{kW} * kH);
}

void BM_FinalPassReference(benchmark::State& state) {
  const Case& c = kCases[state.range(0)];
  SeamDraw pass(FinalPassSetup(c), true);
  if (!pass.ok()) state.SkipWithError("setup failed");
  for (auto _ : state) pass.Draw();
  state.SetLabel(c.name);
  state.SetItemsProcessed(state.iterations() * int64_t{kW} * kH);
}

// The peer: bilinear scale to the frame (libyuv copies where the sizes match), then the conversion to
// UYVY.
void BM_LibyuvScaleThenUyvy(benchmark::State& state) {
  const Case& c = kCases[state.range(0)];
  const std::vector<uint8_t> picture = Picture(c.pictureWidth, c.pictureHeight);
  std::vector<uint8_t> scaled(size_t{kW} * kH * 4);
  std::vector<uint8_t> uyvy(size_t{kW} * kH * 2);
  for (auto _ : state) {
    libyuv::ARGBScale(picture.data(), int(c.pictureWidth * 4), int(c.pictureWidth), int(c.pictureHeight),
                      scaled.data(), int(kW * 4), int(kW), int(kH), libyuv::kFilterBilinear);
    libyuv::ARGBToUYVY(scaled.data(), int(kW * 4), uyvy.data(), int(kW * 2), int(kW), int(kH));
    benchmark::DoNotOptimize(uyvy.data());
  }
  state.SetLabel(c.name);
  state.SetItemsProcessed(state.iterations() * int64_t{kW} * kH);
}

// The marks of a pass: argument 0 the disc (coloured overlay), 1 the pointer (plain overlay); then 0 fast,
// 1 reference.
void BM_Overlay(benchmark::State& state) {
  const bool disc = state.range(0) == 0;
  const DrawSetup setup = disc ? OverlaySetup(100, 300.4f, 200.6f, 70, 70, GpuProgramId::ColouredOverlay)
                             : OverlaySetup(32, 901, 507, 32, 32, GpuProgramId::Overlay);
  SeamDraw draw(setup, state.range(1) != 0);
  if (!draw.ok()) state.SkipWithError("setup failed");
  for (auto _ : state) draw.Draw();
  state.SetLabel(std::string(disc ? "disc 100 -> 70" : "pointer 32") + (state.range(1) ? ", reference" : ", fast"));
}

void FastArgs(benchmark::internal::Benchmark* b) {
  for (int64_t c = 0; c < 4; ++c)
    for (int64_t k = 0; k < 3; ++k) b->Args({c, k});
}

BENCHMARK(BM_FinalPassFast)->Apply(FastArgs)->Unit(benchmark::kMillisecond);
// The reference takes about half a second a frame: a few passes are enough.
BENCHMARK(BM_FinalPassReference)->DenseRange(0, 3)->Iterations(2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LibyuvScaleThenUyvy)->DenseRange(0, 3)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Overlay)->ArgsProduct({{0, 1}, {0, 1}})->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
