// Fixed answers of the simulated machine for the module, its host process and the desktop's windows,
// so that tests can assert exact texts.
#pragma once

#include <vector>

#include "platform/module_info.h"
#include "platform/window_list.h"

namespace cvplat {

// Module "C:\\Sim\\CVDeviceSCR.dll", versions 1.0.0.1 and 1.0.0.2, built "Jan  2 2025 03:04:05", in
// process 0x1234 of "C:\\Sim\\host.exe".
ModuleInfo SimModuleInfo();

// Two windows: "Editor" of editor.exe (pid 0x10, handle 0x20a) and "Player" of player.exe (pid 0x22,
// handle 0x1000b).
std::vector<TopWindow> SimTopWindows();

}  // namespace cvplat
