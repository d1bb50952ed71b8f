#include "platform/com_types.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(CountedStrings, LengthPrefixAndTerminator) {
  BSTR s = SysAllocString(L"frame");
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(SysStringLen(s), 5u);
  EXPECT_EQ(SysStringByteLen(s), 5u * sizeof(OLECHAR));
  uint32_t prefix = 0;
  std::memcpy(&prefix, reinterpret_cast<char*>(s) - 4, 4);
  EXPECT_EQ(prefix, 5u * sizeof(OLECHAR)) << "the byte count sits just before the characters";
  EXPECT_EQ(s[5], L'\0');
  SysFreeString(s);
}

TEST(CountedStrings, NullIsTheEmptyString) {
  EXPECT_EQ(SysStringLen(nullptr), 0u);
  EXPECT_EQ(SysStringByteLen(nullptr), 0u);
  EXPECT_EQ(SysAllocString(nullptr), nullptr);
  SysFreeString(nullptr);
  BSTR empty = SysAllocStringLen(nullptr, 0);
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(SysStringLen(empty), 0u);
  EXPECT_EQ(empty[0], L'\0');
  SysFreeString(empty);
}

TEST(CountedStrings, EmbeddedZerosCountAndReallocFromItself) {
  const OLECHAR text[] = {L'a', 0, L'b', L'c'};
  BSTR s = SysAllocStringLen(text, 4);
  EXPECT_EQ(SysStringLen(s), 4u);
  EXPECT_EQ(s[2], L'b');
  ASSERT_TRUE(SysReAllocStringLen(&s, s + 2, 2));
  EXPECT_EQ(SysStringLen(s), 2u);
  EXPECT_EQ(s[0], L'b');
  EXPECT_EQ(s[1], L'c');
  ASSERT_TRUE(SysReAllocString(&s, L"longer text than before"));
  EXPECT_EQ(SysStringLen(s), 23u);
  SysFreeString(s);
}

TEST(ComTypes, StatusWordsAndIdentifiers) {
  EXPECT_TRUE(FAILED(E_FAIL));
  EXPECT_TRUE(SUCCEEDED(S_FALSE));
  EXPECT_EQ(static_cast<uint32_t>(E_INVALIDARG), 0x80070057u);
  EXPECT_EQ(static_cast<uint32_t>(E_ABORT), 0x80004004u);
  EXPECT_EQ(static_cast<uint32_t>(HRESULT_FROM_WIN32(0x610)), 0x80070610u);
  EXPECT_EQ(HRESULT_FROM_WIN32(0), S_OK);
  EXPECT_TRUE(IsEqualGUID(IID_IUnknown, IID_IUnknown));
  EXPECT_FALSE(IsEqualGUID(IID_IUnknown, IID_IClassFactory));
  EXPECT_EQ(IID_IUnknown.Data4[0], 0xC0);
  EXPECT_EQ(IID_IClassFactory.Data1, 1u);
}

}  // namespace
