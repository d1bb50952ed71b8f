#include <new>

#include "platform/linux/embedded_resources.h"
#include "platform/module_resources.h"

namespace cvplat {

HRESULT FindModuleResource(uint32_t id, std::vector<uint8_t>* bytes) {
  if (!bytes) return E_POINTER;
  for (size_t i = 0; i < kEmbeddedResourceCount; ++i) {
    const EmbeddedResource& r = kEmbeddedResources[i];
    if (r.id != id) continue;
    try {
      bytes->assign(r.bytes, r.bytes + r.size);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    return S_OK;
  }
  return CV_E_RESOURCE_NOT_FOUND;
}

}  // namespace cvplat
