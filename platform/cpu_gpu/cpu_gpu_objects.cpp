#include "platform/cpu_gpu/cpu_gpu_objects.h"

#include <cmath>
#include <cstring>
#include <new>

namespace cvplat::cpugpu {
namespace {

constexpr UINT kMaxTextureSize = 16384;      // the largest 2D texture of feature level 11.0
constexpr UINT kMaxConstantBytes = 65536;    // 4096 vectors
constexpr UINT kInputSlots = 16;

bool UsageFits(GpuUsage usage, UINT bindFlags, UINT cpuAccess, bool hasInitial, UINT gpuWritableBinds) {
  switch (usage) {
    case GpuUsage::Default:
      return cpuAccess == 0;
    case GpuUsage::Immutable:
      return cpuAccess == 0 && hasInitial && !(bindFlags & gpuWritableBinds);
    case GpuUsage::Dynamic:
      return cpuAccess == kGpuCpuAccessWrite && bindFlags != 0 && !(bindFlags & gpuWritableBinds);
    case GpuUsage::Staging:
      return bindFlags == 0 && cpuAccess != 0;
  }
  return false;
}

bool ValidBlend(GpuBlend b, bool forAlpha) {
  switch (b) {
    case GpuBlend::Zero:
    case GpuBlend::One:
    case GpuBlend::SrcAlpha:
    case GpuBlend::InvSrcAlpha:
    case GpuBlend::DestAlpha:
    case GpuBlend::InvDestAlpha:
    case GpuBlend::BlendFactor:
    case GpuBlend::InvBlendFactor:
      return true;
    case GpuBlend::SrcColor:
    case GpuBlend::InvSrcColor:
    case GpuBlend::DestColor:
    case GpuBlend::InvDestColor:
      return !forAlpha;  // the alpha channel has no colour to take a factor from
  }
  return false;
}

bool ValidOp(GpuBlendOp op) { return static_cast<UINT>(op) >= 1 && static_cast<UINT>(op) <= 5; }

UINT FormatBytes(GpuFormat f) {
  switch (f) {
    case GpuFormat::R32G32B32Float: return 12;
    case GpuFormat::R32G32Float: return 8;
    case GpuFormat::B8G8R8A8Unorm: return 4;
    case GpuFormat::Unknown: break;
  }
  return 0;
}

bool SameName(const char* a, const char* b) {
  for (; *a && *b; ++a, ++b) {
    const char ca = (*a >= 'a' && *a <= 'z') ? static_cast<char>(*a - 32) : *a;
    const char cb = (*b >= 'a' && *b <= 'z') ? static_cast<char>(*b - 32) : *b;
    if (ca != cb) return false;
  }
  return *a == *b;
}

}  // namespace

namespace {

// Smaller blocks come and go through the allocator, which keeps them cheaply itself.
constexpr size_t kPooledBytes = 64 * 1024;
// A frame's passes hold a few blocks of a size at a time; more kept would only hold memory.
constexpr size_t kFreeBlocks = 6;

void ClearPadding(const Surface& s) {
  const size_t row = static_cast<size_t>(s.width) * 4;
  if (s.pitch == row) return;
  for (UINT y = 0; y < s.height; ++y) std::memset(s.bits + static_cast<size_t>(y) * s.pitch + row, 0, s.pitch - row);
}

void FillTexels(const Surface& s, const uint8_t texel[4]) {
  const size_t row = static_cast<size_t>(s.width) * 4;
  if (texel[0] == texel[1] && texel[0] == texel[2] && texel[0] == texel[3]) {
    for (UINT y = 0; y < s.height; ++y) std::memset(s.bits + static_cast<size_t>(y) * s.pitch, texel[0], row);
    return;
  }
  for (UINT x = 0; x < s.width; ++x) std::memcpy(s.bits + static_cast<size_t>(x) * 4, texel, 4);
  for (UINT y = 1; y < s.height; ++y) std::memcpy(s.bits + static_cast<size_t>(y) * s.pitch, s.bits, row);
}

}  // namespace

std::unique_ptr<uint8_t[]> TexelPool::Take(size_t bytes) {
  if (bytes >= kPooledBytes) {
    std::lock_guard lock(mutex_);
    for (size_t i = free_.size(); i-- > 0;) {
      if (free_[i].bytes != bytes) continue;
      std::unique_ptr<uint8_t[]> block = std::move(free_[i].block);
      free_.erase(free_.begin() + static_cast<std::ptrdiff_t>(i));
      return block;
    }
  }
  return std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[bytes]);
}

