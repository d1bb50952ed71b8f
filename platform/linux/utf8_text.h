// UTF-8 bytes from the system (file names, window titles) as wide text. Lenient: a byte that doesn't
// start or continue a valid sequence stands for itself, so nothing the system gives is lost.
#pragma once

#include <string>
#include <string_view>

namespace cvplat {

std::wstring WideFromUtf8(std::string_view bytes);

}  // namespace cvplat
