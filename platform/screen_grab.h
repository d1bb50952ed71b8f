// What every screen grabber does alike, whatever reads the pixels: the black of the parts of a shot
// that lie on no monitor, and a shot texture made from a shot in memory; and what every duplication
// source does alike with its list of outputs.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/desktop.h"

namespace cvplat {

inline constexpr uint32_t kOffScreenPixel = 0xFF000000u;  // opaque black

// Paints kOffScreenPixel on every pixel of `rect` that lies on none of `monitors`; `pixels` holds the
// rectangle as GrabToMemory writes it. Nothing is painted when the monitors aren't known (an empty list):
// then the grab's own clamp is all there is.
void PaintOffMonitorsBlack(const TRect& rect, const std::vector<MonitorInfo>& monitors, uint8_t* pixels,
                           int32_t pitch);

// GrabToTexture by way of memory: `grabber` shoots `rect` into `scratch` (kept by the caller, so a
// thread's shots of one size reuse it), which becomes the initial picture of the shot texture:
// B8G8R8A8, default usage, shader resource and render target, GDI compatible. A texture the device
// refuses is the result.
HRESULT GrabThroughMemory(IScreenGrabber& grabber, IGpuDevice* device, const TRect& rect,
                          std::vector<uint8_t>& scratch, IGpuTexture2D** texture);
// Output `index` of `outputs`, as IGpuOutputs::Output answers; kDuplicationNotFound past the last.
HRESULT OutputOfList(const std::vector<MonitorInfo>& outputs, uint32_t index, OutputInfo* info);
// Whether `output` is still among `outputs` with its handle and rectangle: the duplication of an output
// that moved, changed size or went away has lost its access, as the system's does after a mode change.
bool OutputStillThere(const std::vector<MonitorInfo>& outputs, const MonitorInfo& output);

// The shot texture of that description with `pixels` (BGRA rows `pitch` bytes apart) as its picture.
HRESULT MakeShotTexture(IGpuDevice* device, const uint8_t* pixels, UINT width, UINT height, int32_t pitch,
                        IGpuTexture2D** texture);

}  // namespace cvplat
