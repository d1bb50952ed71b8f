// The gpu seam: the part of Direct3D 11 that the hardware loop's pipeline uses, in Direct3D 11's own
// shape, so the pipeline logic is written once and keeps every failure path: each creation returns a
// status the logic sees. Direct3D 11 stands behind it on Windows; the CPU twin (platform/cpu_gpu/) stands
// behind it everywhere and is the reference the Direct3D output is checked against.
//
// Values of the enumerations and flags are Direct3D 11's, so a Direct3D backend passes them through.
// Objects are reference counted as component objects are: whoever gets one in an out argument holds one
// reference. Binding an object to the context adds a reference of the context's own, held until the slot
// is bound to something else or the context goes, so a caller may release an object right after binding
// it. Objects of one device may only be used with that device and its context.
//
// Threads: the device's creation calls may be made from several threads at once (the shot thread makes
// textures while the capture thread draws); the context belongs to one thread at a time.
#pragma once

#include <cstdint>
#include <functional>

#include "platform/com_types.h"

namespace cvplat {

// DXGI formats the pipeline uses: the pixel format of every texture, and the two vertex fields.
enum class GpuFormat : UINT {
  Unknown = 0,
  R32G32B32Float = 6,
  R32G32Float = 16,
  B8G8R8A8Unorm = 87,
};

enum class GpuUsage : UINT { Default = 0, Immutable = 1, Dynamic = 2, Staging = 3 };

// Bind flags.
inline constexpr UINT kGpuBindVertexBuffer = 0x1;
inline constexpr UINT kGpuBindConstantBuffer = 0x4;
inline constexpr UINT kGpuBindShaderResource = 0x8;
inline constexpr UINT kGpuBindRenderTarget = 0x20;
// CPU access flags.
inline constexpr UINT kGpuCpuAccessWrite = 0x10000;
inline constexpr UINT kGpuCpuAccessRead = 0x20000;
// Misc flags: a texture that the desktop's GDI can draw into.
inline constexpr UINT kGpuMiscGdiCompatible = 0x200;

// Feature levels, as 0xMm00.
inline constexpr UINT kGpuFeatureLevel9_3 = 0x9300;
inline constexpr UINT kGpuFeatureLevel10_0 = 0xA000;
inline constexpr UINT kGpuFeatureLevel11_0 = 0xB000;

struct GpuSampleDesc {
  UINT count = 1;
  UINT quality = 0;
};

struct GpuTexture2DDesc {
  UINT width = 0;
  UINT height = 0;
  UINT mipLevels = 1;
  UINT arraySize = 1;
  GpuFormat format = GpuFormat::B8G8R8A8Unorm;
  GpuSampleDesc sampleDesc;
  GpuUsage usage = GpuUsage::Default;
  UINT bindFlags = 0;
  UINT cpuAccessFlags = 0;
  UINT miscFlags = 0;
};

// Initial contents: for a texture `sysMemPitch` is the byte distance between rows of `sysMem`.
struct GpuSubresourceData {
  const void* sysMem = nullptr;
  UINT sysMemPitch = 0;
  UINT sysMemSlicePitch = 0;
};

struct GpuBufferDesc {
  UINT byteWidth = 0;
  GpuUsage usage = GpuUsage::Default;
  UINT bindFlags = 0;
  UINT cpuAccessFlags = 0;
  UINT miscFlags = 0;
  UINT structureByteStride = 0;
};

// A view of a 2D texture (view dimension 4 in both kinds); a null description views the whole texture.
inline constexpr UINT kGpuViewDimensionTexture2D = 4;
struct GpuShaderResourceViewDesc {
  GpuFormat format = GpuFormat::B8G8R8A8Unorm;
  UINT viewDimension = kGpuViewDimensionTexture2D;
  UINT mostDetailedMip = 0;
  UINT mipLevels = 1;
};
struct GpuRenderTargetViewDesc {
  GpuFormat format = GpuFormat::B8G8R8A8Unorm;
  UINT viewDimension = kGpuViewDimensionTexture2D;
  UINT mipSlice = 0;
};

enum class GpuFilter : UINT {
  MinMagMipPoint = 0,
  MinMagPointMipLinear = 0x1,
  MinMagLinearMipPoint = 0x14,
  MinMagMipLinear = 0x15,
  Anisotropic = 0x55,
};
enum class GpuAddressMode : UINT { Wrap = 1, Mirror = 2, Clamp = 3, Border = 4, MirrorOnce = 5 };
enum class GpuComparison : UINT { Never = 1, Always = 8 };

struct GpuSamplerDesc {
  GpuFilter filter = GpuFilter::MinMagMipPoint;
  GpuAddressMode addressU = GpuAddressMode::Clamp;
  GpuAddressMode addressV = GpuAddressMode::Clamp;
  GpuAddressMode addressW = GpuAddressMode::Clamp;
  float mipLodBias = 0.0f;
  UINT maxAnisotropy = 0;
  GpuComparison comparisonFunc = GpuComparison::Never;
  float borderColor[4] = {0, 0, 0, 0};
  float minLod = 0.0f;
  float maxLod = 3.402823466e38f;
};

enum class GpuBlend : UINT {
  Zero = 1,
  One = 2,
  SrcColor = 3,
  InvSrcColor = 4,
  SrcAlpha = 5,
  InvSrcAlpha = 6,
  DestAlpha = 7,
  InvDestAlpha = 8,
  DestColor = 9,
  InvDestColor = 10,
  BlendFactor = 14,
  InvBlendFactor = 15,
};
enum class GpuBlendOp : UINT { Add = 1, Subtract = 2, RevSubtract = 3, Min = 4, Max = 5 };
inline constexpr uint8_t kGpuColorWriteAll = 0xF;  // red 1, green 2, blue 4, alpha 8

struct GpuRenderTargetBlendDesc {
  BOOL blendEnable = 0;
  GpuBlend srcBlend = GpuBlend::One;
  GpuBlend destBlend = GpuBlend::Zero;
  GpuBlendOp blendOp = GpuBlendOp::Add;
  GpuBlend srcBlendAlpha = GpuBlend::One;
  GpuBlend destBlendAlpha = GpuBlend::Zero;
  GpuBlendOp blendOpAlpha = GpuBlendOp::Add;
  uint8_t renderTargetWriteMask = kGpuColorWriteAll;
};
inline constexpr UINT kGpuRenderTargetSlots = 8;
struct GpuBlendDesc {
  BOOL alphaToCoverageEnable = 0;
  BOOL independentBlendEnable = 0;
  GpuRenderTargetBlendDesc renderTarget[kGpuRenderTargetSlots];
};

// One field of a vertex. `alignedByteOffset` kGpuAppendAligned places it right after the one before.
inline constexpr UINT kGpuAppendAligned = 0xFFFFFFFFu;
inline constexpr UINT kGpuInputPerVertexData = 0;
struct GpuInputElementDesc {
  const char* semanticName = nullptr;
  UINT semanticIndex = 0;
  GpuFormat format = GpuFormat::Unknown;
  UINT inputSlot = 0;
  UINT alignedByteOffset = 0;
  UINT inputSlotClass = kGpuInputPerVertexData;
  UINT instanceDataStepRate = 0;
};

enum class GpuTopology : UINT { Undefined = 0, TriangleList = 4 };

struct GpuViewport {
  float topLeftX = 0.0f;
  float topLeftY = 0.0f;
  float width = 0.0f;
  float height = 0.0f;
  float minDepth = 0.0f;
  float maxDepth = 1.0f;
};

// A box of texels: left, top, front inclusive; right, bottom, back exclusive.
struct GpuBox {
  UINT left = 0;
  UINT top = 0;
  UINT front = 0;
  UINT right = 0;
  UINT bottom = 0;
  UINT back = 1;
};

enum class GpuMapType : UINT { Read = 1, Write = 2, ReadWrite = 3, WriteDiscard = 4, WriteNoOverwrite = 5 };
struct GpuMappedSubresource {
  void* data = nullptr;
  UINT rowPitch = 0;
  UINT depthPitch = 0;
};

// The five programs of the pipeline. Programs are made by id, not from compiled code: which build of a
// program a backend loads (shader model 5.0 or 4.0 by the feature level) is the backend's business.
enum class GpuProgramId : UINT {
  Vertex = 0,           // position and texture coordinate pass through
  Overlay = 1,          // the sample of the texture
  ColouredOverlay = 2,  // the texture's first channel as a mask of a colour
  Argb = 3,             // the final pass in 32-bit RGB
  Hdyc = 4,             // the final pass in packed 4:2:2, two pixels in one texel
};

// The constant buffer of the final pass, four-float vectors in this order. The coloured overlay program
// reads only `color`, the ARGB program the first three (48 bytes), the HDYC program all four (64 bytes).
// A program reads zeros past the end of a shorter buffer, and from an unbound slot.
struct PS_BACKCOLOR_BUFFER {
  float color[4];   // red, green, blue, A of the background colour, each byte / 255
  float area[4];    // `visible` normalised to `current`: left, top, right, bottom
  float screen[4];  // `screen` normalised to `current`
  float pitch[4];   // 1 / W, 1 / H, and two floats no program reads
};
static_assert(sizeof(PS_BACKCOLOR_BUFFER) == 64);

// Objects. They have no behaviour of their own but their description.
enum class GpuResourceDimension : UINT { Buffer = 1, Texture2D = 3 };
struct IGpuResource : IUnknown {
  virtual GpuResourceDimension GetType() = 0;

