// The monitors of an X screen as RandR tells them: the monitor list of RandR 1.5 where the server has
// it, else one monitor per lit CRTC (RandR 1.2), else the root window as one monitor. libXrandr is
// loaded at run time, so the module neither needs its headers to build nor the library to load.
#pragma once

#include <vector>

// Before Xlib, whose macros (None, Status, Bool) would rename the seams' own words.
#include "platform/desktop.h"
#include "platform/dynamic_library.h"

#include <X11/Xlib.h>

namespace cvplat {

class RandrMonitors {
 public:
  // Looks the library's entries up and asks the server which version it speaks; without the library or
  // the extension only the root is listed.
  void Load(Display* display);

  // The first of the three ways that gives anything.
  std::vector<MonitorInfo> List(Display* display);

  // Each way alone: empty where the server or the library can't answer it.
  std::vector<MonitorInfo> ByMonitorList(Display* display);
  std::vector<MonitorInfo> ByCrtcs(Display* display);
  static std::vector<MonitorInfo> ByRoot(Display* display);

 private:
  DynamicLibrary library_;
  int major_ = 0;
  int minor_ = 0;
  void* getMonitors_ = nullptr;
  void* freeMonitors_ = nullptr;
  void* getResources_ = nullptr;
  void* freeResources_ = nullptr;
  void* getCrtc_ = nullptr;
  void* freeCrtc_ = nullptr;
};

}  // namespace cvplat
