// Where no Direct3D 11 is, the CPU twin is the native device.
#include "platform/cpu_gpu/cpu_gpu.h"

namespace cvplat {

HRESULT CreateGpuDevice(IGpuDevice** device, UINT* featureLevel, IGpuContext** context) {
  return CreateCpuGpuDevice(CpuGpuOptions{}, device, featureLevel, context);
}

}  // namespace cvplat
