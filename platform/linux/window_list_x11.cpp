// Top-level windows of the X display: the window manager's client list where it keeps one, else the
// root window's children. Titles and process ids come from the usual window properties; the process's
// file from its link in /proc.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <limits.h>
#include <unistd.h>

#include <string>

#include "platform/linux/utf8_text.h"
#include "platform/linux/x11_error_trap.h"
#include "platform/window_list.h"

namespace cvplat {

namespace {

class Connection {
 public:
  // A window can go away between the listing and the questions about it: the connection is one of the
  // component's own, whose errors make a call fail instead of ending the process.
  Connection() : display_(OpenComponentDisplay()) {}
  ~Connection() { CloseComponentDisplay(display_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  Display* Get() const { return display_; }

 private:
  Display* display_;
};

// The items of a property of format 32 (Xlib hands them out as longs); empty when it isn't there.
std::vector<unsigned long> LongProperty(Display* display, Window window, Atom property, Atom type) {
  std::vector<unsigned long> items;
  if (property == None) return items;
  Atom actualType = None;
  int actualFormat = 0;
  unsigned long count = 0, after = 0;
  unsigned char* data = nullptr;
  if (XGetWindowProperty(display, window, property, 0, 1 << 16, False, type, &actualType, &actualFormat, &count,
                         &after, &data) == Success &&
      data && actualType == type && actualFormat == 32) {
    const auto* values = reinterpret_cast<const unsigned long*>(data);
    items.assign(values, values + count);
  }
  if (data) XFree(data);
  return items;
}

std::wstring Title(Display* display, Window window, Atom netName, Atom utf8) {
  std::wstring title;
  Atom actualType = None;
  int actualFormat = 0;
  unsigned long count = 0, after = 0;
  unsigned char* data = nullptr;
  if (netName != None && utf8 != None &&
      XGetWindowProperty(display, window, netName, 0, 1024, False, utf8, &actualType, &actualFormat, &count, &after,
                         &data) == Success &&
      data && actualType == utf8 && actualFormat == 8) {
    title = WideFromUtf8(std::string_view(reinterpret_cast<const char*>(data), count));
  }
  if (data) XFree(data);
  if (title.empty()) {
    char* name = nullptr;
    if (XFetchName(display, window, &name) && name) {
      title = WideFromUtf8(name);
      XFree(name);
    }
  }
  return title.substr(0, kWindowTextMax);
}

std::wstring ProcessFileName(uint32_t processId) {
  if (processId == 0) return {};
  const std::string link = "/proc/" + std::to_string(processId) + "/exe";
  char buffer[PATH_MAX + 1];
  const ssize_t n = readlink(link.c_str(), buffer, PATH_MAX);
  if (n <= 0) return {};
  return FileNamePart(WideFromUtf8(std::string_view(buffer, static_cast<size_t>(n))));
}

}  // namespace

std::vector<TopWindow> ListTopWindows() {
  // Asked on a host's thread (the window list of the properties): a server that goes away while it is
  // asked must not end the host through SIGPIPE.
  QuietBrokenPipe quiet;
  std::vector<TopWindow> rows;
  Connection connection;
  Display* display = connection.Get();
  if (!display) return rows;

  const Window root = DefaultRootWindow(display);
  const Atom clientList = XInternAtom(display, "_NET_CLIENT_LIST", True);
  const Atom netName = XInternAtom(display, "_NET_WM_NAME", True);
  const Atom utf8 = XInternAtom(display, "UTF8_STRING", True);
  const Atom netPid = XInternAtom(display, "_NET_WM_PID", True);

  std::vector<unsigned long> windows = LongProperty(display, root, clientList, XA_WINDOW);
  if (windows.empty()) {
    Window rootOut = 0, parentOut = 0;
    Window* children = nullptr;
    unsigned int count = 0;
    if (XQueryTree(display, root, &rootOut, &parentOut, &children, &count) && children) {
      windows.assign(children, children + count);
    }
    if (children) XFree(children);
  }

  for (const unsigned long id : windows) {
    const auto window = static_cast<Window>(id);
    XWindowAttributes attributes{};
    if (!XGetWindowAttributes(display, window, &attributes)) continue;
    std::wstring title = Title(display, window, netName, utf8);
    if (!FollowableWindow(attributes.width, attributes.height, title)) continue;
    TopWindow row;
    row.handle = window;
    const std::vector<unsigned long> pid = LongProperty(display, window, netPid, XA_CARDINAL);
    row.processId = pid.empty() ? 0 : static_cast<uint32_t>(pid.front());
    row.processName = ProcessFileName(row.processId);
    row.title = std::move(title);
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace cvplat
