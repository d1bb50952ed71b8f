// The duplication of an output through DXGI: the adapter of the gpu device's own Direct3D 11 device, its
// outputs in DXGI's order, and the system's duplication of one of them, whose images are textures of that
// device. A device that isn't Direct3D's has no adapter to ask.
#pragma once

#include <memory>

#include "platform/desktop.h"

namespace cvplat {

std::shared_ptr<IDuplicationSource> DxgiDuplicationSource();

}  // namespace cvplat
