// The keys and buttons through the asynchronous key state, driven by SendInput: taps between polls,
// held keys and their general modifiers, clicks, and the names of keys.
#include <gtest/gtest.h>

#include <windows.h>

#include <memory>
#include <string>

#include "platform/win32/key_input_win32.h"
#include "platform/win32_input_test_support.h"

namespace cvplat {
namespace {

// Wine may answer a poll from a copy of the key state a few tens of milliseconds old: a press shows at
// the latest a poll later, so each first sight is waited for.
bool SeenSoon(IKeyInput& keys, uint32_t vk, bool down) {
  for (int i = 0; i < 200; ++i) {
    if (keys.KeyDown(vk) == down) return true;
    Sleep(10);
  }
  return false;
}

TEST(Win32Keys, SeesTapsHeldKeysAndClicksAndNamesKeys) {
  cvtest::Win32InputDriver input;
  ASSERT_TRUE(input.Ready());
  input.MoveTo(200, 200);  // clicks land on the test's window
  const std::shared_ptr<IKeyInput> keys = OpenWin32KeyInput();
  ASSERT_TRUE(keys);
  ASSERT_TRUE(SeenSoon(*keys, 'A', false));

  // Down and up before the next poll: seen once.
  input.Key('A', true);
  input.Key('A', false);
  EXPECT_TRUE(SeenSoon(*keys, 'A', true));
  EXPECT_FALSE(keys->KeyDown('A'));
  Sleep(60);
  EXPECT_FALSE(keys->KeyDown('A'));

  // A held left Shift is its side key and the general one, poll after poll, until it is let go.
  input.Key(VK_LSHIFT, true);
  EXPECT_TRUE(SeenSoon(*keys, VK_SHIFT, true));
  for (int poll = 0; poll < 3; ++poll) {
    EXPECT_TRUE(keys->KeyDown(VK_SHIFT));
    EXPECT_TRUE(keys->KeyDown(VK_LSHIFT));
    EXPECT_FALSE(keys->KeyDown(VK_RSHIFT));
    Sleep(60);
  }
  input.Key(VK_LSHIFT, false);
  EXPECT_TRUE(SeenSoon(*keys, VK_SHIFT, false));
  EXPECT_TRUE(SeenSoon(*keys, VK_LSHIFT, false));

  // A held right button until it is let go; a left click between polls once.
  input.Key(VK_RBUTTON, true);
  EXPECT_TRUE(SeenSoon(*keys, VK_RBUTTON, true));
  Sleep(60);
  EXPECT_TRUE(keys->KeyDown(VK_RBUTTON));
  input.Key(VK_RBUTTON, false);
  EXPECT_TRUE(SeenSoon(*keys, VK_RBUTTON, false));
  input.Key(VK_LBUTTON, true);
  input.Key(VK_LBUTTON, false);
  EXPECT_TRUE(SeenSoon(*keys, VK_LBUTTON, true));
  EXPECT_FALSE(keys->KeyDown(VK_LBUTTON));
  EXPECT_FALSE(keys->KeyDown(256));

  // Names from the layout: the side modifiers share their general key's, the mouse buttons have none.
  EXPECT_EQ(keys->KeyName('A'), L"A");
  EXPECT_EQ(keys->KeyName('7'), L"7");
  EXPECT_EQ(keys->KeyName(VK_F5), L"F5");
  const std::wstring shift = keys->KeyName(VK_SHIFT);
  EXPECT_EQ(shift.rfind(L"Shift", 0), 0u) << "the Shift key's name is empty or unusual";
  EXPECT_EQ(keys->KeyName(VK_LSHIFT), shift);
  EXPECT_EQ(keys->KeyName(VK_RSHIFT), shift);
  EXPECT_FALSE(keys->KeyName(VK_CONTROL).empty());
  EXPECT_EQ(keys->KeyName(VK_RCONTROL), keys->KeyName(VK_CONTROL));
  EXPECT_EQ(keys->KeyName(VK_RMENU), keys->KeyName(VK_MENU));
  for (uint32_t vk : {1u, 2u, 4u, 256u}) EXPECT_EQ(keys->KeyName(vk), L"");
}

}  // namespace
}  // namespace cvplat
