// A desktop for the host tool to record on a machine that has none (a server, a build machine): a
// private X server with a little moving content of its own, so that a capture there shows a picture
// and the marks the capture draws (pointer, highlight, click rings, key line) instead of a black screen.
//
// The content plays a script in time since StartContent, the same on every run:
//   0.0 s   a slate background, a window that glides and changes colour, the pointer (a white arrow with
//           a black edge, hot spot at its tip) at kDemoPointerStart;
//   0.0-1.8 s  the pointer travels along an arc to kDemoPointerRest;
//   0.5 s   a left click; 0.8-1.1 s Shift+A; 1.3 s a right click;
//   2.0 s   the left button goes down at kDemoPointerRest and stays down until the content stops, so
//           that every later frame shows a full left click ring around the resting pointer.
// Only the window keeps moving after 1.8 s.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace cvplat {

struct TDemoPoint {
  int32_t x;
  int32_t y;
};

// The private display's size, and where the script puts the pointer.
constexpr int32_t kDemoDisplayWidth = 1920;
constexpr int32_t kDemoDisplayHeight = 1080;
constexpr TDemoPoint kDemoPointerStart{320, 860};
constexpr TDemoPoint kDemoPointerRest{1440, 810};
// The root's colour, 0xRRGGBB.
constexpr uint32_t kDemoBackground = 0x1E2A3C;

class IDemoDesktop {
 public:
  // Stops the content, then the server (by its process id), and waits for it.
  virtual ~IDemoDesktop() = default;
  // ":N", as DISPLAY now says.
  virtual const std::string& DisplayName() const = 0;
  // Starts the script on a thread with its own connection. False with `error` when the display can't
  // be reached.
  virtual bool StartContent(std::string* error) = 0;
};

// Whether a capture here has no desktop to record: on Linux when DISPLAY is unset or names a display
// that doesn't open (`why` says which). Never on systems that always have a desktop.
bool NeedsDemoDesktop(std::string* why);

// Starts a private X server of kDemoDisplayWidth x kDemoDisplayHeight and points this process's DISPLAY
// at it. Null with `error` when the server can't be run (not installed, or it didn't come up).
std::unique_ptr<IDemoDesktop> StartDemoDesktop(std::string* error);

}  // namespace cvplat
