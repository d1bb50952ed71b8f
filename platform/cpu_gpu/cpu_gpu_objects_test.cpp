// Texture memory as the device promises it, although the twin reuses the memory of textures that went
// and lets whole copies read one block until either is written.
#include <gtest/gtest.h>

#include "platform/cpu_gpu/gpu_test_support.h"

namespace cvplat::gputest {
namespace {

constexpr UINT kTargetBinds = kGpuBindShaderResource | kGpuBindRenderTarget;

class TextureMemory : public DeviceTest {
 protected:
  TRefPtr<IGpuTexture2D> Blank(UINT width, UINT height) {
    GpuTexture2DDesc desc;
    desc.width = width;
    desc.height = height;
    desc.bindFlags = kTargetBinds;
    TRefPtr<IGpuTexture2D> t;
    EXPECT_EQ(rig.device->CreateTexture2D(&desc, nullptr, t.Receive()), S_OK);
    return t;
  }
  void Clear(IGpuTexture2D* texture, const float rgba[4]) {
    TRefPtr<IGpuRenderTargetView> view;
    ASSERT_EQ(rig.device->CreateRenderTargetView(texture, nullptr, view.Receive()), S_OK);
    rig.context->ClearRenderTargetView(view.Get(), rgba);
  }
  // A half-transparent white quad over the left half of `target`.
  void OverlayLeftHalf(IGpuTexture2D* target, UINT width, UINT height) {
    const TRefPtr<IGpuTexture2D> white = rig.Texture(Picture::Filled(1, 1, {255, 255, 255, 128}));
    const std::vector<float> quad = QuadAt(-1, 1, 0, -1);
    rig.DrawQuad(quad.data(), width, height, target, white.Get(), GpuProgramId::Overlay, rig.point.Get(), nullptr,
                 rig.overlayBlend.Get());
  }
};
CV_ON_TEST_DEVICES(TextureMemory);

// Large enough for memory that is kept for reuse; the same bytes in other shapes, one with padded rows.
TEST_P(TextureMemory, NewTexturesReadZerosWhateverTheMemoryHeldBefore) {
  const float green[4] = {0, 1, 0, 1};
  const UINT shapes[3][2] = {{256, 128}, {128, 256}, {100, 160}};
  for (const auto& written : shapes) {
    {
      const TRefPtr<IGpuTexture2D> red = rig.Texture(Picture::Filled(written[0], written[1], kRed), kTargetBinds);
      const TRefPtr<IGpuTexture2D> cleared = Blank(written[0], written[1]);
      Clear(cleared.Get(), green);
      ASSERT_EQ(rig.Read(cleared.Get()).pixels[0], (Bgra{0, 255, 0, 255}));
    }
    for (const auto& shape : shapes) {
      const TRefPtr<IGpuTexture2D> fresh = Blank(shape[0], shape[1]);
      EXPECT_EQ(rig.Read(fresh.Get()).pixels, Picture::Filled(shape[0], shape[1], {}).pixels)
          << shape[0] << "x" << shape[1] << " after " << written[0] << "x" << written[1];
    }
  }
}

// A whole copy, then draws and a clear on either side: each keeps its own picture, and what a clear left
// lies under a later overlay.
TEST_P(TextureMemory, WholeCopiesStayApartWhenEitherIsWritten) {
  const UINT w = 160, h = 120;
  Picture picture = Picture::Filled(w, h, kBlack);
  for (UINT y = 0; y < h; ++y)
    for (UINT x = 0; x < w; ++x) picture.At(x, y) = {uint8_t(x), uint8_t(y), uint8_t(x ^ y), 255};
  const TRefPtr<IGpuTexture2D> src = rig.Texture(picture, kTargetBinds);
  const TRefPtr<IGpuTexture2D> dst = Blank(w, h);
  rig.context->CopySubresourceRegion(dst.Get(), 0, 0, 0, 0, src.Get(), 0, nullptr);

  OverlayLeftHalf(dst.Get(), w, h);
  const Picture overlaid = rig.Read(dst.Get());
  EXPECT_EQ(rig.Read(src.Get()).pixels, picture.pixels);
  EXPECT_NE(overlaid.At(0, 0), picture.At(0, 0));
  EXPECT_EQ(overlaid.At(w - 1, h - 1), picture.At(w - 1, h - 1));

  const float blue[4] = {0, 0, 1, 1};
  Clear(src.Get(), blue);
  EXPECT_EQ(rig.Read(dst.Get()).pixels, overlaid.pixels);
  OverlayLeftHalf(src.Get(), w, h);
  const Picture after = rig.Read(src.Get());
  EXPECT_EQ(after.At(0, 0), (Bgra{255, 128, 128, 128}));  // white at 128 / 255 over blue
  EXPECT_EQ(after.At(w - 1, 0), (Bgra{255, 0, 0, 255}));
}

}  // namespace
}  // namespace cvplat::gputest
