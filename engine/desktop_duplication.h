// Setting up the duplication of the output that shows the captured screen. Only outputs of the gpu
// device's own adapter can be duplicated; a failure anywhere leaves the device without a duplication,
// which the hardware loop then takes as the DirectX mode.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/desktop.h"

// The number of the adapter output that shows monitor `screenIndex` (counted from 0 in the monitors'
// order; below 0 or above 1000 counts as 0). E_FAIL when there is no such monitor; the failure of the
// output list when no output of the adapter shows it.
HRESULT FindOutputForScreen(cvplat::IGpuOutputs& outputs, cvplat::IMonitors& monitors, int64_t screenIndex,
                            uint32_t* outputIndex);

// Finds the output of `screenIndex`, else of screen 0, and duplicates it on `device`. On success
// `duplication` holds the new one and `description` the output's place on the desktop. Any old
// duplication is dropped first.
bool SetUpDuplication(const cvplat::CapturePlatform& platform, cvplat::IGpuDevice* device, uint32_t screenIndex,
                      std::unique_ptr<cvplat::IDuplication>& duplication, cvplat::OutputInfo& description);
