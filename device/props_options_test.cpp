#include "device/props_options.h"

#include <gtest/gtest.h>

namespace {

using Rows = std::vector<std::wstring>;

TEST(OptionValues, BarsSplitAtBarsAndEverythingElseAtWordBreaks) {
  EXPECT_EQ(SplitOptionValues(L"auto|DXGI|DirectX|GDI"), (Rows{L"auto", L"DXGI", L"DirectX", L"GDI"}));
  // A trailing bar (as the value children are joined) and runs of bars make no empty rows.
  EXPECT_EQ(SplitOptionValues(L"none|0x20a||"), (Rows{L"none", L"0x20a"}));
  // With a bar, blanks belong to the rows.
  EXPECT_EQ(SplitOptionValues(L"a b|c,d"), (Rows{L"a b", L"c,d"}));
  EXPECT_EQ(SplitOptionValues(L"a, b;c\r\n\td  e,"), (Rows{L"a", L"b", L"c", L"d", L"e"}));
  EXPECT_TRUE(SplitOptionValues(L"").empty());
  EXPECT_TRUE(SplitOptionValues(L" ;, ").empty());
}

TEST(OptionValues, HexNumbersAsPrintfAlternateFormWritesThem) {
  EXPECT_EQ(HexNumberText(0), L"0");
  EXPECT_EQ(HexNumberText(0x20a), L"0x20a");
  EXPECT_EQ(HexNumberText(0xFFFFFFFFu), L"0xffffffff");
  EXPECT_EQ(HexNumberText(0x123456789abcdef0ull), L"0x123456789abcdef0");
}

TEST(OptionValues, WindowRowsStartWithNoneAndAreCut) {
  const std::wstring longTitle(600, L't');
  const auto rows = WindowOptionRows({{0x1c0042, 0x4d2, L"x.exe", L"X"}, {0x10, 0, L"", longTitle}});
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0].value, L"none");
  EXPECT_EQ(rows[0].text, L"None");
  EXPECT_EQ(rows[1].value, L"0x1c0042");
  EXPECT_EQ(rows[1].text, L"X [x.exe PID = 0x4d2 HWND = 0x1c0042]");
  EXPECT_EQ(rows[2].text.size(), kOptionTextMax);
  EXPECT_EQ(rows[2].text, longTitle.substr(0, kOptionTextMax));
}

}  // namespace
