// The Direct3D 11 device behind the seam, and the native CreateGpuDevice of Windows builds.
#include <d3d11.h>
#include <dxgi.h>

#include <mutex>
#include <new>
#include <vector>

#include "platform/win32/gpu_d3d11.h"
#include "platform/win32/gpu_d3d11_context.h"

namespace cvplat {
namespace d3d11 {
namespace {

// S_FALSE with a null `out` passes on Direct3D's answer that the description is valid.
template <class Wrapper, class Itf, class N>
HRESULT Wrap(HRESULT made, N* native, Itf** out) {
  if (FAILED(made) || !out) {
    if (native) native->Release();
    return made;
  }
  const TRefPtr<N> held = TRefPtr<N>::Adopt(native);
  try {
    *out = MakeRef<Wrapper>(native).Detach();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return made;
}

class D3dDevice final : public AutoObjBase<D3dDevice, IGpuDevice> {
 public:
  D3dDevice(ID3D11Device* device, ID3D11DeviceContext* context, pD3DCompile compile)
      : native_(device), context_(new D3dContext(context)), compile_(compile) {}

  // Also answers for the native device, so that code beside the device (the duplication of an output,
  // made on this device) can reach it and its adapter.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    if (object && IsEqualIID(riid, __uuidof(ID3D11Device))) {
      native_->AddRef();
      *object = native_.Get();
      return S_OK;
    }
    return AutoObjBase::QueryInterface(riid, object);
  }

  HRESULT CreateTexture2D(const GpuTexture2DDesc* desc, const GpuSubresourceData* initial,
                          IGpuTexture2D** texture) override {
    if (texture) *texture = nullptr;
    if (!desc) return E_INVALIDARG;
    const D3D11_TEXTURE2D_DESC d = ToNative(*desc);
    const D3D11_SUBRESOURCE_DATA data{initial ? initial->sysMem : nullptr, initial ? initial->sysMemPitch : 0,
                                      initial ? initial->sysMemSlicePitch : 0};
    ID3D11Texture2D* native = nullptr;
    const HRESULT hr = native_->CreateTexture2D(&d, initial ? &data : nullptr, texture ? &native : nullptr);
    return Wrap<D3dTexture>(hr, native, texture);
  }

  HRESULT CreateShaderResourceView(IGpuResource* resource, const GpuShaderResourceViewDesc* desc,
                                   IGpuShaderResourceView** view) override {
    if (view) *view = nullptr;
    if (!resource) return E_INVALIDARG;
    D3D11_SHADER_RESOURCE_VIEW_DESC d{};
    if (desc) {
      d.Format = static_cast<DXGI_FORMAT>(desc->format);
      d.ViewDimension = static_cast<D3D11_SRV_DIMENSION>(desc->viewDimension);
      d.Texture2D.MostDetailedMip = desc->mostDetailedMip;
      d.Texture2D.MipLevels = desc->mipLevels;
    }
    ID3D11ShaderResourceView* native = nullptr;
    const HRESULT hr =
        native_->CreateShaderResourceView(NativeResource(resource), desc ? &d : nullptr, view ? &native : nullptr);
    return Wrap<D3dShaderResourceView>(hr, native, view);
  }

  HRESULT CreateRenderTargetView(IGpuResource* resource, const GpuRenderTargetViewDesc* desc,
                                 IGpuRenderTargetView** view) override {
    if (view) *view = nullptr;
    if (!resource) return E_INVALIDARG;
    D3D11_RENDER_TARGET_VIEW_DESC d{};
    if (desc) {
      d.Format = static_cast<DXGI_FORMAT>(desc->format);
      d.ViewDimension = static_cast<D3D11_RTV_DIMENSION>(desc->viewDimension);
      d.Texture2D.MipSlice = desc->mipSlice;
    }
    ID3D11RenderTargetView* native = nullptr;
    const HRESULT hr =
        native_->CreateRenderTargetView(NativeResource(resource), desc ? &d : nullptr, view ? &native : nullptr);
    return Wrap<D3dRenderTargetView>(hr, native, view);
  }

  HRESULT CreateBuffer(const GpuBufferDesc* desc, const GpuSubresourceData* initial, IGpuBuffer** buffer) override {
    if (buffer) *buffer = nullptr;
    if (!desc) return E_INVALIDARG;
    const D3D11_BUFFER_DESC d = ToNative(*desc);
    const D3D11_SUBRESOURCE_DATA data{initial ? initial->sysMem : nullptr, initial ? initial->sysMemPitch : 0,
                                      initial ? initial->sysMemSlicePitch : 0};
    ID3D11Buffer* native = nullptr;
    const HRESULT hr = native_->CreateBuffer(&d, initial ? &data : nullptr, buffer ? &native : nullptr);
    return Wrap<D3dBuffer>(hr, native, buffer);
  }

