// Test aid: pictures in B8G8R8A8 memory and a rig that drives a gpu device through the seam the way the
// pipeline does (the final pass, an overlay quad, the readback through a staging texture), so the tests
// read as draws rather than as binding calls. Works on any device, the fault wrapper's included.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "platform/auto_obj.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/gpu.h"

namespace cvplat::gputest {

// One pixel as the bytes lie in memory.
struct Bgra {
  uint8_t b = 0, g = 0, r = 0, a = 0;
  bool operator==(const Bgra&) const = default;
};
inline std::ostream& operator<<(std::ostream& os, const Bgra& p) {
  return os << "(b " << int(p.b) << ", g " << int(p.g) << ", r " << int(p.r) << ", a " << int(p.a) << ")";
}

struct Picture {
  UINT width = 0;
  UINT height = 0;
  std::vector<Bgra> pixels;

  static Picture Filled(UINT w, UINT h, Bgra p) { return {w, h, std::vector<Bgra>(size_t{w} * h, p)}; }
  Bgra& At(UINT x, UINT y) { return pixels[size_t{y} * width + x]; }
  const Bgra& At(UINT x, UINT y) const { return pixels[size_t{y} * width + x]; }
};

inline constexpr Bgra kWhite{255, 255, 255, 255};
inline constexpr Bgra kBlack{0, 0, 0, 255};
inline constexpr Bgra kRed{0, 0, 255, 255};

// The full-screen quad of the pipeline as x, y, z, u, v.
inline constexpr float kQuad[6][5] = {
    {-1, -1, 0, 0, 1}, {-1, 1, 0, 0, 0}, {1, -1, 0, 1, 1}, {1, -1, 0, 1, 1}, {-1, 1, 0, 0, 0}, {1, 1, 0, 1, 0},
};

// The same two triangles over the rectangle l..r, b..t of clip space.
inline std::vector<float> QuadAt(float l, float t, float r, float b) {
  return {l, b, 0, 0, 1, l, t, 0, 0, 0, r, b, 0, 1, 1, r, b, 0, 1, 1, l, t, 0, 0, 0, r, t, 0, 1, 0};
}

// The background, `area` and `screen` of the final pass; `pitch` only matters in HDYC.
inline PS_BACKCOLOR_BUFFER Constants(const float color[4], const float area[4], const float screen[4], UINT width,
                                     UINT height) {
  PS_BACKCOLOR_BUFFER k{};
  std::memcpy(k.color, color, sizeof k.color);
  std::memcpy(k.area, area, sizeof k.area);
  std::memcpy(k.screen, screen, sizeof k.screen);
  k.pitch[0] = 1.0f / static_cast<float>(width);
  k.pitch[1] = 1.0f / static_cast<float>(height);
  return k;
}

class GpuRig {
 public:
  explicit GpuRig(const GpuDeviceFactory& factory = CreateGpuDevice) {
    IGpuDevice* d = nullptr;
    IGpuContext* c = nullptr;
    EXPECT_EQ(factory(&d, nullptr, &c), S_OK);
    device = TRefPtr<IGpuDevice>::Adopt(d);
    context = TRefPtr<IGpuContext>::Adopt(c);
    if (!device) return;
    EXPECT_EQ(device->CreateProgram(GpuProgramId::Vertex, vertexProgram.Receive()), S_OK);
    GpuInputElementDesc layout[2];
    layout[0] = {"POSITION", 0, GpuFormat::R32G32B32Float, 0, 0, kGpuInputPerVertexData, 0};
    layout[1] = {"TEXCOORD", 0, GpuFormat::R32G32Float, 0, 12, kGpuInputPerVertexData, 0};
    EXPECT_EQ(device->CreateInputLayout(layout, 2, vertexProgram.Get(), inputLayout.Receive()), S_OK);
    GpuBlendDesc blend;
    GpuRenderTargetBlendDesc& rt = blend.renderTarget[0];
    rt = {1, GpuBlend::SrcAlpha, GpuBlend::InvSrcAlpha, GpuBlendOp::Add, GpuBlend::One, GpuBlend::Zero, GpuBlendOp::Min,
          kGpuColorWriteAll};
    EXPECT_EQ(device->CreateBlendState(&blend, overlayBlend.Receive()), S_OK);
    GpuSamplerDesc sampler;
    EXPECT_EQ(device->CreateSamplerState(&sampler, point.Receive()), S_OK);
    sampler.filter = GpuFilter::MinMagMipLinear;
    EXPECT_EQ(device->CreateSamplerState(&sampler, linear.Receive()), S_OK);
  }

