// The duplication of an X output: the damage extension says whether anything was drawn since the last
// image, and a shot of the whole output (through shared memory) is the image. Pointer motion draws
// nothing, so a pointer that moved counts as a change of the pointer, and the capture never shows it
// frozen over a still desktop. A root that changed size or an output that moved or went away is
// reported as lost access, so that the capture makes its duplication anew.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "platform/desktop.h"

namespace cvplat {

// Each duplication opens a connection of its own on DISPLAY, for its events. `monitors` lists the
// outputs (the desktop's monitors), asked on every acquire.
std::shared_ptr<IDuplicationSource> X11DuplicationSource(std::function<std::vector<MonitorInfo>()> monitors);

}  // namespace cvplat