 protected:
  ~IGpuResource() = default;
};
struct IGpuTexture2D : IGpuResource {
  virtual void GetDesc(GpuTexture2DDesc* desc) = 0;

 protected:
  ~IGpuTexture2D() = default;
};
struct IGpuBuffer : IGpuResource {
  virtual void GetDesc(GpuBufferDesc* desc) = 0;

 protected:
  ~IGpuBuffer() = default;
};
struct IGpuShaderResourceView : IUnknown {
 protected:
  ~IGpuShaderResourceView() = default;
};
struct IGpuRenderTargetView : IUnknown {
 protected:
  ~IGpuRenderTargetView() = default;
};
struct IGpuSamplerState : IUnknown {
 protected:
  ~IGpuSamplerState() = default;
};
struct IGpuBlendState : IUnknown {
 protected:
  ~IGpuBlendState() = default;
};
struct IGpuInputLayout : IUnknown {
 protected:
  ~IGpuInputLayout() = default;
};
struct IGpuProgram : IUnknown {
 protected:
  ~IGpuProgram() = default;
};

// The immediate context. Binding calls take `count` objects for the slots from `start`; null pointers
// unbind. A call that names a slot past the last one is ignored, as is a draw without a vertex and a
// pixel program, an input layout, a vertex buffer, a viewport or a render target.
struct IGpuContext : IUnknown {
  virtual void IASetInputLayout(IGpuInputLayout* layout) = 0;
  virtual void IASetVertexBuffers(UINT start, UINT count, IGpuBuffer* const* buffers, const UINT* strides,
                                  const UINT* offsets) = 0;
  virtual void IASetPrimitiveTopology(GpuTopology topology) = 0;
  virtual void VSSetShader(IGpuProgram* program) = 0;
  virtual void PSSetShader(IGpuProgram* program) = 0;
  virtual void PSSetConstantBuffers(UINT start, UINT count, IGpuBuffer* const* buffers) = 0;
  virtual void PSSetShaderResources(UINT start, UINT count, IGpuShaderResourceView* const* views) = 0;
  virtual void PSSetSamplers(UINT start, UINT count, IGpuSamplerState* const* samplers) = 0;
  virtual void RSSetViewports(UINT count, const GpuViewport* viewports) = 0;
  // A null `factor` means 1, 1, 1, 1.
  virtual void OMSetBlendState(IGpuBlendState* state, const float factor[4], UINT sampleMask) = 0;
  virtual void OMSetRenderTargets(UINT count, IGpuRenderTargetView* const* views) = 0;
  virtual void ClearRenderTargetView(IGpuRenderTargetView* view, const float rgba[4]) = 0;
  virtual void Draw(UINT vertexCount, UINT startVertex) = 0;
  // Copies `box` of the source (null: all of it) to (x, y, z) of the destination. An empty box copies
  // nothing.
  virtual void CopySubresourceRegion(IGpuResource* dst, UINT dstSubresource, UINT x, UINT y, UINT z,
                                     IGpuResource* src, UINT srcSubresource, const GpuBox* box) = 0;
  // Read from a staging resource with CPU read access; WriteDiscard for a dynamic one with CPU write
  // access. The memory stays valid until Unmap.
  virtual HRESULT Map(IGpuResource* resource, UINT subresource, GpuMapType type, UINT flags,
                      GpuMappedSubresource* mapped) = 0;
  virtual void Unmap(IGpuResource* resource, UINT subresource) = 0;
  virtual void Flush() = 0;

