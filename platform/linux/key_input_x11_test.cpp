// The keys and buttons through XInput 2 on a real X server, driven by XTest: taps between polls, held
// keys and their general modifiers, clicks, and the names of keys in the server's layout.
// gtest comes first: Xlib defines macros such as None and Bool that its templates would trip on.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/linux/key_input_x11.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace cvplat {
namespace {

struct Injector {
  Display* display = XOpenDisplay(nullptr);
  ~Injector() {
    if (display) XCloseDisplay(display);
  }
  void Key(KeySym keysym, bool down) {
    XTestFakeKeyEvent(display, XKeysymToKeycode(display, keysym), down, CurrentTime);
    XSync(display, False);
  }
  void Tap(KeySym keysym) {
    Key(keysym, true);
    Key(keysym, false);
  }
  void Button(unsigned button, bool down) {
    XTestFakeButtonEvent(display, button, down, CurrentTime);
    XSync(display, False);
  }
};

TEST(X11Keys, SeesTapsBetweenPollsHeldKeysAndClicks) {
  Injector x;
  if (!x.display) GTEST_SKIP() << "no X display";
  const std::shared_ptr<IKeyInput> keys = OpenX11KeyInput();
  ASSERT_TRUE(keys);
  EXPECT_FALSE(keys->KeyDown('A'));

  // Down and up before the next poll: seen once.
  x.Tap(XK_a);
  EXPECT_TRUE(keys->KeyDown('A'));
  EXPECT_FALSE(keys->KeyDown('A'));
  // A tap stays for its own key's poll, however many polls of other keys come first.
  x.Tap(XK_b);
  EXPECT_FALSE(keys->KeyDown('A'));
  EXPECT_FALSE(keys->KeyDown('A'));
  EXPECT_TRUE(keys->KeyDown('B'));
  EXPECT_FALSE(keys->KeyDown('B'));

  // A held left Shift is its side key and the general one, poll after poll, until it is let go.
  x.Key(XK_Shift_L, true);
  for (int sweep = 0; sweep < 3; ++sweep) {
    EXPECT_TRUE(keys->KeyDown(0x10));
    EXPECT_TRUE(keys->KeyDown(0xA0));
    EXPECT_FALSE(keys->KeyDown(0xA1));
  }
  x.Key(XK_Shift_L, false);
  EXPECT_FALSE(keys->KeyDown(0x10));
  EXPECT_FALSE(keys->KeyDown(0xA0));
  // A right Control tapped between polls counts for Control as well.
  x.Tap(XK_Control_R);
  EXPECT_TRUE(keys->KeyDown(0x11));
  EXPECT_TRUE(keys->KeyDown(0xA3));
  EXPECT_FALSE(keys->KeyDown(0xA2));

  // A held right button until it is let go; a left click between polls once; the middle one is 4. (A
  // poll of a key above the last one asked shares that poll's look at the server, as the polls of one
  // sweep do: each check here starts at a key below the one before.)
  x.Button(3, true);
  EXPECT_TRUE(keys->KeyDown(2));
  EXPECT_TRUE(keys->KeyDown(2));
  x.Button(3, false);
  EXPECT_FALSE(keys->KeyDown(2));
  x.Button(1, true);
  x.Button(1, false);
  EXPECT_TRUE(keys->KeyDown(1));
  EXPECT_FALSE(keys->KeyDown(1));
  x.Button(2, true);
  x.Button(2, false);
  EXPECT_FALSE(keys->KeyDown(1));
  EXPECT_TRUE(keys->KeyDown(4));
  EXPECT_FALSE(keys->KeyDown(256));
}

TEST(X11Keys, NamesKeysAsTheKeyNameTextDoes) {
  Injector x;
  if (!x.display) GTEST_SKIP() << "no X display";
  const std::shared_ptr<IKeyInput> keys = OpenX11KeyInput();
  ASSERT_TRUE(keys);
  // Modifiers by their general name on either side; the mouse buttons have none.
  for (uint32_t vk : {0x10u, 0xA0u, 0xA1u}) EXPECT_EQ(keys->KeyName(vk), L"Shift");
  EXPECT_EQ(keys->KeyName(0xA3), L"Ctrl");
  EXPECT_EQ(keys->KeyName(0x12), L"Alt");
  for (uint32_t vk : {1u, 2u, 4u}) EXPECT_EQ(keys->KeyName(vk), L"");
  EXPECT_EQ(keys->KeyName('A'), L"A");
  EXPECT_EQ(keys->KeyName('7'), L"7");
  EXPECT_EQ(keys->KeyName(0x74), L"F5");
  EXPECT_EQ(keys->KeyName(0x0D), L"Enter");
  EXPECT_EQ(keys->KeyName(0x20), L"Space");
  // The scan code without its extended flag: the left arrow shares the keypad 4's name.
  EXPECT_EQ(keys->KeyName(0x25), L"Num 4");
  EXPECT_EQ(keys->KeyName(0x64), L"Num 4");

  // A layout that puts another character on the semicolon's key: the key keeps its virtual key by its
  // place, and takes the character's name.
  const KeyCode semicolon = XKeysymToKeycode(x.display, XK_semicolon);
  ASSERT_NE(semicolon, 0);
  EXPECT_EQ(keys->KeyName(0xBA), L";");
  int perKey = 0;
  KeySym* saved = XGetKeyboardMapping(x.display, semicolon, 1, &perKey);
  ASSERT_TRUE(saved);
  KeySym odiaeresis[2] = {XK_odiaeresis, XK_Odiaeresis};
  XChangeKeyboardMapping(x.display, semicolon, 2, odiaeresis, 1);
  XSync(x.display, False);
  keys->KeyDown(0xFF);  // a poll reads the change; the next one, of a lower key, looks afresh
  EXPECT_EQ(keys->KeyName(0xBA), L"\u00D6");
  XTestFakeKeyEvent(x.display, semicolon, True, CurrentTime);
  XTestFakeKeyEvent(x.display, semicolon, False, CurrentTime);
  XSync(x.display, False);
  EXPECT_TRUE(keys->KeyDown(0xBA));
  XChangeKeyboardMapping(x.display, semicolon, perKey, saved, 1);
  XFree(saved);
  XSync(x.display, False);
}

}  // namespace
}  // namespace cvplat
