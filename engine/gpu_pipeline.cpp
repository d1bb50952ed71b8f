#include "engine/gpu_pipeline.h"

#include <algorithm>
#include <string>

#include "props/text_chars.h"
#include "props/xml_node.h"

using namespace cvplat;

namespace {

// The full-screen quad as x, y, z, u, v: two triangles, v running downwards so (0, 0) is the picture's
// top left corner.
constexpr float kQuad[6][5] = {
    {-1, -1, 0, 0, 1}, {-1, 1, 0, 0, 0}, {1, -1, 0, 1, 1}, {1, -1, 0, 1, 1}, {-1, 1, 0, 0, 0}, {1, 1, 0, 1, 0},
};
constexpr UINT kVertexStride = 20;
static_assert(sizeof kQuad == 6 * kVertexStride);

constexpr UINT kRenderTargetBinding = kGpuBindShaderResource | kGpuBindRenderTarget;
constexpr uint32_t kDefaultBackground = 0xAA000000u;

bool IsHdyc(XMLParse::CoXMLNode* props) {
  return props && cv_text::EqualsNoCase(props->GetString(L"capture.memory_format"), L"HDYC");
}

// `r` relative to `current`, in parts of its width and height.
void Normalise(const TRect& r, const TRect& current, float out[4]) {
  const float cw = static_cast<float>(RectWidth(current));
  const float ch = static_cast<float>(RectHeight(current));
  out[0] = static_cast<float>(r.left - current.left) / cw;
  out[1] = static_cast<float>(r.top - current.top) / ch;
  out[2] = static_cast<float>(r.right - current.left) / cw;
  out[3] = static_cast<float>(r.bottom - current.top) / ch;
}

HRESULT CreateTexture(IGpuDevice* device, UINT width, UINT height, GpuFormat format, UINT bindFlags,
                      TRefPtr<IGpuTexture2D>& texture) {
  GpuTexture2DDesc desc;
  desc.width = width;
  desc.height = height;
  desc.format = format;
  desc.usage = GpuUsage::Default;
  desc.bindFlags = bindFlags;
  return device->CreateTexture2D(&desc, nullptr, texture.Receive());
}

// A rectangle's size as texel counts; an empty or inverted one is 0 x 0, which no device makes.
UINT Extent(int32_t from, int32_t to) { return to > from ? static_cast<UINT>(to - from) : 0u; }

}  // namespace

int TGpuPipeline::InitDevice(const GpuDeviceFactory& factory, XMLParse::CoXMLNode* props) {
  UINT level = 0;
  if (!factory || FAILED(factory(device_.Receive(), &level, context_.Receive())) || !device_ || !context_) return 0;
  if (level < kGpuFeatureLevel10_0) return 0;
  {
    std::lock_guard lock(samplerWrite_);
    samplerDevice_.Set(device_.Get());
  }

  // Only the capture thread draws, but the shot thread makes textures on the same device; a device that
  // can't protect itself is used as it is.
  (void)device_->SetMultithreadProtected(1);

  CreateSamplerByName(props ? props->GetString(L"capture.sampler_type").c_str() : L"");

  // Overlays lie over the picture by their alpha, and leave the picture's alpha at the smaller of the two.
  GpuBlendDesc blend;
  blend.alphaToCoverageEnable = 0;
  blend.independentBlendEnable = 0;
  blend.renderTarget[0] = {1,         GpuBlend::SrcAlpha, GpuBlend::InvSrcAlpha, GpuBlendOp::Add,
                           GpuBlend::One, GpuBlend::Zero,     GpuBlendOp::Min,       kGpuColorWriteAll};
  if (FAILED(device_->CreateBlendState(&blend, blendState_.Receive()))) return 0;

  if (FAILED(device_->CreateProgram(GpuProgramId::Vertex, vertexProgram_.Receive()))) return 0;
  GpuInputElementDesc layout[2];
  layout[0] = {"POSITION", 0, GpuFormat::R32G32B32Float, 0, 0, kGpuInputPerVertexData, 0};
  layout[1] = {"TEXCOORD", 0, GpuFormat::R32G32Float, 0, 12, kGpuInputPerVertexData, 0};
  if (FAILED(device_->CreateInputLayout(layout, 2, vertexProgram_.Get(), inputLayout_.Receive()))) return 0;
  const GpuProgramId main = IsHdyc(props) ? GpuProgramId::Hdyc : GpuProgramId::Argb;
  if (FAILED(device_->CreateProgram(main, mainProgram_.Receive()))) return 0;
  if (FAILED(device_->CreateProgram(GpuProgramId::Overlay, overlayProgram_.Receive()))) return 0;
  if (FAILED(device_->CreateProgram(GpuProgramId::ColouredOverlay, colouredOverlayProgram_.Receive()))) return 0;

  GpuBufferDesc quad;
  quad.byteWidth = sizeof kQuad;
  quad.usage = GpuUsage::Default;
  quad.bindFlags = kGpuBindVertexBuffer;
  const GpuSubresourceData quadData{kQuad, 0, 0};
  if (FAILED(device_->CreateBuffer(&quad, &quadData, quad_.Receive()))) return 0;
  return 1;
}