  TRefPtr<IGpuTexture2D> Texture(const Picture& picture, UINT bindFlags = kGpuBindShaderResource) {
    GpuTexture2DDesc desc;
    desc.width = picture.width;
    desc.height = picture.height;
    desc.bindFlags = bindFlags;
    GpuSubresourceData data{picture.pixels.data(), picture.width * 4, 0};
    TRefPtr<IGpuTexture2D> t;
    EXPECT_EQ(device->CreateTexture2D(&desc, &data, t.Receive()), S_OK);
    return t;
  }

  TRefPtr<IGpuBuffer> Buffer(const void* bytes, UINT size, UINT bindFlags) {
    GpuBufferDesc desc;
    desc.byteWidth = size;
    desc.bindFlags = bindFlags;
    if (bindFlags == kGpuBindConstantBuffer) {
      desc.usage = GpuUsage::Dynamic;
      desc.cpuAccessFlags = kGpuCpuAccessWrite;
    }
    GpuSubresourceData data{bytes, 0, 0};
    TRefPtr<IGpuBuffer> b;
    device->CreateBuffer(&desc, &data, b.Receive());
    return b;
  }

  // The texture's pixels, through a staging copy and a mapping, as the hardware loop reads its output.
  Picture Read(IGpuTexture2D* texture) {
    GpuTexture2DDesc desc;
    texture->GetDesc(&desc);
    desc.usage = GpuUsage::Staging;
    desc.bindFlags = 0;
    desc.cpuAccessFlags = kGpuCpuAccessRead;
    desc.miscFlags = 0;
    TRefPtr<IGpuTexture2D> staging;
    Picture out = Picture::Filled(desc.width, desc.height, {});
    if (device->CreateTexture2D(&desc, nullptr, staging.Receive()) != S_OK) {
      ADD_FAILURE() << "no staging texture";
      return out;
    }
    const GpuBox box{0, 0, 0, desc.width, desc.height, 1};
    context->CopySubresourceRegion(staging.Get(), 0, 0, 0, 0, texture, 0, &box);
    GpuMappedSubresource mapped;
    if (context->Map(staging.Get(), 0, GpuMapType::Read, 0, &mapped) != S_OK) {
      ADD_FAILURE() << "no mapping";
      return out;
    }
    EXPECT_GE(mapped.rowPitch, desc.width * 4);
    for (UINT y = 0; y < desc.height; ++y)
      std::memcpy(&out.At(0, y), static_cast<const uint8_t*>(mapped.data) + size_t{y} * mapped.rowPitch,
                  size_t{desc.width} * 4);
    context->Unmap(staging.Get(), 0);
    return out;
  }

