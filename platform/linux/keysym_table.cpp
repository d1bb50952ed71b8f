#include "platform/linux/keysym_table.h"

#include <X11/XF86keysym.h>
#include <X11/keysym.h>

#include <iterator>

namespace cvplat {

namespace {

struct KeysymKey {
  uint32_t keysym;
  uint8_t vk;
};

// Keysyms of keys that don't type a letter or digit. The keypad's navigation keysyms (Num Lock off)
// give the keypad's digits as well, so a key keeps one virtual key whatever the lock says.
constexpr KeysymKey kKeysymKeys[] = {
    {XK_BackSpace, 0x08}, {XK_Tab, 0x09}, {XK_ISO_Left_Tab, 0x09}, {XK_Clear, 0x0C},
    {XK_Return, 0x0D}, {XK_KP_Enter, 0x0D}, {XK_Pause, 0x13}, {XK_Break, 0x13},
    {XK_Caps_Lock, 0x14}, {XK_Escape, 0x1B}, {XK_space, 0x20}, {XK_Prior, 0x21},
    {XK_Next, 0x22}, {XK_End, 0x23}, {XK_Home, 0x24}, {XK_Left, 0x25},
    {XK_Up, 0x26}, {XK_Right, 0x27}, {XK_Down, 0x28}, {XK_Select, 0x29},
    {XK_Execute, 0x2B}, {XK_Print, 0x2C}, {XK_Sys_Req, 0x2C}, {XK_Insert, 0x2D},
    {XK_Delete, 0x2E}, {XK_Help, 0x2F}, {XK_Super_L, 0x5B}, {XK_Super_R, 0x5C},
    {XK_Menu, 0x5D}, {XF86XK_Sleep, 0x5F},
    {XK_KP_0, 0x60}, {XK_KP_1, 0x61}, {XK_KP_2, 0x62}, {XK_KP_3, 0x63}, {XK_KP_4, 0x64},
    {XK_KP_5, 0x65}, {XK_KP_6, 0x66}, {XK_KP_7, 0x67}, {XK_KP_8, 0x68}, {XK_KP_9, 0x69},
    {XK_KP_Insert, 0x60}, {XK_KP_End, 0x61}, {XK_KP_Down, 0x62}, {XK_KP_Next, 0x63}, {XK_KP_Left, 0x64},
    {XK_KP_Begin, 0x65}, {XK_KP_Right, 0x66}, {XK_KP_Home, 0x67}, {XK_KP_Up, 0x68}, {XK_KP_Prior, 0x69},
    {XK_KP_Multiply, 0x6A}, {XK_KP_Add, 0x6B}, {XK_KP_Separator, 0x6C}, {XK_KP_Subtract, 0x6D},
    {XK_KP_Decimal, 0x6E}, {XK_KP_Delete, 0x6E}, {XK_KP_Divide, 0x6F},
    {XK_Num_Lock, 0x90}, {XK_Scroll_Lock, 0x91},
    {XK_Shift_L, 0xA0}, {XK_Shift_R, 0xA1}, {XK_Control_L, 0xA2}, {XK_Control_R, 0xA3},
    {XK_Alt_L, 0xA4}, {XK_Meta_L, 0xA4}, {XK_Alt_R, 0xA5}, {XK_Meta_R, 0xA5}, {XK_ISO_Level3_Shift, 0xA5},
    {XF86XK_Back, 0xA6}, {XF86XK_Forward, 0xA7}, {XF86XK_Refresh, 0xA8}, {XF86XK_Stop, 0xA9},
    {XF86XK_Search, 0xAA}, {XF86XK_Favorites, 0xAB}, {XF86XK_HomePage, 0xAC},
    {XF86XK_AudioMute, 0xAD}, {XF86XK_AudioLowerVolume, 0xAE}, {XF86XK_AudioRaiseVolume, 0xAF},
    {XF86XK_AudioNext, 0xB0}, {XF86XK_AudioPrev, 0xB1}, {XF86XK_AudioStop, 0xB2}, {XF86XK_AudioPlay, 0xB3},
    {XF86XK_Mail, 0xB4}, {XF86XK_AudioMedia, 0xB5}, {XF86XK_Launch0, 0xB6}, {XF86XK_Launch1, 0xB7},
    {XK_semicolon, 0xBA}, {XK_colon, 0xBA}, {XK_equal, 0xBB}, {XK_plus, 0xBB}, {XK_comma, 0xBC},
    {XK_minus, 0xBD}, {XK_period, 0xBE}, {XK_slash, 0xBF}, {XK_grave, 0xC0}, {XK_asciitilde, 0xC0},
    {XK_bracketleft, 0xDB}, {XK_backslash, 0xDC}, {XK_bracketright, 0xDD}, {XK_apostrophe, 0xDE},
    {XK_less, 0xE2},
};

// Evdev key numbers of the main block (the X keycode less 8) and what a US keyboard has there.
constexpr KeysymKey kKeyPositions[] = {
    {2, '1'}, {3, '2'}, {4, '3'}, {5, '4'}, {6, '5'}, {7, '6'}, {8, '7'}, {9, '8'}, {10, '9'}, {11, '0'},
    {12, 0xBD}, {13, 0xBB},
    {16, 'Q'}, {17, 'W'}, {18, 'E'}, {19, 'R'}, {20, 'T'}, {21, 'Y'}, {22, 'U'}, {23, 'I'}, {24, 'O'},
    {25, 'P'}, {26, 0xDB}, {27, 0xDD},
    {30, 'A'}, {31, 'S'}, {32, 'D'}, {33, 'F'}, {34, 'G'}, {35, 'H'}, {36, 'J'}, {37, 'K'}, {38, 'L'},
    {39, 0xBA}, {40, 0xDE}, {41, 0xC0}, {43, 0xDC},
    {44, 'Z'}, {45, 'X'}, {46, 'C'}, {47, 'V'}, {48, 'B'}, {49, 'N'}, {50, 'M'}, {51, 0xBC}, {52, 0xBE},
    {53, 0xBF}, {86, 0xE2},
};

uint32_t Find(const KeysymKey* begin, const KeysymKey* end, uint32_t key) {
  for (const KeysymKey* k = begin; k != end; ++k)
    if (k->keysym == key) return k->vk;
  return 0;
}

// The names of the keys that don't type a character. The key-name text goes by scan code without the
// extended flag, so a navigation key shares the name of the keypad key with its scan code, Num Lock
// shares Pause's, and the Windows and menu keys have none.
const wchar_t* FixedName(uint32_t vk) {
  static const wchar_t* const kFunctionKeys[24] = {
      L"F1",  L"F2",  L"F3",  L"F4",  L"F5",  L"F6",  L"F7",  L"F8",  L"F9",  L"F10", L"F11", L"F12",
      L"F13", L"F14", L"F15", L"F16", L"F17", L"F18", L"F19", L"F20", L"F21", L"F22", L"F23", L"F24"};
  static const wchar_t* const kKeypadDigits[10] = {L"Num 0", L"Num 1", L"Num 2", L"Num 3", L"Num 4",
                                                   L"Num 5", L"Num 6", L"Num 7", L"Num 8", L"Num 9"};
  if (vk >= 0x70 && vk <= 0x87) return kFunctionKeys[vk - 0x70];
  if (vk >= 0x60 && vk <= 0x69) return kKeypadDigits[vk - 0x60];
  switch (vk) {
    case 0x08: return L"Backspace";
    case 0x09: return L"Tab";
    case 0x0C: return L"Num 5";
    case 0x0D: return L"Enter";
    case 0x10: case 0xA0: case 0xA1: return L"Shift";
    case 0x11: case 0xA2: case 0xA3: return L"Ctrl";
    case 0x12: case 0xA4: case 0xA5: return L"Alt";
    case 0x13: case 0x90: return L"Pause";
    case 0x14: return L"Caps Lock";
    case 0x1B: return L"Esc";
    case 0x20: return L"Space";
    case 0x21: return L"Num 9";
    case 0x22: return L"Num 3";
    case 0x23: return L"Num 1";
    case 0x24: return L"Num 7";
    case 0x25: return L"Num 4";
    case 0x26: return L"Num 8";
    case 0x27: return L"Num 6";
    case 0x28: return L"Num 2";
    case 0x2C: return L"Sys Req";
    case 0x2D: return L"Num 0";
    case 0x2E: case 0x6E: return L"Num Del";
    case 0x6A: return L"Num *";
    case 0x6B: return L"Num +";
    case 0x6D: return L"Num -";
    case 0x6F: return L"/";  // the scan code of the main block's slash key
    case 0x91: return L"Scroll Lock";
    default: return nullptr;
  }
}

// What a US keyboard types on the keys that type a character; 0 for other keys.
wchar_t UsCharacter(uint32_t vk) {
  if ((vk >= '0' && vk <= '9') || (vk >= 'A' && vk <= 'Z')) return static_cast<wchar_t>(vk);
  switch (vk) {
    case 0xBA: return L';';
    case 0xBB: return L'=';
    case 0xBC: return L',';
    case 0xBD: return L'-';
    case 0xBE: return L'.';
    case 0xBF: return L'/';
    case 0xC0: return L'`';
    case 0xDB: return L'[';
    case 0xDC: return L'\\';
    case 0xDD: return L']';
    case 0xDE: return L'\'';
    case 0xE2: return L'\\';
    default: return 0;
  }
}

// The character a keysym types, for the printable ones of Latin-1 and those that carry their code
// point; 0 for the rest.
wchar_t CharacterOf(uint32_t keysym) {
  if ((keysym > 0x20 && keysym < 0x7F) || (keysym > 0xA0 && keysym <= 0xFF)) return static_cast<wchar_t>(keysym);
  if ((keysym & 0xFF000000u) == 0x01000000u) {
    const uint32_t code = keysym & 0x00FFFFFFu;
    if (code > 0x20 && code <= 0x10FFFF && !(code >= 0x7F && code <= 0xA0)) return static_cast<wchar_t>(code);
  }
  return 0;
}

wchar_t Capital(wchar_t c) {
  if (c >= L'a' && c <= L'z') return static_cast<wchar_t>(c - 0x20);
  if (c >= 0xE0 && c <= 0xFE && c != 0xF7) return static_cast<wchar_t>(c - 0x20);  // Latin-1
  return c;
}

}  // namespace

uint32_t VirtualKeyOfKeysym(uint32_t keysym) {
  if ((keysym >= XK_0 && keysym <= XK_9) || (keysym >= XK_A && keysym <= XK_Z)) return keysym;
  if (keysym >= XK_a && keysym <= XK_z) return keysym - (XK_a - XK_A);
  if (keysym >= XK_F1 && keysym <= XK_F24) return 0x70 + (keysym - XK_F1);
  return Find(std::begin(kKeysymKeys), std::end(kKeysymKeys), keysym);
}

uint32_t VirtualKeyOfKeyPosition(uint32_t keycode) {
  return keycode < 8 ? 0 : Find(std::begin(kKeyPositions), std::end(kKeyPositions), keycode - 8);
}

uint32_t GeneralKeyOf(uint32_t vk) { return vk >= 0xA0 && vk <= 0xA5 ? 0x10 + (vk - 0xA0) / 2 : 0; }

uint32_t VirtualKeyOfButton(uint32_t button) {
  switch (button) {
    case 1: return kVkLeftButton;
    case 2: return kVkMiddleButton;
    case 3: return kVkRightButton;
    case 8: return kVkXButton1;
    case 9: return kVkXButton2;
    default: return 0;
  }
}

std::wstring VirtualKeyName(uint32_t vk, uint32_t keysym) {
  if (const wchar_t* name = FixedName(vk)) return name;
  const wchar_t us = UsCharacter(vk);
  if (!us) return {};
  const wchar_t typed = CharacterOf(keysym);
  return std::wstring(1, Capital(typed ? typed : us));
}

}  // namespace cvplat
