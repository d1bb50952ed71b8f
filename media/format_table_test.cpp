#include "media/format_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cwchar>

#include "media/colour_formats.h"

namespace {

TEST(FormatTable, RowsFollowTheEnumeratorsInOrder) {
  EXPECT_EQ(eTVF_Count, 47);
  EXPECT_EQ(eTVF_HD1080_50i, 14);
  EXPECT_EQ(eTVF_2K_DCI_2398p, 20);
  EXPECT_EQ(eTVF_4K_UHD_50i, 29);
  EXPECT_EQ(eTVF_4K_UHD_50p, 40);
  EXPECT_EQ(eTVF_Disabled, 46);
  EXPECT_STREQ(VideoFormatRow(eTVF_Custom)->shortName, L"Custom");
  EXPECT_STREQ(VideoFormatRow(eTVF_NTSC_2398p)->shortName, L"NTSC-23p");
  EXPECT_STREQ(VideoFormatRow(eTVF_HD720_5994p)->shortName, L"HD720-59p");
  EXPECT_STREQ(VideoFormatRow(eTVF_HD1080_5994i)->shortName, L"HD1080-59i");
  EXPECT_STREQ(VideoFormatRow(eTVF_2K_25p)->shortName, L"2K-25p");
  EXPECT_STREQ(VideoFormatRow(eTVF_4K_DCI_5994p)->shortName, L"4K-DCI-59p");
  EXPECT_STREQ(VideoFormatRow(eTVF_Disabled)->shortName, L"Disabled");
  EXPECT_EQ(VideoFormatRow(47), nullptr);
  EXPECT_EQ(VideoFormatRow(0x1200 | eTVF_HD720_50p), VideoFormatRow(eTVF_HD720_50p)) << "layout bits aside";
}

TEST(FormatTable, NamesAgreeWithSizeRateAndScan) {
  // The short names encode the numbers: catch a row that was copied but not edited.
  for (int f = 1; f < eTVF_Disabled; ++f) {
    const TVideoFormatRow& r = *VideoFormatRow(f);
    const std::wstring name = r.shortName;
    const wchar_t last = name.back();
    if (last == L'i') {
      EXPECT_EQ(r.scan, 1) << f;
    }
    if (last == L'p') {
      EXPECT_EQ(r.scan, 3) << f;
    }
    const auto has = [&name](const wchar_t* part) { return name.find(part) != std::wstring::npos; };
    if (has(L"-59")) {
      EXPECT_NEAR(r.Rate(), 59.94 / (last == L'i' ? 2 : 1), 0.01) << f;
    }
    if (has(L"-29") || has(L"-23")) {
      EXPECT_EQ(r.rateDen, 1001) << f;
    }
    if (has(L"-50i")) {
      EXPECT_EQ(r.Rate(), 25.0) << f;
    }
    if (name.rfind(L"HD1080", 0) == 0) {
      EXPECT_EQ(r.width * 10000 + r.height, 1920 * 10000 + 1080) << f;
    }
    if (name.rfind(L"4K-UHD", 0) == 0) {
      EXPECT_EQ(r.width * 10000 + r.height, 3840 * 10000 + 2160) << f;
    }
    if (has(L"DCI")) {
      EXPECT_EQ(r.aspectX * 1000 + r.aspectY, 256 * 1000 + 135) << f;
    }
    EXPECT_GT(r.Rate(), 0) << f;
    EXPECT_GE(r.formatClass, 0) << f;
  }
  EXPECT_EQ(VideoFormatRow(eTVF_Custom)->Rate(), 0);
  EXPECT_EQ(VideoFormatRow(eTVF_Disabled)->Rate(), 0);
  EXPECT_EQ(VideoFormatRow(eTVF_Disabled)->formatClass, -1);
}

TEST(FormatTable, BlankingAndClassesPerFamily) {
  EXPECT_EQ(VideoFormatRow(eTVF_NTSC)->extraLines, 39);
  EXPECT_EQ(VideoFormatRow(eTVF_PAL_16x9)->extraLines, 49);
  EXPECT_EQ(VideoFormatRow(eTVF_HD720_60p)->extraLines, 30);
  EXPECT_EQ(VideoFormatRow(eTVF_HD1080_60p)->extraLines, 45);
  EXPECT_EQ(VideoFormatRow(eTVF_2K_DCI_24p)->extraLines, 0);
  EXPECT_EQ(FormatClassColour(VideoFormatRow(eTVF_PAL)->formatClass), kColourUYVY);
  EXPECT_EQ(FormatClassColour(VideoFormatRow(eTVF_HD720_50p)->formatClass), kColourHDYC);
  EXPECT_EQ(FormatClassColour(VideoFormatRow(eTVF_4K_UHD_60p)->formatClass), kColourHDYC);
  EXPECT_EQ(FormatClassColour(VideoFormatRow(eTVF_Custom)->formatClass), 0u);
  EXPECT_EQ(VideoFormatRow(eTVF_4K_UHD_30p)->formatClass, 4);
  EXPECT_EQ(VideoFormatRow(eTVF_4K_UHD_50p)->formatClass, 8);
}

TEST(FormatTable, LayoutTexts) {
  EXPECT_STREQ(LayoutText(eTVF_HD1080_25p | 0x0200), L"3D-HSbS");
  EXPECT_STREQ(LayoutText(eTVF_HD1080_25p | 0x0400), L"3D-HTnB");
  EXPECT_STREQ(LayoutText(eTVF_HD1080_25p | 0x1200), L"3D-SbS");
  EXPECT_STREQ(LayoutText(eTVF_HD1080_25p | 0x1400), L"3D-TnB");
  EXPECT_STREQ(LayoutText(0x0800), L"3D-Auto");
  EXPECT_EQ(LayoutText(eTVF_HD1080_25p), nullptr);
  EXPECT_EQ(LayoutText(0x1000), nullptr) << "full size alone names no layout";
  EXPECT_EQ(LayoutText(0x0600), nullptr);
}

TEST(FormatTable, FullSizeLayoutsDoubleOneSide) {
  EXPECT_EQ(LayoutWidth(0x1200 | 7, 1280), 2560);
  EXPECT_EQ(LayoutHeight(0x1200 | 7, 720), 720);
  EXPECT_EQ(LayoutWidth(0x1400 | 7, 1280), 1280);
  EXPECT_EQ(LayoutHeight(0x1400 | 7, 720), 1440);
  EXPECT_EQ(LayoutWidth(0x0200 | 7, 1280), 1280) << "half side by side keeps the row's size";
  EXPECT_EQ(LayoutHeight(0x0400 | 7, 720), 720);
}

TEST(FormatTable, LayoutsOnlyOnHDRows) {
  for (int f = 0; f < eTVF_Count; ++f) EXPECT_TRUE(VideoFormatIsValid(f)) << f;
  EXPECT_FALSE(VideoFormatIsValid(47));
  EXPECT_FALSE(VideoFormatIsValid(eTVF_PAL | 0x0200));
  EXPECT_FALSE(VideoFormatIsValid(eTVF_2K_DCI_24p | 0x0200));
  EXPECT_FALSE(VideoFormatIsValid(eTVF_HD720_50p | 0x1000)) << "full size without a packing is no layout";
  for (int f = eTVF_HD720_50p; f <= eTVF_HD1080_30p; ++f) {
    for (int layout : {0x0200, 0x0400, 0x1200, 0x1400}) EXPECT_TRUE(VideoFormatIsValid(f | layout)) << f << " " << layout;
  }
  for (int f = eTVF_HD1080_50i; f <= eTVF_HD1080_60i; ++f) {
    EXPECT_TRUE(VideoFormatIsValid(f | 0x0200));
    EXPECT_TRUE(VideoFormatIsValid(f | 0x1200));
    EXPECT_FALSE(VideoFormatIsValid(f | 0x0400)) << f;
    EXPECT_FALSE(VideoFormatIsValid(f | 0x1400)) << f;
  }
  for (int f = eTVF_HD1080_50p; f <= eTVF_HD1080_60p; ++f) {
    EXPECT_TRUE(VideoFormatIsValid(f | 0x0200));
    EXPECT_TRUE(VideoFormatIsValid(f | 0x0400));
    EXPECT_FALSE(VideoFormatIsValid(f | 0x1200)) << f;
    EXPECT_FALSE(VideoFormatIsValid(f | 0x1400)) << f;
  }
}

TEST(FormatTable, LineCountSurvivesTheMostNegativeHeight) {
  EXPECT_EQ(LineCount(-1080), 1080);
  EXPECT_EQ(LineCount(1080), 1080);
  EXPECT_EQ(LineCount(INT32_MIN), INT32_MAX);
}

}  // namespace
