#include <atomic>
#include <memory>
#include <new>

#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/cpu_gpu/cpu_gpu_context.h"

namespace cvplat {
namespace cpugpu {
namespace {

// Creations touch nothing shared, so the shot thread may make textures while the capture thread draws.
class CpuDevice final : public AutoObjBase<CpuDevice, IGpuDevice> {
 public:
  explicit CpuDevice(const CpuGpuOptions& options)
      : context_(new CpuContext(options.forceReference)), pool_(std::make_shared<TexelPool>()) {}

  HRESULT CreateTexture2D(const GpuTexture2DDesc* desc, const GpuSubresourceData* initial,
                          IGpuTexture2D** texture) override {
    if (!desc) return E_INVALIDARG;
    return CpuTexture::Create(*desc, initial, texture, pool_);
  }

  HRESULT CreateShaderResourceView(IGpuResource* resource, const GpuShaderResourceViewDesc* desc,
                                   IGpuShaderResourceView** view) override {
    if (view) *view = nullptr;
    CpuTexture* texture = AsCpuTexture(resource);
    if (!texture || !(texture->Desc().bindFlags & kGpuBindShaderResource)) return E_INVALIDARG;
    if (desc && (!FormatFits(desc->format) || desc->viewDimension != kGpuViewDimensionTexture2D ||
                 desc->mostDetailedMip != 0 || (desc->mipLevels != 1 && desc->mipLevels != 0xFFFFFFFFu)))
      return E_INVALIDARG;
    return Make<CpuShaderResourceView>(view, texture);
  }

  HRESULT CreateRenderTargetView(IGpuResource* resource, const GpuRenderTargetViewDesc* desc,
                                 IGpuRenderTargetView** view) override {
    if (view) *view = nullptr;
    CpuTexture* texture = AsCpuTexture(resource);
    if (!texture || !(texture->Desc().bindFlags & kGpuBindRenderTarget)) return E_INVALIDARG;
    if (desc && (!FormatFits(desc->format) || desc->viewDimension != kGpuViewDimensionTexture2D || desc->mipSlice != 0))
      return E_INVALIDARG;
    return Make<CpuRenderTargetView>(view, texture);
  }

  HRESULT CreateBuffer(const GpuBufferDesc* desc, const GpuSubresourceData* initial, IGpuBuffer** buffer) override {
    if (!desc) return E_INVALIDARG;
    return CpuBuffer::Create(*desc, initial, buffer);
  }

  HRESULT CreateSamplerState(const GpuSamplerDesc* desc, IGpuSamplerState** sampler) override {
    if (sampler) *sampler = nullptr;
    SamplerFilter filter = SamplerFilter::Point;
    if (!desc) return E_INVALIDARG;
    if (const HRESULT hr = CheckSamplerDesc(*desc, &filter); FAILED(hr)) return hr;
    return Make<CpuSamplerState>(sampler, filter);
  }

  HRESULT CreateBlendState(const GpuBlendDesc* desc, IGpuBlendState** state) override {
    if (state) *state = nullptr;
    if (!desc) return E_INVALIDARG;
    if (const HRESULT hr = CheckBlendDesc(*desc); FAILED(hr)) return hr;
    return Make<CpuBlendState>(state, *desc);
  }

  HRESULT CreateInputLayout(const GpuInputElementDesc* elements, UINT count, IGpuProgram* vertexProgram,
                            IGpuInputLayout** layout) override {
    if (layout) *layout = nullptr;
    if (!vertexProgram || static_cast<CpuProgram*>(vertexProgram)->id != GpuProgramId::Vertex) return E_INVALIDARG;
    UINT position = 0;
    UINT texcoord = 0;
    if (const HRESULT hr = CheckInputLayout(elements, count, &position, &texcoord); FAILED(hr)) return hr;
    return Make<CpuInputLayout>(layout, position, texcoord);
  }

  HRESULT CreateProgram(GpuProgramId id, IGpuProgram** program) override {
    if (!program) return E_INVALIDARG;
    *program = nullptr;
    if (static_cast<UINT>(id) > static_cast<UINT>(GpuProgramId::Hdyc)) return E_INVALIDARG;
    return Make<CpuProgram>(program, id);
  }

  UINT GetFeatureLevel() override { return kGpuFeatureLevel11_0; }

  HRESULT SetMultithreadProtected(BOOL protect) override {
    protected_.store(protect ? 1 : 0);
    return S_OK;
  }
  BOOL GetMultithreadProtected() override { return protected_.load(); }

  void GetImmediateContext(IGpuContext** context) override {
    if (!context) return;
    context_->AddRef();
    *context = context_.Get();
  }

 private:
  static bool FormatFits(GpuFormat f) { return f == GpuFormat::B8G8R8A8Unorm || f == GpuFormat::Unknown; }

  // S_FALSE with a null `out`, as every creation answers a description that passed its checks.
  template <class Cpu, class Itf, class... Args>
  static HRESULT Make(Itf** out, Args&&... args) {
    if (!out) return S_FALSE;
    try {
      *out = MakeRef<Cpu>(std::forward<Args>(args)...).Detach();
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    return S_OK;
  }

  // The context holds nothing of the device, so either may be released first.
  const TRefPtr<CpuContext> context_;
  const std::shared_ptr<TexelPool> pool_;
  std::atomic<BOOL> protected_{0};
};

}  // namespace
}  // namespace cpugpu

HRESULT CreateCpuGpuDevice(const CpuGpuOptions& options, IGpuDevice** device, UINT* featureLevel,
                           IGpuContext** context) {
  if (device) *device = nullptr;
  if (context) *context = nullptr;
  if (featureLevel) *featureLevel = 0;
  TRefPtr<cpugpu::CpuDevice> made;
  try {
    made = MakeRef<cpugpu::CpuDevice>(options);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  if (featureLevel) *featureLevel = made->GetFeatureLevel();
  if (context) made->GetImmediateContext(context);
  if (device) *device = made.Detach();
  return S_OK;
}

}  // namespace cvplat