  HRESULT CreateSamplerState(const GpuSamplerDesc* desc, IGpuSamplerState** sampler) override {
    if (sampler) *sampler = nullptr;
    if (!desc) return E_INVALIDARG;
    D3D11_SAMPLER_DESC d{};
    d.Filter = static_cast<D3D11_FILTER>(desc->filter);
    d.AddressU = static_cast<D3D11_TEXTURE_ADDRESS_MODE>(desc->addressU);
    d.AddressV = static_cast<D3D11_TEXTURE_ADDRESS_MODE>(desc->addressV);
    d.AddressW = static_cast<D3D11_TEXTURE_ADDRESS_MODE>(desc->addressW);
    d.MipLODBias = desc->mipLodBias;
    d.MaxAnisotropy = desc->maxAnisotropy;
    d.ComparisonFunc = static_cast<D3D11_COMPARISON_FUNC>(desc->comparisonFunc);
    for (int i = 0; i < 4; ++i) d.BorderColor[i] = desc->borderColor[i];
    d.MinLOD = desc->minLod;
    d.MaxLOD = desc->maxLod;
    ID3D11SamplerState* native = nullptr;
    const HRESULT hr = native_->CreateSamplerState(&d, sampler ? &native : nullptr);
    return Wrap<D3dSamplerState>(hr, native, sampler);
  }

  HRESULT CreateBlendState(const GpuBlendDesc* desc, IGpuBlendState** state) override {
    if (state) *state = nullptr;
    if (!desc) return E_INVALIDARG;
    D3D11_BLEND_DESC d{};
    d.AlphaToCoverageEnable = desc->alphaToCoverageEnable;
    d.IndependentBlendEnable = desc->independentBlendEnable;
    for (UINT i = 0; i < kGpuRenderTargetSlots; ++i) {
      const GpuRenderTargetBlendDesc& s = desc->renderTarget[i];
      d.RenderTarget[i] = {s.blendEnable,
                           static_cast<D3D11_BLEND>(s.srcBlend),
                           static_cast<D3D11_BLEND>(s.destBlend),
                           static_cast<D3D11_BLEND_OP>(s.blendOp),
                           static_cast<D3D11_BLEND>(s.srcBlendAlpha),
                           static_cast<D3D11_BLEND>(s.destBlendAlpha),
                           static_cast<D3D11_BLEND_OP>(s.blendOpAlpha),
                           s.renderTargetWriteMask};
    }
    ID3D11BlendState* native = nullptr;
    const HRESULT hr = native_->CreateBlendState(&d, state ? &native : nullptr);
    return Wrap<D3dBlendState>(hr, native, state);
  }

