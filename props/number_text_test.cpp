#include "props/number_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

struct IntCase {
  const wchar_t* text;
  int64_t value;
  size_t used;
};

TEST(ScanInteger, AutomaticBaseFollowsThePrefixAndStopsAtTheFirstUnusableCharacter) {
  const IntCase cases[] = {
      {L"0x1F", 31, 4},   {L"0X1f", 31, 4},    {L"017", 15, 3},      {L"08", 0, 1},
      {L"0x", 0, 1},      {L"0xg", 0, 1},      {L"  -12abc", -12, 5}, {L"\t\n+7", 7, 4},
      {L"-0x10", -16, 5}, {L"12 34", 12, 2},   {L"", 0, 0},          {L"-", 0, 0},
      {L"+ 1", 0, 0},     {L"abc", 0, 0},      {L"0", 0, 1},         {L"00000000000000000000000000001", 1, 29},
  };
  for (const IntCase& c : cases) {
    size_t used = 99;
    EXPECT_EQ(ScanInt64(c.text, 0, &used), c.value) << "text '" << testing::PrintToString(std::wstring(c.text)) << "'";
    EXPECT_EQ(used, c.used) << testing::PrintToString(std::wstring(c.text));
  }
}

TEST(ScanInteger, GivenBasesAndBasesOutOfRange) {
  size_t used = 0;
  EXPECT_EQ(ScanInt64(L"0x10", 10, &used), 0);
  EXPECT_EQ(used, 1u);
  EXPECT_EQ(ScanInt64(L"0x10", 16, &used), 16);
  EXPECT_EQ(ScanInt64(L"ff", 16), 255);
  EXPECT_EQ(ScanInt64(L"zz", 36), 1295);
  EXPECT_EQ(ScanInt64(L"102", 2, &used), 2);
  EXPECT_EQ(used, 2u);
  for (int base : {-1, 1, 37, 1000}) {
    EXPECT_EQ(ScanInt64(L"11", base, &used), 0);
    EXPECT_EQ(used, 0u);
  }
}

TEST(ScanInteger, OnlyAsciiDigitsAndBlanksCount) {
  size_t used = 99;
  // Arabic-Indic one, full-width one, no-break space before a digit, NUL before a digit.
  for (std::wstring text : {std::wstring(L"\x0661"), std::wstring(L"\xFF11"), std::wstring(L"\x00A0" L"1"),
                            std::wstring(1, L'\0') + L"1"}) {
    EXPECT_EQ(ScanInt32(text, 0, &used), 0);
    EXPECT_EQ(used, 0u);
  }
  EXPECT_EQ(ScanInt32(std::wstring(L"12") + L'\0' + L"3", 0, &used), 12);
  EXPECT_EQ(used, 2u);
}

