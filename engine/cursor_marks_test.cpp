// The pieces of the marks that a whole capture can't pin down: the deadline texts, the merge of a
// two-plane pointer and the disc's tint. Where the marks land is proven in running captures.
#include "engine/cursor_marks.h"

#include <gtest/gtest.h>

#include <vector>

#include "framelib/frame_factory.h"
#include "media/colour_formats.h"
#include "props/xml_node.h"

namespace {


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

}  // namespace
