// The keyboard and the mouse buttons of an X display, through the XInput 2 extension.
#pragma once

#include <memory>

#include "platform/key_input.h"

namespace cvplat {

// The keys of the display that DISPLAY names, on a connection of its own that listens to every key and
// button press from now on; null when the display can't be opened or its server has no XInput 2.
std::shared_ptr<IKeyInput> OpenX11KeyInput();

}  // namespace cvplat
