#include "device/reader_hints.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ReaderHints, EmptyAndNullGiveNothing) {
  for (const wchar_t* text : {static_cast<const wchar_t*>(nullptr), L""}) {
    const TReaderHints h = ParseReaderHints(text);
    EXPECT_EQ(h.flags, 0u);
    EXPECT_EQ(h.buffers, -1);
    EXPECT_FALSE(h.removeReader);
  }
}

TEST(ReaderHints, RemoveReaderIsAnExactMatch) {
  EXPECT_TRUE(ParseReaderHints(L"remove_reader").removeReader);
  EXPECT_TRUE(ParseReaderHints(L"Remove_Reader").removeReader) << "case does not matter";
  const TReaderHints h = ParseReaderHints(L"remove_reader now");
  EXPECT_FALSE(h.removeReader);
  EXPECT_EQ(h.flags, 0u);
  EXPECT_FALSE(ParseReaderHints(L" remove_reader").removeReader);
}

TEST(ReaderHints, WordsAnywhereInTheText) {
  EXPECT_EQ(ParseReaderHints(L"please FLUSH_READER").flags, kReaderHintFlush);
  EXPECT_EQ(ParseReaderHints(L"xsync_readery").flags, kReaderHintSync);
  EXPECT_EQ(ParseReaderHints(L"sync_reader,flush_reader").flags, kReaderHintSync | kReaderHintFlush);
}

TEST(ReaderHints, BufferCountWithBlanksAndQuotes) {
  EXPECT_EQ(ParseReaderHints(L"buffers=5").buffers, 5);
  EXPECT_EQ(ParseReaderHints(L"Buffers = '7'").buffers, 7);
  EXPECT_EQ(ParseReaderHints(L"buffers\t=\t\"12\" sync_reader").buffers, 12);
  EXPECT_EQ(ParseReaderHints(L"buffers 5").buffers, -1) << "no '=' after the word";
  EXPECT_EQ(ParseReaderHints(L"buffers, then buffers=4").buffers, 4) << "the first word followed by '='";
  EXPECT_EQ(ParseReaderHints(L"buffers=0").buffers, -1) << "0 counts as unset";
  EXPECT_EQ(ParseReaderHints(L"buffers=-3").buffers, -1);
  EXPECT_EQ(ParseReaderHints(L"buffers=").buffers, -1);
  EXPECT_EQ(ParseReaderHints(L"buffers='").buffers, -1);
  EXPECT_EQ(ParseReaderHints(L"buffers=0x10").buffers, -1) << "decimal only: the 0 is read";
  EXPECT_EQ(ParseReaderHints(L"buffers=99999999999999999999").buffers, 2147483647) << "saturates";
}

TEST(ReaderHints, CapacityNeverBelowOne) {
  TReaderHints h = ParseReaderHints(L"buffers=5 sync_reader");
  EXPECT_EQ(ReaderCapacity(h, 3), 5);
  EXPECT_EQ(h.flags, kReaderHintSync);
  EXPECT_EQ(ReaderCapacity(ParseReaderHints(L"sync_reader"), 3), 1);
  EXPECT_EQ(ReaderCapacity(ParseReaderHints(L""), 3), 3);
  EXPECT_EQ(ReaderCapacity(ParseReaderHints(L"buffers=0"), 0), 1);
  EXPECT_EQ(ReaderCapacity(ParseReaderHints(L"buffers=-1"), -7), 1);
}

TEST(ReaderHints, LongHostileTextEnds) {
  std::wstring text(200000, L'b');
  text += L"buffers=====''\"\"";
  for (int i = 0; i < 1000; ++i) text += L"buffers = ";
  EXPECT_EQ(ParseReaderHints(text.c_str()).buffers, -1);
}

}  // namespace
