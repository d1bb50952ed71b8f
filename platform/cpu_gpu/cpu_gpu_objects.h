// The objects of the CPU twin: resources in plain memory and the states a draw reads. Each checks its
// description as Direct3D 11 does for the subset the pipeline uses (B8G8R8A8 textures of one mip level,
// clamp samplers, the five programs) and refuses the rest with E_INVALIDARG, so the logic can't come to
// rely on something the device would refuse.
#pragma once

#include <vector>

#include "platform/auto_obj.h"
#include "platform/cpu_gpu/programs.h"
#include "platform/gpu.h"

namespace cvplat::cpugpu {

class CpuTexture final : public AutoObjBase<CpuTexture, IGpuTexture2D> {
 public:
  // Rows are padded to a multiple of this, so that nothing reads a mapped texture as if its rows were
  // width x 4 bytes apart: a device's row pitch is its own.
  static constexpr UINT kRowAlignment = 64;

  // S_FALSE with a null `out`: the description is valid.
  static HRESULT Create(const GpuTexture2DDesc& desc, const GpuSubresourceData* initial, IGpuTexture2D** out);

  GpuResourceDimension GetType() override { return GpuResourceDimension::Texture2D; }
  void GetDesc(GpuTexture2DDesc* desc) override {
    if (desc) *desc = desc_;
  }

  const GpuTexture2DDesc& Desc() const { return desc_; }
  Surface Memory() { return {bits_.data(), desc_.width, desc_.height, pitch_}; }
  bool mapped = false;

 private:
  CpuTexture(const GpuTexture2DDesc& desc, UINT pitch) : desc_(desc), pitch_(pitch) {}
  GpuTexture2DDesc desc_;
  UINT pitch_;
  std::vector<uint8_t> bits_;
};

class CpuBuffer final : public AutoObjBase<CpuBuffer, IGpuBuffer> {
 public:
  static HRESULT Create(const GpuBufferDesc& desc, const GpuSubresourceData* initial, IGpuBuffer** out);

  GpuResourceDimension GetType() override { return GpuResourceDimension::Buffer; }
  void GetDesc(GpuBufferDesc* desc) override {
    if (desc) *desc = desc_;
  }

  const GpuBufferDesc& Desc() const { return desc_; }
  std::vector<uint8_t>& Bytes() { return bytes_; }
  bool mapped = false;

 private:
  explicit CpuBuffer(const GpuBufferDesc& desc) : desc_(desc) {}
  GpuBufferDesc desc_;
  std::vector<uint8_t> bytes_;
};

// The twin's own object behind a seam pointer. Only objects of the twin may be passed to it.
CpuTexture* AsCpuTexture(IGpuResource* resource);
CpuBuffer* AsCpuBuffer(IGpuResource* resource);

class CpuShaderResourceView final : public AutoObjBase<CpuShaderResourceView, IGpuShaderResourceView> {
 public:
  explicit CpuShaderResourceView(CpuTexture* viewed) : texture(viewed) {}
  const TRefPtr<CpuTexture> texture;
};

class CpuRenderTargetView final : public AutoObjBase<CpuRenderTargetView, IGpuRenderTargetView> {
 public:
  explicit CpuRenderTargetView(CpuTexture* viewed) : texture(viewed) {}
  const TRefPtr<CpuTexture> texture;
};

class CpuSamplerState final : public AutoObjBase<CpuSamplerState, IGpuSamplerState> {
 public:
  explicit CpuSamplerState(SamplerFilter chosen) : filter(chosen) {}
  const SamplerFilter filter;
};

class CpuBlendState final : public AutoObjBase<CpuBlendState, IGpuBlendState> {
 public:
  explicit CpuBlendState(const GpuBlendDesc& described) : desc(described) {}
  const GpuBlendDesc desc;
};

class CpuInputLayout final : public AutoObjBase<CpuInputLayout, IGpuInputLayout> {
 public:
  CpuInputLayout(UINT position, UINT texcoord) : positionOffset(position), texcoordOffset(texcoord) {}
  const UINT positionOffset;
  const UINT texcoordOffset;
};

class CpuProgram final : public AutoObjBase<CpuProgram, IGpuProgram> {
 public:
  explicit CpuProgram(GpuProgramId program) : id(program) {}
  const GpuProgramId id;
};

// Checks of the descriptions, for the device.
HRESULT CheckSamplerDesc(const GpuSamplerDesc& desc, SamplerFilter* filter);
HRESULT CheckBlendDesc(const GpuBlendDesc& desc);
HRESULT CheckInputLayout(const GpuInputElementDesc* elements, UINT count, UINT* positionOffset,
                         UINT* texcoordOffset);

}  // namespace cvplat::cpugpu
