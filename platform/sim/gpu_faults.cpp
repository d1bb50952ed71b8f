#include "platform/sim/gpu_faults.h"

#include <atomic>
#include <mutex>
#include <new>
#include <vector>

#include "platform/auto_obj.h"

namespace cvplat {

namespace {

constexpr int kProgramKinds = static_cast<int>(GpuProgramId::Hdyc) + 1;
// Counters and rules are kept per kind: the calls, then one kind per program id.
constexpr int kKinds = kGpuCallKinds + kProgramKinds;

int KindOf(GpuCall call) { return static_cast<int>(call); }
int KindOf(GpuProgramId id) { return kGpuCallKinds + static_cast<int>(id); }

struct Rule {
  int kind;
  int first;
  int last;  // inclusive; below `first` for no end
  HRESULT result;
};

}  // namespace

struct GpuFaults::State {
  GpuDeviceFactory inner;
  mutable std::mutex lock;
  int calls[kKinds] = {};
  std::vector<Rule> rules;
  UINT reportedLevel = 0;
  std::atomic<int> live{0};

  // Counts a call of `kind` and gives the scripted result of it, or S_OK.
  HRESULT Enter(int kind) {
    std::lock_guard<std::mutex> hold(lock);
    const int n = ++calls[kind];
    for (const Rule& r : rules)
      if (r.kind == kind && n >= r.first && (r.last < r.first || n <= r.last)) return r.result;
    return S_OK;
  }
  HRESULT Enter(GpuCall call) { return Enter(KindOf(call)); }
  UINT Level(UINT own) {
    std::lock_guard<std::mutex> hold(lock);
    return reportedLevel ? reportedLevel : own;
  }
};

namespace {

using State = GpuFaults::State;

// One object handed out: it holds the wrapped device's object and counts itself as live.
template <class Self, class Itf>
class Proxy : public AutoObjBase<Self, Itf> {
 public:
  Proxy(Itf* inner, std::shared_ptr<State> state) : inner_(TRefPtr<Itf>::Adopt(inner)), state_(std::move(state)) {
    ++state_->live;
  }
  ~Proxy() override { --state_->live; }
  Itf* Inner() const { return inner_.Get(); }

 protected:
  TRefPtr<Itf> inner_;
  std::shared_ptr<State> state_;
};

class TextureProxy final : public Proxy<TextureProxy, IGpuTexture2D> {
 public:
  using Proxy::Proxy;
  GpuResourceDimension GetType() override { return GpuResourceDimension::Texture2D; }
  void GetDesc(GpuTexture2DDesc* desc) override { inner_->GetDesc(desc); }
};

class BufferProxy final : public Proxy<BufferProxy, IGpuBuffer> {
 public:
  using Proxy::Proxy;
  GpuResourceDimension GetType() override { return GpuResourceDimension::Buffer; }
  void GetDesc(GpuBufferDesc* desc) override { inner_->GetDesc(desc); }
};

template <class Itf>
class PlainProxy final : public Proxy<PlainProxy<Itf>, Itf> {
 public:
  using Proxy<PlainProxy<Itf>, Itf>::Proxy;
};

// The wrapped device's object behind one of ours; every object given to the wrapper came from it.
template <class ProxyType, class Itf>
Itf* Unwrap(Itf* object) {
  return object ? static_cast<ProxyType*>(object)->Inner() : nullptr;
}
IGpuResource* UnwrapResource(IGpuResource* r) {
  if (!r) return nullptr;
  if (r->GetType() == GpuResourceDimension::Texture2D)
    return Unwrap<TextureProxy>(static_cast<IGpuTexture2D*>(r));
  return Unwrap<BufferProxy>(static_cast<IGpuBuffer*>(r));
}
template <class ProxyType, class Itf>
std::vector<Itf*> UnwrapAll(UINT count, Itf* const* objects) {
  std::vector<Itf*> inner(count, nullptr);
  for (UINT i = 0; objects && i < count; ++i) inner[i] = Unwrap<ProxyType>(objects[i]);
  return inner;
}

// Wraps what a creation gave. Without room for the proxy the creation fails and nothing stays.
template <class ProxyType, class Itf>
HRESULT Hand(HRESULT made, Itf* inner, Itf** out, const std::shared_ptr<State>& state) {
  if (FAILED(made) || !inner) return made;
  try {
    *out = MakeRef<ProxyType>(inner, state).Detach();
  } catch (const std::bad_alloc&) {
    inner->Release();
    return E_OUTOFMEMORY;
  }
  return made;
}

class ContextProxy final : public Proxy<ContextProxy, IGpuContext> {
 public:
  using Proxy::Proxy;

