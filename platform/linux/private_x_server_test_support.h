// Test support: an X server of the test's own (Xvfb on a display number it picks itself), with a window
// manager on it where a test needs one, monitor changes through xrandr, and a client that draws on it.
// A test that changes monitors or runs a window manager does it here, never on the display the other
// tests share. Everything it starts it ends by process id. Linked into tests only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/rect.h"

struct _XDisplay;

namespace cvtest {

struct XServerOptions {
  int32_t width = 656;
  int32_t height = 488;
  bool windowManager = false;  // openbox, ready to manage windows once the constructor returns
};

class PrivateXServer {
 public:
  explicit PrivateXServer(XServerOptions options = {});
  ~PrivateXServer();  // ends the window manager, then the server, and gives its number back
  PrivateXServer(const PrivateXServer&) = delete;
  PrivateXServer& operator=(const PrivateXServer&) = delete;

  // Whether the programs it runs are installed; a test without them is skipped.
  static bool Installed(const char* program);

  // ":N"; empty when the server, or the window manager asked for, didn't start.
  const std::string& Name() const { return display_; }
  // Kills the server, as a crash would, while its clients may still be connected (the window manager
  // goes first). Its display number stays taken until this object goes, so that no other server comes
  // up in its place.
  void Kill();
  // Runs xrandr with `arguments` against this server: its exit status, -1 when it couldn't run.
  int Xrandr(const std::vector<std::string>& arguments) const;

  // Drawing, on a connection of its own; every call waits until the server has done it.
  // The root's background, which the server also paints where a window moves away.
  void SetRootColour(uint32_t rgb);
  void FillRoot(const TRect& rect, uint32_t rgb);
  // A top-level window of one colour, mapped; placed by the window manager where there is one. 0 when
  // it couldn't be made or didn't become visible.
  uint64_t MakeWindow(const TRect& rect, uint32_t rgb);
  // Asks for the window's top left corner at (x, y), as a program moves its own window.
  void MoveWindow(uint64_t window, int32_t x, int32_t y);
  // Asks the window manager to make the window the active one, as a task bar does.
  void Activate(uint64_t window);
  uint64_t ActiveWindow();  // the window manager's active window; 0 for none
  // The window's own area (its frame not included) in root coordinates.
  bool ClientRect(uint64_t window, TRect* rect);

 private:
  bool Start();
  bool StartWindowManager();
  bool Framed(uint64_t window);  // shown in a frame of the window manager's
  _XDisplay* Client();
  unsigned long Pixel(uint32_t rgb);

  XServerOptions options_;
  int server_ = -1;  // process ids
  int manager_ = -1;
  std::string display_;
  std::string socket_;  // a killed server's address and socket file
  int hold_ = -1;       // the socket that keeps its address, and so its number
  _XDisplay* client_ = nullptr;
};

// Points DISPLAY at another server for a scope: the component opens its connections to whatever DISPLAY
// names at the time. Restores the value before (or its absence) on the way out.
class DisplayScope {
 public:
  explicit DisplayScope(const std::string& display);
  ~DisplayScope();
  DisplayScope(const DisplayScope&) = delete;
  DisplayScope& operator=(const DisplayScope&) = delete;

 private:
  bool had_ = false;
  std::string saved_;
};

}  // namespace cvtest
