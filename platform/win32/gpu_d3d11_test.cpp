// The Direct3D 11 device against the CPU twin: the final pass of both programs over one picture, at the
// frame's size and scaled, with a background and parts off the screen, in the shader model 5.0 and 4.0
// builds; a machine without the compiler; GDI drawing into a texture through its device context.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "platform/cpu_gpu/gpu_test_support.h"
#include "platform/win32/gpu_d3d11.h"

namespace cvplat::gputest {
namespace {

HRESULT Level10(IGpuDevice** device, UINT* level, IGpuContext** context) {
  D3d11GpuOptions options;
  options.featureLevel = kGpuFeatureLevel10_0;
  return CreateD3d11GpuDevice(options, device, level, context);
}

// Every byte different from its neighbours, alpha included.
Picture Noise(UINT w, UINT h) {
  Picture p = Picture::Filled(w, h, {});
  uint32_t state = 12345;
  for (Bgra& px : p.pixels) {
    state = state * 1664525u + 1013904223u;
    px = {uint8_t(state >> 24), uint8_t(state >> 16), uint8_t(state >> 8), uint8_t(state >> 4)};
  }
  return p;
}

int MaxDifference(const Picture& a, const Picture& b) {
  if (a.width != b.width || a.height != b.height) return 256;
  int most = 0;
  for (size_t i = 0; i < a.pixels.size(); ++i) {
    const Bgra& p = a.pixels[i];
    const Bgra& q = b.pixels[i];
    most = std::max({most, std::abs(p.b - q.b), std::abs(p.g - q.g), std::abs(p.r - q.r), std::abs(p.a - q.a)});
  }
  return most;
}

// A 37 x 23 picture to frames of four sizes. No sample falls on a border between texels, nor on an edge
// of `area` or `screen` (those lie half a step between the samples, horizontal edges at odd multiples of
// 1 / 4W, vertical ones at multiples of 1 / H; W is odd, so no HDYC sample lies on the right edge 1),
// where the device's interpolation may round either way.
// Where the value of a sample goes out as it is (ARGB without shading) the device matches the twin
// exactly; where a program computes a byte (shading, the colour conversion), the device may fuse a
// multiply and an add and round the last bit the other way: one step at most.
TEST(D3d11Device, FinalPassMatchesTheTwinWithEitherSamplerInBothShaderModels) {
  struct Case {
    const char* what;
    UINT W, H;
    float color[4];
    float area[4];
    float screen[4];
    bool computed;  // whether the ARGB program shades any pixel
  };
  const Case cases[] = {
      {"frame's size", 37, 23, {0, 0, 0, 170 / 255.0f}, {0, 0, 1, 1}, {0, 0, 1, 1}, false},
      {"smaller, shaded outside the visible part", 21, 12, {0.2f, 0.4f, 0.6f, 0.3f},
       {4.5f / 42, 2 / 12.0f, 29.5f / 42, 11 / 12.0f}, {0, 0, 1, 1}, true},
      {"larger, past the screen's right and bottom", 61, 40, {1, 0, 0, 0}, {0, 0, 97.5f / 122, 30 / 40.0f},
       {0, 0, 97.5f / 122, 30 / 40.0f}, false},
      {"left of and above the screen, solid background", 41, 29, {0, 1, 0.5f, 0},
       {30.5f / 82, 9 / 29.0f, 70.5f / 82, 25 / 29.0f}, {20.5f / 82, 6 / 29.0f, 1, 1}, true},
  };
  const Picture picture = Noise(37, 23);
  GpuRig twin(CpuTwin);
  for (const auto& [build, factory] : {std::pair{"model 5.0", GpuDeviceFactory(CreateGpuDevice)},
                                       std::pair{"model 4.0", GpuDeviceFactory(Level10)}}) {
    GpuRig d3d(factory);
    ASSERT_TRUE(d3d.device) << build;
    for (const Case& c : cases) {
      const PS_BACKCOLOR_BUFFER k = Constants(c.color, c.area, c.screen, c.W, c.H);
      for (const GpuProgramId program : {GpuProgramId::Argb, GpuProgramId::Hdyc}) {
        const bool hdyc = program == GpuProgramId::Hdyc;
        const char* name = hdyc ? "HDYC" : "ARGB";
        // At the frame's size every HDYC sample lies on a border between pixels: there the sampler's
        // rounding picks the pixel, which the twin's and the device's may do differently.
        if (!(hdyc && c.W == picture.width)) {
          EXPECT_LE(MaxDifference(d3d.FinalPass(picture, program, d3d.point.Get(), k, c.W, c.H),
                                  twin.FinalPass(picture, program, twin.point.Get(), k, c.W, c.H)),
                    hdyc || c.computed ? 1 : 0)
              << build << ", " << name << ", point, " << c.what;
        }
        EXPECT_LE(MaxDifference(d3d.FinalPass(picture, program, d3d.linear.Get(), k, c.W, c.H),
                                twin.FinalPass(picture, program, twin.linear.Get(), k, c.W, c.H)),
                  1)
            << build << ", " << name << ", linear, " << c.what;
      }
    }
  }
}

TEST(D3d11Device, WithoutTheCompilerModuleNoDeviceIsMade) {
  D3d11GpuOptions options;
  options.compilerModule = L"cv_missing_compiler.dll";
  IGpuDevice* device = nullptr;
  IGpuContext* context = nullptr;
  UINT level = 1;
  EXPECT_EQ(CreateD3d11GpuDevice(options, &device, &level, &context), HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND));
  EXPECT_EQ(device, nullptr);
  EXPECT_EQ(context, nullptr);
  EXPECT_EQ(level, 0u);