void TGpuPipeline::Release() {
  quad_.Reset();
  inputLayout_.Reset();
  blendState_.Reset();
  vertexProgram_.Reset();
  mainProgram_.Reset();
  overlayProgram_.Reset();
  colouredOverlayProgram_.Reset();
  TRefPtr<IGpuSamplerState> sampler;
  {
    std::lock_guard lock(samplerWrite_);
    sampler = sampler_.Exchange(nullptr);
    samplerDevice_.Set(nullptr);
  }
  sampler.Reset();
  for (auto& texture : stockTextures) texture.Reset();
  context_.Reset();
  device_.Reset();
}

void TGpuPipeline::CreateSamplerByName(const wchar_t* name) {
  const std::wstring_view filterName = name ? std::wstring_view(name) : std::wstring_view();
  GpuSamplerDesc desc;
  desc.filter = cv_text::EqualsNoCase(filterName, L"linear")        ? GpuFilter::MinMagMipLinear
                : cv_text::EqualsNoCase(filterName, L"anisotropic") ? GpuFilter::Anisotropic
                                                                     : GpuFilter::MinMagMipPoint;
  desc.addressU = desc.addressV = desc.addressW = GpuAddressMode::Clamp;
  desc.mipLodBias = 0.0f;
  desc.maxAnisotropy = 0;
  desc.comparisonFunc = GpuComparison::Never;
  desc.minLod = 0.0f;
  desc.maxLod = 3.402823466e38f;

  TRefPtr<IGpuSamplerState> old;
  {
    std::lock_guard lock(samplerWrite_);
    const TRefPtr<IGpuDevice> device = samplerDevice_.Get();
    if (!device) return;
    TRefPtr<IGpuSamplerState> made;
    if (FAILED(device->CreateSamplerState(&desc, made.Receive())) || !made) return;
    old = sampler_.Exchange(made.Get());
  }
  // The old sampler goes outside the lock; a draw that holds it keeps it alive until it is done.
  old.Reset();
}

HRESULT TGpuPipeline::EnsureRenderTexture(const TRect& rect, TRefPtr<IGpuTexture2D>& texture) {
  const UINT width = Extent(rect.left, rect.right);
  const UINT height = Extent(rect.top, rect.bottom);
  if (texture) {
    GpuTexture2DDesc desc;
    texture->GetDesc(&desc);
    if (desc.width == width && desc.height == height) return S_OK;
    texture.Reset();
  }
  if (!device_) return E_POINTER;
  return CreateTexture(device_.Get(), width, height, GpuFormat::B8G8R8A8Unorm, kRenderTargetBinding, texture);
}

HRESULT TGpuPipeline::CopyTextureFromOrigin(IGpuTexture2D* dst, IGpuTexture2D* src, const TRect& rect) {
  if (!context_ || !dst || !src) return E_POINTER;
  // Direct3D drops a copy whose box doesn't fit, so the box is kept within both textures.
  GpuTexture2DDesc from;
  GpuTexture2DDesc to;
  src->GetDesc(&from);
  dst->GetDesc(&to);
  const GpuBox box{0, 0, 0, std::min({Extent(rect.left, rect.right), from.width, to.width}),
                   std::min({Extent(rect.top, rect.bottom), from.height, to.height}), 1};
  context_->CopySubresourceRegion(dst, 0, 0, 0, 0, src, 0, &box);
  return S_OK;
}