TEST(ScanInteger, SaturatesLikeTheWindowsRuntimeAtEachWidth) {
  const int32_t i32max = std::numeric_limits<int32_t>::max(), i32min = std::numeric_limits<int32_t>::min();
  EXPECT_EQ(ScanInt32(L"2147483647", 0), i32max);
  EXPECT_EQ(ScanInt32(L"2147483648", 0), i32max);
  EXPECT_EQ(ScanInt32(L"-2147483648", 0), i32min);
  EXPECT_EQ(ScanInt32(L"-2147483649", 0), i32min);
  EXPECT_EQ(ScanInt32(L"0xFFFFFFFF", 0), i32max);
  size_t used = 0;
  EXPECT_EQ(ScanInt32(L"99999999999999999999999999 ", 0, &used), i32max);
  EXPECT_EQ(used, 26u);  // an overflowing number is still read to its end

  EXPECT_EQ(ScanUInt32(L"4294967295", 0), 0xFFFFFFFFu);
  EXPECT_EQ(ScanUInt32(L"4294967296", 0), 0xFFFFFFFFu);
  EXPECT_EQ(ScanUInt32(L"-1", 0), 0xFFFFFFFFu);
  EXPECT_EQ(ScanUInt32(L"-0x10", 0), 0xFFFFFFF0u);
  EXPECT_EQ(ScanUInt32(L"-4294967296", 0), 0xFFFFFFFFu);

  const int64_t i64max = std::numeric_limits<int64_t>::max(), i64min = std::numeric_limits<int64_t>::min();
  EXPECT_EQ(ScanInt64(L"9223372036854775807", 0), i64max);
  EXPECT_EQ(ScanInt64(L"9223372036854775808", 0), i64max);
  EXPECT_EQ(ScanInt64(L"-9223372036854775808", 0), i64min);
  EXPECT_EQ(ScanInt64(L"-9223372036854775809", 0), i64min);
  EXPECT_EQ(ScanInt64(L"0x8000000000000000", 0), i64max);
  EXPECT_EQ(ScanInt64(L"0x7FFFFFFFFFFFFFFF", 0), i64max);

  EXPECT_EQ(ScanUInt64(L"18446744073709551615", 0), std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(ScanUInt64(L"18446744073709551616", 0), std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(ScanUInt64(L"-1", 0), std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(ScanUInt64(L"0xFFFFFFFFFFFFFFFF", 0), std::numeric_limits<uint64_t>::max());
}

struct DoubleCase {
  const wchar_t* text;
  double value;
  size_t used;
};

TEST(ScanDouble, ReadsTheFormsOfTheCRuntimeAndStopsWhereTheyEnd) {
  const double inf = std::numeric_limits<double>::infinity();
  const DoubleCase cases[] = {
      {L"1.5", 1.5, 3},          {L"  -2.5e3x", -2500.0, 8}, {L".5", 0.5, 2},         {L"5.", 5.0, 2},
      {L"1e", 1.0, 1},           {L"1e+", 1.0, 1},           {L"1E-2", 0.01, 4},      {L"1.2.3", 1.2, 3},
      {L"0x1.8p3", 12.0, 7},     {L"0x10", 16.0, 4},         {L"0xg", 0.0, 1},        {L"0x.8", 0.5, 4},
      {L"0x1p", 1.0, 3},         {L"0XAp-1", 5.0, 6},        {L"inf", inf, 3},        {L"-Infinity", -inf, 9},
      {L"infinit", inf, 3},      {L"1e400", inf, 5},         {L"-1e400", -inf, 6},    {L"1e-400", 0.0, 6},
      {L"0e99999", 0.0, 7},      {L"+.25%", 0.25, 4},
  };
  for (const DoubleCase& c : cases) {
    size_t used = 99;
    EXPECT_EQ(ScanDouble(c.text, &used), c.value) << testing::PrintToString(std::wstring(c.text));
    EXPECT_EQ(used, c.used) << testing::PrintToString(std::wstring(c.text));
  }
  size_t used = 99;
  for (const wchar_t* none : {L"", L".", L"e5", L"-", L"+-1", L"x1", L"in", L"na"}) {
    EXPECT_EQ(ScanDouble(none, &used), 0.0);
    EXPECT_EQ(used, 0u) << testing::PrintToString(std::wstring(none));
  }
  EXPECT_TRUE(std::isnan(ScanDouble(L"nan(0x1_f)", &used)));
  EXPECT_EQ(used, 10u);
  EXPECT_TRUE(std::isnan(ScanDouble(L"NaN(12", &used)));
  EXPECT_EQ(used, 3u);
  EXPECT_TRUE(std::signbit(ScanDouble(L"-0.0")));
}

TEST(ScanDouble, RoundsCorrectlyWhateverTheLengthOfTheText) {
  EXPECT_EQ(ScanDouble(L"0.1"), 0.1);
  EXPECT_EQ(ScanDouble(L"9007199254740993"), 9007199254740992.0);  // a tie: to even
  EXPECT_EQ(ScanDouble(L"9007199254740993.0000000000000000000001"), 9007199254740994.0);
  EXPECT_EQ(ScanDouble(L"2.2250738585072011e-308"), 2.2250738585072011e-308);
  EXPECT_EQ(ScanDouble(L"4.9e-324"), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(ScanDouble(L"0x1p-1074"), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(ScanDouble(L"1.7976931348623157e308"), std::numeric_limits<double>::max());
  EXPECT_EQ(ScanDouble(L"1e99999999999999999999999"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(ScanDouble(L"1e-99999999999999999999999"), 0.0);
  EXPECT_EQ(ScanDouble(L"0x1p99999999999999999999"), std::numeric_limits<double>::infinity());

  const std::wstring zeros(100000, L'0');
  size_t used = 0;
  EXPECT_EQ(ScanDouble(zeros + L"1.5", &used), 1.5);
  EXPECT_EQ(used, zeros.size() + 3);
  EXPECT_EQ(ScanDouble(L"1" + zeros + L"e-100000"), 1.0);
  EXPECT_EQ(ScanDouble(L"0." + zeros + L"1e100001"), 1.0);
  EXPECT_EQ(ScanDouble(L"0x1" + zeros + L"p-400000"), 1.0);
}

TEST(FormatNumber, RendersTheFixedFormsOfTheTreeAndTheSettingsStore) {
  EXPECT_EQ(FormatInt32(0), L"0");
  EXPECT_EQ(FormatInt32(-15), L"-15");
  EXPECT_EQ(FormatInt32(std::numeric_limits<int32_t>::min()), L"-2147483648");
  EXPECT_EQ(FormatInt64(std::numeric_limits<int64_t>::min()), L"-9223372036854775808");
  EXPECT_EQ(FormatInt64(std::numeric_limits<int64_t>::max()), L"9223372036854775807");
  EXPECT_EQ(FormatHex32(0xFF), L"0x000000FF");
  EXPECT_EQ(FormatHex32(0xDEADBEEF), L"0xDEADBEEF");
  EXPECT_EQ(FormatHex64(16), L"0x0000000000000010");
  EXPECT_EQ(FormatHex64(0xFEDCBA9876543210ull), L"0xFEDCBA9876543210");
  EXPECT_EQ(FormatBool(true), L"true");
  EXPECT_EQ(FormatBool(false), L"false");
}

TEST(FormatNumber, DoubleKeepsOneDigitAfterThePointAndIsExact) {
  EXPECT_EQ(FormatDouble(30.0), L"30.0");
  EXPECT_EQ(FormatDouble(0.2), L"0.2");
  EXPECT_EQ(FormatDouble(0.0), L"0.0");
  EXPECT_EQ(FormatDouble(-0.0), L"-0.0");
  EXPECT_EQ(FormatDouble(29.97), L"29.97");
  EXPECT_EQ(FormatDouble(0.1 + 0.2), L"0.3");
  EXPECT_EQ(FormatDouble(1e-7), L"0.0");
  EXPECT_EQ(FormatDouble(-1234567.0000004), L"-1234567.0");
  EXPECT_EQ(FormatDouble(2.0000005), L"2.000001");  // six decimals, rounded
  EXPECT_EQ(FormatDouble(1e23), L"99999999999999991611392.0");
  EXPECT_EQ(FormatDouble(std::numeric_limits<double>::max()).size(), 309u + 2u);
  EXPECT_EQ(FormatDouble(std::numeric_limits<double>::infinity()), L"inf");
  EXPECT_EQ(FormatDouble(-std::numeric_limits<double>::infinity()), L"-inf");
  EXPECT_EQ(FormatDouble(std::numeric_limits<double>::quiet_NaN()), L"nan");
}

TEST(FormatNumber, RenderedTextsReadBackToTheirValues) {
  for (int64_t v : {std::numeric_limits<int64_t>::min(), int64_t{-1}, int64_t{0}, int64_t{1} << 40,
                    std::numeric_limits<int64_t>::max()}) {
    EXPECT_EQ(ScanInt64(FormatInt64(v), 0), v);
    EXPECT_EQ(ScanUInt64(FormatHex64(static_cast<uint64_t>(v)), 0), static_cast<uint64_t>(v));
  }
  for (uint32_t v : {0u, 1u, 0x80000000u, 0xFFFFFFFFu}) EXPECT_EQ(ScanUInt32(FormatHex32(v), 0), v);
  for (double v : {0.0, 1.5, -29.97, 1e15, 123.456789})
    EXPECT_NEAR(ScanDouble(FormatDouble(v)), v, 5e-7) << v;
}

}  // namespace