  // The system's own module makes a device that protects its context.
  GpuRig rig(CreateGpuDevice);
  ASSERT_TRUE(rig.device);
  EXPECT_GE(rig.device->GetFeatureLevel(), kGpuFeatureLevel10_0);
  EXPECT_EQ(rig.device->SetMultithreadProtected(1), S_OK);
  EXPECT_TRUE(rig.device->GetMultithreadProtected());
}

TEST(D3d11Device, GdiDrawsIntoACompatibleTextureThroughItsDeviceContext) {
  GpuRig rig(CreateGpuDevice);
  ASSERT_TRUE(rig.device);
  const Picture black = Picture::Filled(8, 4, kBlack);
  GpuTexture2DDesc desc;
  desc.width = 8;
  desc.height = 4;
  desc.bindFlags = kGpuBindShaderResource | kGpuBindRenderTarget;
  desc.miscFlags = kGpuMiscGdiCompatible;
  const GpuSubresourceData data{black.pixels.data(), 8 * 4, 0};
  TRefPtr<IGpuTexture2D> texture;
  ASSERT_EQ(rig.device->CreateTexture2D(&desc, &data, texture.Receive()), S_OK);

  HDC dc = nullptr;
  ASSERT_EQ(GetGpuTextureDC(texture.Get(), FALSE, &dc), S_OK);
  const RECT box{2, 1, 6, 3};
  const HBRUSH brush = CreateSolidBrush(RGB(10, 20, 30));
  EXPECT_TRUE(FillRect(dc, &box, brush));
  DeleteObject(brush);
  ASSERT_EQ(ReleaseGpuTextureDC(texture.Get()), S_OK);
  const Picture out = rig.Read(texture.Get());
  for (UINT y = 0; y < 4; ++y)
    for (UINT x = 0; x < 8; ++x) {
      const bool inside = x >= 2 && x < 6 && y >= 1 && y < 3;
      const Bgra& p = out.At(x, y);
      EXPECT_EQ((Bgra{p.b, p.g, p.r, 0}), inside ? (Bgra{30, 20, 10, 0}) : (Bgra{0, 0, 0, 0})) << x << "," << y;
    }

  // A texture of another device has no such context.
  GpuRig twin(CpuTwin);
  const TRefPtr<IGpuTexture2D> other = twin.Texture(black, kGpuBindShaderResource | kGpuBindRenderTarget);
  EXPECT_EQ(GetGpuTextureDC(other.Get(), FALSE, &dc), E_NOINTERFACE);
  EXPECT_EQ(dc, nullptr);
}

}  // namespace
}  // namespace cvplat::gputest
