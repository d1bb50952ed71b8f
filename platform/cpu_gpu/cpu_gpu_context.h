// The immediate context of the CPU twin: it keeps what is bound (with a reference of its own) and runs
// each call at once, so a Map after a Copy sees the copy without any waiting.
#pragma once

#include "platform/cpu_gpu/cpu_gpu_objects.h"
#include "platform/cpu_gpu/raster.h"

namespace cvplat::cpugpu {

class CpuContext final : public AutoObjBase<CpuContext, IGpuContext> {
 public:
  static constexpr UINT kSlots = 16;  // of each kind: vertex buffers, constant buffers, views, samplers

  explicit CpuContext(bool forceReference) : forceReference_(forceReference) {}

  void IASetInputLayout(IGpuInputLayout* layout) override;
  void IASetVertexBuffers(UINT start, UINT count, IGpuBuffer* const* buffers, const UINT* strides,
                          const UINT* offsets) override;
  void IASetPrimitiveTopology(GpuTopology topology) override { topology_ = topology; }
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
  void Flush() override {}

 private:
  struct VertexSlot {
    TRefPtr<CpuBuffer> buffer;
    UINT stride = 0;
    UINT offset = 0;
  };

  const bool forceReference_;
  TRefPtr<CpuInputLayout> layout_;
  VertexSlot vertexBuffers_[kSlots];
  GpuTopology topology_ = GpuTopology::Undefined;
  TRefPtr<CpuProgram> vertexProgram_;
  TRefPtr<CpuProgram> pixelProgram_;
  TRefPtr<CpuBuffer> constantBuffers_[kSlots];
  TRefPtr<CpuShaderResourceView> views_[kSlots];
  TRefPtr<CpuSamplerState> samplers_[kSlots];
  bool hasViewport_ = false;
  GpuViewport viewport_;
  TRefPtr<CpuBlendState> blendState_;
  float blendFactor_[4] = {1.0f, 1.0f, 1.0f, 1.0f};
  UINT sampleMask_ = 0xFFFFFFFFu;
  TRefPtr<CpuRenderTargetView> targets_[kGpuRenderTargetSlots];
};

}  // namespace cvplat::cpugpu