void TexelPool::Give(std::unique_ptr<uint8_t[]> block, size_t bytes) {
  if (!block || bytes < kPooledBytes) return;
  std::unique_ptr<uint8_t[]> oldest;  // freed after the lock
  std::lock_guard lock(mutex_);
  if (free_.size() >= kFreeBlocks) {
    oldest = std::move(free_.front().block);
    free_.erase(free_.begin());
  }
  if (free_.capacity() == free_.size()) return;  // never grown here: giving may not fail
  free_.push_back({std::move(block), bytes});
}

TexelPool::TexelPool() { free_.reserve(kFreeBlocks); }

// A texture's memory, shared by the textures that read the same texels; the last one gives it back.
struct CpuTexture::Block {
  Block(std::unique_ptr<uint8_t[]> b, size_t n, std::shared_ptr<TexelPool> p)
      : bits(std::move(b)), bytes(n), pool(std::move(p)) {}
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  std::unique_ptr<uint8_t[]> bits;
  size_t bytes;
  std::shared_ptr<TexelPool> pool;
  ~Block() {
    if (pool) pool->Give(std::move(bits), bytes);
  }
};

std::shared_ptr<CpuTexture::Block> CpuTexture::NewBlock() const {
  std::unique_ptr<uint8_t[]> bits = pool_ ? pool_->Take(Bytes()) : std::unique_ptr<uint8_t[]>(new (std::nothrow) uint8_t[Bytes()]);
  if (!bits) return nullptr;
  try {
    return std::make_shared<Block>(std::move(bits), Bytes(), pool_);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

bool CpuTexture::OwnBlock(bool keep) {
  if (block_ && block_.use_count() == 1) return true;
  std::shared_ptr<Block> own = NewBlock();
  if (!own) return false;
  if (keep && block_) std::memcpy(own->bits.get(), block_->bits.get(), Bytes());
  block_ = std::move(own);
  return true;
}

Surface CpuTexture::At() const { return {block_ ? block_->bits.get() : nullptr, desc_.width, desc_.height, pitch_}; }

Surface CpuTexture::Read() { return filled_ ? Write() : At(); }

Surface CpuTexture::Write() {
  if (!filled_) return OwnBlock(true) ? At() : Shape();
  if (!OwnBlock(false)) return Shape();
  const Surface s = At();
  ClearPadding(s);
  FillTexels(s, fill_);
  filled_ = false;
  return s;
}

Surface CpuTexture::Overwrite() {
  if (!OwnBlock(false)) return Shape();
  filled_ = false;
  const Surface s = At();
  ClearPadding(s);
  return s;
}

void CpuTexture::Fill(const uint8_t texel[4]) {
  std::memcpy(fill_, texel, 4);
  filled_ = true;
  // The others reading the block keep it; this texture takes another when it is next written.
  if (block_ && block_.use_count() > 1) block_.reset();
}

void CpuTexture::Share(CpuTexture& source) {
  if (&source == this) return;
  if (source.filled_) {
    Fill(source.fill_);
    return;
  }
  block_ = source.block_;
  filled_ = false;
}

HRESULT CpuTexture::Create(const GpuTexture2DDesc& d, const GpuSubresourceData* initial, IGpuTexture2D** out,
                           const std::shared_ptr<TexelPool>& pool) {
  if (out) *out = nullptr;
  const UINT views = kGpuBindShaderResource | kGpuBindRenderTarget;
  if (d.width == 0 || d.height == 0 || d.width > kMaxTextureSize || d.height > kMaxTextureSize) return E_INVALIDARG;
  if (d.mipLevels != 1 || d.arraySize != 1 || d.format != GpuFormat::B8G8R8A8Unorm || d.sampleDesc.count != 1 ||
      d.sampleDesc.quality != 0)
    return E_INVALIDARG;
  if ((d.bindFlags & ~views) || (d.cpuAccessFlags & ~(kGpuCpuAccessRead | kGpuCpuAccessWrite)))
    return E_INVALIDARG;
  if (!UsageFits(d.usage, d.bindFlags, d.cpuAccessFlags, initial != nullptr, kGpuBindRenderTarget))
    return E_INVALIDARG;
  // GDI draws into such a texture and the pipeline then reads and draws on it: default usage, both views.
  if ((d.miscFlags & ~kGpuMiscGdiCompatible) ||
      ((d.miscFlags & kGpuMiscGdiCompatible) && (d.usage != GpuUsage::Default || d.bindFlags != views)))
    return E_INVALIDARG;
  const UINT rowBytes = d.width * 4;
  if (initial && (!initial->sysMem || initial->sysMemPitch < rowBytes)) return E_INVALIDARG;
  if (!out) return S_FALSE;

  const UINT pitch = (rowBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  TRefPtr<CpuTexture> texture;
  try {
    texture = TRefPtr<CpuTexture>(new CpuTexture(d, pitch, pool));
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  // The memory is the texture's from here on, so no later call runs short of it; a new texture reads
  // zeros, which are written only if something reads them first.
  texture->block_ = texture->NewBlock();
  if (!texture->block_) return E_OUTOFMEMORY;
  if (initial) {
    const Surface s = texture->Overwrite();
    const auto* src = static_cast<const uint8_t*>(initial->sysMem);
    for (UINT y = 0; y < d.height; ++y)
      std::memcpy(s.bits + static_cast<size_t>(y) * pitch, src + static_cast<size_t>(y) * initial->sysMemPitch,
                  rowBytes);
  }
  *out = texture.Detach();
  return S_OK;
}

HRESULT CpuBuffer::Create(const GpuBufferDesc& d, const GpuSubresourceData* initial, IGpuBuffer** out) {
  if (out) *out = nullptr;
  if (d.byteWidth == 0 || d.miscFlags != 0) return E_INVALIDARG;
  if ((d.bindFlags & ~(kGpuBindVertexBuffer | kGpuBindConstantBuffer)) ||
      (d.cpuAccessFlags & ~(kGpuCpuAccessRead | kGpuCpuAccessWrite)))
    return E_INVALIDARG;
  // A constant buffer is bound as nothing else, in whole vectors.
  if ((d.bindFlags & kGpuBindConstantBuffer) &&
      (d.bindFlags != kGpuBindConstantBuffer || d.byteWidth % 16 != 0 || d.byteWidth > kMaxConstantBytes))
    return E_INVALIDARG;
  if (!UsageFits(d.usage, d.bindFlags, d.cpuAccessFlags, initial != nullptr, 0)) return E_INVALIDARG;
  if (initial && !initial->sysMem) return E_INVALIDARG;
  if (!out) return S_FALSE;

  TRefPtr<CpuBuffer> buffer;
  try {
    buffer = TRefPtr<CpuBuffer>(new CpuBuffer(d));
    buffer->bytes_.assign(d.byteWidth, 0);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  if (initial) std::memcpy(buffer->bytes_.data(), initial->sysMem, d.byteWidth);
  *out = buffer.Detach();
  return S_OK;
}

CpuTexture* AsCpuTexture(IGpuResource* resource) {
  if (!resource || resource->GetType() != GpuResourceDimension::Texture2D) return nullptr;
  return static_cast<CpuTexture*>(static_cast<IGpuTexture2D*>(resource));
}

CpuBuffer* AsCpuBuffer(IGpuResource* resource) {
  if (!resource || resource->GetType() != GpuResourceDimension::Buffer) return nullptr;
  return static_cast<CpuBuffer*>(static_cast<IGpuBuffer*>(resource));
}

HRESULT CheckSamplerDesc(const GpuSamplerDesc& d, SamplerFilter* filter) {
  // With one mip level the mip filter doesn't matter; anisotropic filtering of an unrotated, unskewed
  // quad reduces to the linear filter.
  switch (d.filter) {
    case GpuFilter::MinMagMipPoint:
    case GpuFilter::MinMagPointMipLinear:
      *filter = SamplerFilter::Point;
      break;
    case GpuFilter::MinMagLinearMipPoint:
    case GpuFilter::MinMagMipLinear:
    case GpuFilter::Anisotropic:
      *filter = SamplerFilter::Linear;
      break;
    default:
      return E_INVALIDARG;
  }
  const auto w = static_cast<UINT>(d.addressW);
  const auto cmp = static_cast<UINT>(d.comparisonFunc);
  if (d.addressU != GpuAddressMode::Clamp || d.addressV != GpuAddressMode::Clamp || w < 1 || w > 5) return E_INVALIDARG;
  if (d.maxAnisotropy > 16 || cmp < 1 || cmp > 8) return E_INVALIDARG;
  if (!std::isfinite(d.mipLodBias) || std::isnan(d.minLod) || std::isnan(d.maxLod)) return E_INVALIDARG;
  return S_OK;
}

HRESULT CheckBlendDesc(const GpuBlendDesc& d) {
  if (d.alphaToCoverageEnable) return E_INVALIDARG;
  const UINT used = d.independentBlendEnable ? kGpuRenderTargetSlots : 1;
  for (UINT i = 0; i < used; ++i) {
    const GpuRenderTargetBlendDesc& rt = d.renderTarget[i];
    if (rt.renderTargetWriteMask > kGpuColorWriteAll) return E_INVALIDARG;
    if (!rt.blendEnable) continue;
    if (!ValidBlend(rt.srcBlend, false) || !ValidBlend(rt.destBlend, false) || !ValidBlend(rt.srcBlendAlpha, true) ||
        !ValidBlend(rt.destBlendAlpha, true) || !ValidOp(rt.blendOp) || !ValidOp(rt.blendOpAlpha))
      return E_INVALIDARG;
  }
  return S_OK;
}

HRESULT CheckInputLayout(const GpuInputElementDesc* elements, UINT count, UINT* positionOffset,
                         UINT* texcoordOffset) {
  if (!elements || count == 0) return E_INVALIDARG;
  UINT next[kInputSlots] = {};
  bool position = false;
  bool texcoord = false;
  for (UINT i = 0; i < count; ++i) {
    const GpuInputElementDesc& e = elements[i];
    const UINT bytes = FormatBytes(e.format);
    // The twin draws no instances: every field is per vertex.
    if (!e.semanticName || bytes == 0 || e.inputSlot >= kInputSlots || e.inputSlotClass != kGpuInputPerVertexData)
      return E_INVALIDARG;
    const UINT at = e.alignedByteOffset == kGpuAppendAligned ? next[e.inputSlot] : e.alignedByteOffset;
    next[e.inputSlot] = at + bytes;
    if (e.semanticIndex != 0 || e.inputSlot != 0) continue;
    if (SameName(e.semanticName, "POSITION") && e.format == GpuFormat::R32G32B32Float) {
      position = true;
      *positionOffset = at;
    } else if (SameName(e.semanticName, "TEXCOORD") && e.format == GpuFormat::R32G32Float) {
      texcoord = true;
      *texcoordOffset = at;
    }
  }
  // The vertex program reads both fields, from slot 0.
  return position && texcoord ? S_OK : E_INVALIDARG;
}

}  // namespace cvplat::cpugpu
