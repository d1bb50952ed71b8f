// The answers of capture seams that the machine can't give, or that no backend gives yet: no monitors,
// no windows, no pointer, and shots and duplication that answer E_NOTIMPL. The engine reads them as a
// desktop without a picture, so "auto" settles in a mode that waits for nothing.
#pragma once

#include <memory>

#include "platform/desktop.h"

namespace cvplat {

class UnavailableDesktop : public IMonitors,
                           public IDesktopWindows,
                           public IPointerPosition,
                           public IDuplicationSource {
 public:
  std::vector<MonitorInfo> List() override { return {}; }
  bool ExtendedFrameBounds(uint64_t, TRect*) override { return false; }
  bool WindowRect(uint64_t, TRect*) override { return false; }
  uint64_t ForegroundWindow() override { return 0; }
  bool Position(int32_t*, int32_t*) override { return false; }
  HRESULT Outputs(IGpuDevice* device, std::unique_ptr<IGpuOutputs>* outputs) override;
};

std::unique_ptr<IScreenGrabber> MakeUnavailableGrabber();

}  // namespace cvplat
