// A gpu device with failures on demand, for tests of the pipeline logic: it wraps the devices of another
// factory (by default the native CreateGpuDevice) and their contexts, refuses the calls a test scripts,
// counts every call by kind, and counts the objects it handed out that are still held, so a test can
// show that a failure path leaves nothing behind.
//
// GpuFaults is a handle: copies share one script, and the devices made through it keep the script alive.
// Scripting and counting are safe from any thread; the wrapped context, like any, belongs to one thread.
#pragma once

#include <memory>

#include "platform/gpu.h"

namespace cvplat {

enum class GpuCall {
  CreateDevice,           // the factory
  MultithreadProtection,  // SetMultithreadProtected (E_NOINTERFACE reads as "not available")
  Texture,                // CreateTexture2D
  ShaderResourceView,
  RenderTargetView,
  ConstantBuffer,  // CreateBuffer with the constant buffer bind flag
  Buffer,          // any other CreateBuffer
  Sampler,
  BlendState,
  InputLayout,
  Program,  // CreateProgram of any id; FailProgram scripts one id
  Map,
  // Calls that can't fail, only counted.
  Draw,
  Copy,  // CopySubresourceRegion
  Clear,
  Unmap,
  Flush,
};
inline constexpr int kGpuCallKinds = static_cast<int>(GpuCall::Flush) + 1;

class GpuFaults {
 public:
  explicit GpuFaults(GpuDeviceFactory inner = CreateGpuDevice);

  // Calls number `nth` (1 is the first, counted from the script's start over all its devices) up to
  // `nth + times - 1` of `call` fail with `result`; `times` below 1 means all calls from the n-th on.
  // A failed creation leaves its out argument null; the wrapped device isn't asked.
  void Fail(GpuCall call, int nth, HRESULT result = E_FAIL, int times = 1);
  // The same for the creations of one program.
  void FailProgram(GpuProgramId id, int nth, HRESULT result = E_FAIL, int times = 1);
  // The feature level the devices report from now on (e.g. kGpuFeatureLevel9_3); 0 reports their own.
  void ReportFeatureLevel(UINT level);

  // Calls so far, the failed ones included.
  int Calls(GpuCall call) const;
  int ProgramCalls(GpuProgramId id) const;
  // Devices, contexts and other objects handed out and not yet released by their holders. References
  // that a context keeps for its bindings aren't counted.
  int LiveObjects() const;

  HRESULT CreateDevice(IGpuDevice** device, UINT* featureLevel, IGpuContext** context) const;
  // CreateDevice as a factory for the logic.
  GpuDeviceFactory Factory() const;

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace cvplat
