#include "props/name_hash.h"

#include <gtest/gtest.h>

namespace XMLParse {
namespace {

// Values from an independent implementation of the hash (the lookup8 mix with this system's seeds).
TEST(NameHash, MatchesReferenceValues) {
  EXPECT_EQ(NameHash(L""), 0xd5ce0fc12638c9acull);
  EXPECT_EQ(NameHash(L"a"), 0xbb27b42661a3b565ull);
  EXPECT_EQ(NameHash(L"capture.mode"), 0xfc090525bd773a14ull);
  // Exactly three words: one mix after them and one more for the empty tail word.
  EXPECT_EQ(NameHash(L"abcdefghijklmnopqrstuvwx"), 0x591744612fa1e72cull);
  EXPECT_EQ(NameHash(L"abcdefghijklmnopqrstuvwxy"), 0xce96650702ed6ba7ull);
  EXPECT_EQ(NameHash(L"attributes_info", false), 0x0d005e6f4a8c36ddull);
  EXPECT_EQ(NameHash(L"attributes_info", true), 0x86bf6d08028699d3ull);
}

TEST(NameHash, NullIsZeroAndDiffersFromEmpty) {
  EXPECT_EQ(NameHash(nullptr, 5, true), 0u);
  EXPECT_NE(NameHash(L"", 0, true), 0u);
}

TEST(NameHash, FoldingMakesCaseAndHighBytesIrrelevant) {
  EXPECT_EQ(NameHash(L"Capture.Mode"), NameHash(L"capture.mode"));
  EXPECT_NE(NameHash(L"Capture.Mode", false), NameHash(L"capture.mode", false));
  // Only the low byte of a unit counts: U+0161 and "a" differ in the high byte only.
  EXPECT_EQ(NameHash(L"\x0161"), NameHash(L"a"));
  EXPECT_NE(NameHash(L"ab"), NameHash(L"ba"));
}

TEST(NameHash, StopsAtLengthOrNul) {
  EXPECT_EQ(NameHash(L"capture.mode", 7, true), NameHash(L"capture"));
  const wchar_t withNul[] = {L'a', L'b', 0, L'c', L'd'};
  EXPECT_EQ(NameHash(withNul, 5, true), NameHash(L"ab"));
}

TEST(NameHash, LengthIsNotMixedIn) {
  // Without folding, U+0100 packs as a zero byte: the same words as the shorter name.
  EXPECT_EQ(NameHash(L"ab\x0100", 3, false), NameHash(L"ab", 2, false));
  // With folding every byte has bit 5 set, so the two differ again.
  EXPECT_NE(NameHash(L"ab\x0100", 3, true), NameHash(L"ab", 2, true));
}

}  // namespace
}  // namespace XMLParse
