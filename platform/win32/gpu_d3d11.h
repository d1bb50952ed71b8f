// The gpu seam on Direct3D 11: the native device of Windows builds (CreateGpuDevice), by name for tests
// that compare it with the CPU twin, and the device contexts of its GDI-compatible textures, into which
// GDI draws shots.
#pragma once

#include "platform/gpu.h"

namespace cvplat {

struct D3d11GpuOptions {
  // The module whose D3DCompile builds the five programs from their text. Every system from 8.1 on has
  // it; where it is missing the device isn't made, and the capture goes on in software.
  const wchar_t* compilerModule = L"d3dcompiler_47.dll";
  // 0: the highest feature level the adapter reaches, from Direct3D's default list. Else that level
  // alone, as a test asks for a 10.0 device to run the shader model 4.0 builds.
  UINT featureLevel = 0;
};

// A device on the default adapter through D3D11CreateDevice, with the context and the feature level.
// A missing Direct3D 11 or compiler module gives the loader's failure (0x8007007E where the file isn't
// there); each out argument may be null.
HRESULT CreateD3d11GpuDevice(const D3d11GpuOptions& options, IGpuDevice** device, UINT* featureLevel,
                             IGpuContext** context);
// Its devices answer QueryInterface for ID3D11Device with the native device, and its textures for
// ID3D11Texture2D; other devices (the CPU twin, a test's wrapper) answer for neither.

// The device context of a texture made GDI compatible (kGpuMiscGdiCompatible) on a Direct3D 11 device,
// for GDI to draw into; `discard` says that the texture's picture needn't be kept. E_NOINTERFACE for a
// texture of another device. The texture may not be used by the context until ReleaseGpuTextureDC.
HRESULT GetGpuTextureDC(IGpuTexture2D* texture, BOOL discard, HDC* dc);
HRESULT ReleaseGpuTextureDC(IGpuTexture2D* texture);

}  // namespace cvplat
