// The pieces of the marks that a whole capture can't pin down: the deadline texts, the merge of a
// two-plane pointer, the disc's tint, and where a quad lands in the texture of `current`.
#include "engine/cursor_marks.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "framelib/frame_factory.h"
#include "media/colour_formats.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/cpu_gpu/gpu_test_support.h"
#include "props/xml_node.h"

namespace {

using namespace cvplat;
using cvplat::gputest::Bgra;
using cvplat::gputest::Picture;

TEST(VisibilityDeadline, FormsAndFallBacks) {
  EXPECT_EQ(ParseVisibilityDeadline(L"Show", 500), kDeadlineAlways);
  EXPECT_EQ(ParseVisibilityDeadline(L"HIDE", 500), kDeadlineNever);
  EXPECT_EQ(ParseVisibilityDeadline(L"", 500), kDeadlineAlways);
  EXPECT_EQ(ParseVisibilityDeadline(L"hide_inactive(3000)", 1000), 4000u);
  // The sum wraps with the clock.
  EXPECT_EQ(ParseVisibilityDeadline(L"hide_inactive(512)", 0xFFFFFF00u), 0x100u);
  // Anything else is a deadline just passed: never drawn, however often it is armed again.
  EXPECT_EQ(ParseVisibilityDeadline(L"sometimes", 1000), 999u);
  EXPECT_EQ(ParseVisibilityDeadline(L"hide_inactive(soon)", 1000), 999u);
  // A text that ends where the scan still wanted more counts as an empty one.
  EXPECT_EQ(ParseVisibilityDeadline(L"hide_inactive", 1000), kDeadlineAlways);
}

TEST(MonochromeMerge, FixedTransparentAndInverting) {
  // black, white, background, inverting: as a two-plane pointer draws them on black and on white.
  std::vector<uint32_t> onBlack = {0x00000000u, 0x00FFFFFFu, 0x00000000u, 0x00FFFFFFu};
  const std::vector<uint32_t> onWhite = {0x00000000u, 0x00FFFFFFu, 0x00FFFFFFu, 0x00000000u};
  MergeMonochromeCursor(onBlack, onWhite);
  EXPECT_EQ(onBlack, (std::vector<uint32_t>{0xFF000000u, 0xFFFFFFFFu, 0x00000000u, 0xFF000000u}));
}

TRefPtr<ICVFrame_I> MaskFrame(uint8_t value, int32_t width, int32_t height) {
  std::vector<uint32_t> pixels(static_cast<size_t>(width) * height, 0x00010101u * value);
  TVideoProps video{};
  video.colourFormat = kColourRGB32;
  video.width = width;
  video.height = height;
  video.rowBytes = width * 4;
  video.frameRate = 29.97;
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  ICVFrame_I* frame = nullptr;
  EXPECT_EQ(factory->FrameCreate(&video, reinterpret_cast<uintptr_t>(pixels.data()), 0, 0, 0, &frame, nullptr), S_OK);
  return TRefPtr<ICVFrame_I>::Adopt(frame);
}

std::vector<uint8_t> Tinted(uint8_t mask, uint32_t colour) {
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  TRefPtr<ICVFrame_I> source = MaskFrame(mask, 3, 2);
  ICVFrame_I* out = nullptr;
  EXPECT_EQ(TintHighlightFrame(source.Get(), colour, factory.Get(), &out), S_OK);
  if (!out) return {};
  TRefPtr<ICVFrame_I> frame = TRefPtr<ICVFrame_I>::Adopt(out);
  TAvProps props{};
  frame->FormatGet(&props, nullptr);
  EXPECT_EQ(props.video.colourFormat, kColourARGB32);
  EXPECT_EQ(props.video.width, 3);
  uint8_t* pixels = nullptr;
  EXPECT_EQ(frame->PixelsGet(0, &pixels), S_OK);
  return std::vector<uint8_t>(pixels, pixels + 4);
}

TEST(TintHighlightFrame, TopByteIsATransparency) {
  // The default yellow at 0x88: a = 252 x 119 / 255 = 117; blue 0, green and red 255 x 117 / 255.
  EXPECT_EQ(Tinted(252, 0x8800FFFFu), (std::vector<uint8_t>{0, 117, 117, 117}));
  EXPECT_EQ(Tinted(252, 0x00FF0000u), (std::vector<uint8_t>{252, 0, 0, 252}));
  // A plain colour name gives the top byte 255: no disc at all.
  EXPECT_EQ(Tinted(252, 0xFF00FFFFu), (std::vector<uint8_t>{0, 0, 0, 0}));

  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  ICVFrame_I* made = nullptr;
  TRefPtr<ICVFrame_I> mask = MaskFrame(1, 2, 2);
  ICVFrame_I* argb = nullptr;
  ASSERT_EQ(mask->FrameConvert(kColourARGB32, 2, 2, 0, &argb, nullptr, nullptr), S_OK);
  TRefPtr<ICVFrame_I> wrong = TRefPtr<ICVFrame_I>::Adopt(argb);
  EXPECT_EQ(TintHighlightFrame(wrong.Get(), 0, factory.Get(), &made), CV_E_FORMAT_REFUSED);
  EXPECT_EQ(made, nullptr);
}

HRESULT CpuDevice(IGpuDevice** device, UINT* level, IGpuContext** context) {
  return CreateCpuGpuDevice({}, device, level, context);
}

// A pipeline on the CPU twin and a work texture of `current` filled with one colour.
struct QuadRig {
  explicit QuadRig(TRect current) : region{current, current, current, current, 0, 30} {
    props->SetString(L"capture.sampler_type", L"point");
    EXPECT_EQ(gpu.InitDevice(CpuDevice, props.Get()), 1);
    target = Texture(Picture::Filled(RectWidth(current), RectHeight(current), kGrey), true);
  }
  TRefPtr<IGpuTexture2D> Texture(const Picture& p, bool renderTarget) {
    GpuTexture2DDesc desc;
    desc.width = p.width;
    desc.height = p.height;
    desc.bindFlags = kGpuBindShaderResource | (renderTarget ? kGpuBindRenderTarget : 0);
    const GpuSubresourceData data{p.pixels.data(), p.width * 4, 0};
    IGpuTexture2D* t = nullptr;
    EXPECT_EQ(gpu.Device()->CreateTexture2D(&desc, &data, &t), S_OK);
    return TRefPtr<IGpuTexture2D>::Adopt(t);
  }
  Picture Read() {
    Picture out;
    gpu.ReadBack(target.Get(), [&](const uint8_t* data, uint32_t pitch, uint32_t w, uint32_t h) {
      out = Picture::Filled(w, h, {});
      for (uint32_t y = 0; y < h; ++y) std::memcpy(&out.At(0, y), data + size_t{y} * pitch, size_t{w} * 4);
    });
    return out;
  }
  // The bounding box of the pixels that differ from the grey the target began with.
  TRect Changed() {
    const Picture p = Read();
    TRect box{INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};
    for (UINT y = 0; y < p.height; ++y) {
      for (UINT x = 0; x < p.width; ++x) {
        if (p.At(x, y) == kGrey) continue;
        box = {std::min<int32_t>(box.left, x), std::min<int32_t>(box.top, y), std::max<int32_t>(box.right, x + 1),
               std::max<int32_t>(box.bottom, y + 1)};
      }
    }
    return box;
  }