  void IASetInputLayout(IGpuInputLayout* layout) override {
    inner_->IASetInputLayout(Unwrap<PlainProxy<IGpuInputLayout>>(layout));
  }
  void IASetVertexBuffers(UINT start, UINT count, IGpuBuffer* const* buffers, const UINT* strides,
                          const UINT* offsets) override {
    const auto inner = UnwrapAll<BufferProxy>(count, buffers);
    inner_->IASetVertexBuffers(start, count, buffers ? inner.data() : nullptr, strides, offsets);
  }
  void IASetPrimitiveTopology(GpuTopology topology) override { inner_->IASetPrimitiveTopology(topology); }
  void VSSetShader(IGpuProgram* program) override { inner_->VSSetShader(Unwrap<PlainProxy<IGpuProgram>>(program)); }
  void PSSetShader(IGpuProgram* program) override { inner_->PSSetShader(Unwrap<PlainProxy<IGpuProgram>>(program)); }
  void PSSetConstantBuffers(UINT start, UINT count, IGpuBuffer* const* buffers) override {
    const auto inner = UnwrapAll<BufferProxy>(count, buffers);
    inner_->PSSetConstantBuffers(start, count, buffers ? inner.data() : nullptr);
  }
  void PSSetShaderResources(UINT start, UINT count, IGpuShaderResourceView* const* views) override {
    const auto inner = UnwrapAll<PlainProxy<IGpuShaderResourceView>>(count, views);
    inner_->PSSetShaderResources(start, count, views ? inner.data() : nullptr);
  }
  void PSSetSamplers(UINT start, UINT count, IGpuSamplerState* const* samplers) override {
    const auto inner = UnwrapAll<PlainProxy<IGpuSamplerState>>(count, samplers);
    inner_->PSSetSamplers(start, count, samplers ? inner.data() : nullptr);
  }
  void RSSetViewports(UINT count, const GpuViewport* viewports) override { inner_->RSSetViewports(count, viewports); }
  void OMSetBlendState(IGpuBlendState* state, const float factor[4], UINT sampleMask) override {
    inner_->OMSetBlendState(Unwrap<PlainProxy<IGpuBlendState>>(state), factor, sampleMask);
  }
  void OMSetRenderTargets(UINT count, IGpuRenderTargetView* const* views) override {
    const auto inner = UnwrapAll<PlainProxy<IGpuRenderTargetView>>(count, views);
    inner_->OMSetRenderTargets(count, views ? inner.data() : nullptr);
  }
  void ClearRenderTargetView(IGpuRenderTargetView* view, const float rgba[4]) override {
    state_->Enter(GpuCall::Clear);
    inner_->ClearRenderTargetView(Unwrap<PlainProxy<IGpuRenderTargetView>>(view), rgba);
  }
  void Draw(UINT vertexCount, UINT startVertex) override {
    state_->Enter(GpuCall::Draw);
    inner_->Draw(vertexCount, startVertex);
  }
  void CopySubresourceRegion(IGpuResource* dst, UINT dstSubresource, UINT x, UINT y, UINT z, IGpuResource* src,
                             UINT srcSubresource, const GpuBox* box) override {
    state_->Enter(GpuCall::Copy);
    inner_->CopySubresourceRegion(UnwrapResource(dst), dstSubresource, x, y, z, UnwrapResource(src), srcSubresource,
                                  box);
  }
  HRESULT Map(IGpuResource* resource, UINT subresource, GpuMapType type, UINT flags,
              GpuMappedSubresource* mapped) override {
    if (const HRESULT hr = state_->Enter(GpuCall::Map); FAILED(hr)) {
      if (mapped) *mapped = {};
      return hr;
    }
    return inner_->Map(UnwrapResource(resource), subresource, type, flags, mapped);
  }
  void Unmap(IGpuResource* resource, UINT subresource) override {
    state_->Enter(GpuCall::Unmap);
    inner_->Unmap(UnwrapResource(resource), subresource);
  }
  void Flush() override {
    state_->Enter(GpuCall::Flush);
    inner_->Flush();
  }
};

class DeviceProxy final : public Proxy<DeviceProxy, IGpuDevice> {
 public:
  DeviceProxy(IGpuDevice* inner, std::shared_ptr<State> state, ContextProxy* context)
      : Proxy(inner, std::move(state)), context_(context) {}

