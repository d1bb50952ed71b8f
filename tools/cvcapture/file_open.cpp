#include "tools/cvcapture/file_open.h"

#include <string>

std::FILE* OpenFile(const std::filesystem::path& path, const char* mode) {
#if defined(_WIN32)
  const std::wstring wideMode(mode, mode + std::char_traits<char>::length(mode));
  return _wfopen(path.c_str(), wideMode.c_str());
#else
  return std::fopen(path.c_str(), mode);
#endif
}
