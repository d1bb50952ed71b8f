// The pointer's picture on an X display, through the XFixes extension.
#pragma once

#include <memory>

#include "platform/cursor.h"

namespace cvplat {

// The pointer of the display that DISPLAY names, on a connection of its own; null when the display
// can't be opened or its server has no XFixes 2 (no pointer identity to tell shapes apart).
std::shared_ptr<ICursor> OpenX11Cursor();

}  // namespace cvplat
