#include "platform/win32/gpu_d3d11_context.h"

#include <algorithm>

namespace cvplat::d3d11 {
namespace {

// How many of `count` slots from `start` exist among `slots`.
UINT SlotsFrom(UINT start, UINT count, UINT slots) { return start >= slots ? 0 : std::min(count, slots - start); }

template <class Wrapper, class N, UINT kSlots>
UINT Natives(UINT start, UINT count, typename Wrapper::Seam* const* objects, N* (&out)[kSlots]) {
  const UINT n = SlotsFrom(start, count, kSlots);
  for (UINT i = 0; i < n; ++i) out[i] = objects ? NativeOf<Wrapper>(objects[i]) : nullptr;
  return n;
}

template <UINT kSlots>
UINT Buffers(UINT start, UINT count, IGpuBuffer* const* buffers, ID3D11Buffer* (&out)[kSlots]) {
  const UINT n = SlotsFrom(start, count, kSlots);
  for (UINT i = 0; i < n; ++i) out[i] = buffers && buffers[i] ? static_cast<D3dBuffer*>(buffers[i])->Native() : nullptr;
  return n;
}

}  // namespace

void D3dContext::IASetInputLayout(IGpuInputLayout* layout) {
  native_->IASetInputLayout(NativeOf<D3dInputLayout>(layout));
}

void D3dContext::IASetVertexBuffers(UINT start, UINT count, IGpuBuffer* const* buffers, const UINT* strides,
                                    const UINT* offsets) {
  ID3D11Buffer* natives[D3D11_IA_VERTEX_INPUT_RESOURCE_SLOT_COUNT];
  UINT s[D3D11_IA_VERTEX_INPUT_RESOURCE_SLOT_COUNT];
  UINT o[D3D11_IA_VERTEX_INPUT_RESOURCE_SLOT_COUNT];
  const UINT n = Buffers(start, count, buffers, natives);
  if (n == 0) return;
  for (UINT i = 0; i < n; ++i) {
    s[i] = strides ? strides[i] : 0;
    o[i] = offsets ? offsets[i] : 0;
  }
  native_->IASetVertexBuffers(start, n, natives, s, o);
}

void D3dContext::IASetPrimitiveTopology(GpuTopology topology) {
  native_->IASetPrimitiveTopology(static_cast<D3D11_PRIMITIVE_TOPOLOGY>(topology));
}

void D3dContext::VSSetShader(IGpuProgram* program) {
  native_->VSSetShader(program ? static_cast<D3dProgram*>(program)->vertexShader.Get() : nullptr, nullptr, 0);
}

void D3dContext::PSSetShader(IGpuProgram* program) {
  native_->PSSetShader(program ? static_cast<D3dProgram*>(program)->pixelShader.Get() : nullptr, nullptr, 0);
}

void D3dContext::PSSetConstantBuffers(UINT start, UINT count, IGpuBuffer* const* buffers) {
  ID3D11Buffer* natives[D3D11_COMMONSHADER_CONSTANT_BUFFER_API_SLOT_COUNT];
  if (const UINT n = Buffers(start, count, buffers, natives)) native_->PSSetConstantBuffers(start, n, natives);
}

void D3dContext::PSSetShaderResources(UINT start, UINT count, IGpuShaderResourceView* const* views) {
  ID3D11ShaderResourceView* natives[D3D11_COMMONSHADER_INPUT_RESOURCE_SLOT_COUNT];
  if (const UINT n = Natives<D3dShaderResourceView>(start, count, views, natives))
    native_->PSSetShaderResources(start, n, natives);
}

void D3dContext::PSSetSamplers(UINT start, UINT count, IGpuSamplerState* const* samplers) {
  ID3D11SamplerState* natives[D3D11_COMMONSHADER_SAMPLER_SLOT_COUNT];
  if (const UINT n = Natives<D3dSamplerState>(start, count, samplers, natives))
    native_->PSSetSamplers(start, n, natives);
}

void D3dContext::RSSetViewports(UINT count, const GpuViewport* viewports) {
  D3D11_VIEWPORT natives[D3D11_VIEWPORT_AND_SCISSORRECT_OBJECT_COUNT_PER_PIPELINE];
  const UINT n = viewports ? std::min<UINT>(count, std::size(natives)) : 0;
  for (UINT i = 0; i < n; ++i) {
    const GpuViewport& v = viewports[i];
    natives[i] = {v.topLeftX, v.topLeftY, v.width, v.height, v.minDepth, v.maxDepth};
  }
  native_->RSSetViewports(n, natives);
}

void D3dContext::OMSetBlendState(IGpuBlendState* state, const float factor[4], UINT sampleMask) {
  native_->OMSetBlendState(NativeOf<D3dBlendState>(state), factor, sampleMask);
}

void D3dContext::OMSetRenderTargets(UINT count, IGpuRenderTargetView* const* views) {
  ID3D11RenderTargetView* natives[kGpuRenderTargetSlots];
  const UINT n = std::min(count, kGpuRenderTargetSlots);
  for (UINT i = 0; i < n; ++i) natives[i] = views ? NativeOf<D3dRenderTargetView>(views[i]) : nullptr;
  native_->OMSetRenderTargets(n, n ? natives : nullptr, nullptr);
}

void D3dContext::ClearRenderTargetView(IGpuRenderTargetView* view, const float rgba[4]) {
  if (!view || !rgba) return;
  native_->ClearRenderTargetView(NativeOf<D3dRenderTargetView>(view), rgba);
}

void D3dContext::Draw(UINT vertexCount, UINT startVertex) { native_->Draw(vertexCount, startVertex); }

void D3dContext::CopySubresourceRegion(IGpuResource* dst, UINT dstSubresource, UINT x, UINT y, UINT z,
                                       IGpuResource* src, UINT srcSubresource, const GpuBox* box) {
  if (!dst || !src || dst->GetType() != GpuResourceDimension::Texture2D ||
      src->GetType() != GpuResourceDimension::Texture2D || dstSubresource != 0 || srcSubresource != 0 || z != 0)
    return;
  GpuTexture2DDesc from;
  GpuTexture2DDesc to;
  static_cast<IGpuTexture2D*>(src)->GetDesc(&from);
  static_cast<IGpuTexture2D*>(dst)->GetDesc(&to);
  // Direct3D drops a copy whose box doesn't fit, and leaves one onto its own source undefined.
  const GpuBox b = box ? *box : GpuBox{0, 0, 0, from.width, from.height, 1};
  if (b.front != 0 || b.back <= b.front || b.left >= b.right || b.top >= b.bottom || src == dst) return;
  const UINT right = std::min(b.right, from.width);
  const UINT bottom = std::min(b.bottom, from.height);
  if (b.left >= right || b.top >= bottom || x >= to.width || y >= to.height) return;
  const D3D11_BOX clipped{b.left, b.top, 0, b.left + std::min(right - b.left, to.width - x),
                          b.top + std::min(bottom - b.top, to.height - y), 1};
  native_->CopySubresourceRegion(NativeResource(dst), 0, x, y, 0, NativeResource(src), 0, &clipped);
}

HRESULT D3dContext::Map(IGpuResource* resource, UINT subresource, GpuMapType type, UINT flags,
                        GpuMappedSubresource* mapped) {
  if (!mapped) return E_INVALIDARG;
  *mapped = {};
  if (!resource) return E_INVALIDARG;
  D3D11_MAPPED_SUBRESOURCE native{};
  const HRESULT hr = native_->Map(NativeResource(resource), subresource, static_cast<D3D11_MAP>(type), flags, &native);
  if (SUCCEEDED(hr)) *mapped = {native.pData, native.RowPitch, native.DepthPitch};
  return hr;
}

void D3dContext::Unmap(IGpuResource* resource, UINT subresource) {
  if (resource) native_->Unmap(NativeResource(resource), subresource);
}

void D3dContext::Flush() { native_->Flush(); }

}  // namespace cvplat::d3d11
