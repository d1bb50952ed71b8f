// The five programs on Direct3D 11: their HLSL text is part of the module and is compiled when a device
// first asks for a program, by D3DCompile of the system's compiler module, for shader model 5.0 on
// feature level 11.0 and up and 4.0 below. No compiler is needed where the module is built, and each
// program is compiled once per process and build.
#pragma once

#include <d3dcompiler.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/gpu.h"

namespace cvplat::d3d11 {

using ProgramCode = std::shared_ptr<const std::vector<uint8_t>>;

// D3DCompile of `module`, loaded on the first call and kept for the process: S_OK, or the failure of
// loading the module or finding the entry.
HRESULT LoadShaderCompiler(const wchar_t* module, pD3DCompile* compile);

// The bytecode of program `id` for a device of `featureLevel`, from `compile`. The compiler's failure
// where the text doesn't compile.
HRESULT CompileProgram(pD3DCompile compile, GpuProgramId id, UINT featureLevel, ProgramCode* code);

}  // namespace cvplat::d3d11
