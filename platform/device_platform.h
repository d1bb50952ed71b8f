// The machine as one device object sees it: every seam that the device and its engines use, handed to
// the device at construction. The module's class factory gives the native platform; tests give one
// built over the simulated seams, so a device never reaches the machine behind their back.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/desktop.h"
#include "platform/module_info.h"
#include "platform/process_watch.h"
#include "platform/settings_store.h"
#include "platform/window_list.h"

namespace cvplat {

struct DevicePlatform {
  // Where the per-user settings live.
  std::shared_ptr<ISettingsStore> settings;
  // The processes a source can be tied to (the client processes of a host).
  std::shared_ptr<IProcessWatch> processes;
  // This module and its host process, for the read-only keys of the properties; fixed for the process.
  ModuleInfo module;
  // The top-level windows a host may follow, listed afresh on each call from a host thread.
  std::function<std::vector<TopWindow>()> listWindows;
  // The desktop that the screen capture engine reads, and the gpu devices it draws with.
  CapturePlatform capture;
};

// The real machine: the registry on Windows, the settings files on Linux.
std::shared_ptr<const DevicePlatform> NativeDevicePlatform();

// Simulated seams for tests: settings in memory, empty at first; scripted processes, only this one
// running; the fixed module and windows of platform/sim/desktop_sim.h; a simulated desktop of its own
// (platform/sim/capture_sim.h) over the CPU twin, kept alive by the seams' pointers.
std::shared_ptr<DevicePlatform> SimDevicePlatform();

}  // namespace cvplat
