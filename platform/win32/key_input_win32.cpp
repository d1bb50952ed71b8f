// The keys through GetAsyncKeyState, whose top bit says "down now" and whose low bit "went down since
// the last call", and their names through the layout's scan codes.
//
// Under Wine a poll that comes within a few tens of milliseconds of the previous one may answer from a
// copy of the key state made then; a press is never lost, but it may show a poll later.
#include "platform/win32/key_input_win32.h"

#include <windows.h>

namespace cvplat {

namespace {

class Win32KeyInput : public IKeyInput {
 public:
  bool KeyDown(uint32_t vk) override {
    if (vk >= 256) return false;
    return (static_cast<uint16_t>(GetAsyncKeyState(static_cast<int>(vk))) & 0x8001u) != 0;
  }

  std::wstring KeyName(uint32_t vk) override {
    if (vk >= 256) return {};
    // A side modifier is named as its general key: the right Shift's scan code has a name of its own.
    if (vk == VK_LSHIFT || vk == VK_RSHIFT) vk = VK_SHIFT;
    if (vk == VK_LCONTROL || vk == VK_RCONTROL) vk = VK_CONTROL;
    if (vk == VK_LMENU || vk == VK_RMENU) vk = VK_MENU;
    const UINT scan = MapVirtualKeyW(vk, MAPVK_VK_TO_VSC);
    // Bit 24 (extended key) clear, bit 25 ("don't care" about left and right) set.
    const LONG key = static_cast<LONG>(((scan & 0xFFu) << 16) | (1u << 25));
    wchar_t name[256] = {};
    const int length = GetKeyNameTextW(key, name, 256);
    return length > 0 ? std::wstring(name, static_cast<size_t>(length)) : std::wstring();
  }
};

}  // namespace

std::shared_ptr<IKeyInput> OpenWin32KeyInput() { return std::make_shared<Win32KeyInput>(); }

}  // namespace cvplat
