// The pointer's picture on a Windows desktop, through the cursor and icon calls of the window manager.
#pragma once

#include <memory>

#include "platform/cursor.h"

namespace cvplat {

// The pointer of the input desktop as the foreground window's thread shows it.
std::shared_ptr<ICursor> OpenWin32Cursor();

}  // namespace cvplat
