#include "props/node_path.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace XMLParse {
namespace {

std::vector<std::pair<std::wstring, int32_t>> Segments(std::wstring_view path) {
  std::vector<std::pair<std::wstring, int32_t>> out;
  PathCursor cursor(path);
  PathSegment seg;
  while (cursor.Next(seg)) out.emplace_back(std::wstring(seg.name), seg.index);
  return out;
}

TEST(NodePath, SplitsSegmentsWithIndices) {
  using V = std::vector<std::pair<std::wstring, int32_t>>;
  EXPECT_EQ(Segments(L"a::b[1]::c"), (V{{L"a", 0}, {L"b", 1}, {L"c", 0}}));
  EXPECT_EQ(Segments(L"item[0x10]::x[010]"), (V{{L"item", 16}, {L"x", 8}}));
  EXPECT_EQ(Segments(L"capture.mode"), (V{{L"capture.mode", 0}}));
  EXPECT_TRUE(Segments(L"").empty());
}

TEST(NodePath, OddSegments) {
  using V = std::vector<std::pair<std::wstring, int32_t>>;
  // A bracket that opens a segment is part of the name; what follows an index's bracket is ignored.
  EXPECT_EQ(Segments(L"[x]::a[2]junk"), (V{{L"[x]", 0}, {L"a", 2}}));
  EXPECT_EQ(Segments(L"a[-1]"), (V{{L"a", -1}}));
  EXPECT_EQ(Segments(L"a[99999999999]"), (V{{L"a", -1}}));
  EXPECT_EQ(Segments(L"a::::b::"), (V{{L"a", 0}, {L"", 0}, {L"b", 0}, {L"", 0}}));
}

TEST(NodePath, SplitLastSegment) {
  std::wstring_view node, last;
  SplitLastSegment(L"a::b::attr", node, last);
  EXPECT_EQ(node, L"a::b");
  EXPECT_EQ(last, L"attr");
  SplitLastSegment(L"attr", node, last);
  EXPECT_TRUE(node.empty());
  EXPECT_EQ(last, L"attr");
  // Separators found left to right, as the cursor finds them.
  SplitLastSegment(L"a:::b", node, last);
  EXPECT_EQ(node, L"a");
  EXPECT_EQ(last, L":b");
}

}  // namespace
}  // namespace XMLParse
