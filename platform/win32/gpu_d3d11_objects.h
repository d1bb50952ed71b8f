// The objects of the Direct3D 11 device behind the seam: each holds its native object, and the context
// takes the native one back out. The seam's descriptions are Direct3D's field for field, so they pass
// through with their values.
#pragma once

#include <d3d11.h>

#include "platform/auto_obj.h"
#include "platform/gpu.h"
#include "platform/win32/gpu_d3d11_programs.h"

namespace cvplat::d3d11 {

D3D11_TEXTURE2D_DESC ToNative(const GpuTexture2DDesc& desc);
GpuTexture2DDesc FromNative(const D3D11_TEXTURE2D_DESC& desc);
D3D11_BUFFER_DESC ToNative(const GpuBufferDesc& desc);
GpuBufferDesc FromNative(const D3D11_BUFFER_DESC& desc);

// The native object of a seam object, with a reference of its own so the wrapper may go first.
template <class Itf, class N>
class Wrapped final : public AutoObjBase<Wrapped<Itf, N>, Itf> {
 public:
  using Seam = Itf;
  explicit Wrapped(N* native) : native_(native) {}
  N* Native() const { return native_.Get(); }

 private:
  const TRefPtr<N> native_;
};

class D3dTexture final : public AutoObjBase<D3dTexture, IGpuTexture2D> {
 public:
  explicit D3dTexture(ID3D11Texture2D* native);
  // Also answers for the native texture, so that code beside the device (a GDI shot) can reach it
  // without knowing which device made the seam's texture.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  GpuResourceDimension GetType() override { return GpuResourceDimension::Texture2D; }
  void GetDesc(GpuTexture2DDesc* desc) override {
    if (desc) *desc = desc_;
  }
  ID3D11Texture2D* Native() const { return native_.Get(); }

 private:
  const TRefPtr<ID3D11Texture2D> native_;
  GpuTexture2DDesc desc_;
};

class D3dBuffer final : public AutoObjBase<D3dBuffer, IGpuBuffer> {
 public:
  explicit D3dBuffer(ID3D11Buffer* native);
  GpuResourceDimension GetType() override { return GpuResourceDimension::Buffer; }
  void GetDesc(GpuBufferDesc* desc) override {
    if (desc) *desc = desc_;
  }
  ID3D11Buffer* Native() const { return native_.Get(); }

 private:
  const TRefPtr<ID3D11Buffer> native_;
  GpuBufferDesc desc_;
};

using D3dShaderResourceView = Wrapped<IGpuShaderResourceView, ID3D11ShaderResourceView>;
using D3dRenderTargetView = Wrapped<IGpuRenderTargetView, ID3D11RenderTargetView>;
using D3dSamplerState = Wrapped<IGpuSamplerState, ID3D11SamplerState>;
using D3dBlendState = Wrapped<IGpuBlendState, ID3D11BlendState>;
using D3dInputLayout = Wrapped<IGpuInputLayout, ID3D11InputLayout>;

class D3dProgram final : public AutoObjBase<D3dProgram, IGpuProgram> {
 public:
  D3dProgram(GpuProgramId program, ProgramCode bytecode, ID3D11VertexShader* vertex, ID3D11PixelShader* pixel)
      : id(program), code(std::move(bytecode)), vertexShader(vertex), pixelShader(pixel) {}
  const GpuProgramId id;
  const ProgramCode code;  // the vertex program's, which an input layout is checked against
  const TRefPtr<ID3D11VertexShader> vertexShader;
  const TRefPtr<ID3D11PixelShader> pixelShader;
};

// The native object behind a seam object of this device; null for null.
ID3D11Resource* NativeResource(IGpuResource* resource);
template <class Wrapper>
auto NativeOf(typename Wrapper::Seam* object) {
  return object ? static_cast<Wrapper*>(object)->Native() : nullptr;
}

}  // namespace cvplat::d3d11
