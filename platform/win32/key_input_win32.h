// The keyboard and the mouse buttons of a Windows desktop, through the asynchronous key state.
#pragma once

#include <memory>

#include "platform/key_input.h"

namespace cvplat {

std::shared_ptr<IKeyInput> OpenWin32KeyInput();

}  // namespace cvplat
