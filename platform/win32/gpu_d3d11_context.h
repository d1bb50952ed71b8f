// The immediate context of the Direct3D 11 device behind the seam. Direct3D keeps its own references to
// what is bound, as the seam asks; the calls here translate the seam's objects and keep the seam's
// promises where Direct3D's differ: slots past the last are ignored, and a copy whose box reaches past
// either texture copies the part that lies on both.
#pragma once

#include "platform/win32/gpu_d3d11_objects.h"

namespace cvplat::d3d11 {

class D3dContext final : public AutoObjBase<D3dContext, IGpuContext> {
 public:
  explicit D3dContext(ID3D11DeviceContext* native) : native_(native) {}

  void IASetInputLayout(IGpuInputLayout* layout) override;
  void IASetVertexBuffers(UINT start, UINT count, IGpuBuffer* const* buffers, const UINT* strides,
                          const UINT* offsets) override;
  void IASetPrimitiveTopology(GpuTopology topology) override;
  void VSSetShader(IGpuProgram* program) override;
  void PSSetShader(IGpuProgram* program) override;
  void PSSetConstantBuffers(UINT start, UINT count, IGpuBuffer* const* buffers) override;
  void PSSetShaderResources(UINT start, UINT count, IGpuShaderResourceView* const* views) override;
  void PSSetSamplers(UINT start, UINT count, IGpuSamplerState* const* samplers) override;
  void RSSetViewports(UINT count, const GpuViewport* viewports) override;
  void OMSetBlendState(IGpuBlendState* state, const float factor[4], UINT sampleMask) override;
  void OMSetRenderTargets(UINT count, IGpuRenderTargetView* const* views) override;
  void ClearRenderTargetView(IGpuRenderTargetView* view, const float rgba[4]) override;
  void Draw(UINT vertexCount, UINT startVertex) override;
  void CopySubresourceRegion(IGpuResource* dst, UINT dstSubresource, UINT x, UINT y, UINT z, IGpuResource* src,
                             UINT srcSubresource, const GpuBox* box) override;
  HRESULT Map(IGpuResource* resource, UINT subresource, GpuMapType type, UINT flags,
              GpuMappedSubresource* mapped) override;
  void Unmap(IGpuResource* resource, UINT subresource) override;
  void Flush() override;

 private:
  const TRefPtr<ID3D11DeviceContext> native_;
};

}  // namespace cvplat::d3d11
