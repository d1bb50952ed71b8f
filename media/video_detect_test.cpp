#include "media/video_detect.h"

#include <gtest/gtest.h>

#include "media/colour_formats.h"
#include "media/format_table.h"

namespace {

TVideoProps Picture(int32_t w, int32_t h, double rate, int32_t scan = 0) {
  TVideoProps v{};
  v.width = w;
  v.height = h;
  v.frameRate = rate;
  v.scan = scan;
  return v;
}

constexpr double k2997 = 30000.0 / 1001;
constexpr double k5994 = 60000.0 / 1001;
constexpr double k2398 = 24000.0 / 1001;

TEST(VideoDetect, StandardDefinitionByRateAndAspect) {
  EXPECT_EQ(VideoDetect(Picture(720, 576, 25), false), eTVF_PAL) << "no aspect: 720 / 576 = 1.25";
  TVideoProps wide = Picture(720, 576, 25);
  wide.aspectX = 16;
  wide.aspectY = 9;
  EXPECT_EQ(VideoDetect(wide, false), eTVF_PAL_16x9);
  wide.aspectX = 0;
  EXPECT_EQ(VideoDetect(wide, false), eTVF_PAL) << "half a pair falls back to the picture's own shape";
  EXPECT_EQ(VideoDetect(Picture(720, 486, k2997), false), eTVF_NTSC_16x9) << "no aspect: 720 / 486 = 1.48";
  TVideoProps ntsc = Picture(720, 480, 29.97);
  ntsc.aspectX = 4;
  ntsc.aspectY = 3;
  EXPECT_EQ(VideoDetect(ntsc, true), eTVF_NTSC) << "active lines only, and 29.97 is near enough";
  ntsc.height = -480;
  ntsc.aspectY = 0;
  EXPECT_EQ(VideoDetect(ntsc, true), eTVF_NTSC_16x9) << "no aspect: 720 / 480 = 1.5, whichever way up";
  EXPECT_EQ(VideoDetect(Picture(720, 486, k2398), false), eTVF_NTSC_2398p);
  TVideoProps ntscWide = Picture(720, 486, k2997);
  ntscWide.aspectX = 16;
  ntscWide.aspectY = 9;
  EXPECT_EQ(VideoDetect(ntscWide, false), eTVF_NTSC_16x9);
  EXPECT_EQ(VideoDetect(Picture(720, 576, 30), false), 0);
  EXPECT_EQ(VideoDetect(Picture(720, 486, 25), false), 0);
}

TEST(VideoDetect, BlankingCountsOnlyWhenNotStrict) {
  EXPECT_EQ(VideoDetect(Picture(1920, 1088, 25, 3), false), eTVF_HD1080_25p);
  EXPECT_EQ(VideoDetect(Picture(1920, 1088, 25, 3), true), 0) << "1088 is above 1080";
  EXPECT_EQ(VideoDetect(Picture(1920, 1125, 25, 3), false), eTVF_HD1080_25p);
  EXPECT_EQ(VideoDetect(Picture(1920, 1126, 25, 3), false), 0);
  EXPECT_EQ(VideoDetect(Picture(1920, 1079, 25, 3), false), 0);
  EXPECT_EQ(VideoDetect(Picture(1280, 750, 50), false), eTVF_HD720_50p);
  EXPECT_EQ(VideoDetect(Picture(1280, 751, 50), false), 0);
  EXPECT_EQ(VideoDetect(Picture(720, 615, 25), false), eTVF_PAL);
  EXPECT_EQ(VideoDetect(Picture(720, 616, 25), false), 0);
  EXPECT_EQ(VideoDetect(Picture(720, 525, k2997), false), eTVF_NTSC);
  EXPECT_EQ(VideoDetect(Picture(720, 526, k2997), false), 0);
  EXPECT_EQ(VideoDetect(Picture(720, 487, k2997), true), 0);
  EXPECT_EQ(VideoDetect(Picture(2048, 1081, 24), false), 0) << "cinema rows have no blanking";
}

TEST(VideoDetect, NegativeHeightsCompareByMagnitude) {
  TVideoProps rgbPal = Picture(720, -576, 25);
  rgbPal.colourFormat = kColourRGB32;
  EXPECT_EQ(VideoDetect(rgbPal, false), eTVF_PAL) << "a bottom-up picture has the shape 720 / 576 too";
  EXPECT_EQ(VideoDetect(Picture(720, -608, 25), false), eTVF_PAL) << "blanking counts by magnitude";
  EXPECT_EQ(VideoDetect(Picture(1920, -1080, 50, 3), true), eTVF_HD1080_50p);
  EXPECT_EQ(VideoDetect(Picture(3840, -2160, k5994), true), eTVF_4K_UHD_5994p);
}

TEST(VideoDetect, UnsetScanPrefersTheListedOrder) {
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, 25), true), eTVF_HD1080_50i);
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, 25, 1), true), eTVF_HD1080_50i);
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, 25, 3), true), eTVF_HD1080_25p);
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, 25, 2), true), 0) << "no bottom-field-first 1080 row";
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, k2997), true), eTVF_HD1080_5994i);
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, k2997, 3), true), eTVF_HD1080_2997p);
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, 30, 3), true), eTVF_HD1080_30p);
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, k2398), true), eTVF_HD1080_2398p);
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, 60), true), eTVF_HD1080_60p);
  EXPECT_EQ(VideoDetect(Picture(1280, 720, 60), true), eTVF_HD720_60p);
  EXPECT_EQ(VideoDetect(Picture(1280, 720, k5994), true), eTVF_HD720_5994p);
  EXPECT_EQ(VideoDetect(Picture(3840, 2160, 25), true), eTVF_4K_UHD_25p) << "UHD lists progressive first";
  EXPECT_EQ(VideoDetect(Picture(3840, 2160, 25, 1), true), eTVF_4K_UHD_50i);
  EXPECT_EQ(VideoDetect(Picture(3840, 2160, 50), true), eTVF_4K_UHD_50p);
  EXPECT_EQ(VideoDetect(Picture(4096, 2160, k5994), true), eTVF_4K_DCI_5994p);
  EXPECT_EQ(VideoDetect(Picture(4096, 2160, 30), true), 0);
  EXPECT_EQ(VideoDetect(Picture(2048, 1080, 50), true), eTVF_2K_DCI_50p);
  EXPECT_EQ(VideoDetect(Picture(2048, 1556, 25), true), eTVF_2K_25p);
  EXPECT_EQ(VideoDetect(Picture(2048, 1556, 30), true), 0);
}