  HRESULT CreateInputLayout(const GpuInputElementDesc* elements, UINT count, IGpuProgram* vertexProgram,
                            IGpuInputLayout** layout) override {
    if (layout) *layout = nullptr;
    const auto* program = static_cast<D3dProgram*>(vertexProgram);
    if (!elements || !program || program->id != GpuProgramId::Vertex || !program->code) return E_INVALIDARG;
    std::vector<D3D11_INPUT_ELEMENT_DESC> d;
    try {
      d.resize(count);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    for (UINT i = 0; i < count; ++i) {
      const GpuInputElementDesc& e = elements[i];
      d[i] = {e.semanticName,
              e.semanticIndex,
              static_cast<DXGI_FORMAT>(e.format),
              e.inputSlot,
              e.alignedByteOffset,
              static_cast<D3D11_INPUT_CLASSIFICATION>(e.inputSlotClass),
              e.instanceDataStepRate};
    }
    ID3D11InputLayout* native = nullptr;
    const HRESULT hr = native_->CreateInputLayout(d.data(), count, program->code->data(), program->code->size(),
                                                  layout ? &native : nullptr);
    return Wrap<D3dInputLayout>(hr, native, layout);
  }

  HRESULT CreateProgram(GpuProgramId id, IGpuProgram** program) override {
    if (!program) return E_INVALIDARG;
    *program = nullptr;
    ProgramCode code;
    if (const HRESULT hr = CompileProgram(compile_, id, native_->GetFeatureLevel(), &code); FAILED(hr)) return hr;
    TRefPtr<ID3D11VertexShader> vertex;
    TRefPtr<ID3D11PixelShader> pixel;
    const HRESULT hr = id == GpuProgramId::Vertex
                           ? native_->CreateVertexShader(code->data(), code->size(), nullptr, vertex.Receive())
                           : native_->CreatePixelShader(code->data(), code->size(), nullptr, pixel.Receive());
    if (FAILED(hr)) return hr;
    try {
      *program = MakeRef<D3dProgram>(id, std::move(code), vertex.Get(), pixel.Get()).Detach();
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    return hr;
  }

  UINT GetFeatureLevel() override { return static_cast<UINT>(native_->GetFeatureLevel()); }

  HRESULT SetMultithreadProtected(BOOL protect) override {
    TRefPtr<ID3D10Multithread> multithread;
    const HRESULT hr = native_->QueryInterface(__uuidof(ID3D10Multithread), reinterpret_cast<void**>(multithread.Receive()));
    if (FAILED(hr) || !multithread) return E_NOINTERFACE;
    multithread->SetMultithreadProtected(protect);
    return S_OK;
  }

  BOOL GetMultithreadProtected() override {
    TRefPtr<ID3D10Multithread> multithread;
    if (FAILED(native_->QueryInterface(__uuidof(ID3D10Multithread), reinterpret_cast<void**>(multithread.Receive()))) ||
        !multithread)
      return FALSE;
    return multithread->GetMultithreadProtected();
  }

  void GetImmediateContext(IGpuContext** context) override {
    if (!context) return;
    context_->AddRef();
    *context = context_.Get();
  }

 private:
  const TRefPtr<ID3D11Device> native_;
  const TRefPtr<D3dContext> context_;
  const pD3DCompile compile_;
};

using CreateDeviceEntry = decltype(&D3D11CreateDevice);

// D3D11CreateDevice from the system's module, looked up once: a system without Direct3D 11 still loads
// this module and captures in software.
HRESULT LoadCreateDevice(CreateDeviceEntry* entry) {
  static std::once_flag once;
  static CreateDeviceEntry found = nullptr;
  static HRESULT result = S_OK;
  std::call_once(once, [] {
    const HMODULE module = LoadLibraryW(L"d3d11.dll");
    if (module) found = reinterpret_cast<CreateDeviceEntry>(reinterpret_cast<void*>(GetProcAddress(module, "D3D11CreateDevice")));
    if (!found) result = HRESULT_FROM_WIN32(GetLastError());
    if (SUCCEEDED(result) && !found) result = E_FAIL;
  });
  *entry = found;
  return result;
}

}  // namespace
}  // namespace d3d11

HRESULT CreateD3d11GpuDevice(const D3d11GpuOptions& options, IGpuDevice** device, UINT* featureLevel,
                             IGpuContext** context) {
  if (device) *device = nullptr;
  if (context) *context = nullptr;
  if (featureLevel) *featureLevel = 0;
  d3d11::CreateDeviceEntry create = nullptr;
  if (const HRESULT hr = d3d11::LoadCreateDevice(&create); FAILED(hr)) return hr;
  pD3DCompile compile = nullptr;
  if (const HRESULT hr = d3d11::LoadShaderCompiler(options.compilerModule, &compile); FAILED(hr)) return hr;

  TRefPtr<ID3D11Device> native;
  TRefPtr<ID3D11DeviceContext> nativeContext;
  D3D_FEATURE_LEVEL level{};
  const D3D_FEATURE_LEVEL only = static_cast<D3D_FEATURE_LEVEL>(options.featureLevel);
  const HRESULT hr = create(nullptr, D3D_DRIVER_TYPE_HARDWARE, nullptr, 0, options.featureLevel ? &only : nullptr,
                            options.featureLevel ? 1 : 0, D3D11_SDK_VERSION, native.Receive(), &level,
                            nativeContext.Receive());
  if (FAILED(hr)) return hr;
  if (!native || !nativeContext) return E_FAIL;
  TRefPtr<d3d11::D3dDevice> made;
  try {
    made = MakeRef<d3d11::D3dDevice>(native.Get(), nativeContext.Get(), compile);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  if (featureLevel) *featureLevel = static_cast<UINT>(level);
  if (context) made->GetImmediateContext(context);
  if (device) *device = made.Detach();
  return S_OK;
}

HRESULT CreateGpuDevice(IGpuDevice** device, UINT* featureLevel, IGpuContext** context) {
  return CreateD3d11GpuDevice(D3d11GpuOptions{}, device, featureLevel, context);
}

namespace {

HRESULT SurfaceOf(IGpuTexture2D* texture, TRefPtr<IDXGISurface1>& surface) {
  if (!texture) return E_INVALIDARG;
  TRefPtr<ID3D11Texture2D> native;
  if (FAILED(texture->QueryInterface(__uuidof(ID3D11Texture2D), reinterpret_cast<void**>(native.Receive()))) ||
      !native)
    return E_NOINTERFACE;
  return native->QueryInterface(__uuidof(IDXGISurface1), reinterpret_cast<void**>(surface.Receive()));
}

}  // namespace

HRESULT GetGpuTextureDC(IGpuTexture2D* texture, BOOL discard, HDC* dc) {
  if (!dc) return E_POINTER;
  *dc = nullptr;
  TRefPtr<IDXGISurface1> surface;
  if (const HRESULT hr = SurfaceOf(texture, surface); FAILED(hr)) return hr;
  return surface->GetDC(discard, dc);
}

HRESULT ReleaseGpuTextureDC(IGpuTexture2D* texture) {
  TRefPtr<IDXGISurface1> surface;
  if (const HRESULT hr = SurfaceOf(texture, surface); FAILED(hr)) return hr;
  return surface->ReleaseDC(nullptr);
}

}  // namespace cvplat