 protected:
  ~IGpuContext() = default;
};

struct IGpuDevice : IUnknown {
  virtual HRESULT CreateTexture2D(const GpuTexture2DDesc* desc, const GpuSubresourceData* initial,
                                  IGpuTexture2D** texture) = 0;
  virtual HRESULT CreateShaderResourceView(IGpuResource* resource, const GpuShaderResourceViewDesc* desc,
                                           IGpuShaderResourceView** view) = 0;
  virtual HRESULT CreateRenderTargetView(IGpuResource* resource, const GpuRenderTargetViewDesc* desc,
                                         IGpuRenderTargetView** view) = 0;
  virtual HRESULT CreateBuffer(const GpuBufferDesc* desc, const GpuSubresourceData* initial,
                               IGpuBuffer** buffer) = 0;
  virtual HRESULT CreateSamplerState(const GpuSamplerDesc* desc, IGpuSamplerState** sampler) = 0;
  virtual HRESULT CreateBlendState(const GpuBlendDesc* desc, IGpuBlendState** state) = 0;
  // The layout is checked against the vertex program it will feed.
  virtual HRESULT CreateInputLayout(const GpuInputElementDesc* elements, UINT count, IGpuProgram* vertexProgram,
                                    IGpuInputLayout** layout) = 0;
  virtual HRESULT CreateProgram(GpuProgramId id, IGpuProgram** program) = 0;
  virtual UINT GetFeatureLevel() = 0;
  // Protection of the context against use from several threads. E_NOINTERFACE where the device can't
  // give it; the logic then goes on without.
  virtual HRESULT SetMultithreadProtected(BOOL protect) = 0;
  virtual BOOL GetMultithreadProtected() = 0;
  virtual void GetImmediateContext(IGpuContext** context) = 0;

 protected:
  ~IGpuDevice() = default;
};

// Makes a device on the default adapter, with the highest feature level it reaches. Each out argument
// may be null. Direct3D 11 stands here on Windows (platform/win32/gpu_d3d11.h), the CPU twin elsewhere.
HRESULT CreateGpuDevice(IGpuDevice** device, UINT* featureLevel, IGpuContext** context);

// How the logic gets a device: the native CreateGpuDevice, or a test's scripted one.
using GpuDeviceFactory = std::function<HRESULT(IGpuDevice** device, UINT* featureLevel, IGpuContext** context)>;

}  // namespace cvplat
