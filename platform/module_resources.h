// Files kept among this module's resources, by id, under the resource type "CUSTOM". On Windows they
// are the module's resources; on Linux the build embeds the same files into the library.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/com_types.h"

namespace cvplat {

// What the system answers for an id that no resource of the type has.
inline constexpr HRESULT CV_E_RESOURCE_NOT_FOUND = static_cast<HRESULT>(0x80070716u);

// The bytes of resource `id`; the system's error (0x80070716 where no such resource exists) otherwise.
HRESULT FindModuleResource(uint32_t id, std::vector<uint8_t>* bytes);

}  // namespace cvplat
