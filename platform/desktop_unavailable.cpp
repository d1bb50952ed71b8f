#include "platform/desktop_unavailable.h"

namespace cvplat {

namespace {

class UnavailableGrabber : public IScreenGrabber {
 public:
  HRESULT GrabToMemory(const TRect&, uint8_t*, int32_t) override { return E_NOTIMPL; }
  HRESULT GrabToTexture(IGpuDevice*, const TRect&, IGpuTexture2D** texture) override {
    if (texture) *texture = nullptr;
    return E_NOTIMPL;
  }
  void ReleaseCached() override {}
};

}  // namespace

HRESULT UnavailableDesktop::Outputs(IGpuDevice*, std::unique_ptr<IGpuOutputs>* outputs) {
  if (outputs) outputs->reset();
  return E_NOTIMPL;
}

std::unique_ptr<IScreenGrabber> MakeUnavailableGrabber() { return std::make_unique<UnavailableGrabber>(); }

}  // namespace cvplat
