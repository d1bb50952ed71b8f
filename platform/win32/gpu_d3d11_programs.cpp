#include "platform/win32/gpu_d3d11_programs.h"

#include <windows.h>

#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <tuple>

#include "platform/win32/gpu_d3d11_shader_text.h"

namespace cvplat::d3d11 {
namespace {

const char* SourceName(GpuProgramId id) {
  switch (id) {
    case GpuProgramId::Vertex: return "vertex";
    case GpuProgramId::Overlay: return "overlay";
    case GpuProgramId::ColouredOverlay: return "coloured_overlay";
    case GpuProgramId::Argb: return "argb";
    case GpuProgramId::Hdyc: return "hdyc";
  }
  return nullptr;
}

const char* SourceText(const char* name) {
  for (const cvembed::EmbeddedText& t : cvembed::kTexts)
    if (std::strcmp(t.name, name) == 0) return t.text;
  return nullptr;
}

std::mutex& CacheLock() {
  static std::mutex lock;
  return lock;
}

// Modules are never unloaded: a compiled program holds nothing of them, but a second device would only
// load them again.
std::map<std::wstring, pD3DCompile>& Compilers() {
  static std::map<std::wstring, pD3DCompile> compilers;
  return compilers;
}

std::map<std::tuple<pD3DCompile, UINT, bool>, ProgramCode>& Programs() {
  static std::map<std::tuple<pD3DCompile, UINT, bool>, ProgramCode> programs;
  return programs;
}

}  // namespace

HRESULT LoadShaderCompiler(const wchar_t* module, pD3DCompile* compile) {
  if (!module || !compile) return E_INVALIDARG;
  *compile = nullptr;
  std::lock_guard lock(CacheLock());
  try {
    auto& compilers = Compilers();
    if (const auto found = compilers.find(module); found != compilers.end()) {
      *compile = found->second;
      return S_OK;
    }
    const HMODULE library = LoadLibraryW(module);
    if (!library) return HRESULT_FROM_WIN32(GetLastError());
    const auto entry = reinterpret_cast<pD3DCompile>(reinterpret_cast<void*>(GetProcAddress(library, "D3DCompile")));
    if (!entry) {
      const DWORD error = GetLastError();
      FreeLibrary(library);
      return HRESULT_FROM_WIN32(error);
    }
    compilers.emplace(module, entry);
    *compile = entry;
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT CompileProgram(pD3DCompile compile, GpuProgramId id, UINT featureLevel, ProgramCode* code) {
  if (!compile || !code) return E_INVALIDARG;
  code->reset();
  const char* name = SourceName(id);
  const char* text = name ? SourceText(name) : nullptr;
  if (!text) return E_INVALIDARG;
  const bool model5 = featureLevel >= kGpuFeatureLevel11_0;
  const bool vertex = id == GpuProgramId::Vertex;
  const char* target = vertex ? (model5 ? "vs_5_0" : "vs_4_0") : (model5 ? "ps_5_0" : "ps_4_0");

  std::lock_guard lock(CacheLock());
  try {
    const auto key = std::make_tuple(compile, static_cast<UINT>(id), model5);
    auto& programs = Programs();
    if (const auto found = programs.find(key); found != programs.end()) {
      *code = found->second;
      return S_OK;
    }
    // IEEE strictness keeps the compiler from reordering or fusing the arithmetic, so the programs
    // compute what the CPU twin computes step for step.
    ID3DBlob* blob = nullptr;
    ID3DBlob* errors = nullptr;
    const HRESULT hr = compile(text, std::strlen(text), name, nullptr, nullptr, "main", target,
                               D3DCOMPILE_IEEE_STRICTNESS | D3DCOMPILE_ENABLE_STRICTNESS, 0, &blob, &errors);
    if (errors) errors->Release();
    if (FAILED(hr) || !blob) {
      if (blob) blob->Release();
      return FAILED(hr) ? hr : E_FAIL;
    }
    const auto* bytes = static_cast<const uint8_t*>(blob->GetBufferPointer());
    ProgramCode made;
    try {
      made = std::make_shared<const std::vector<uint8_t>>(bytes, bytes + blob->GetBufferSize());
    } catch (...) {
      blob->Release();
      throw;
    }
    blob->Release();
    programs.emplace(key, made);
    *code = std::move(made);
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace cvplat::d3d11