TEST(VideoDetect, RatesMatchWithinOneHundredth) {
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, 25.009, 3), true), eTVF_HD1080_25p);
  EXPECT_EQ(VideoDetect(Picture(1920, 1080, 25.011, 3), true), 0);
  EXPECT_EQ(VideoDetect(Picture(1280, 720, 59.95), true), eTVF_HD720_5994p);
  EXPECT_EQ(VideoDetect(Picture(1280, 720, 0), true), 0);
}

TEST(VideoDetect, HDRowsCarryTheRecordsPackingBits) {
  TVideoProps v = Picture(1920, 1080, 25, 3);
  v.layoutFlags = 0x1200;
  EXPECT_EQ(VideoDetect(v, true), eTVF_HD1080_25p | 0x0200) << "only the packing bits pass";
  v.layoutFlags = 0x0800;
  EXPECT_EQ(VideoDetect(v, true), eTVF_HD1080_25p);
  TVideoProps uhd = Picture(3840, 2160, 25, 3);
  uhd.layoutFlags = 0x0200;
  EXPECT_EQ(VideoDetect(uhd, true), eTVF_4K_UHD_25p) << "UHD rows take no layout";
}

TEST(VideoDetect, SideBySideIsTwoRowsWide) {
  EXPECT_EQ(VideoDetect(Picture(3840, 1080, 25, 3), false), eTVF_HD1080_25p | 0x0200);
  EXPECT_EQ(VideoDetect(Picture(2560, 720, 50), true), eTVF_HD720_50p | 0x0200);
  EXPECT_EQ(VideoDetect(Picture(3840, -1080, 25, 3), true), eTVF_HD1080_25p | 0x0200);
  TVideoProps v = Picture(3840, 1080, 25, 3);
  v.colourFormat = kColourUYVY;
  v.rowBytes = 7680;
  EXPECT_EQ(VideoDetect(v, true), eTVF_HD1080_25p | 0x0200);
  v.rowBytes = 2 * 7680;
  EXPECT_EQ(VideoDetect(v, true), 0) << "a stride of two full lines is a padded picture, not a pair";
  v.rowBytes = 0;
  EXPECT_EQ(VideoDetect(v, true), eTVF_HD1080_25p | 0x0200);
  v.layoutFlags = 0x0400;
  EXPECT_EQ(VideoDetect(v, true), eTVF_HD1080_25p | 0x0200) << "the halves are detected without layout flags";
  EXPECT_EQ(VideoDetect(Picture(7680, 1080, 25, 3), true), 0) << "a pair of pairs is no format";
  EXPECT_EQ(VideoDetect(Picture(3840, 1082, 25, 3), true), 0);
  EXPECT_EQ(VideoDetect(Picture(3840, 1088, 25, 3), false), 0) << "too tall for a side-by-side try";
}

TEST(VideoDetect, TopAndBottomIsTwoRowsTall) {
  EXPECT_EQ(VideoDetect(Picture(1920, 2160, 25, 3), true), eTVF_HD1080_25p | 0x1400);
  EXPECT_EQ(VideoDetect(Picture(1280, 1440, k5994), true), eTVF_HD720_5994p | 0x1400);
  EXPECT_EQ(VideoDetect(Picture(2048, 2160, 24), true), eTVF_2K_DCI_24p | 0x1400);
  EXPECT_EQ(VideoDetect(Picture(1920, 2250, 25, 3), false), eTVF_HD1080_25p | 0x1400) << "blanking per half";
  EXPECT_EQ(VideoDetect(Picture(1920, -2160, 25, 3), true), 0) << "the try is on the signed height";
  EXPECT_EQ(VideoDetect(Picture(1280, 2880, 50), true), 0) << "a pair of pairs is no format";
  EXPECT_EQ(VideoDetect(Picture(1920, 2162, 25, 3), true), 0);
}

}  // namespace
