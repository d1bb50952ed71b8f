// Paths into the tree: segments joined by "::", each a name with an optional index, "item[1]" being
// the second child named "item". The index has the automatic base of the number readers ("[0x1]",
// "[01]"); what follows its bracket is ignored. A "[" that starts a segment belongs to the name. A dot
// means nothing: "capture.mode" is one name.
#pragma once

#include <cstdint>
#include <string_view>

namespace XMLParse {

struct PathSegment {
  std::wstring_view name;
  int32_t index = 0;  // -1 for an index that no entry can have (negative or beyond 32 bits)
};

// Walks the segments of a path without allocating.
class PathCursor {
 public:
  explicit PathCursor(std::wstring_view path) : rest_(path), done_(path.empty()) {}
  // False at the end. An empty segment ("a::::b", a trailing "::") comes out with an empty name.
  bool Next(PathSegment& segment);

 private:
  std::wstring_view rest_;
  bool done_;
};

// Splits "a::b::attr" into the node path "a::b" and the last segment "attr".
void SplitLastSegment(std::wstring_view path, std::wstring_view& nodePath, std::wstring_view& last);

// The name part of one segment ("item[2]" gives "item").
PathSegment ParseSegment(std::wstring_view segment);

}  // namespace XMLParse
