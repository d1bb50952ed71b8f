#include "platform/window_list.h"

namespace cvplat {

std::wstring FileNamePart(std::wstring_view path) {
  const size_t slash = path.find_last_of(L"/\\");
  if (slash != std::wstring_view::npos) path.remove_prefix(slash + 1);
  return std::wstring(path.substr(0, kWindowTextMax));
}

}  // namespace cvplat
