// The keys and buttons: the server's key map for the keys down now, and the raw events of XInput 2 for
// the presses between two looks, which the map alone misses, and for the buttons, which it doesn't
// hold. The events come on this connection's queue; the key map's round trip brings in all that the
// server sent before it, so a look is one trip.
//
// The 256 polls of a sweep share one look: a poll looks afresh when it asks for a key not above the one
// asked before (a new sweep begins), or when the last look is older than a frame at 50 frames a second.
// Polls in rising order of keys answer from the look of the first.
#include "platform/linux/key_input_x11.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>

#include <algorithm>
#include <array>
#include <bitset>
#include <chrono>
#include <mutex>

#include "platform/linux/keysym_table.h"
#include "platform/linux/x11_error_trap.h"

namespace cvplat {

namespace {

constexpr auto kLookLifetime = std::chrono::milliseconds(20);

class X11KeyInput : public IKeyInput {
 public:
  // `buttons`: the state of the pointer's buttons when the events began (a mask of XQueryPointer).
  // `xkbEventBase`: where the keyboard extension's events begin, -1 without it.
  X11KeyInput(Display* display, int inputOpcode, int xkbEventBase, unsigned int buttons)
      : display_(display), inputOpcode_(inputOpcode), xkbEventBase_(xkbEventBase) {
    for (unsigned button = 1; button <= 5; ++button)
      buttonsHeld_[button] = (buttons & (Button1Mask << (button - 1))) ? 1 : 0;
    LoadKeyboardMapping();
  }
  X11KeyInput(const X11KeyInput&) = delete;
  X11KeyInput& operator=(const X11KeyInput&) = delete;
  ~X11KeyInput() override { CloseComponentDisplay(display_); }

  bool KeyDown(uint32_t vk) override {
    if (vk >= 256) return false;
    std::lock_guard<std::mutex> hold(lock_);
    if (ConnectionLost(display_)) return false;
    const auto now = std::chrono::steady_clock::now();
    if (vk <= lastAsked_ || now - lookedAt_ > kLookLifetime) Look(now);
    lastAsked_ = vk;
    const bool down = down_[vk] || pressed_[vk];
    pressed_[vk] = false;
    return down;
  }

  std::wstring KeyName(uint32_t vk) override {
    if (vk >= 256) return {};
    std::lock_guard<std::mutex> hold(lock_);
    return VirtualKeyName(vk, keysymOfVk_[vk]);
  }

 private:
  // What is down now, and the presses since the last look; the caller holds the lock.
  void Look(std::chrono::steady_clock::time_point now) {
    lookedAt_ = now;
    down_.reset();
    char keys[32] = {};
    XQueryKeymap(display_, keys);
    // Xlib copies its reply into the map even when none came: after a broken connection it holds
    // whatever was on the stack.
    if (ConnectionLost(display_)) return;
    for (int keycode = 8; keycode < 256; ++keycode)
      if (keys[keycode / 8] & (1 << (keycode % 8))) Mark(down_, vkOfKeycode_[keycode]);
    // Every event the server sent before answering is in the queue by now.
    ReadEvents();
    for (uint32_t button = 1; button < buttonsHeld_.size(); ++button)
      if (buttonsHeld_[button] > 0)
        if (const uint32_t vk = VirtualKeyOfButton(button)) down_[vk] = true;
  }

  void ReadEvents() {
    bool remap = false;
    while (XEventsQueued(display_, QueuedAlready) > 0) {
      XEvent event;
      XNextEvent(display_, &event);
      if (event.type == MappingNotify) {
        XRefreshKeyboardMapping(&event.xmapping);
        remap = remap || event.xmapping.request != MappingPointer;
        continue;
      }
      if (xkbEventBase_ >= 0 && event.type == xkbEventBase_) {
        auto& xkb = reinterpret_cast<XkbEvent&>(event);
        if (xkb.any.xkb_type == XkbMapNotify) XkbRefreshKeyboardMapping(&xkb.map);
        remap = true;
        continue;
      }
      XGenericEventCookie& cookie = event.xcookie;
      if (cookie.type != GenericEvent || cookie.extension != inputOpcode_ || !XGetEventData(display_, &cookie))
        continue;
      const auto* raw = static_cast<const XIRawEvent*>(cookie.data);
      const uint32_t detail = static_cast<uint32_t>(raw->detail);
      // The buttons go by the device's own numbers (a left-handed mapping doesn't swap them), and a
      // button held on two devices at once is held until both let go.
      if (cookie.evtype == XI_RawKeyPress && detail < 256) {
        Mark(pressed_, vkOfKeycode_[detail]);
      } else if (cookie.evtype == XI_RawButtonPress && detail < buttonsHeld_.size()) {
        ++buttonsHeld_[detail];
        if (const uint32_t vk = VirtualKeyOfButton(detail)) pressed_[vk] = true;
      } else if (cookie.evtype == XI_RawButtonRelease && detail < buttonsHeld_.size() && buttonsHeld_[detail] > 0) {
        --buttonsHeld_[detail];
      }
      XFreeEventData(display_, &cookie);
    }
    if (remap) LoadKeyboardMapping();
  }

