#include "platform/device_platform.h"

#include "platform/sim/process_watch_sim.h"
#include "platform/sim/settings_memory.h"

namespace cvplat {

std::shared_ptr<const DevicePlatform> NativeDevicePlatform() {
  auto platform = std::make_shared<DevicePlatform>();
  platform->settings = CreateUserSettingsStore();
  platform->processes = CreateNativeProcessWatch();
  return platform;
}

std::shared_ptr<DevicePlatform> SimDevicePlatform() {
  auto platform = std::make_shared<DevicePlatform>();
  platform->settings = CreateMemorySettingsStore();
  platform->processes = CreateSimProcessWatch();
  return platform;
}

}  // namespace cvplat
