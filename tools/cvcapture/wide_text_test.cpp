#include "tools/cvcapture/wide_text.h"

#include <gtest/gtest.h>

namespace {

TEST(WideText, Utf8BothWaysIncludingCharactersBeyondTheBasicPlane) {
  const std::string utf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xA5";  // a, e acute, euro, movie camera
  const std::wstring wide = FromUtf8(utf8);
  EXPECT_EQ(wide.size(), sizeof(wchar_t) == 2 ? 5u : 4u);
  EXPECT_EQ(wide[1], L'\u00E9');
  EXPECT_EQ(ToUtf8(wide), utf8);
  EXPECT_EQ(ToUtf8(static_cast<const wchar_t*>(nullptr)), "");
}

TEST(WideText, BrokenInputBecomesReplacementCharacters) {
  EXPECT_EQ(FromUtf8("\xC3"), L"\uFFFD") << "cut short";
  EXPECT_EQ(FromUtf8("\xFFx"), L"\uFFFDx");
  EXPECT_EQ(FromUtf8("\xC3x"), L"\uFFFDx") << "a lead byte without its continuation";
  EXPECT_EQ(ToUtf8(std::wstring(1, static_cast<wchar_t>(0xD800))), "\xEF\xBF\xBD") << "a lone surrogate";
}

}  // namespace
