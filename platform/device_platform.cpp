#include "platform/device_platform.h"

#include "platform/sim/capture_sim.h"
#include "platform/sim/desktop_sim.h"
#include "platform/sim/process_watch_sim.h"
#include "platform/sim/settings_memory.h"

namespace cvplat {

std::shared_ptr<const DevicePlatform> NativeDevicePlatform() {
  auto platform = std::make_shared<DevicePlatform>();
  platform->settings = CreateUserSettingsStore();
  platform->processes = CreateNativeProcessWatch();
  // Asked once: neither the module nor its process changes while the process lives.
  static const ModuleInfo module = CurrentModuleInfo();
  platform->module = module;
  platform->listWindows = ListTopWindows;
  platform->capture = NativeCapturePlatform();
  return platform;
}

std::shared_ptr<DevicePlatform> SimDevicePlatform() {
  auto platform = std::make_shared<DevicePlatform>();
  platform->settings = CreateMemorySettingsStore();
  platform->processes = CreateSimProcessWatch();
  platform->module = SimModuleInfo();
  platform->listWindows = SimTopWindows;
  platform->capture = SimDesktop::Create()->Platform();
  return platform;
}

}  // namespace cvplat
