// This module and the process that hosts it, as a host sees them through the read-only keys of the
// properties: where the module's file lies, its version words, when it was built, and which process
// loaded it.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace cvplat {

// Four 16-bit words, most significant first: 1.0.0.1 is {1, 0, 0, 1}.
using VersionWords = std::array<uint16_t, 4>;

struct ModuleInfo {
  std::wstring path;            // full file name of the module that holds this code
  VersionWords productVersion{};
  VersionWords fileVersion{};
  std::wstring buildDate;       // "Mmm dd yyyy hh:mm:ss", the day padded with a blank below 10
  std::wstring processPath;     // full file name of the host process's executable
  uint32_t processId = 0;
};

// The real module: the version resource of the module where it has one, else the build's own numbers.
ModuleInfo CurrentModuleInfo();

// What the build recorded: the project version and the compile time of this library.
VersionWords BuildVersion();
std::wstring BuildDate();

}  // namespace cvplat