HRESULT TGpuPipeline::CopyRegionToWork(IGpuTexture2D* desktopCopy, const TRect& screen, const TRect& current,
                                       TRefPtr<IGpuTexture2D>& work) {
  const HRESULT made = EnsureRenderTexture(current, work);
  if (FAILED(made)) return made;
  if (!(screen.left < current.right && current.left < screen.right && screen.top < current.bottom &&
        current.top < screen.bottom))
    return S_OK;
  if (!context_ || !desktopCopy) return E_POINTER;

  // Differences of desktop coordinates may pass 32 bits on a wild rectangle; within the overlap they don't.
  const auto offset = [](int32_t a, int32_t b) { return static_cast<UINT>(int64_t{a} - b); };
  GpuBox box;
  UINT x = 0;
  UINT y = 0;
  if (current.left >= screen.left)
    box.left = offset(current.left, screen.left);
  else
    x = offset(screen.left, current.left);
  if (current.top >= screen.top)
    box.top = offset(current.top, screen.top);
  else
    y = offset(screen.top, current.top);
  // A `current` reaching past the screen's right or bottom ends the box at the source's edge: the part
  // beyond keeps what it held, and the final pass paints it.
  GpuTexture2DDesc source;
  desktopCopy->GetDesc(&source);
  box.right = std::min(offset(current.right, screen.left), source.width);
  box.bottom = std::min(offset(current.bottom, screen.top), source.height);
  box.front = 0;
  box.back = 1;
  context_->CopySubresourceRegion(work.Get(), 0, x, y, 0, desktopCopy, 0, &box);
  return S_OK;
}

