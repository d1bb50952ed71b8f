#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "platform/linux/utf8_text.h"
#include "platform/module_info.h"

namespace cvplat {

namespace {

std::string ExecutablePath() {
  char buffer[PATH_MAX + 1];
  const ssize_t n = readlink("/proc/self/exe", buffer, PATH_MAX);
  return n > 0 ? std::string(buffer, static_cast<size_t>(n)) : std::string();
}

// The file of the shared object or executable that holds this code.
std::string ThisModulePath() {
  static const int anchor = 0;
  Dl_info where{};
  if (dladdr(&anchor, &where) && where.dli_fname && where.dli_fname[0] == '/') {
    char resolved[PATH_MAX + 1];
    if (realpath(where.dli_fname, resolved)) return resolved;
    return where.dli_fname;
  }
  // The main program is reported by the name it was started with, which may be relative to a folder
  // the process has left: the kernel's link is the reliable answer.
  return ExecutablePath();
}

}  // namespace

ModuleInfo CurrentModuleInfo() {
  ModuleInfo info;
  info.path = WideFromUtf8(ThisModulePath());
  info.productVersion = BuildVersion();
  info.fileVersion = BuildVersion();
  info.buildDate = BuildDate();
  info.processPath = WideFromUtf8(ExecutablePath());
  info.processId = static_cast<uint32_t>(getpid());
  return info;
}

}  // namespace cvplat
