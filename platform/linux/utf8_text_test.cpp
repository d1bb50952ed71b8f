#include "platform/linux/utf8_text.h"

#include <gtest/gtest.h>

namespace {

using cvplat::WideFromUtf8;

TEST(Utf8Text, DecodesEverySequenceLength) {
  EXPECT_EQ(WideFromUtf8("abc"), L"abc");
  EXPECT_EQ(WideFromUtf8("\xC3\xA9"), L"\u00E9");
  EXPECT_EQ(WideFromUtf8("\xE2\x82\xAC"), L"\u20AC");
  EXPECT_EQ(WideFromUtf8("\xF0\x9F\x98\x80"), std::wstring(1, static_cast<wchar_t>(0x1F600)));
}

TEST(Utf8Text, BadBytesStandForThemselves) {
  // A lone continuation, a cut sequence at the end, an overlong form and an encoded surrogate.
  EXPECT_EQ(WideFromUtf8("a\x80" "b"), std::wstring(L"a\x80" L"b"));
  EXPECT_EQ(WideFromUtf8("x\xE2\x82"), std::wstring(L"x\xE2\x82"));
  EXPECT_EQ(WideFromUtf8("\xC0\xAF"), std::wstring(L"\xC0\xAF"));
  EXPECT_EQ(WideFromUtf8("\xED\xA0\x80"), std::wstring(L"\xED\xA0\x80"));
}

}  // namespace
