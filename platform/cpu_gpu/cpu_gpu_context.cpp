#include "platform/cpu_gpu/cpu_gpu_context.h"

#include <algorithm>
#include <cstring>

namespace cvplat::cpugpu {
namespace {

constexpr UINT kMapDoNotWait = 0x100000;

template <class Cpu, class Itf>
Cpu* Own(Itf* object) {
  return static_cast<Cpu*>(object);
}

bool StagingAllows(const UINT cpuAccess, GpuMapType type) {
  switch (type) {
    case GpuMapType::Read: return (cpuAccess & kGpuCpuAccessRead) != 0;
    case GpuMapType::Write: return (cpuAccess & kGpuCpuAccessWrite) != 0;
    case GpuMapType::ReadWrite: return (cpuAccess & kGpuCpuAccessRead) && (cpuAccess & kGpuCpuAccessWrite);
    case GpuMapType::WriteDiscard:
    case GpuMapType::WriteNoOverwrite: break;
  }
  return false;
}

}  // namespace

void CpuContext::IASetInputLayout(IGpuInputLayout* layout) { layout_ = Own<CpuInputLayout>(layout); }

void CpuContext::IASetVertexBuffers(UINT start, UINT count, IGpuBuffer* const* buffers, const UINT* strides,
                                    const UINT* offsets) {
  for (UINT i = 0; i < count && start + i < kSlots; ++i) {
    VertexSlot& slot = vertexBuffers_[start + i];
    slot.buffer = buffers ? Own<CpuBuffer>(buffers[i]) : nullptr;
    slot.stride = strides ? strides[i] : 0;
    slot.offset = offsets ? offsets[i] : 0;
  }
}

void CpuContext::VSSetShader(IGpuProgram* program) { vertexProgram_ = Own<CpuProgram>(program); }
void CpuContext::PSSetShader(IGpuProgram* program) { pixelProgram_ = Own<CpuProgram>(program); }

void CpuContext::PSSetConstantBuffers(UINT start, UINT count, IGpuBuffer* const* buffers) {
  for (UINT i = 0; i < count && start + i < kSlots; ++i)
    constantBuffers_[start + i] = buffers ? Own<CpuBuffer>(buffers[i]) : nullptr;
}

void CpuContext::PSSetShaderResources(UINT start, UINT count, IGpuShaderResourceView* const* views) {
  for (UINT i = 0; i < count && start + i < kSlots; ++i) {
    CpuShaderResourceView* view = views ? Own<CpuShaderResourceView>(views[i]) : nullptr;
    // As on the device, a texture that is a bound render target can't be read at the same time: the
    // slot stays empty.
    for (const auto& target : targets_)
      if (view && target && target->texture.Get() == view->texture.Get()) view = nullptr;
    views_[start + i] = view;
  }
}

void CpuContext::PSSetSamplers(UINT start, UINT count, IGpuSamplerState* const* samplers) {
  for (UINT i = 0; i < count && start + i < kSlots; ++i)
    samplers_[start + i] = samplers ? Own<CpuSamplerState>(samplers[i]) : nullptr;
}

void CpuContext::RSSetViewports(UINT count, const GpuViewport* viewports) {
  hasViewport_ = count > 0 && viewports;
  if (hasViewport_) viewport_ = viewports[0];
}

void CpuContext::OMSetBlendState(IGpuBlendState* state, const float factor[4], UINT sampleMask) {
  blendState_ = Own<CpuBlendState>(state);
  for (int i = 0; i < 4; ++i) blendFactor_[i] = factor ? factor[i] : 1.0f;
  sampleMask_ = sampleMask;
}

void CpuContext::OMSetRenderTargets(UINT count, IGpuRenderTargetView* const* views) {
  for (UINT i = 0; i < kGpuRenderTargetSlots; ++i) {
    targets_[i] = (i < count && views) ? Own<CpuRenderTargetView>(views[i]) : nullptr;
    // A texture becoming a target is no longer readable through the views bound before.
    if (!targets_[i]) continue;
    for (auto& view : views_)
      if (view && view->texture.Get() == targets_[i]->texture.Get()) view = nullptr;
  }
}

void CpuContext::ClearRenderTargetView(IGpuRenderTargetView* view, const float rgba[4]) {
  if (!view || !rgba) return;
  const uint8_t texel[4] = {ToUnorm8(rgba[2]), ToUnorm8(rgba[1]), ToUnorm8(rgba[0]), ToUnorm8(rgba[3])};
  Own<CpuRenderTargetView>(view)->texture->Fill(texel);
}

void CpuContext::Draw(UINT vertexCount, UINT startVertex) {
  const VertexSlot& vb = vertexBuffers_[0];
  const bool programs = vertexProgram_ && vertexProgram_->id == GpuProgramId::Vertex && pixelProgram_ &&
                        pixelProgram_->id != GpuProgramId::Vertex;
  // With one sample per pixel, the sample mask's lowest bit decides whether anything is written.
  if (topology_ != GpuTopology::TriangleList || !programs || !layout_ || !vb.buffer || !hasViewport_ ||
      !targets_[0] || !(sampleMask_ & 1))
    return;

  DrawCall draw;
  std::vector<uint8_t>& vertices = vb.buffer->Bytes();
  draw.vertices = {vertices.data(), vertices.size(), vb.stride, vb.offset, layout_->positionOffset,
                   layout_->texcoordOffset};
  draw.vertexCount = vertexCount;
  draw.startVertex = startVertex;
  draw.viewport = viewport_;
  CpuTexture* const target = targets_[0]->texture.Get();
  draw.target = target->Shape();
  draw.program = pixelProgram_->id;
  // Without a sampler the device's default state applies, which filters linearly.
  draw.inputs.filter = samplers_[0] ? samplers_[0]->filter : SamplerFilter::Linear;
  if (constantBuffers_[0]) {
    const std::vector<uint8_t>& bytes = constantBuffers_[0]->Bytes();
    std::memcpy(&draw.inputs.constants, bytes.data(), std::min(bytes.size(), sizeof(PS_BACKCOLOR_BUFFER)));
  }
  if (blendState_) draw.blend.target = blendState_->desc.renderTarget[0];
  std::copy(blendFactor_, blendFactor_ + 4, draw.blend.factor);
  // A draw that writes every pixel needn't have the target's texels in place first: a clear before it
  // is never written, nor a copy made of texels shared with another texture.
  draw.target = DrawCoversTarget(draw) ? target->Overwrite() : target->Write();
  if (!draw.target.bits) return;
  Surface picture;
  if (views_[0]) {
    picture = views_[0]->texture->Read();
    draw.inputs.texture = &picture;
  }
  ExecuteDraw(draw, forceReference_);
}

// A box reaching past the source or the destination copies the part that lies on both; the device
// leaves such a copy undefined, and the pipeline only needs the part of the picture that exists.
void CpuContext::CopySubresourceRegion(IGpuResource* dst, UINT dstSubresource, UINT x, UINT y, UINT z,
                                       IGpuResource* src, UINT srcSubresource, const GpuBox* box) {
  CpuTexture* to = AsCpuTexture(dst);
  CpuTexture* from = AsCpuTexture(src);
  if (!to || !from || to == from || dstSubresource != 0 || srcSubresource != 0 || z != 0 || to->mapped ||
      from->mapped)
    return;
  const Surface s = from->Shape();
  const Surface d = to->Shape();
  const GpuBox b = box ? *box : GpuBox{0, 0, 0, s.width, s.height, 1};
  if (b.left >= b.right || b.top >= b.bottom || b.front >= b.back || b.front != 0) return;
  const UINT right = std::min(b.right, s.width);
  const UINT bottom = std::min(b.bottom, s.height);
  if (b.left >= right || b.top >= bottom || x >= d.width || y >= d.height) return;
  const UINT w = std::min(right - b.left, d.width - x);
  const UINT h = std::min(bottom - b.top, d.height - y);
  const bool wholeTarget = x == 0 && y == 0 && w == d.width && h == d.height;
  // All of a texture onto all of one of its size: the two read the same memory until either is written.
  if (wholeTarget && b.left == 0 && b.top == 0 && w == s.width && h == s.height) {
    to->Share(*from);
    return;
  }
  const Surface into = wholeTarget ? to->Overwrite() : to->Write();
  const Surface out = from->Read();
  if (!into.bits || !out.bits) return;
  for (UINT row = 0; row < h; ++row)
    std::memcpy(into.bits + static_cast<size_t>(y + row) * into.pitch + static_cast<size_t>(x) * 4,
                out.bits + static_cast<size_t>(b.top + row) * out.pitch + static_cast<size_t>(b.left) * 4,
                static_cast<size_t>(w) * 4);
}

HRESULT CpuContext::Map(IGpuResource* resource, UINT subresource, GpuMapType type, UINT flags,
                        GpuMappedSubresource* mapped) {
  if (!mapped) return E_INVALIDARG;
  *mapped = {};
  if (subresource != 0 || (flags & ~kMapDoNotWait)) return E_INVALIDARG;
  if (CpuTexture* t = AsCpuTexture(resource)) {
    const GpuTexture2DDesc& d = t->Desc();
    const bool allowed = d.usage == GpuUsage::Staging   ? StagingAllows(d.cpuAccessFlags, type)
                         : d.usage == GpuUsage::Dynamic ? type == GpuMapType::WriteDiscard
                                                        : false;
    if (!allowed || t->mapped) return E_INVALIDARG;
    const Surface s = type == GpuMapType::Read ? t->Read() : t->Write();
    if (!s.bits) return E_OUTOFMEMORY;
    t->mapped = true;
    *mapped = {s.bits, s.pitch, s.pitch * s.height};
    return S_OK;
  }
  if (CpuBuffer* b = AsCpuBuffer(resource)) {
    const GpuBufferDesc& d = b->Desc();
    // Only a vertex buffer may be written without discarding what the draws before may still read.
    const bool appendable = type == GpuMapType::WriteNoOverwrite && d.bindFlags == kGpuBindVertexBuffer;
    const bool allowed = d.usage == GpuUsage::Staging   ? StagingAllows(d.cpuAccessFlags, type)
                         : d.usage == GpuUsage::Dynamic ? type == GpuMapType::WriteDiscard || appendable
                                                        : false;
    if (!allowed || b->mapped) return E_INVALIDARG;
    b->mapped = true;
    *mapped = {b->Bytes().data(), d.byteWidth, d.byteWidth};
    return S_OK;
  }
  return E_INVALIDARG;
}

void CpuContext::Unmap(IGpuResource* resource, UINT subresource) {
  if (subresource != 0) return;
  if (CpuTexture* t = AsCpuTexture(resource)) t->mapped = false;
  if (CpuBuffer* b = AsCpuBuffer(resource)) b->mapped = false;
}

}  // namespace cvplat::cpugpu
