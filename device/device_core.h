// What the format store and the props interface need of the device object that owns them. The device
// implements it; tests give a fake. Calls come on host threads, never on the capture thread.
#pragma once

#include "CVDeviceSCR.h"
#include "engine/capture_base.h"
#include "platform/device_platform.h"
#include "props/xml_node.h"

class IDeviceCore {
 public:
  // The selected engine, with its reference, while deviceLock is held; null when none is selected.
  // The guard keeps deviceLock until it goes, so an engine call through it is serialised with
  // DeviceSelect, DeviceOpen and DeviceClose.
  class EngineGuard;
  // Takes deviceLock (re-entrant) and hands out the selected engine under it.
  virtual void LockDevice() = 0;
  virtual void UnlockDevice() = 0;
  virtual TRefPtr<ICaptureEngine> SelectedEngine() = 0;
  // The device's own operations, through its table: close and open again restart the capture.
  virtual HRESULT DeviceOpenDefault() = 0;
  virtual HRESULT DeviceCloseNow() = 0;
  // The root of the property tree ("t-props"); never null for a constructed device.
  virtual XMLParse::XMLNodePtr PropsRoot() = 0;
  // The machine as this device sees it, fixed for the device's life.
  virtual const cvplat::DevicePlatform& Platform() = 0;

 protected:
  ~IDeviceCore() = default;
};

// deviceLock held for a scope, with the engine selected at its start.
class IDeviceCore::EngineGuard {
 public:
  explicit EngineGuard(IDeviceCore& core) : core_(core) {
    core_.LockDevice();
    engine_ = core_.SelectedEngine();
  }
  ~EngineGuard() {
    engine_.Reset();
    core_.UnlockDevice();
  }
  EngineGuard(const EngineGuard&) = delete;
  EngineGuard& operator=(const EngineGuard&) = delete;

  ICaptureEngine* Engine() const { return engine_.Get(); }

 private:
  IDeviceCore& core_;
  TRefPtr<ICaptureEngine> engine_;
};
