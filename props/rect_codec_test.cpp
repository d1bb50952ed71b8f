#include <gtest/gtest.h>

#include <string>

#include "props/value_codecs.h"

namespace {

bool operator==(const TRect& a, const TRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

TEST(ParseRect, AcceptsAnAreaWithinTheLimits) {
  TRect rect{1, 2, 3, 4};
  ASSERT_TRUE(ParseRect(L"10,20,330,240", rect));
  EXPECT_TRUE((rect == TRect{10, 20, 330, 240}));
  ASSERT_TRUE(ParseRect(L" -3000, -3000, 3000,\t3000 trailing", rect));
  EXPECT_TRUE((rect == TRect{-3000, -3000, 3000, 3000}));
  ASSERT_TRUE(ParseRect(L"+1,+2,+3,+4", rect));
  EXPECT_TRUE((rect == TRect{1, 2, 3, 4}));
}

TEST(ParseRect, MissingValuesCountAsZero) {
  TRect rect{};
  ASSERT_TRUE(ParseRect(L"-10,-10", rect));  // right and bottom are 0
  EXPECT_TRUE((rect == TRect{-10, -10, 0, 0}));
  ASSERT_TRUE(ParseRect(L"-10,-10 ,5,5", rect));  // a blank before a comma ends the scan
  EXPECT_TRUE((rect == TRect{-10, -10, 0, 0}));
  EXPECT_FALSE(ParseRect(L"10,10,20", rect));  // bottom 0 is above top
}

TEST(ParseRect, RefusesAndLeavesTheRectangleAlone) {
  const TRect before{7, 8, 9, 10};
  for (const wchar_t* text : {L"", L"0,0,0,0", L"10,10,3001,20", L"-3001,0,10,10", L"20,0,10,10", L"0,20,10,10",
                              L"5,5,5,6", L"abc", L"0x10,0,20,20", L"99999999999,0,1,1", L"-99999999999,0,1,1",
                              L"1;2;3;4", L"  "}) {
    TRect rect = before;
    EXPECT_FALSE(ParseRect(text, rect)) << testing::PrintToString(std::wstring(text));
    EXPECT_TRUE(rect == before) << testing::PrintToString(std::wstring(text));
  }
  TRect rect = before;
  EXPECT_FALSE(ParseRect(std::wstring(L"1,2") + L'\0' + L",30,40", rect));
  EXPECT_TRUE(rect == before);
}

}  // namespace