  HRESULT CreateTexture2D(const GpuTexture2DDesc* desc, const GpuSubresourceData* initial,
                          IGpuTexture2D** texture) override {
    if (texture) *texture = nullptr;
    if (const HRESULT hr = state_->Enter(GpuCall::Texture); FAILED(hr)) return hr;
    IGpuTexture2D* made = nullptr;
    const HRESULT hr = inner_->CreateTexture2D(desc, initial, texture ? &made : nullptr);
    return Hand<TextureProxy>(hr, made, texture, state_);
  }
  HRESULT CreateShaderResourceView(IGpuResource* resource, const GpuShaderResourceViewDesc* desc,
                                   IGpuShaderResourceView** view) override {
    if (view) *view = nullptr;
    if (const HRESULT hr = state_->Enter(GpuCall::ShaderResourceView); FAILED(hr)) return hr;
    IGpuShaderResourceView* made = nullptr;
    const HRESULT hr =
        inner_->CreateShaderResourceView(UnwrapResource(resource), desc, view ? &made : nullptr);
    return Hand<PlainProxy<IGpuShaderResourceView>>(hr, made, view, state_);
  }
  HRESULT CreateRenderTargetView(IGpuResource* resource, const GpuRenderTargetViewDesc* desc,
                                 IGpuRenderTargetView** view) override {
    if (view) *view = nullptr;
    if (const HRESULT hr = state_->Enter(GpuCall::RenderTargetView); FAILED(hr)) return hr;
    IGpuRenderTargetView* made = nullptr;
    const HRESULT hr = inner_->CreateRenderTargetView(UnwrapResource(resource), desc, view ? &made : nullptr);
    return Hand<PlainProxy<IGpuRenderTargetView>>(hr, made, view, state_);
  }
  HRESULT CreateBuffer(const GpuBufferDesc* desc, const GpuSubresourceData* initial, IGpuBuffer** buffer) override {
    if (buffer) *buffer = nullptr;
    const bool constant = desc && (desc->bindFlags & kGpuBindConstantBuffer);
    if (const HRESULT hr = state_->Enter(constant ? GpuCall::ConstantBuffer : GpuCall::Buffer); FAILED(hr)) return hr;
    IGpuBuffer* made = nullptr;
    const HRESULT hr = inner_->CreateBuffer(desc, initial, buffer ? &made : nullptr);
    return Hand<BufferProxy>(hr, made, buffer, state_);
  }
  HRESULT CreateSamplerState(const GpuSamplerDesc* desc, IGpuSamplerState** sampler) override {
    if (sampler) *sampler = nullptr;
    if (const HRESULT hr = state_->Enter(GpuCall::Sampler); FAILED(hr)) return hr;
    IGpuSamplerState* made = nullptr;
    const HRESULT hr = inner_->CreateSamplerState(desc, sampler ? &made : nullptr);
    return Hand<PlainProxy<IGpuSamplerState>>(hr, made, sampler, state_);
  }
  HRESULT CreateBlendState(const GpuBlendDesc* desc, IGpuBlendState** blend) override {
    if (blend) *blend = nullptr;
    if (const HRESULT hr = state_->Enter(GpuCall::BlendState); FAILED(hr)) return hr;
    IGpuBlendState* made = nullptr;
    const HRESULT hr = inner_->CreateBlendState(desc, blend ? &made : nullptr);
    return Hand<PlainProxy<IGpuBlendState>>(hr, made, blend, state_);
  }
  HRESULT CreateInputLayout(const GpuInputElementDesc* elements, UINT count, IGpuProgram* vertexProgram,
                            IGpuInputLayout** layout) override {
    if (layout) *layout = nullptr;
    if (const HRESULT hr = state_->Enter(GpuCall::InputLayout); FAILED(hr)) return hr;
    IGpuInputLayout* made = nullptr;
    const HRESULT hr = inner_->CreateInputLayout(elements, count, Unwrap<PlainProxy<IGpuProgram>>(vertexProgram),
                                                 layout ? &made : nullptr);
    return Hand<PlainProxy<IGpuInputLayout>>(hr, made, layout, state_);
  }
  HRESULT CreateProgram(GpuProgramId id, IGpuProgram** program) override {
    if (program) *program = nullptr;
    const HRESULT any = state_->Enter(GpuCall::Program);
    const HRESULT one = static_cast<UINT>(id) < kProgramKinds ? state_->Enter(KindOf(id)) : S_OK;
    if (FAILED(any)) return any;
    if (FAILED(one)) return one;
    IGpuProgram* made = nullptr;
    const HRESULT hr = inner_->CreateProgram(id, program ? &made : nullptr);
    return Hand<PlainProxy<IGpuProgram>>(hr, made, program, state_);
  }
  UINT GetFeatureLevel() override { return state_->Level(inner_->GetFeatureLevel()); }
  HRESULT SetMultithreadProtected(BOOL protect) override {
    if (const HRESULT hr = state_->Enter(GpuCall::MultithreadProtection); FAILED(hr)) return hr;
    return inner_->SetMultithreadProtected(protect);
  }
  BOOL GetMultithreadProtected() override { return inner_->GetMultithreadProtected(); }
  void GetImmediateContext(IGpuContext** context) override {
    if (!context) return;
    context_->AddRef();
    *context = context_.Get();
  }