  // A side modifier holds its general key as well.
  static void Mark(std::bitset<256>& keys, uint32_t vk) {
    if (!vk) return;
    keys[vk] = true;
    if (const uint32_t general = GeneralKeyOf(vk)) keys[general] = true;
  }

  // Each keycode's virtual key from the keysyms the layout puts on it: the unshifted one first, then the
  // shifted one (a French keyboard's digits), then those of the other groups (the Latin letters of a
  // keyboard that types another script), and at last the key's place on the keyboard.
  void LoadKeyboardMapping() {
    vkOfKeycode_.fill(0);
    keysymOfVk_.fill(0);
    int minKeycode = 8, maxKeycode = 255;
    XDisplayKeycodes(display_, &minKeycode, &maxKeycode);
    for (int keycode = std::max(minKeycode, 8); keycode <= std::min(maxKeycode, 255); ++keycode) {
      const auto code = static_cast<KeyCode>(keycode);
      const auto keysym = [&](int group, int level) {
        return static_cast<uint32_t>(XkbKeycodeToKeysym(display_, code, group, level));
      };
      uint32_t vk = VirtualKeyOfKeysym(keysym(0, 0));
      if (!vk) vk = VirtualKeyOfKeysym(keysym(0, 1));
      for (int group = 1; !vk && group < 4; ++group) vk = VirtualKeyOfKeysym(keysym(group, 0));
      if (!vk) vk = VirtualKeyOfKeyPosition(static_cast<uint32_t>(keycode));
      vkOfKeycode_[keycode] = static_cast<uint8_t>(vk);
      if (vk && !keysymOfVk_[vk]) keysymOfVk_[vk] = keysym(0, 0);
    }
  }

  std::mutex lock_;
  Display* display_;
  int inputOpcode_;
  int xkbEventBase_;
  std::array<uint8_t, 256> vkOfKeycode_{};
  std::array<uint32_t, 256> keysymOfVk_{};  // what the first key of each virtual key types unshifted
  std::array<int, 10> buttonsHeld_{};  // by the device's button number
  std::bitset<256> down_;
  std::bitset<256> pressed_;  // went down since the last poll of that key
  uint32_t lastAsked_ = 256;
  std::chrono::steady_clock::time_point lookedAt_{};
};

}  // namespace

std::shared_ptr<IKeyInput> OpenX11KeyInput() {
  // A server of XInput 1 refuses the version query of 2 with an error: the call just fails.
  Display* display = OpenComponentDisplay();
  if (!display) return nullptr;
  int opcode = 0, eventBase = 0, errorBase = 0;
  // Raw events reach a client that isn't grabbing from version 2.1 on.
  int major = 2, minor = 2;
  if (!XQueryExtension(display, "XInputExtension", &opcode, &eventBase, &errorBase) ||
      XIQueryVersion(display, &major, &minor) != Success || (major == 2 && minor < 1)) {
    CloseComponentDisplay(display);
    return nullptr;
  }
  unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
  // Key releases aren't needed: the key map tells which keys are still down; it has no buttons.
  XISetMask(bits, XI_RawKeyPress);
  XISetMask(bits, XI_RawButtonPress);
  XISetMask(bits, XI_RawButtonRelease);
  XIEventMask mask{XIAllMasterDevices, static_cast<int>(sizeof bits), bits};
  XISelectEvents(display, DefaultRootWindow(display), &mask, 1);
  // A client of the keyboard extension hears of a new layout only through the extension's own events.
  int xkbOpcode = 0, xkbEventBase = -1, xkbError = 0, xkbMajor = XkbMajorVersion, xkbMinor = XkbMinorVersion;
  if (XkbQueryExtension(display, &xkbOpcode, &xkbEventBase, &xkbError, &xkbMajor, &xkbMinor)) {
    const unsigned int kinds = XkbNewKeyboardNotifyMask | XkbMapNotifyMask;
    XkbSelectEvents(display, XkbUseCoreKbd, kinds, kinds);
  } else {
    xkbEventBase = -1;
  }
  // The buttons held before the events began; the events tell from here on.
  Window root = None, child = None;
  int rootX = 0, rootY = 0, winX = 0, winY = 0;
  unsigned int buttons = 0;
  XQueryPointer(display, DefaultRootWindow(display), &root, &child, &rootX, &rootY, &winX, &winY, &buttons);
  return std::make_shared<X11KeyInput>(display, opcode, xkbEventBase, buttons);
}

}  // namespace cvplat
