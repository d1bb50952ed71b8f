// cvcapture: the command-line host of the capture component.
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "media/av_props.h"
#include "platform/system.h"

#ifndef CV_BUILD_TYPE_TEXT
#if defined(NDEBUG)
#define CV_BUILD_TYPE_TEXT "release"
#else
#define CV_BUILD_TYPE_TEXT "debug"
#endif
#endif

namespace {

int PrintVersion() {
  std::printf("cvcapture %s\nplatform: %s\nbuild: %s, %s %s\n", CV_VERSION_TEXT, cvplat::PlatformName(),
              CV_BUILD_TYPE_TEXT, __DATE__, __TIME__);
  return 0;
}

int Usage(FILE* out) {
  std::fprintf(out, "usage: cvcapture --version\n");
  return out == stdout ? 0 : 2;
}

}  // namespace

#if defined(_WIN32)
int wmain(int argc, wchar_t** argv) {
  if (argc == 2 && std::wcscmp(argv[1], L"--version") == 0) return PrintVersion();
  if (argc == 2 && std::wcscmp(argv[1], L"--help") == 0) return Usage(stdout);
#else
int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--version") == 0) return PrintVersion();
  if (argc == 2 && std::strcmp(argv[1], "--help") == 0) return Usage(stdout);
#endif
  if (argc >= 2) std::fprintf(stderr, "cvcapture: unknown command\n");
  return Usage(stderr);
}
