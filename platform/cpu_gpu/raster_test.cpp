// Coverage of the rasteriser, the copy of a box, what the twin refuses, and the recognition of the final
// pass and the overlay quads for the fast layer.
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/cpu_gpu/gpu_test_support.h"
#include "platform/cpu_gpu/raster.h"

namespace cvplat::gputest {
namespace {

constexpr Bgra kOpaqueBlack{0, 0, 0, 255};

// A white overlay with alpha 128 over opaque black: once gives 128 / 255 in colour and (by the Min of
// alpha) 128 in alpha; twice would give 0.502 + 0.502 x 0.498 = 0.752 (192) in colour.
class TopLeftRule : public DeviceTest {
 protected:
  Picture DrawHalfWhite(const float* vertices) {
    const TRefPtr<IGpuTexture2D> overlay = rig.Texture(Picture::Filled(1, 1, {255, 255, 255, 128}));
    const TRefPtr<IGpuTexture2D> target =
        rig.Texture(Picture::Filled(6, 6, kOpaqueBlack), kGpuBindShaderResource | kGpuBindRenderTarget);
    rig.DrawQuad(vertices, 6, 6, target.Get(), overlay.Get(), GpuProgramId::Overlay, rig.point.Get(), nullptr,
                 rig.overlayBlend.Get());
    return rig.Read(target.Get());
  }
};
CV_ON_TEST_DEVICES(TopLeftRule);

// On a square target the shared diagonal runs through the centres of six pixels.
TEST_P(TopLeftRule, TheTwoTrianglesOfTheQuadDrawEveryPixelOnce) {
  const Picture out = DrawHalfWhite(&kQuad[0][0]);
  for (const Bgra& p : out.pixels) EXPECT_EQ(p, (Bgra{128, 128, 128, 128}));
}

// A quad whose edges run through pixel centres, from x = 2.5 to 4.5 and y = 1.5 to 3.5 on the target:
// its left and top edges take the centres on them, its right and bottom edges don't.
TEST_P(TopLeftRule, CentresOnLeftAndTopEdgesAreInsideOnRightAndBottomOutside) {
  const std::vector<float> quad = QuadAt(2.5f / 3 - 1, 1 - 1.5f / 3, 4.5f / 3 - 1, 1 - 3.5f / 3);
  const Picture out = DrawHalfWhite(quad.data());
  for (UINT y = 0; y < 6; ++y)
    for (UINT x = 0; x < 6; ++x) {
      const bool covered = (x == 2 || x == 3) && (y == 1 || y == 2);
      EXPECT_EQ(out.At(x, y), covered ? (Bgra{128, 128, 128, 128}) : kOpaqueBlack) << x << "," << y;
    }
}

class CopySubresourceRegion : public DeviceTest {};
CV_ON_TEST_DEVICES(CopySubresourceRegion);

TEST_P(CopySubresourceRegion, CopiesABoxAndOnlyThePartThatExists) {
  Picture source = Picture::Filled(4, 3, {});
  for (UINT y = 0; y < 3; ++y)
    for (UINT x = 0; x < 4; ++x) source.At(x, y) = {uint8_t(x), uint8_t(y), uint8_t(10 * y + x), 255};
  const Bgra fill{9, 9, 9, 9};
  const TRefPtr<IGpuTexture2D> src = rig.Texture(source, 0);
  const TRefPtr<IGpuTexture2D> dst = rig.Texture(Picture::Filled(5, 4, fill), 0);

  Picture expected = Picture::Filled(5, 4, fill);
  const GpuBox inside{1, 1, 0, 3, 3, 1};  // to (2, 0)
  rig.context->CopySubresourceRegion(dst.Get(), 0, 2, 0, 0, src.Get(), 0, &inside);
  for (UINT y = 0; y < 2; ++y)
    for (UINT x = 0; x < 2; ++x) expected.At(2 + x, y) = source.At(1 + x, 1 + y);
  EXPECT_EQ(rig.Read(dst.Get()).pixels, expected.pixels);

  // Reaching past the source's right and bottom: the 2 x 2 texels from (2, 1) that exist, to (0, 2).
  const GpuBox beyond{2, 1, 0, 6, 5, 1};
  rig.context->CopySubresourceRegion(dst.Get(), 0, 0, 2, 0, src.Get(), 0, &beyond);
  for (UINT y = 0; y < 2; ++y)
    for (UINT x = 0; x < 2; ++x) expected.At(x, 2 + y) = source.At(2 + x, 1 + y);
  EXPECT_EQ(rig.Read(dst.Get()).pixels, expected.pixels);

  const GpuBox empty{1, 0, 0, 1, 3, 1};
  rig.context->CopySubresourceRegion(dst.Get(), 0, 0, 0, 0, src.Get(), 0, &empty);
  EXPECT_EQ(rig.Read(dst.Get()).pixels, expected.pixels);
}

// What the device itself would refuse, the twin refuses too, so the logic meets those failures here.
TEST(CpuGpuDevice, RefusesWhatTheDeviceRefuses) {
  GpuRig rig(CpuTwin);
  const TRefPtr<IGpuTexture2D> plain = rig.Texture(Picture::Filled(2, 2, {}), 0);
  TRefPtr<IGpuRenderTargetView> rtv;
  TRefPtr<IGpuShaderResourceView> srv;
  EXPECT_EQ(rig.device->CreateRenderTargetView(plain.Get(), nullptr, rtv.Receive()), E_INVALIDARG);
  EXPECT_EQ(rig.device->CreateShaderResourceView(plain.Get(), nullptr, srv.Receive()), E_INVALIDARG);
  EXPECT_FALSE(rtv);
  GpuMappedSubresource mapped;
  EXPECT_EQ(rig.context->Map(plain.Get(), 0, GpuMapType::Read, 0, &mapped), E_INVALIDARG);

  GpuTexture2DDesc twoMips;
  twoMips.width = twoMips.height = 4;
  twoMips.mipLevels = 2;
  TRefPtr<IGpuTexture2D> t;
  EXPECT_EQ(rig.device->CreateTexture2D(&twoMips, nullptr, t.Receive()), E_INVALIDARG);
  GpuBufferDesc oddConstants{20, GpuUsage::Dynamic, kGpuBindConstantBuffer, kGpuCpuAccessWrite, 0, 0};
  TRefPtr<IGpuBuffer> b;
  EXPECT_EQ(rig.device->CreateBuffer(&oddConstants, nullptr, b.Receive()), E_INVALIDARG);
}

// The one place a fast path will take the final pass: the canonical quad on a target of the frame's
// width (ARGB) or half of it (HDYC).
TEST(FullScreenQuad, RecognisedOnlyAsTheFinalPassDrawsIt) {
  float vertices[6][5];
  std::memcpy(vertices, kQuad, sizeof vertices);
  cpugpu::DrawCall draw;
  draw.vertices = {reinterpret_cast<const uint8_t*>(vertices), sizeof vertices, 20, 0, 0, 12};
  draw.vertexCount = 6;
  draw.viewport = {0, 0, 9, 4, 0, 1};
  draw.target.width = 9;
  draw.target.height = 4;
  draw.program = GpuProgramId::Argb;
  draw.inputs.filter = cpugpu::SamplerFilter::Linear;
  const auto argb = cpugpu::MatchFullScreenQuad(draw);
  ASSERT_TRUE(argb);
  EXPECT_EQ(argb->width, 9u);
  EXPECT_EQ(argb->filter, cpugpu::SamplerFilter::Linear);

  draw.program = GpuProgramId::Hdyc;
  EXPECT_FALSE(cpugpu::MatchFullScreenQuad(draw));
  draw.target.width = 4;
  EXPECT_TRUE(cpugpu::MatchFullScreenQuad(draw));

  draw.program = GpuProgramId::Overlay;
  EXPECT_FALSE(cpugpu::MatchFullScreenQuad(draw));
  draw.program = GpuProgramId::Hdyc;
  vertices[5][0] = 0.5f;
  EXPECT_FALSE(cpugpu::MatchFullScreenQuad(draw));
}

// The overlay fast path takes a quad only with the overlay programs, the overlay blend and the pipeline's
// vertex order; it covers the pixel centres in [left, right) x [top, bottom), clipped to the target.
TEST(OverlayQuad, RecognisedOnlyAsThePipelineDrawsAMark) {
  // x from 2.5 to 4.5 and y from 1.5 to 3.5 on a 6 x 6 target, then one reaching past its right edge.
  float vertices[30];
  auto place = [&](float l, float t, float r, float b) {
    const std::vector<float> quad = QuadAt(l, t, r, b);
    std::copy(quad.begin(), quad.end(), vertices);
  };
  place(2.5f / 3 - 1, 1 - 1.5f / 3, 4.5f / 3 - 1, 1 - 3.5f / 3);
  cpugpu::DrawCall draw;
  draw.vertices = {reinterpret_cast<const uint8_t*>(vertices), sizeof vertices, 20, 0, 0, 12};
  draw.vertexCount = 6;
  draw.viewport = {0, 0, 6, 6, 0, 1};
  uint8_t pixels[6 * 6 * 4] = {};
  draw.target = {pixels, 6, 6, 24};
  draw.program = GpuProgramId::ColouredOverlay;
  draw.blend.target = {1, GpuBlend::SrcAlpha, GpuBlend::InvSrcAlpha, GpuBlendOp::Add, GpuBlend::One, GpuBlend::Zero,
                       GpuBlendOp::Min, kGpuColorWriteAll};
  auto quad = cpugpu::MatchOverlayQuad(draw);
  ASSERT_TRUE(quad);
  EXPECT_EQ(quad->span.x0, 2);
  EXPECT_EQ(quad->span.x1, 4);
  EXPECT_EQ(quad->span.y0, 1);
  EXPECT_EQ(quad->span.y1, 3);

  place(0, 0.5f, 1.5f, -1.5f);
  quad = cpugpu::MatchOverlayQuad(draw);
  ASSERT_TRUE(quad);
  EXPECT_EQ(quad->span.x1, 6);
  EXPECT_EQ(quad->span.y1, 6);

  cpugpu::DrawCall other = draw;
  other.program = GpuProgramId::Argb;
  EXPECT_FALSE(cpugpu::MatchOverlayQuad(other));
  other = draw;
  other.blend.target.blendOpAlpha = GpuBlendOp::Max;
  EXPECT_FALSE(cpugpu::MatchOverlayQuad(other));
  other.blend.target = {};
  EXPECT_FALSE(cpugpu::MatchOverlayQuad(other));
  place(0.5f, 0.5f, -0.5f, -0.5f);  // mirrored: both triangles face away
  EXPECT_FALSE(cpugpu::MatchOverlayQuad(draw));
  place(-0.5f, 0.5f, 0.5f, -0.5f);
  vertices[4] = 0.5f;  // v of the first vertex
  EXPECT_FALSE(cpugpu::MatchOverlayQuad(draw));
}

}  // namespace
}  // namespace cvplat::gputest
