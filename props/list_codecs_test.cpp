#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "props/value_codecs.h"

namespace {

using Words = std::vector<std::wstring>;
using Numbers = std::vector<int32_t>;

TEST(IndexInList, FindsAPositionIgnoringCaseOrKeepsTheStartValue) {
  const wchar_t* const modes[] = {L"DXGI", L"DirectX", L"GDI", nullptr};
  int32_t index = -1;
  EXPECT_TRUE(IndexInList(modes, L"gdi", index));
  EXPECT_EQ(index, 2);
  EXPECT_TRUE(IndexInList(modes, L"DXGI", index));
  EXPECT_EQ(index, 0);
  index = -1;
  for (const wchar_t* text : {L"", L"auto", L"GDI ", L"DirectX11", L"DX"}) {
    EXPECT_FALSE(IndexInList(modes, text, index)) << testing::PrintToString(std::wstring(text));
    EXPECT_EQ(index, -1);
  }
  EXPECT_TRUE(IndexInList(modes, std::wstring(L"directx") + L'\0' + L"junk", index));
  EXPECT_EQ(index, 1);
  const wchar_t* const empty[] = {nullptr};
  index = 7;
  EXPECT_FALSE(IndexInList(empty, L"GDI", index));
  EXPECT_FALSE(IndexInList(nullptr, L"GDI", index));
  EXPECT_EQ(index, 7);
}

TEST(IndexInList, ANullTextIsNoEntryNotEvenAnEmptyOne) {
  const wchar_t* const withEmpty[] = {L"auto", L"", L"GDI", nullptr};
  int32_t index = -1;
  EXPECT_FALSE(IndexInList(withEmpty, std::wstring_view(), index)) << "the text of an attribute without one";
  EXPECT_EQ(index, -1);
  const wchar_t* const noText = nullptr;  // a null BSTR handed on as it is
  EXPECT_FALSE(IndexInList(withEmpty, noText, index));
  EXPECT_EQ(index, -1);
  EXPECT_TRUE(IndexInList(withEmpty, L"", index)) << "an empty text is a text";
  EXPECT_EQ(index, 1);
  const wchar_t* const gdi = L"gdi";
  EXPECT_TRUE(IndexInList(withEmpty, gdi, index));
  EXPECT_EQ(index, 2);
}

TEST(SplitNames, RunsOfSeparatorsMakeNoEmptyNames) {
  Words names{L"kept"};
  EXPECT_EQ(SplitNames(L" ;alpha,beta\r\n\tgamma;;, delta ", names), S_OK);
  EXPECT_EQ(names, (Words{L"kept", L"alpha", L"beta", L"gamma", L"delta"}));
  names.clear();
  EXPECT_EQ(SplitNames(L"one", names), S_OK);
  EXPECT_EQ(names, (Words{L"one"}));
  names.clear();
  EXPECT_EQ(SplitNames(L" ,; \t", names), S_FALSE);
  EXPECT_TRUE(names.empty());
  EXPECT_EQ(SplitNames(L"", names), E_INVALIDARG);
  EXPECT_EQ(SplitNames(std::wstring(1, L'\0') + L"x", names), E_INVALIDARG);
  EXPECT_TRUE(names.empty());
}

TEST(SplitBy, OnlyTheGivenSeparatorSplits) {
  Words parts;
  EXPECT_EQ(SplitBy(L"::a b::c;d:::", parts, L':'), S_OK);
  EXPECT_EQ(parts, (Words{L"a b", L"c;d"}));
  parts.clear();
  EXPECT_EQ(SplitBy(L"||||", parts, L'|'), S_FALSE);
  EXPECT_EQ(SplitBy(L"", parts, L'|'), E_INVALIDARG);
  EXPECT_EQ(SplitBy(L"abc", parts, L'\0'), S_OK);
  EXPECT_EQ(parts, (Words{L"abc"}));
}

TEST(SplitNumbers, ReadsEachNumberWithItsTrimmedText) {
  Numbers numbers;
  Words texts;
  EXPECT_EQ(SplitNumbers(L" 1920 wide,\t1080 high ", numbers, &texts, false), S_OK);
  EXPECT_EQ(numbers, (Numbers{1920, 1080}));
  EXPECT_EQ(texts, (Words{L"wide,", L"high"}));

  numbers.clear();
  texts.clear();
  EXPECT_EQ(SplitNumbers(L"25, 29.97, 30", numbers, &texts, false), S_OK);
  EXPECT_EQ(numbers, (Numbers{25, 29, 97, 30}));
  EXPECT_EQ(texts, (Words{L",", L".", L",", L""}));
}

TEST(SplitNumbers, BasesSignsAndWhatLiesBetween) {
  Numbers numbers;
  EXPECT_EQ(SplitNumbers(L"+0x10 x-5 - 7 -x 017 1-2 08 99999999999", numbers, nullptr, false), S_OK);
  EXPECT_EQ(numbers, (Numbers{16, -5, 7, 15, 1, -2, 0, 8, 2147483647}));
  numbers.clear();
  EXPECT_EQ(SplitNumbers(L"size: 4 x 3", numbers, nullptr, false), S_OK);  // leading text has no number
  EXPECT_EQ(numbers, (Numbers{4, 3}));
  EXPECT_EQ(SplitNumbers(L"none", numbers, nullptr, false), S_FALSE);
  EXPECT_EQ(SplitNumbers(L"- -", numbers, nullptr, false), S_FALSE);
  EXPECT_EQ(SplitNumbers(L"", numbers, nullptr, false), E_INVALIDARG);
  EXPECT_EQ(numbers, (Numbers{4, 3}));
}

TEST(SplitNumbers, UniqueLeavesOutRepeatsOfTheFirstEntry) {
  Numbers numbers;
  Words texts;
  EXPECT_EQ(SplitNumbers(L"5 a 6 b 5 c 6 d", numbers, &texts, true), S_OK);
  EXPECT_EQ(numbers, (Numbers{5, 6, 6}));
  EXPECT_EQ(texts, (Words{L"a", L"b", L"d"}));

  numbers = {30};
  texts.clear();
  EXPECT_EQ(SplitNumbers(L"30,30", numbers, &texts, true), S_FALSE);
  EXPECT_EQ(numbers, (Numbers{30}));
  EXPECT_TRUE(texts.empty());
}

}  // namespace
