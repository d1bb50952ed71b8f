#include "platform/device_platform.h"

#include "platform/sim/settings_memory.h"

namespace cvplat {

std::shared_ptr<const DevicePlatform> NativeDevicePlatform() {
  auto platform = std::make_shared<DevicePlatform>();
  platform->settings = CreateUserSettingsStore();
  return platform;
}

std::shared_ptr<DevicePlatform> SimDevicePlatform() {
  auto platform = std::make_shared<DevicePlatform>();
  platform->settings = CreateMemorySettingsStore();
  return platform;
}

}  // namespace cvplat
