#include "platform/linux/x11_error_trap.h"

#include <X11/Xlib.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace cvplat {

namespace {

std::mutex& Lock() {
  static std::mutex lock;
  return lock;
}

// The trapped connections with their last error; a handful at most, so a plain list.
std::vector<std::pair<Display*, int>>& Trapped() {
  static std::vector<std::pair<Display*, int>> trapped;
  return trapped;
}

XErrorHandler previousHandler = nullptr;

int KeepError(Display* display, XErrorEvent* error) {
  XErrorHandler previous = nullptr;
  {
    std::lock_guard<std::mutex> hold(Lock());
    for (auto& [d, code] : Trapped()) {
      if (d == display) {
        code = error->error_code;
        return 0;
      }
    }
    previous = previousHandler;
  }
  return previous ? previous(display, error) : 0;
}

}  // namespace

void TrapConnectionErrors(_XDisplay* display) {
  if (!display) return;
  std::lock_guard<std::mutex> hold(Lock());
  // A host that set a handler of its own since the last time gets ours in front of it again, and its
  // own connections' errors still reach it.
  const XErrorHandler current = XSetErrorHandler(KeepError);
  if (current != KeepError) previousHandler = current;
  Trapped().emplace_back(display, 0);
}

void ReleaseConnectionErrors(_XDisplay* display) {
  std::lock_guard<std::mutex> hold(Lock());
  auto& trapped = Trapped();
  trapped.erase(std::remove_if(trapped.begin(), trapped.end(), [&](const auto& t) { return t.first == display; }),
                trapped.end());
}

int TakeConnectionError(_XDisplay* display) {
  std::lock_guard<std::mutex> hold(Lock());
  for (auto& [d, code] : Trapped())
    if (d == display) return std::exchange(code, 0);
  return 0;
}

}  // namespace cvplat
