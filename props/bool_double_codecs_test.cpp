#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "props/value_codecs.h"

namespace {

TEST(ParseBool, KeywordsInAnyCase) {
  for (const wchar_t* text : {L"", L"0", L"false", L"FALSE", L"No", L"no", L"off", L"OFF", L"n", L"none"})
    EXPECT_FALSE(ParseBool(text)) << testing::PrintToString(std::wstring(text));
  for (const wchar_t* text : {L"1", L"true", L"True", L"yes", L"YES", L"only", L"Only", L"on", L"On", L"y", L"Y"})
    EXPECT_TRUE(ParseBool(text)) << testing::PrintToString(std::wstring(text));
}

TEST(ParseBool, OtherTextsAreNumbers) {
  // Automatic base first, then a decimal reading for what it leaves at 0.
  for (const wchar_t* text : {L"0x10", L"08", L"2", L" 5", L"0.5", L"1e-3", L"4294967296", L"017", L"inf"})
    EXPECT_TRUE(ParseBool(text)) << testing::PrintToString(std::wstring(text));
  for (const wchar_t* text : {L"-1", L"0.0", L"00", L"-0x10", L"0x0", L"-inf", L"nan", L" true", L"true ", L"yess"})
    EXPECT_FALSE(ParseBool(text)) << testing::PrintToString(std::wstring(text));
}

TEST(ParseBool, TheTextEndsAtItsFirstNul) {
  EXPECT_FALSE(ParseBool(std::wstring(L"0") + L'\0' + L"1"));
  EXPECT_TRUE(ParseBool(std::wstring(L"yes") + L'\0' + L"junk"));
  EXPECT_FALSE(ParseBool(std::wstring(1, L'\0') + L"1"));
}

TEST(ParseDouble, NumbersAndPercentages) {
  EXPECT_EQ(ParseDouble(L"50%"), 0.5);
  EXPECT_EQ(ParseDouble(L"29.97"), 29.97);
  EXPECT_EQ(ParseDouble(L" -12.5e1 fps"), -125.0);
  EXPECT_EQ(ParseDouble(L"12.5 %"), 12.5);  // only a "%" right behind the number counts
  EXPECT_EQ(ParseDouble(L"0x20%"), 0.32);
  EXPECT_EQ(ParseDouble(L"%"), 0.0);
  EXPECT_EQ(ParseDouble(L""), 0.0);
  EXPECT_EQ(ParseDouble(L"fast"), 0.0);
  EXPECT_EQ(ParseDouble(std::wstring(L"7") + L'\0' + L"%"), 7.0);
  EXPECT_TRUE(std::isinf(ParseDouble(L"1e999%")));
}

}  // namespace
