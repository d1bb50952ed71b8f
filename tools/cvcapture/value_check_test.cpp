#include "tools/cvcapture/value_check.h"

#include <gtest/gtest.h>

namespace {

TEST(DescriptionRejects, FixedListsTakeTheirValuesInAnyLetterCase) {
  const TKeyDescription mode{L"option_fixed", {L"auto", L"DXGI", L"DirectX", L"GDI"}, L"", L""};
  EXPECT_EQ(DescriptionRejects(mode, L"gdi"), "");
  EXPECT_EQ(DescriptionRejects(mode, L"DirectX"), "");
  EXPECT_EQ(DescriptionRejects(mode, L"DX"), "is not one of auto, DXGI, DirectX, GDI");
  EXPECT_EQ(DescriptionRejects(mode, L""), "is not one of auto, DXGI, DirectX, GDI");
  const TKeyDescription suggestions{L"option", {L"none"}, L"", L""};
  EXPECT_EQ(DescriptionRejects(suggestions, L"0x1a2b"), "") << "window handles lie outside the list";
  const TKeyDescription emptyList{L"option_fixed", {}, L"", L""};
  EXPECT_EQ(DescriptionRejects(emptyList, L"x"), "") << "no list to hold it against";
}

TEST(DescriptionRejects, NumbersByTypeAndLimits) {
  const TKeyDescription count{L"uint", {}, L"", L""};
  EXPECT_EQ(DescriptionRejects(count, L"15"), "");
  EXPECT_EQ(DescriptionRejects(count, L"0x10"), "") << "the readers take a 0x prefix";
  EXPECT_EQ(DescriptionRejects(count, L"-1"), "is not a whole number of 0 or more");
  EXPECT_EQ(DescriptionRejects(count, L"1.5"), "is not a whole number of 0 or more");
  EXPECT_EQ(DescriptionRejects(count, L"ten"), "is not a whole number of 0 or more");
  const TKeyDescription rate{L"float", {}, L"2", L"60.0"};
  EXPECT_EQ(DescriptionRejects(rate, L"25"), "");
  EXPECT_EQ(DescriptionRejects(rate, L"2"), "") << "limits are inclusive";
  EXPECT_EQ(DescriptionRejects(rate, L"60"), "");
  EXPECT_EQ(DescriptionRejects(rate, L"1.5"), "is below the minimum 2");
  EXPECT_EQ(DescriptionRejects(rate, L"61"), "is above the maximum 60.0");
  EXPECT_EQ(DescriptionRejects(rate, L"fast"), "is not a number");
  const TKeyDescription loose{L"string", {}, L"a", L""};
  EXPECT_EQ(DescriptionRejects(loose, L"anything"), "") << "limits that are no numbers limit nothing";
  EXPECT_EQ(DescriptionRejects(TKeyDescription{}, L"anything"), "") << "no description, no judgement";
}

}  // namespace