 private:
  const TRefPtr<ContextProxy> context_;
};

}  // namespace

GpuFaults::GpuFaults(GpuDeviceFactory inner) : state_(std::make_shared<State>()) { state_->inner = std::move(inner); }

void GpuFaults::Fail(GpuCall call, int nth, HRESULT result, int times) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->rules.push_back({KindOf(call), nth, times < 1 ? nth - 1 : nth + times - 1, result});
}

void GpuFaults::FailProgram(GpuProgramId id, int nth, HRESULT result, int times) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->rules.push_back({KindOf(id), nth, times < 1 ? nth - 1 : nth + times - 1, result});
}

void GpuFaults::ReportFeatureLevel(UINT level) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->reportedLevel = level;
}

int GpuFaults::Calls(GpuCall call) const {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->calls[KindOf(call)];
}

int GpuFaults::ProgramCalls(GpuProgramId id) const {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->calls[KindOf(id)];
}

int GpuFaults::LiveObjects() const { return state_->live.load(); }

HRESULT GpuFaults::CreateDevice(IGpuDevice** device, UINT* featureLevel, IGpuContext** context) const {
  if (device) *device = nullptr;
  if (context) *context = nullptr;
  if (featureLevel) *featureLevel = 0;
  if (const HRESULT hr = state_->Enter(GpuCall::CreateDevice); FAILED(hr)) return hr;
  if (!state_->inner) return E_FAIL;

  IGpuDevice* innerDevice = nullptr;
  IGpuContext* innerContext = nullptr;
  UINT innerLevel = 0;
  const HRESULT hr = state_->inner(&innerDevice, &innerLevel, &innerContext);
  if (FAILED(hr)) return hr;
  TRefPtr<IGpuDevice> ownDevice = TRefPtr<IGpuDevice>::Adopt(innerDevice);
  TRefPtr<IGpuContext> ownContext = TRefPtr<IGpuContext>::Adopt(innerContext);
  if (!ownDevice || !ownContext) return E_FAIL;

  TRefPtr<DeviceProxy> wrapped;
  try {
    const TRefPtr<ContextProxy> wrappedContext = MakeRef<ContextProxy>(ownContext.Get(), state_);
    ownContext.Detach();
    wrapped = MakeRef<DeviceProxy>(ownDevice.Get(), state_, wrappedContext.Get());
    ownDevice.Detach();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  if (featureLevel) *featureLevel = state_->Level(innerLevel);
  if (context) wrapped->GetImmediateContext(context);
  if (device) *device = wrapped.Detach();
  return hr;
}

GpuDeviceFactory GpuFaults::Factory() const {
  GpuFaults self = *this;
  return [self](IGpuDevice** device, UINT* featureLevel, IGpuContext** context) {
    return self.CreateDevice(device, featureLevel, context);
  };
}

}  // namespace cvplat