  // Binds what every draw of the pipeline shares, then `program`, the texture and the target, and draws.
  void DrawQuad(const float* vertices, UINT viewportWidth, UINT viewportHeight, IGpuTexture2D* target,
                IGpuTexture2D* texture, GpuProgramId program, IGpuSamplerState* sampler, IGpuBuffer* constants,
                IGpuBlendState* blend) {
    TRefPtr<IGpuRenderTargetView> rtv;
    TRefPtr<IGpuShaderResourceView> srv;
    TRefPtr<IGpuProgram> pixel;
    ASSERT_EQ(device->CreateRenderTargetView(target, nullptr, rtv.Receive()), S_OK);
    ASSERT_EQ(device->CreateShaderResourceView(texture, nullptr, srv.Receive()), S_OK);
    ASSERT_EQ(device->CreateProgram(program, pixel.Receive()), S_OK);
    const TRefPtr<IGpuBuffer> quad = Buffer(vertices, 120, kGpuBindVertexBuffer);
    ASSERT_TRUE(quad);
    const GpuViewport viewport{0, 0, static_cast<float>(viewportWidth), static_cast<float>(viewportHeight), 0, 1};
    const UINT stride = 20;
    const UINT offset = 0;
    IGpuBuffer* vb = quad.Get();
    IGpuRenderTargetView* rt = rtv.Get();
    IGpuShaderResourceView* view = srv.Get();
    const float noFactor[4] = {0, 0, 0, 0};
    context->IASetInputLayout(inputLayout.Get());
    context->RSSetViewports(1, &viewport);
    context->OMSetBlendState(blend, blend ? noFactor : nullptr, 0xFFFFFFFFu);
    context->OMSetRenderTargets(1, &rt);
    context->VSSetShader(vertexProgram.Get());
    context->PSSetShader(pixel.Get());
    context->PSSetConstantBuffers(0, 1, &constants);
    context->PSSetShaderResources(0, 1, &view);
    context->PSSetSamplers(0, 1, &sampler);
    context->IASetPrimitiveTopology(GpuTopology::TriangleList);
    context->IASetVertexBuffers(0, 1, &vb, &stride, &offset);
    context->Draw(6, 0);
    context->OMSetRenderTargets(0, nullptr);
  }

  // The final pass: `picture` scaled to W x H by the ARGB or HDYC program (W / 2 texels wide in HDYC),
  // read back.
  Picture FinalPass(const Picture& picture, GpuProgramId program, IGpuSamplerState* sampler,
                    const PS_BACKCOLOR_BUFFER& constants, UINT W, UINT H) {
    const bool hdyc = program == GpuProgramId::Hdyc;
    const TRefPtr<IGpuTexture2D> source = Texture(picture);
    const TRefPtr<IGpuTexture2D> target = Texture(Picture::Filled(hdyc ? W / 2 : W, H, {}),
                                                  kGpuBindShaderResource | kGpuBindRenderTarget);
    const TRefPtr<IGpuBuffer> cb = Buffer(&constants, hdyc ? 64 : 48, kGpuBindConstantBuffer);
    DrawQuad(&kQuad[0][0], W, H, target.Get(), source.Get(), program, sampler, cb.Get(), nullptr);
    return Read(target.Get());
  }

  TRefPtr<IGpuDevice> device;
  TRefPtr<IGpuContext> context;
  TRefPtr<IGpuProgram> vertexProgram;
  TRefPtr<IGpuInputLayout> inputLayout;
  TRefPtr<IGpuBlendState> overlayBlend;
  TRefPtr<IGpuSamplerState> point;
  TRefPtr<IGpuSamplerState> linear;
};

// The devices that tests of device behaviour run on, all held to the same expected pixels: the CPU twin,
// and where the native device is another one (Direct3D 11 on Windows) that one too.
struct NamedDevice {
  const char* name;
  GpuDeviceFactory factory;
};
inline HRESULT CpuTwin(IGpuDevice** device, UINT* level, IGpuContext** context) {
  return CreateCpuGpuDevice({}, device, level, context);
}
inline std::vector<NamedDevice> TestDevices() {
#if defined(_WIN32)
  return {{"CpuTwin", CpuTwin}, {"Native", CreateGpuDevice}};
#else
  return {{"CpuTwin", CpuTwin}};
#endif
}
inline std::string DeviceName(const ::testing::TestParamInfo<NamedDevice>& info) { return info.param.name; }

// A test with a rig on each of TestDevices(); instantiate with CV_ON_TEST_DEVICES(Fixture).
class DeviceTest : public ::testing::TestWithParam<NamedDevice> {
 protected:
  GpuRig rig{GetParam().factory};
};
#define CV_ON_TEST_DEVICES(fixture) \
  INSTANTIATE_TEST_SUITE_P(Devices, fixture, ::testing::ValuesIn(::cvplat::gputest::TestDevices()), \
                           ::cvplat::gputest::DeviceName)

}  // namespace cvplat::gputest
