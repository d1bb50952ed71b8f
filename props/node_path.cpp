#include "props/node_path.h"

#include "props/number_text.h"

namespace XMLParse {

PathSegment ParseSegment(std::wstring_view segment) {
  PathSegment out;
  const size_t bracket = segment.size() > 1 ? segment.find(L'[', 1) : std::wstring_view::npos;
  if (bracket == std::wstring_view::npos) {
    out.name = segment;
    return out;
  }
  out.name = segment.substr(0, bracket);
  const int64_t index = ScanInt64(segment.substr(bracket + 1), 0);
  out.index = (index < 0 || index > INT32_MAX) ? -1 : static_cast<int32_t>(index);
  return out;
}

bool PathCursor::Next(PathSegment& segment) {
  if (done_) return false;
  const size_t sep = rest_.find(L"::");
  if (sep == std::wstring_view::npos) {
    segment = ParseSegment(rest_);
    done_ = true;
    return true;
  }
  segment = ParseSegment(rest_.substr(0, sep));
  rest_ = rest_.substr(sep + 2);
  return true;
}

void SplitLastSegment(std::wstring_view path, std::wstring_view& nodePath, std::wstring_view& last) {
  // Separators are found left to right, as the cursor finds them, so ":::" splits the same way.
  size_t sep = std::wstring_view::npos;
  for (size_t at = path.find(L"::"); at != std::wstring_view::npos; at = path.find(L"::", at + 2)) sep = at;
  if (sep == std::wstring_view::npos) {
    nodePath = std::wstring_view();
    last = path;
    return;
  }
  nodePath = path.substr(0, sep);
  last = path.substr(sep + 2);
}

}  // namespace XMLParse
