// The files that the build embeds into the library, where a module of the system carries no resources
// of its own: what FindModuleResource answers from on Linux. The build generates the table.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cvplat {

struct EmbeddedResource {
  uint32_t id;
  const uint8_t* bytes;
  size_t size;
};

extern const EmbeddedResource kEmbeddedResources[];
extern const size_t kEmbeddedResourceCount;

}  // namespace cvplat
