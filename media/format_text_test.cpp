#include "media/format_text.h"

#include <gtest/gtest.h>

#include "media/colour_formats.h"
#include "media/format_table.h"

namespace {

TVideoProps Format(int32_t format, uint32_t colour = 0) {
  TVideoProps v{};
  v.videoFormat = format;
  v.colourFormat = colour;
  return v;
}

TEST(ColourName, LettersThenTableThenHex) {
  EXPECT_EQ(ColourName(kColourHDYC), L"HDYC");
  EXPECT_EQ(ColourName(kColourV210), L"v210");
  EXPECT_EQ(ColourName(kColourRGB32), L"RGB32");
  EXPECT_EQ(ColourName(kColourARGB32), L"ARGB32");
  EXPECT_EQ(ColourName(kColourRGB8), L"RGB8");
  EXPECT_EQ(ColourName(1), L"BI_RLE8");
  EXPECT_EQ(ColourName(3), L"BI_BITFIELDS");
  EXPECT_EQ(ColourName(0xE436EB78), L"RGB1");
  EXPECT_EQ(ColourName(0x297C55AF), L"ARGB1555");
  EXPECT_EQ(ColourName(0x6E6415E6), L"ARGB4444");
  EXPECT_EQ(ColourName(0xDEADBEEF), L"0xDEADBEEF");
  EXPECT_EQ(ColourName(0x20565955), L"0x20565955") << "a blank is not a letter";
}

TEST(VideoText, LongFormOfTableRows) {
  EXPECT_EQ(VideoText(Format(eTVF_HD1080_25p)), L"HD1080-25p HDYC 1920x1080@25.00p 16:9");
  EXPECT_EQ(VideoText(Format(eTVF_PAL)), L"PAL UYVY 720x576@25.00iT 4:3");
  EXPECT_EQ(VideoText(Format(eTVF_NTSC)), L"NTSC UYVY 720x486@29.97iB 4:3");
  EXPECT_EQ(VideoText(Format(eTVF_NTSC_2398p)), L"NTSC-23p UYVY 720x486@23.98p 4:3");
  EXPECT_EQ(VideoText(Format(eTVF_HD720_5994p)), L"HD720-59p HDYC 1280x720@59.94p 16:9");
  EXPECT_EQ(VideoText(Format(eTVF_2K_24p)), L"2K-24p HDYC 2048x1556@24.00p 239:100");
  EXPECT_EQ(VideoText(Format(eTVF_4K_DCI_60p, kColourRGB32)), L"4K-DCI-60p RGB32 4096x-2160@60.00p 256:135");
  EXPECT_EQ(VideoText(Format(eTVF_HD1080_50p, kColourV210)), L"HD1080-50p v210 1920x1080@50.00p 16:9");
}

TEST(VideoText, LongFormOfLayoutsAndCustomRecords) {
  EXPECT_EQ(VideoText(Format(eTVF_HD720_50p | 0x1200)), L"3D-SbS HD720-50p HDYC 2560x720@50.00p 16:9");
  EXPECT_EQ(VideoText(Format(eTVF_HD1080_5994i | 0x0200)), L"3D-HSbS HD1080-59i HDYC 1920x1080@29.97iT 16:9");
  EXPECT_EQ(VideoText(Format(eTVF_HD1080_24p | 0x1400)), L"3D-TnB HD1080-24p HDYC 1920x2160@24.00p 16:9");
  TVideoProps custom{};
  custom.width = 1000;
  custom.height = 700;
  custom.colourFormat = kColourUYVY;
  custom.frameRate = 12.346;
  EXPECT_EQ(VideoText(custom), L"UYVY 1000x700@12.35") << "no format name, no scan";
  custom.aspectX = 10;
  custom.aspectY = 7;
  custom.scan = 4;
  EXPECT_EQ(VideoText(custom), L"UYVY 1000x700@12.35INV 10:7");
  custom.colourFormat = 0xDEADBEEF;
  custom.scan = 9;
  EXPECT_EQ(VideoText(custom), L"0xDEADBEEF 1000x700@12.35ER 10:7");
}

TEST(VideoText, APairThatDoesntCountShowsTheRowsAspect) {
  TVideoProps v = Format(eTVF_PAL_16x9);
  v.aspectX = -16;
  v.aspectY = -9;
  EXPECT_EQ(VideoText(v), L"PAL-16x9 UYVY 720x576@25.00iT 16:9");
}

TEST(VideoText, ShortForm) {
  EXPECT_EQ(VideoText(Format(eTVF_HD1080_25p), true), L"HDYC 1920(3840)x1080@25.000p 16:9");
  EXPECT_EQ(VideoText(Format(eTVF_HD1080_5994i, kColourV210), true), L"v210 1920(5120)x1080@29.970iT 16:9");
  EXPECT_EQ(VideoText(Format(eTVF_HD720_50p, kColourR210), true), L"r210 1280(5120)x-720@50.000p 16:9");
  TVideoProps custom{};
  custom.width = 640;
  custom.height = -480;
  custom.colourFormat = kColourRGB24;
  EXPECT_EQ(VideoText(custom, true), L"RGB24 640(1920)x-480@0.000A") << "unset scan is Auto";
  custom.scan = 5;
  EXPECT_EQ(VideoText(custom, true), L"RGB24 640(1920)x-480@0.000OF");
}

TEST(VideoText, NoneAndUnspecified) {
  EXPECT_EQ(VideoText(Format(eTVF_Custom)), L"<Auto/Not Specified>");
  EXPECT_EQ(VideoText(Format(eTVF_Custom), true), L"-");
  EXPECT_EQ(VideoText(Format(eTVF_Disabled)), L"<None>");
  EXPECT_EQ(VideoText(Format(eTVF_Disabled), true), L"-");
  TVideoProps noColour{};
  noColour.width = 640;
  noColour.height = 480;
  EXPECT_EQ(VideoText(noColour), L"<Auto/Not Specified>") << "a custom picture needs a colour";
  EXPECT_EQ(VideoText(Format(70)), L"<Auto/Not Specified>") << "a format word past the table";
}

TEST(AudioText, Forms) {
  EXPECT_EQ(AudioText(TAudioProps{2, 48000, 16, 0}), L"48000 Hz, 2 Ch, 16-bit");
  EXPECT_EQ(AudioText(TAudioProps{6, 44100, 24, 0x3F}), L"44100 Hz, 6 Ch, 24-bit");
  EXPECT_EQ(AudioText(TAudioProps{2, 48000, -32, 0}), L"48000 Hz, 2 Ch, 32-bit (float)");
  EXPECT_EQ(AudioText(TAudioProps{-1, 48000, 16, 0}), L"<None>");
  EXPECT_EQ(AudioText(TAudioProps{0, 0, 0, 0}), L"<Auto/Not Specified>");
  EXPECT_EQ(AudioText(TAudioProps{2, 800, 16, 0}), L"<Auto/Not Specified>");
  EXPECT_EQ(AudioText(TAudioProps{2, 48000, 8, 0}), L"<Auto/Not Specified>");
  EXPECT_EQ(AudioText(TAudioProps{33, 48000, 16, 0}), L"<Auto/Not Specified>");
}

}  // namespace
