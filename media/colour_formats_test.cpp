#include "media/colour_formats.h"

#include <gtest/gtest.h>

namespace {

TEST(ColourFormats, CodesAreTheirFourLettersLittleEndian) {
  const auto fourcc = [](const char* s) {
    return uint32_t(uint8_t(s[0])) | uint32_t(uint8_t(s[1])) << 8 | uint32_t(uint8_t(s[2])) << 16 |
           uint32_t(uint8_t(s[3])) << 24;
  };
  EXPECT_EQ(kColourHDYC, fourcc("HDYC"));
  EXPECT_EQ(kColourUYVY, fourcc("UYVY"));
  EXPECT_EQ(kColourYUY2, fourcc("YUY2"));
  EXPECT_EQ(kColourV210, fourcc("v210"));
  EXPECT_EQ(kColourR210, fourcc("r210"));
  EXPECT_EQ(kColourNV12, fourcc("NV12"));
  EXPECT_EQ(kColourY444, fourcc("Y444"));
}

TEST(ColourFormats, GroupsAndDepths) {
  EXPECT_EQ(ColourGroup(kColourUYVY), TColourGroup::Packed);
  EXPECT_EQ(ColourGroup(kColourV210), TColourGroup::Packed);
  EXPECT_EQ(ColourGroup(kColourR210), TColourGroup::RGB) << "10-bit RGB is RGB even with four letters";
  EXPECT_EQ(ColourGroup(kColourRGB8), TColourGroup::RGB);
  EXPECT_EQ(ColourGroup(kColourI420), TColourGroup::Planar);
  EXPECT_EQ(ColourGroup(kColourYVU9), TColourGroup::Other);
  EXPECT_EQ(ColourGroup(0), TColourGroup::Unknown);
  EXPECT_EQ(ColourGroup(0x12345678), TColourGroup::Unknown);
  EXPECT_TRUE(ColourIsRGB(kColourARGB32));
  EXPECT_FALSE(ColourIsRGB(kColourHDYC));
  ASSERT_NE(ColourInfo(kColourV210), nullptr);
  EXPECT_EQ(ColourInfo(kColourV210)->bitsPerPixel, 20);
  EXPECT_EQ(ColourInfo(kColourYVU9)->bitsPerPixel, 9);
}

TEST(ColourFormats, SupportedSetExcludesTheRarelyProduced) {
  for (uint32_t c : {kColourHDYC, kColourUYVY, kColourYVYU, kColourYUY2, kColourARGB32, kColourRGB32,
                     kColourRGB24, kColourRGB8, kColourNV12, kColourV210, kColourR210})
    EXPECT_TRUE(ColourIsSupported(c)) << std::hex << c;
  for (uint32_t c : {kColourRGB555, kColourRGB565, kColourI420, kColourYV12, kColourY422, kColourY444,
                     kColourIYU2, kColourYVU9, 0u})
    EXPECT_FALSE(ColourIsSupported(c)) << std::hex << c;
}

TEST(ColourFormats, V210PacksSixPixelsInSixteenBytesPerLineOf48) {
  EXPECT_EQ(ColourRowBytes(kColourV210, 1920), 5120);
  EXPECT_EQ(ColourRowBytes(kColourV210, 1280), 3456) << "1280 is not a multiple of 48: 27 blocks";
  EXPECT_EQ(ColourRowBytes(kColourV210, 720), 1920);
  EXPECT_EQ(ColourRowBytes(kColourV210, 1), 128);
  EXPECT_EQ(ColourRowBytes(kColourV210, 48), 128);
  EXPECT_EQ(ColourRowBytes(kColourV210, 49), 256);
  EXPECT_EQ(ColourRowBytes(kColourV210, 0), 0);
}

TEST(ColourFormats, R210RoundsLinesUpToBlocksOf64Pixels) {
  EXPECT_EQ(ColourRowBytes(kColourR210, 1920), 7680);
  EXPECT_EQ(ColourRowBytes(kColourR210, 720), 3072) << "720 pads to 768 pixels";
  EXPECT_EQ(ColourRowBytes(kColourR210, 64), 256);
  EXPECT_EQ(ColourRowBytes(kColourR210, 65), 512);
}

TEST(ColourFormats, PackedAndRGBLinesAlignToFourBytes) {
  EXPECT_EQ(ColourRowBytes(kColourUYVY, 720), 1440);
  EXPECT_EQ(ColourRowBytes(kColourHDYC, 1921), 3844) << "3842 rounded up to a multiple of 4";
  EXPECT_EQ(ColourRowBytes(kColourRGB24, 1), 4);
  EXPECT_EQ(ColourRowBytes(kColourRGB24, 5), 16);
  EXPECT_EQ(ColourRowBytes(kColourRGB32, 1920), 7680);
  EXPECT_EQ(ColourRowBytes(kColourRGB8, 3), 4);
}

TEST(ColourFormats, PlanarLinesAreTheWidthAndUnsupportedHaveNone) {
  EXPECT_EQ(ColourRowBytes(kColourNV12, 1921), 1921);
  EXPECT_EQ(ColourRowBytes(kColourI420, 640), 640);
  EXPECT_EQ(ColourRowBytes(kColourRGB565, 640), 0);
  EXPECT_EQ(ColourRowBytes(kColourIYU2, 640), 0);
  EXPECT_EQ(ColourRowBytes(0, 640), 0);
}

TEST(ColourFormats, ImageBytesAddChromaPlanesForPlanar) {
  EXPECT_EQ(ColourImageBytes(kColourNV12, 1920, 1080), 1920 * 1080 * 3 / 2);
  EXPECT_EQ(ColourImageBytes(kColourRGB32, 7680, -1080), int64_t{7680} * 1080) << "bottom-up lines count too";
  EXPECT_EQ(ColourImageBytes(kColourV210, 16384, 2160), int64_t{16384} * 2160);
}

TEST(ColourFormats, HugeWidthsDoNotWrap) {
  EXPECT_EQ(ColourRowBytes(kColourR210, 0x1FFFFFC0), 0x7FFFFF00);
  EXPECT_EQ(ColourRowBytes(kColourR210, 0x20000000), 0) << "a line past 2 GB cannot be laid out";
  EXPECT_EQ(ColourRowBytes(kColourRGB32, 0x7FFFFFFF), 0);
  EXPECT_EQ(ColourImageBytes(kColourRGB32, 0x7FFFFFFC, 4), int64_t{0x7FFFFFFC} * 4);
}

}  // namespace
