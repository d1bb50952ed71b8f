#include "engine/desktop_duplication.h"

HRESULT FindOutputForScreen(cvplat::IGpuOutputs& outputs, cvplat::IMonitors& monitors, int64_t screenIndex,
                            uint32_t* outputIndex) {
  if (screenIndex < 0 || screenIndex > 1000) screenIndex = 0;
  const std::vector<cvplat::MonitorInfo> list = monitors.List();
  if (screenIndex >= static_cast<int64_t>(list.size())) return E_FAIL;
  const uint64_t monitor = list[static_cast<size_t>(screenIndex)].handle;
  for (uint32_t i = 0;; ++i) {
    cvplat::OutputInfo info;
    if (HRESULT hr = outputs.Output(i, &info); FAILED(hr)) return hr;
    if (info.monitor == monitor) {
      *outputIndex = i;
      return S_OK;
    }
  }
}

bool SetUpDuplication(const cvplat::CapturePlatform& platform, cvplat::IGpuDevice* device, uint32_t screenIndex,
                      std::unique_ptr<cvplat::IDuplication>& duplication, cvplat::OutputInfo& description) {
  if (!device || !platform.duplication || !platform.monitors) return false;
  std::unique_ptr<cvplat::IGpuOutputs> outputs;
  if (FAILED(platform.duplication->Outputs(device, &outputs)) || !outputs) return false;

  uint32_t output = 0;
  if (FAILED(FindOutputForScreen(*outputs, *platform.monitors, screenIndex, &output)) &&
      FAILED(FindOutputForScreen(*outputs, *platform.monitors, 0, &output))) {
    return false;
  }
  description = cvplat::OutputInfo{};
  if (FAILED(outputs->Output(output, &description))) return false;

  duplication.reset();
  std::unique_ptr<cvplat::IDuplication> made;
  if (FAILED(outputs->Duplicate(output, &made)) || !made) return false;
  duplication = std::move(made);
  return true;
}