HRESULT TGpuPipeline::RenderOutputFrame(IGpuTexture2D* picture, const TCaptureRegion& region, int32_t W,
                                        int32_t H, XMLParse::CoXMLNode* props, TRefPtr<IGpuTexture2D>& output) {
  output.Reset();
  if (!device_ || !context_ || !picture) return E_POINTER;
  IGpuContext* const context = context_.Get();

  context->IASetInputLayout(inputLayout_.Get());
  GpuTexture2DDesc pictureDesc;
  picture->GetDesc(&pictureDesc);
  const GpuViewport viewport{0.0f, 0.0f, static_cast<float>(W), static_cast<float>(H), 0.0f, 1.0f};
  context->RSSetViewports(1, &viewport);

  GpuShaderResourceViewDesc viewDesc;
  viewDesc.format = pictureDesc.format;
  viewDesc.viewDimension = kGpuViewDimensionTexture2D;
  viewDesc.mostDetailedMip = 0;
  viewDesc.mipLevels = 1;
  TRefPtr<IGpuShaderResourceView> view;
  if (FAILED(device_->CreateShaderResourceView(picture, &viewDesc, view.Receive()))) return E_FAIL;

  // In HDYC one texel holds two pixels; the program doubles u, so the quad's left half fills the target.
  const bool hdyc = IsHdyc(props);
  TRefPtr<IGpuTexture2D> target;
  if (FAILED(CreateTexture(device_.Get(), Extent(0, hdyc ? W / 2 : W), Extent(0, H), pictureDesc.format,
                           kRenderTargetBinding, target)))
    return E_FAIL;
  TRefPtr<IGpuRenderTargetView> targetView;
  if (FAILED(device_->CreateRenderTargetView(target.Get(), nullptr, targetView.Receive()))) return E_FAIL;

  const uint32_t background = props ? props->GetColor(L"capture.background_color", kDefaultBackground)
                                   : kDefaultBackground;
  PS_BACKCOLOR_BUFFER constants{};
  for (int i = 0; i < 4; ++i) constants.color[i] = static_cast<float>((background >> (8 * i)) & 0xFFu) / 255.0f;
  Normalise(region.visible, region.current, constants.area);
  Normalise(region.screen, region.current, constants.screen);
  if (hdyc) {
    constants.pitch[0] = 1.0f / static_cast<float>(W);
    constants.pitch[1] = 1.0f / static_cast<float>(H);
  }
  GpuBufferDesc bufferDesc;
  bufferDesc.byteWidth = hdyc ? 64 : 48;
  bufferDesc.usage = GpuUsage::Dynamic;
  bufferDesc.bindFlags = kGpuBindConstantBuffer;
  bufferDesc.cpuAccessFlags = kGpuCpuAccessWrite;
  const GpuSubresourceData bufferData{&constants, 0, 0};
  TRefPtr<IGpuBuffer> buffer;
  // Without it the draw goes on with whatever the slot holds: the picture may lack its shading.
  const bool haveConstants = SUCCEEDED(device_->CreateBuffer(&bufferDesc, &bufferData, buffer.Receive())) && buffer;

  const TRefPtr<IGpuSamplerState> sampler = sampler_.Get();
  IGpuRenderTargetView* const targets[1] = {targetView.Get()};
  IGpuShaderResourceView* const views[1] = {view.Get()};
  IGpuSamplerState* const samplers[1] = {sampler.Get()};
  IGpuBuffer* const vertexBuffers[1] = {quad_.Get()};
  const UINT stride = kVertexStride;
  const UINT offset = 0;
  context->OMSetBlendState(nullptr, nullptr, 0xFFFFFFFFu);
  context->OMSetRenderTargets(1, targets);
  context->VSSetShader(vertexProgram_.Get());
  context->PSSetShader(mainProgram_.Get());
  if (haveConstants) {
    IGpuBuffer* const buffers[1] = {buffer.Get()};
    context->PSSetConstantBuffers(0, 1, buffers);
  }
  context->PSSetShaderResources(0, 1, views);
  context->PSSetSamplers(0, 1, samplers);
  context->IASetPrimitiveTopology(GpuTopology::TriangleList);
  context->IASetVertexBuffers(0, 1, vertexBuffers, &stride, &offset);

  const float clear[4] = {0.0f, 0.0f, 0.0f, 0.0f};
  context->ClearRenderTargetView(targetView.Get(), clear);
  context->Draw(6, 0);
  IGpuRenderTargetView* const none[1] = {nullptr};
  context->OMSetRenderTargets(1, none);

  output = std::move(target);
  return S_OK;
}

HRESULT TGpuPipeline::ReadBack(IGpuTexture2D* output,
                               const std::function<void(const uint8_t*, uint32_t, uint32_t, uint32_t)>& use) {
  if (!device_ || !context_ || !output) return E_POINTER;
  GpuTexture2DDesc desc;
  output->GetDesc(&desc);
  desc.usage = GpuUsage::Staging;
  desc.bindFlags = 0;
  desc.cpuAccessFlags = kGpuCpuAccessRead;
  desc.miscFlags = 0;
  TRefPtr<IGpuTexture2D> staging;
  const HRESULT made = device_->CreateTexture2D(&desc, nullptr, staging.Receive());
  if (FAILED(made)) return made;
  const GpuBox box{0, 0, 0, desc.width, desc.height, 1};
  context_->CopySubresourceRegion(staging.Get(), 0, 0, 0, 0, output, 0, &box);
  GpuMappedSubresource mapped;
  const HRESULT mappedResult = context_->Map(staging.Get(), 0, GpuMapType::Read, 0, &mapped);
  if (FAILED(mappedResult)) return mappedResult;
  if (use) use(static_cast<const uint8_t*>(mapped.data), mapped.rowPitch, desc.width, desc.height);
  context_->Unmap(staging.Get(), 0);
  context_->Flush();
  return S_OK;
}

HRESULT TGpuPipeline::CreateDesktopCopy(const TRect& rect, TRefPtr<IGpuTexture2D>& texture) {
  texture.Reset();
  if (!device_) return E_POINTER;
  return CreateTexture(device_.Get(), Extent(rect.left, rect.right), Extent(rect.top, rect.bottom),
                       GpuFormat::B8G8R8A8Unorm, 0, texture);
}
