#include "platform/sim/desktop_sim.h"

namespace cvplat {

ModuleInfo SimModuleInfo() {
  ModuleInfo info;
  info.path = L"C:\\Sim\\CVDeviceSCR.dll";
  info.productVersion = {1, 0, 0, 1};
  info.fileVersion = {1, 0, 0, 2};
  info.buildDate = L"Jan  2 2025 03:04:05";
  info.processPath = L"C:\\Sim\\host.exe";
  info.processId = 0x1234;
  return info;
}

std::vector<TopWindow> SimTopWindows() {
  return {
      {0x20a, 0x10, L"editor.exe", L"Editor"},
      {0x1000b, 0x22, L"player.exe", L"Player"},
  };
}

}  // namespace cvplat
