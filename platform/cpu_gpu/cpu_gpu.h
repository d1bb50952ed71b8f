// The gpu seam on the CPU: a device whose textures are plain memory and whose draws run the pipeline's
// programs pixel by pixel (platform/cpu_gpu/raster.h tells the rules). It stands behind CreateGpuDevice
// where no Direct3D 11 is, and is the reference that the Direct3D output is checked against.
#pragma once

#include "platform/gpu.h"

namespace cvplat {

struct CpuGpuOptions {
  // Every draw through the reference rasteriser, never a fast path: for comparing the two.
  bool forceReference = false;
};

// A device at feature level 11.0, with multithread protection available. Each out argument may be null.
HRESULT CreateCpuGpuDevice(const CpuGpuOptions& options, IGpuDevice** device, UINT* featureLevel,
                           IGpuContext** context);

}  // namespace cvplat
