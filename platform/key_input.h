// The keyboard and the mouse buttons as the overlays need them: for each of the 256 virtual keys of the
// Windows numbering (1 and 2 are the left and right mouse buttons), whether it is down or went down
// since the last look, and a readable name.
//
// Threads: the capture thread polls on every pass.
#pragma once

#include <cstdint>
#include <string>

namespace cvplat {

struct IKeyInput {
  virtual ~IKeyInput() = default;
  // True while virtual key `vk` is down, and once more after a press that began and ended since the
  // previous call for that key, so a press shorter than a frame still shows.
  virtual bool KeyDown(uint32_t vk) = 0;
  // The key's name in the keyboard layout, the same for the left and right variants; empty for a key
  // without one (the mouse buttons among them).
  virtual std::wstring KeyName(uint32_t vk) = 0;
};

}  // namespace cvplat
