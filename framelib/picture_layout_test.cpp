#include "framelib/picture_layout.h"

#include <gtest/gtest.h>

#include "media/colour_formats.h"

namespace {

TVideoProps Video(uint32_t colour, int32_t width, int32_t height, int32_t rowBytes = 0) {
  TVideoProps v{};
  v.colourFormat = colour;
  v.width = width;
  v.height = height;
  v.rowBytes = rowBytes;
  return v;
}

TEST(PictureLayout, RecordsWithoutSizeOrColourHaveNoPicture) {
  TPictureLayout layout{};
  EXPECT_EQ(PictureLayoutOf(Video(0, 640, 480), &layout), TPictureKind::None);
  EXPECT_EQ(PictureLayoutOf(Video(kColourRGB32, 0, 480), &layout), TPictureKind::None);
  EXPECT_EQ(PictureLayoutOf(Video(kColourRGB32, 640, 0), &layout), TPictureKind::None);
}

TEST(PictureLayout, RefusesWhatCannotBeLaidOut) {
  TPictureLayout layout{};
  EXPECT_EQ(PictureLayoutOf(Video(kColourRGB32, -4, 4), &layout), TPictureKind::Invalid);
  // Known codes outside the supported set, and an unknown one.
  EXPECT_EQ(PictureLayoutOf(Video(kColourI420, 16, 16), &layout), TPictureKind::Invalid);
  EXPECT_EQ(PictureLayoutOf(Video(kColourIYU2, 16, 16), &layout), TPictureKind::Invalid);
  EXPECT_EQ(PictureLayoutOf(Video(0x12345678, 16, 16), &layout), TPictureKind::Invalid);
  // Sizes whose byte count would wrap or could never be allocated.
  EXPECT_EQ(PictureLayoutOf(Video(kColourRGB32, 100000, 100000), &layout), TPictureKind::Invalid);
  EXPECT_EQ(PictureLayoutOf(Video(kColourRGB32, 16, INT32_MIN), &layout), TPictureKind::Invalid);
  EXPECT_EQ(PictureLayoutOf(Video(kColourRGB32, 16, 16, INT32_MAX), &layout), TPictureKind::Invalid);
}

TEST(PictureLayout, RowBytesAreTheLeastALineNeedsUnlessTheFormatGivesMore) {
  TPictureLayout layout{};
  ASSERT_EQ(PictureLayoutOf(Video(kColourRGB32, 640, -480), &layout), TPictureKind::Picture);
  EXPECT_EQ(layout.rowBytes, 2560);
  EXPECT_EQ(layout.lines, 480);
  EXPECT_EQ(layout.imageBytes, 2560 * 480);

  ASSERT_EQ(PictureLayoutOf(Video(kColourRGB32, 640, -480, 3000), &layout), TPictureKind::Picture);
  EXPECT_EQ(layout.rowBytes, 3000);
  EXPECT_EQ(layout.imageBytes, 3000 * 480);
  ASSERT_EQ(PictureLayoutOf(Video(kColourRGB32, 640, -480, 100), &layout), TPictureKind::Picture);
  EXPECT_EQ(layout.rowBytes, 2560) << "a line too short for its pixels is never used";

  // RGB24 lines are padded to four bytes; v210 packs 48 pixels into 128 bytes.
  ASSERT_EQ(PictureLayoutOf(Video(kColourRGB24, 3, 2), &layout), TPictureKind::Picture);
  EXPECT_EQ(layout.rowBytes, 12);
  ASSERT_EQ(PictureLayoutOf(Video(kColourV210, 1920, 1080), &layout), TPictureKind::Picture);
  EXPECT_EQ(layout.rowBytes, 5120);
}

TEST(PictureLayout, PlanarPicturesCarryHalfAsManyChromaBytesBelowTheLuma) {
  TPictureLayout layout{};
  ASSERT_EQ(PictureLayoutOf(Video(kColourNV12, 1920, 1080), &layout), TPictureKind::Picture);
  EXPECT_EQ(layout.rowBytes, 1920);
  EXPECT_EQ(layout.imageBytes, 1920 * 1080 * 3 / 2);
  ASSERT_EQ(PictureLayoutOf(Video(kColourNV12, 1920, 1080, 2048), &layout), TPictureKind::Picture);
  EXPECT_EQ(layout.imageBytes, 2048 * 1080 * 3 / 2);
}

TEST(PictureLayout, OnlyRgbWithAPositiveHeightLiesBottomUp) {
  TPictureLayout layout{};
  ASSERT_EQ(PictureLayoutOf(Video(kColourARGB32, 4, 3), &layout), TPictureKind::Picture);
  EXPECT_TRUE(layout.bottomUp);
  EXPECT_EQ(PictureLineOffset(layout, 0), 2 * 16) << "the top line is the last in memory";
  EXPECT_EQ(PictureLineOffset(layout, 2), 0);

  ASSERT_EQ(PictureLayoutOf(Video(kColourARGB32, 4, -3), &layout), TPictureKind::Picture);
  EXPECT_FALSE(layout.bottomUp);
  EXPECT_EQ(PictureLineOffset(layout, 0), 0);
  EXPECT_EQ(PictureLineOffset(layout, 2), 2 * 16);

  for (int32_t height : {3, -3}) {
    ASSERT_EQ(PictureLayoutOf(Video(kColourHDYC, 4, height), &layout), TPictureKind::Picture);
    EXPECT_FALSE(layout.bottomUp) << "YUV lies top-down whatever the sign, height " << height;
    EXPECT_EQ(layout.lines, 3);
  }
}

}  // namespace