  static constexpr Bgra kGrey{128, 128, 128, 255};
  XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(L"t-props");
  TGpuPipeline gpu;
  TCaptureRegion region;
  TRefPtr<IGpuTexture2D> target;
};

TEST(DrawOverlayTexture, LandsOnTheRectangleOfCurrentAndIsCutAtItsEdge) {
  // `current` away from the origin, so every coordinate must be taken relative to it.
  QuadRig rig({1000, 500, 1200, 600});
  const TRefPtr<IGpuTexture2D> red = rig.Texture(Picture::Filled(10, 10, gputest::kRed), false);
  EXPECT_EQ(DrawOverlayTexture(rig.gpu, rig.target.Get(), rig.region, red.Get(), {1050, 520, 1060, 530}, nullptr), S_OK);
  const TRect inside = rig.Changed();
  EXPECT_EQ(inside.left, 50);
  EXPECT_EQ(inside.top, 20);
  EXPECT_EQ(inside.right, 60);
  EXPECT_EQ(inside.bottom, 30);
  EXPECT_EQ(rig.Read().At(55, 25), gputest::kRed);

  // Half over the right edge: what lies outside is cut, the rest drawn.
  QuadRig edge({0, 0, 200, 100});
  EXPECT_EQ(DrawOverlayTexture(edge.gpu, edge.target.Get(), edge.region, red.Get(), {195, 40, 205, 50}, nullptr), S_OK);
  EXPECT_EQ(edge.Changed().left, 195);
  EXPECT_EQ(edge.Changed().right, 200);

  // Wholly outside: nothing is drawn and the answer says so.
  QuadRig outside({0, 0, 200, 100});
  EXPECT_EQ(DrawOverlayTexture(outside.gpu, outside.target.Get(), outside.region, red.Get(), {210, 40, 220, 50},
                               nullptr),
            S_FALSE);
  EXPECT_EQ(outside.Changed().left, INT32_MAX);
}

TEST(DrawOverlayTexture, ColourTurnsTheMaskIntoADisc) {
  QuadRig rig({0, 0, 200, 100});
  // A full mask (252 in red, where the coloured program reads it) in pure blue at no transparency.
  const TRefPtr<IGpuTexture2D> mask = rig.Texture(Picture::Filled(10, 10, Bgra{252, 252, 252, 0}), false);
  const uint32_t blue = 0x00FF0000u;
  ASSERT_EQ(DrawOverlayTexture(rig.gpu, rig.target.Get(), rig.region, mask.Get(), {20, 20, 30, 30}, &blue), S_OK);
  const Bgra p = rig.Read().At(25, 25);
  // Straight blend of colour (0, 0, 252 / 255 blue) at alpha 252 / 255 over grey 128.
  EXPECT_NEAR(p.b, 252 * 252 / 255.0 + 128 * 3 / 255.0, 1.0);
  EXPECT_NEAR(p.r, 128 * 3 / 255.0, 1.0);
}

}  // namespace
