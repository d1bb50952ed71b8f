// X keys in the virtual-key numbering of the key seam (Windows' own), and the names keys have there.
#pragma once

#include <cstdint>
#include <string>

namespace cvplat {

inline constexpr uint32_t kVkLeftButton = 0x01;
inline constexpr uint32_t kVkRightButton = 0x02;
inline constexpr uint32_t kVkMiddleButton = 0x04;
inline constexpr uint32_t kVkXButton1 = 0x05;
inline constexpr uint32_t kVkXButton2 = 0x06;

// The virtual key a keysym stands for; 0 for one without. Letters in either case give 'A' .. 'Z'; the
// keypad's keys give the keypad's virtual keys whatever Num Lock says; the left and right modifiers
// give their side keys (0xA0 .. 0xA5).
uint32_t VirtualKeyOfKeysym(uint32_t keysym);

// The virtual key at the place of X keycode `keycode` on a US keyboard, for keys of the main block
// (letters, digits, punctuation) whose keysyms name none, such as the letters of another script; 0
// elsewhere. Keycodes as the evdev rules number them, the server's usual ones.
uint32_t VirtualKeyOfKeyPosition(uint32_t keycode);

// The general key that a side modifier holds as well (0x10 Shift, 0x11 Ctrl, 0x12 Alt); 0 for others.
uint32_t GeneralKeyOf(uint32_t vk);

// The virtual key of a physical mouse button (1 left, 2 middle, 3 right, 8 and 9 the side buttons);
// 0 for the wheel's steps and others.
uint32_t VirtualKeyOfButton(uint32_t button);

// The name of virtual key `vk` as the key-name text of a US layout gives it for the key's scan code:
// "Shift", "Ctrl", "Alt", "Enter", "Space", "F5"; the navigation keys read as their twins on the keypad
// ("Num 4" for the left arrow), as there. A key that types a character is named by that character in
// capitals, taken from `keysym`, what the key types unshifted in the current layout (0 where there is
// no such key: then the US character). Empty for the mouse buttons and keys without a name.
std::wstring VirtualKeyName(uint32_t vk, uint32_t keysym);

}  // namespace cvplat
