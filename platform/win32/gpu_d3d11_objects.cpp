#include "platform/win32/gpu_d3d11_objects.h"

namespace cvplat::d3d11 {

D3D11_TEXTURE2D_DESC ToNative(const GpuTexture2DDesc& d) {
  D3D11_TEXTURE2D_DESC n{};
  n.Width = d.width;
  n.Height = d.height;
  n.MipLevels = d.mipLevels;
  n.ArraySize = d.arraySize;
  n.Format = static_cast<DXGI_FORMAT>(d.format);
  n.SampleDesc = {d.sampleDesc.count, d.sampleDesc.quality};
  n.Usage = static_cast<D3D11_USAGE>(d.usage);
  n.BindFlags = d.bindFlags;
  n.CPUAccessFlags = d.cpuAccessFlags;
  n.MiscFlags = d.miscFlags;
  return n;
}

GpuTexture2DDesc FromNative(const D3D11_TEXTURE2D_DESC& n) {
  GpuTexture2DDesc d;
  d.width = n.Width;
  d.height = n.Height;
  d.mipLevels = n.MipLevels;
  d.arraySize = n.ArraySize;
  d.format = static_cast<GpuFormat>(n.Format);
  d.sampleDesc = {n.SampleDesc.Count, n.SampleDesc.Quality};
  d.usage = static_cast<GpuUsage>(n.Usage);
  d.bindFlags = n.BindFlags;
  d.cpuAccessFlags = n.CPUAccessFlags;
  d.miscFlags = n.MiscFlags;
  return d;
}

D3D11_BUFFER_DESC ToNative(const GpuBufferDesc& d) {
  D3D11_BUFFER_DESC n{};
  n.ByteWidth = d.byteWidth;
  n.Usage = static_cast<D3D11_USAGE>(d.usage);
  n.BindFlags = d.bindFlags;
  n.CPUAccessFlags = d.cpuAccessFlags;
  n.MiscFlags = d.miscFlags;
  n.StructureByteStride = d.structureByteStride;
  return n;
}

GpuBufferDesc FromNative(const D3D11_BUFFER_DESC& n) {
  GpuBufferDesc d;
  d.byteWidth = n.ByteWidth;
  d.usage = static_cast<GpuUsage>(n.Usage);
  d.bindFlags = n.BindFlags;
  d.cpuAccessFlags = n.CPUAccessFlags;
  d.miscFlags = n.MiscFlags;
  d.structureByteStride = n.StructureByteStride;
  return d;
}

D3dTexture::D3dTexture(ID3D11Texture2D* native) : native_(native) {
  D3D11_TEXTURE2D_DESC n{};
  native->GetDesc(&n);
  desc_ = FromNative(n);
}

HRESULT STDMETHODCALLTYPE D3dTexture::QueryInterface(REFIID riid, void** object) {
  if (object && IsEqualIID(riid, __uuidof(ID3D11Texture2D))) {
    native_->AddRef();
    *object = native_.Get();
    return S_OK;
  }
  return AutoObjBase::QueryInterface(riid, object);
}

D3dBuffer::D3dBuffer(ID3D11Buffer* native) : native_(native) {
  D3D11_BUFFER_DESC n{};
  native->GetDesc(&n);
  desc_ = FromNative(n);
}

ID3D11Resource* NativeResource(IGpuResource* resource) {
  if (!resource) return nullptr;
  if (resource->GetType() == GpuResourceDimension::Texture2D)
    return static_cast<D3dTexture*>(static_cast<IGpuTexture2D*>(resource))->Native();
  return static_cast<D3dBuffer*>(static_cast<IGpuBuffer*>(resource))->Native();
}

}  // namespace cvplat::d3d11
