// The objects of the CPU twin: resources in plain memory and the states a draw reads. Each checks its
// description as Direct3D 11 does for the subset the pipeline uses (B8G8R8A8 textures of one mip level,
// clamp samplers, the five programs) and refuses the rest with E_INVALIDARG, so the logic can't come to
// rely on something the device would refuse.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/auto_obj.h"
#include "platform/cpu_gpu/programs.h"
#include "platform/gpu.h"

namespace cvplat::cpugpu {

// Where the textures' memory comes from. A capture makes textures of the same few sizes on every
// frame; a block of a texture that went is kept for the next texture of its size, which then costs no
// fresh memory (page faults, and the kernel's zeroing) and no zeroing of its own. Shared by a device and
// its textures, which may outlive it; any thread may take and give.
class TexelPool {
 public:
  TexelPool();
  // A block of `bytes` holding anything; null when no memory is to be had.
  std::unique_ptr<uint8_t[]> Take(size_t bytes);
  void Give(std::unique_ptr<uint8_t[]> block, size_t bytes);

 private:
  struct Free {
    std::unique_ptr<uint8_t[]> block;
    size_t bytes;
  };
  std::mutex mutex_;
  std::vector<Free> free_;  // the most recently given last
};

class CpuTexture final : public AutoObjBase<CpuTexture, IGpuTexture2D> {
 public:
  // Rows are padded to a multiple of this, so that nothing reads a mapped texture as if its rows were
  // width x 4 bytes apart: a device's row pitch is its own.
  static constexpr UINT kRowAlignment = 64;

  // S_FALSE with a null `out`: the description is valid. The texture's memory comes from `pool` where
  // one is given.
  static HRESULT Create(const GpuTexture2DDesc& desc, const GpuSubresourceData* initial, IGpuTexture2D** out,
                        const std::shared_ptr<TexelPool>& pool = nullptr);

  GpuResourceDimension GetType() override { return GpuResourceDimension::Texture2D; }
  void GetDesc(GpuTexture2DDesc* desc) override {
    if (desc) *desc = desc_;
  }

  const GpuTexture2DDesc& Desc() const { return desc_; }

  // The texels, by what the caller is about to do with them. Texels the caller doesn't write keep their
  // values; padding between rows reads 0 unless a mapping wrote it. The memory stays the texture's until
  // the next of these calls or Fill or Share. Bits are null where no memory was to be had (the calls
  // before the texture's first memory of its own was made can't fail: Create makes it).
  Surface Read();       // read only
  Surface Write();      // some texels written
  Surface Overwrite();  // every texel written: what they held needn't be there first
  Surface Shape() const { return {nullptr, desc_.width, desc_.height, pitch_}; }

  // Every texel becomes `texel` (blue, green, red, alpha), written only when the texels are next asked
  // for, and then not at all if they are asked for to be overwritten.
  void Fill(const uint8_t texel[4]);
  // Takes the texels of `source`, a texture of the same width and height, without copying them: both
  // read one block until either writes.
  void Share(CpuTexture& source);

  bool mapped = false;

 private:
  struct Block;
  CpuTexture(const GpuTexture2DDesc& desc, UINT pitch, std::shared_ptr<TexelPool> pool)
      : desc_(desc), pitch_(pitch), pool_(std::move(pool)) {}
  size_t Bytes() const { return static_cast<size_t>(pitch_) * desc_.height; }
  std::shared_ptr<Block> NewBlock() const;
  // Makes block_ the texture's alone, copying what it holds if `keep`; false without memory.
  bool OwnBlock(bool keep);
  Surface At() const;

  GpuTexture2DDesc desc_;
  UINT pitch_;
  std::shared_ptr<TexelPool> pool_;
  std::shared_ptr<Block> block_;
  // Every texel is fill_, and block_ holds nothing of value: a new texture (zeros) or one filled since.
  bool filled_ = true;
  uint8_t fill_[4] = {0, 0, 0, 0};
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
