#include "media/video_format.h"

#include <gtest/gtest.h>

#include <cstring>

#include "media/colour_formats.h"
#include "media/format_table.h"
#include "media/video_detect.h"

namespace {

TVideoProps Format(int32_t format) {
  TVideoProps v{};
  v.videoFormat = format;
  return v;
}

TVideoProps Picture(int32_t w, int32_t h, double rate, int32_t scan = 0, uint32_t colour = 0) {
  TVideoProps v{};
  v.width = w;
  v.height = h;
  v.frameRate = rate;
  v.scan = scan;
  v.colourFormat = colour;
  return v;
}

TEST(VideoNormalise, FillsEveryTableRowAndTheResultDetectsAsItself) {
  for (int f = 1; f < eTVF_Disabled; ++f) {
    TVideoProps v = Format(f);
    ASSERT_EQ(VideoNormalise(v, false), f);
    const TVideoFormatRow& row = *VideoFormatRow(f);
    EXPECT_EQ(v.width, row.width) << f;
    EXPECT_EQ(v.height, row.height) << f;
    EXPECT_EQ(v.frameRate, row.Rate()) << f;
    EXPECT_EQ(v.scan, row.scan) << f;
    EXPECT_EQ(v.colourFormat, row.formatClass == 0 ? kColourUYVY : kColourHDYC) << f;
    EXPECT_EQ(v.rowBytes, 2 * row.width) << f;
    EXPECT_TRUE(VideoIsValid(v)) << f;
    EXPECT_EQ(VideoDetect(v, true), f) << "row " << f << " is found again from its numbers";
  }
}

TEST(VideoNormalise, AutoAndDisabledRows) {
  TVideoProps autoRow = Format(0);
  EXPECT_EQ(VideoNormalise(autoRow, false), 0);
  const TVideoProps zero{};
  EXPECT_EQ(0, memcmp(&autoRow, &zero, sizeof zero)) << "the auto row stays all zero";

  TVideoProps disabled = Format(eTVF_Disabled);
  disabled.width = 33;
  disabled.aspectX = 5;
  const TVideoProps before = disabled;
  EXPECT_EQ(VideoNormalise(disabled, true), eTVF_Disabled);
  EXPECT_EQ(0, memcmp(&disabled, &before, sizeof before)) << "the disabled format is left exactly as it is";
}

TEST(VideoNormalise, FormatWordWithoutRowLeavesTheRecordAndGivesZero) {
  TVideoProps v = Format(60);
  v.width = 640;
  v.height = 480;
  EXPECT_EQ(VideoNormalise(v, false), 0);
  EXPECT_EQ(v.videoFormat, 60);
  EXPECT_EQ(v.width, 640);
}

TEST(VideoNormalise, OutputKeepsHeightsWithinTheBlanking) {
  TVideoProps v = Format(eTVF_PAL);
  v.height = 608;
  EXPECT_EQ(VideoNormalise(v, true), eTVF_PAL);
  EXPECT_EQ(v.height, 608) << "576 + 32 lies within 49 lines of blanking";
  v = Format(eTVF_PAL);
  v.height = 640;
  VideoNormalise(v, true);
  EXPECT_EQ(v.height, 576);
  v = Format(eTVF_PAL);
  v.height = 625;
  VideoNormalise(v, true);
  EXPECT_EQ(v.height, 624) << "kept, then made even for the interlaced row";
  v = Format(eTVF_PAL);
  v.height = 480;
  VideoNormalise(v, true);
  EXPECT_EQ(v.height, 576) << "480 lines are an NTSC cut, not a PAL one";
  v = Format(eTVF_NTSC_16x9);
  v.height = 480;
  VideoNormalise(v, true);
  EXPECT_EQ(v.height, 480);
  v = Format(eTVF_HD1080_25p);
  v.height = 1088;
  VideoNormalise(v, true);
  EXPECT_EQ(v.height, 1088);
  EXPECT_EQ(v.colourFormat, kColourHDYC);
  EXPECT_EQ(v.rowBytes, 3840);
}

TEST(VideoNormalise, OutputHeightsKeepTheirSign) {
  TVideoProps rgb = Format(eTVF_HD1080_25p);
  rgb.colourFormat = kColourRGB32;
  VideoNormalise(rgb, true);
  EXPECT_EQ(rgb.height, -1080) << "RGB rows run bottom-up unless told otherwise";
  rgb = Format(eTVF_HD1080_25p);
  rgb.colourFormat = kColourRGB32;
  rgb.height = 1200;
  VideoNormalise(rgb, true);
  EXPECT_EQ(rgb.height, 1080) << "the row's height with the record's sign";
  TVideoProps yuv = Format(eTVF_HD1080_25p);
  yuv.height = -1100;
  VideoNormalise(yuv, true);
  EXPECT_EQ(yuv.height, 1100) << "YUV pictures are always top-down";
}

TEST(VideoNormalise, GivenFieldsWinWhenNotOutput) {
  TVideoProps v = Picture(1920, 1080, 25, 3);
  v.videoFormat = eTVF_HD1080_25p;
  v.rowBytes = 4096;
  v.aspectX = 4;
  v.aspectY = 3;
  EXPECT_EQ(VideoNormalise(v, false), eTVF_HD1080_25p);
  EXPECT_EQ(v.rowBytes, 4096);
  EXPECT_EQ(v.aspectX, 4);
  EXPECT_EQ(v.aspectY, 3);

  TVideoProps narrow = Format(eTVF_HD1080_25p);
  narrow.width = 1281;
  VideoNormalise(narrow, false);
  EXPECT_EQ(narrow.width, 1280);
  EXPECT_EQ(narrow.rowBytes, 2564) << "row bytes follow the given width before it is made even";

  TVideoProps interlacedAsked = Format(eTVF_HD1080_25p);
  interlacedAsked.scan = 1;
  interlacedAsked.height = 1081;
  VideoNormalise(interlacedAsked, false);
  EXPECT_EQ(interlacedAsked.scan, 1);
  EXPECT_EQ(interlacedAsked.height, 1080);
}

TEST(VideoNormalise, FormatWordFollowsTheNumbersWhenNotOutput) {
  TVideoProps v = Picture(1920, 1080, 50, 3);
  v.videoFormat = eTVF_HD1080_25p;
  EXPECT_EQ(VideoNormalise(v, false), eTVF_HD1080_50p);
  TVideoProps tall = Picture(1920, 1088, 25, 3);
  tall.videoFormat = eTVF_HD1080_25p;
  EXPECT_EQ(VideoNormalise(tall, false), 0) << "1088 lines are no strict 1080 picture";
  EXPECT_EQ(tall.height, 1088);
}

TEST(VideoNormalise, HeightOfOneOnlyGivesTheSign) {
  TVideoProps v = Format(eTVF_HD720_50p);
  v.colourFormat = kColourRGB24;
  v.height = 1;
  VideoNormalise(v, false);
  EXPECT_EQ(v.height, 720);
  EXPECT_EQ(v.rowBytes, 3840);
  v = Format(eTVF_HD720_50p);
  v.colourFormat = kColourRGB24;
  v.height = -1;
  VideoNormalise(v, false);
  EXPECT_EQ(v.height, -720);
  v = Format(eTVF_HD720_50p);
  v.colourFormat = kColourRGB24;
  v.height = 2;
  VideoNormalise(v, false);
  EXPECT_EQ(v.height, 2);
}

TEST(VideoNormalise, CustomRecordsGetDetectedAndDefaulted) {
  TVideoProps v = Picture(1920, 1088, 25, 3);
  EXPECT_EQ(VideoNormalise(v, true), eTVF_HD1080_25p) << "an output may carry blanking";
  EXPECT_EQ(v.height, 1088) << "a detected record keeps its own numbers";
  EXPECT_EQ(v.colourFormat, kColourHDYC);
  EXPECT_EQ(v.rowBytes, 3840);
  v = Picture(1920, 1088, 25, 3);
  EXPECT_EQ(VideoNormalise(v, false), 0);

  TVideoProps sd = Picture(641, 480, 30);
  EXPECT_EQ(VideoNormalise(sd, true), 0);
  EXPECT_EQ(sd.width, 640);
  EXPECT_EQ(sd.scan, 3);
  EXPECT_EQ(sd.colourFormat, kColourUYVY);
  EXPECT_EQ(sd.rowBytes, 1280);
  TVideoProps hd = Picture(1000, 626, 30, 7);
  VideoNormalise(hd, true);
  EXPECT_EQ(hd.colourFormat, kColourHDYC);
  EXPECT_EQ(hd.scan, 3) << "a scan outside 1 to 3 is no output scan";
  TVideoProps asked = Picture(1000, 626, 30, 5);
  VideoNormalise(asked, false);
  EXPECT_EQ(asked.scan, 5) << "requests keep their scan";
  EXPECT_EQ(asked.colourFormat, 0u);
}

TEST(VideoNormalise, HalfAnAspectIsNone) {
  TVideoProps v = Picture(640, 480, 30);
  v.aspectX = 4;
  VideoNormalise(v, false);
  EXPECT_EQ(v.aspectX, 0);
  EXPECT_EQ(v.aspectY, 0);
}

TEST(VideoNormalise, OnlyAPositiveAspectPairIsGiven) {
  TVideoProps v = Format(eTVF_PAL_16x9);
  v.aspectX = 16;
  v.aspectY = -9;
  VideoNormalise(v, false);
  EXPECT_EQ(v.aspectX, 16);
  EXPECT_EQ(v.aspectY, 9) << "the row's aspect stands against a pair that doesn't count";
  v = Format(eTVF_HD1080_25p);
  v.aspectX = -4;
  v.aspectY = -3;
  VideoNormalise(v, false);
  EXPECT_EQ(v.aspectX, 16);
  EXPECT_EQ(v.aspectY, 9);
}

TEST(VideoNormalise, TableRecordsTakeTheirLayoutFromTheFormatWord) {
  TVideoProps v = Format(eTVF_HD1080_25p);
  v.layoutFlags = 0x0800;
  VideoNormalise(v, true);
  EXPECT_EQ(v.layoutFlags, 0) << "a 2D row has no layout, whatever the record said";
  v = Format(eTVF_HD1080_25p | 0x0800);
  VideoNormalise(v, false);
  EXPECT_EQ(v.layoutFlags, 0x0800);
  TVideoProps custom = Picture(1000, 700, 25, 3, kColourUYVY);
  custom.layoutFlags = 0x0800;
  VideoNormalise(custom, false);
  EXPECT_EQ(custom.layoutFlags, 0x0800) << "a custom record is no table record and keeps its own";
}

TEST(VideoNormalise, InterlacedHeightsAreEvenAndKeepTheirSign) {
  TVideoProps rgb = Picture(720, -577, 25, 2, kColourRGB32);
  VideoNormalise(rgb, false);
  EXPECT_EQ(rgb.height, -576);
  TVideoProps yuv = Picture(720, -577, 25, 1, kColourUYVY);
  VideoNormalise(yuv, false);
  EXPECT_EQ(yuv.height, 576);
  TVideoProps progressive = Picture(720, 577, 25, 3, kColourUYVY);
  VideoNormalise(progressive, false);
  EXPECT_EQ(progressive.height, 577);
}

TEST(VideoNormalise, RowBytesAreAtLeastALine) {
  TVideoProps v = Picture(1920, 1080, 0, 3, kColourV210);
  v.rowBytes = 100;
  VideoNormalise(v, false);
  EXPECT_EQ(v.rowBytes, 5120);
  v.rowBytes = 8192;
  VideoNormalise(v, false);
  EXPECT_EQ(v.rowBytes, 8192);
}

TEST(VideoNormalise, LayoutsScaleTheRowAndCopyTheirBits) {
  TVideoProps v = Format(eTVF_HD720_50p | 0x1200);
  EXPECT_EQ(VideoNormalise(v, false), eTVF_HD720_50p | 0x1200);
  EXPECT_EQ(v.width, 2560);
  EXPECT_EQ(v.height, 720);
  EXPECT_EQ(v.rowBytes, 5120);
  EXPECT_EQ(v.layoutFlags, 0x1200);
  TVideoProps tnb = Format(eTVF_HD1080_25p | 0x1400);
  VideoNormalise(tnb, true);
  EXPECT_EQ(tnb.height, 2160);
  EXPECT_EQ(tnb.layoutFlags, 0x1400);
  TVideoProps half = Format(eTVF_HD1080_25p | 0x0400);
  half.layoutFlags = 0x0800;
  VideoNormalise(half, false);
  EXPECT_EQ(half.height, 1080);
  EXPECT_EQ(half.layoutFlags, 0x0400) << "the format word decides the layout";
  TVideoProps detected = Picture(3840, 1080, 25, 3);
  EXPECT_EQ(VideoNormalise(detected, false), eTVF_HD1080_25p | 0x0200);
  EXPECT_EQ(detected.layoutFlags, 0x0200);
}

TEST(VideoMerge, NullAndDisabledRequests) {
  TVideoProps base = Picture(1920, 1080, 25, 3, kColourHDYC);
  TVideoProps out = VideoMerge(nullptr, &base);
  EXPECT_EQ(0, memcmp(&out, &base, sizeof base));
  out = VideoMerge(nullptr, nullptr);
  const TVideoProps zero{};
  EXPECT_EQ(0, memcmp(&out, &zero, sizeof zero));
  TVideoProps disabled = Format(eTVF_Disabled);
  out = VideoMerge(&disabled, &base);
  EXPECT_EQ(0, memcmp(&out, &disabled, sizeof disabled));
}

TEST(VideoMerge, UnsetFieldsComeFromTheBase) {
  TVideoProps base = Picture(1920, 1080, 25, 3, kColourHDYC);
  base.aspectX = 16;
  base.aspectY = 9;
  base.aspectMode = 1;
  base.rowBytes = 4096;
  TVideoProps request{};
  request.width = 1280;  // half a size asks for none
  request.frameRate = -1;
  request.aspectX = 4;
  const TVideoProps out = VideoMerge(&request, &base);
  EXPECT_EQ(out.width, 1920);
  EXPECT_EQ(out.height, 1080);
  EXPECT_EQ(out.rowBytes, 3840) << "computed for the taken size, not copied";
  EXPECT_EQ(out.colourFormat, kColourHDYC);
  EXPECT_EQ(out.scan, 3);
  EXPECT_EQ(out.frameRate, 25);
  EXPECT_EQ(out.aspectX, 16);
  EXPECT_EQ(out.aspectY, 9);
  EXPECT_EQ(out.aspectMode, 1);
}

TEST(VideoMerge, SetFieldsOfTheRequestStand) {
  TVideoProps base = Picture(1920, 1080, 25, 3, kColourHDYC);
  TVideoProps request = Picture(1281, -720, 50, 1, kColourRGB32);
  request.aspectX = 4;
  request.aspectY = 3;
  TVideoProps out = VideoMerge(&request, &base);
  EXPECT_EQ(out.width, 1281) << "RGB needs no even width";
  EXPECT_EQ(out.height, -720);
  EXPECT_EQ(out.rowBytes, 5124);
  EXPECT_EQ(out.frameRate, 50);
  EXPECT_EQ(out.scan, 1);
  EXPECT_EQ(out.aspectX, 4);
  request.colourFormat = kColourUYVY;
  out = VideoMerge(&request, &base);
  EXPECT_EQ(out.width, 1280);
  EXPECT_EQ(out.rowBytes, 2564) << "a request's row bytes are computed before the width is evened";
}

TEST(VideoMerge, DefaultColourBySize) {
  TVideoProps request = Picture(640, 480, 30);
  TVideoProps out = VideoMerge(&request, nullptr);
  EXPECT_EQ(out.colourFormat, kColourUYVY);
  EXPECT_EQ(out.rowBytes, 1280);
  request = Picture(1280, -720, 30);
  out = VideoMerge(&request, nullptr);
  EXPECT_EQ(out.colourFormat, kColourHDYC);
  request = Picture(0, 0, 30);
  out = VideoMerge(&request, nullptr);
  EXPECT_EQ(out.colourFormat, 0u) << "no size, no colour";
}

TEST(VideoEqual, SameFormatOrSameNumbers) {
  TVideoProps table = Format(eTVF_HD1080_25p);
  TVideoProps custom = Picture(1920, 1080, 25, 3, kColourHDYC);
  EXPECT_TRUE(VideoEqual(table, custom, 0));
  custom.colourFormat = kColourUYVY;
  EXPECT_FALSE(VideoEqual(table, custom, 0));
  EXPECT_TRUE(VideoEqual(Picture(1000, 700, 25, 3, kColourUYVY), Picture(1000, 700, 25.009, 3, kColourUYVY), 0));
  EXPECT_FALSE(VideoEqual(Picture(1000, 700, 25, 3, kColourUYVY), Picture(1000, 700, 25.02, 3, kColourUYVY), 0));
  EXPECT_FALSE(VideoEqual(Picture(1000, 700, 25, 3, kColourUYVY), Picture(1000, 700, 25, 1, kColourUYVY), 0));
  TVideoProps flagged = Picture(1000, 700, 25, 3, kColourUYVY);
  flagged.layoutFlags = 0x0800;
  EXPECT_FALSE(VideoEqual(Picture(1000, 700, 25, 3, kColourUYVY), flagged, 0));
}

TEST(VideoEqual, AspectsMatterUnlessOneSideIgnoresThem) {
  TVideoProps wide = Format(eTVF_HD1080_25p);
  wide.aspectX = 16;
  wide.aspectY = 9;
  TVideoProps square = wide;
  square.aspectX = 4;
  square.aspectY = 3;
  EXPECT_FALSE(VideoEqual(wide, square, 0));
  square.aspectMode = 1;
  EXPECT_TRUE(VideoEqual(wide, square, 0)) << "same format, aspect ignored";
  TVideoProps customWide = Picture(1000, 700, 25, 3, kColourUYVY);
  customWide.aspectX = 16;
  customWide.aspectY = 9;
  TVideoProps customSquare = customWide;
  customSquare.aspectX = 4;
  customSquare.aspectY = 3;
  customSquare.aspectMode = 1;
  EXPECT_FALSE(VideoEqual(customWide, customSquare, 0)) << "by numbers the aspect modes must agree";
  customWide.aspectMode = 1;
  EXPECT_TRUE(VideoEqual(customWide, customSquare, 0));
  TVideoProps noAspect = Picture(1000, 700, 25, 3, kColourUYVY);
  noAspect.aspectMode = 1;
  EXPECT_TRUE(VideoEqual(customWide, noAspect, 0)) << "an unset aspect never differs";
}

TEST(VideoEqual, HigherLevelsCompareSizeThenColourThenRowBytes) {
  const TVideoProps uyvy = Picture(1920, 1080, 25, 3, kColourUYVY);
  const TVideoProps rgb = Picture(1920, -1080, 50, 1, kColourRGB32);
  EXPECT_FALSE(VideoEqual(uyvy, rgb, 0));
  EXPECT_TRUE(VideoEqual(uyvy, rgb, 1));
  EXPECT_FALSE(VideoEqual(uyvy, rgb, 2));
  TVideoProps padded = uyvy;
  padded.rowBytes = 4096;
  EXPECT_TRUE(VideoEqual(uyvy, padded, 2));
  EXPECT_FALSE(VideoEqual(uyvy, padded, 3));
  EXPECT_FALSE(VideoEqual(uyvy, Picture(1280, 1080, 25, 3, kColourUYVY), 1));
}

TEST(AvCompare, FourOutcomes) {
  TAvProps a{};
  a.video = Format(eTVF_HD720_50p);
  a.audio = TAudioProps{2, 48000, 16, 0};
  TAvProps b = a;
  b.audio.channelMask = 3;  // masks don't take part
  EXPECT_EQ(AvCompare(a, b, 0), 1);
  b.video = Format(eTVF_HD720_60p);
  EXPECT_EQ(AvCompare(a, b, 0), -1);
  EXPECT_EQ(AvCompare(a, b, 1), 1) << "same size at level 1";
  b = a;
  b.audio.bitsPerSample = -32;
  EXPECT_EQ(AvCompare(a, b, 0), -2);
  b.video = Format(eTVF_PAL);
  EXPECT_EQ(AvCompare(a, b, 0), -3);
}

}  // namespace
