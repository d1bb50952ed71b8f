#include "platform/win32/duplication_dxgi.h"

#include <d3d11.h>
#include <dxgi1_2.h>

#include <new>
#include <utility>

#include "platform/auto_obj.h"
#include "platform/win32/gpu_d3d11_objects.h"

namespace cvplat {

namespace {

template <class Itf, class From>
HRESULT Ask(From* from, TRefPtr<Itf>& to) {
  const HRESULT hr = from->QueryInterface(__uuidof(Itf), reinterpret_cast<void**>(to.Receive()));
  return SUCCEEDED(hr) && !to ? E_NOINTERFACE : hr;
}

class DxgiDuplication : public IDuplication {
 public:
  explicit DxgiDuplication(IDXGIOutputDuplication* native) : native_(native) {}

  HRESULT AcquireNextFrame(uint32_t timeoutMs, DuplicationFrameInfo* info, IGpuTexture2D** image) override {
    if (info) *info = {};
    if (image) *image = nullptr;
    if (!info || !image) return E_INVALIDARG;
    DXGI_OUTDUPL_FRAME_INFO frame{};
    TRefPtr<IDXGIResource> resource;
    const HRESULT hr = native_->AcquireNextFrame(timeoutMs, &frame, resource.Receive());
    // Lost access and the time-out go to the loop as they are: it tells them apart.
    if (FAILED(hr)) return hr;
    TRefPtr<ID3D11Texture2D> texture;
    HRESULT made = resource ? Ask(resource.Get(), texture) : E_POINTER;
    if (SUCCEEDED(made)) {
      try {
        *image = MakeRef<d3d11::D3dTexture>(texture.Get()).Detach();
      } catch (const std::bad_alloc&) {
        made = E_OUTOFMEMORY;
      }
    }
    if (FAILED(made)) {
      // No image reaches the caller, who then won't give it back: the frame is given back here.
      native_->ReleaseFrame();
      return made;
    }
    info->lastPresentTime = frame.LastPresentTime.QuadPart;
    info->lastMouseUpdateTime = frame.LastMouseUpdateTime.QuadPart;
    return S_OK;
  }

  HRESULT ReleaseFrame() override { return native_->ReleaseFrame(); }

 private:
  const TRefPtr<IDXGIOutputDuplication> native_;
};

class DxgiOutputs : public IGpuOutputs {
 public:
  DxgiOutputs(ID3D11Device* device, IDXGIAdapter* adapter) : device_(device), adapter_(adapter) {}

  HRESULT Output(uint32_t index, OutputInfo* info) override {
    if (!info) return E_INVALIDARG;
    TRefPtr<IDXGIOutput> output;
    DXGI_OUTPUT_DESC desc{};
    if (const HRESULT hr = adapter_->EnumOutputs(index, output.Receive()); FAILED(hr)) return hr;
    if (const HRESULT hr = output->GetDesc(&desc); FAILED(hr)) return hr;
    info->monitor = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(desc.Monitor));
    const RECT& r = desc.DesktopCoordinates;
    info->desktopCoordinates = {r.left, r.top, r.right, r.bottom};
    return S_OK;
  }

  HRESULT Duplicate(uint32_t index, std::unique_ptr<IDuplication>* duplication) override {
    if (!duplication) return E_INVALIDARG;
    duplication->reset();
    TRefPtr<IDXGIOutput> output;
    TRefPtr<IDXGIOutput1> output1;
    TRefPtr<IDXGIOutputDuplication> native;
    if (const HRESULT hr = adapter_->EnumOutputs(index, output.Receive()); FAILED(hr)) return hr;
    if (const HRESULT hr = Ask(output.Get(), output1); FAILED(hr)) return hr;
    if (const HRESULT hr = output1->DuplicateOutput(device_.Get(), native.Receive()); FAILED(hr)) return hr;
    if (!native) return E_POINTER;
    try {
      *duplication = std::make_unique<DxgiDuplication>(native.Get());
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    return S_OK;
  }

 private:
  const TRefPtr<ID3D11Device> device_;
  const TRefPtr<IDXGIAdapter> adapter_;
};

class DxgiDuplications : public IDuplicationSource {
 public:
  HRESULT Outputs(IGpuDevice* device, std::unique_ptr<IGpuOutputs>* outputs) override {
    if (!device || !outputs) return E_INVALIDARG;
    outputs->reset();
    TRefPtr<ID3D11Device> native;
    TRefPtr<IDXGIDevice> dxgi;
    TRefPtr<IDXGIAdapter> adapter;
    if (const HRESULT hr = Ask(device, native); FAILED(hr)) return hr;
    if (const HRESULT hr = Ask(native.Get(), dxgi); FAILED(hr)) return hr;
    if (const HRESULT hr = dxgi->GetParent(__uuidof(IDXGIAdapter), reinterpret_cast<void**>(adapter.Receive()));
        FAILED(hr))
      return hr;
    if (!adapter) return E_NOINTERFACE;
    try {
      *outputs = std::make_unique<DxgiOutputs>(native.Get(), adapter.Get());
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    return S_OK;
  }
};

}  // namespace

std::shared_ptr<IDuplicationSource> DxgiDuplicationSource() { return std::make_shared<DxgiDuplications>(); }

}  // namespace cvplat
