#include "platform/linux/private_x_server_test_support.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

extern char** environ;

namespace cvtest {

namespace {

using Clock = std::chrono::steady_clock;

// This process's environment with DISPLAY naming `display`.
std::vector<std::string> EnvironmentFor(const std::string& display) {
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e)
    if (std::strncmp(*e, "DISPLAY=", 8) != 0) env.emplace_back(*e);
  env.push_back("DISPLAY=" + display);
  return env;
}

std::vector<char*> Pointers(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (std::string& s : strings) pointers.push_back(s.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Starts `argv` quietly with `env`; its process id, or -1.
pid_t Spawn(std::vector<std::string> argv, std::vector<std::string> env, int keepFd = -1) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (keepFd >= 0) posix_spawn_file_actions_adddup2(&actions, keepFd, 3);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  std::vector<char*> args = Pointers(argv);
  std::vector<char*> envp = Pointers(env);
  pid_t pid = -1;
  if (posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), envp.data()) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

// Ended, not killed, so that a server takes its socket with it for the next one.
void End(int& pid) {
  if (pid <= 0) return;
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
  pid = -1;
}

bool Alive(pid_t pid) { return pid > 0 && waitpid(pid, nullptr, WNOHANG) == 0; }

template <class Done>
bool WaitUntil(Done done, int ms) {
  const auto end = Clock::now() + std::chrono::milliseconds(ms);
  while (!done()) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

std::vector<unsigned long> WindowProperty(Display* display, Window window, const char* name, Atom type) {
  std::vector<unsigned long> items;
  Atom actual = None;
  int format = 0;
  unsigned long count = 0, after = 0;
  unsigned char* data = nullptr;
  if (XGetWindowProperty(display, window, XInternAtom(display, name, False), 0, 16, False, type, &actual, &format,
                         &count, &after, &data) == Success &&
      data && actual == type && format == 32) {
    const auto* values = reinterpret_cast<const unsigned long*>(data);
    items.assign(values, values + count);
  }
  if (data) XFree(data);
  return items;
}

}  // namespace

PrivateXServer::PrivateXServer(XServerOptions options) : options_(options) {
  // The server that answers on the number this one named is taken for it only at the size asked for;
  // else the start is tried again.
  for (int attempt = 0; attempt < 3 && display_.empty(); ++attempt) {
    End(server_);
    Start();
  }
  if (!display_.empty() && options_.windowManager && !StartWindowManager()) {
    End(manager_);
    End(server_);
    display_.clear();
  }
}

PrivateXServer::~PrivateXServer() {
  if (client_) XCloseDisplay(client_);
  End(manager_);
  End(server_);
  // The file the killed server left, while the number is still held; then the number.
  if (hold_ >= 0) {
    unlink(socket_.c_str());
    close(hold_);
  }
}

bool PrivateXServer::Installed(const char* program) {
  return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

bool PrivateXServer::Start() {
  int fds[2];
  if (pipe(fds) != 0) return false;
  const std::string screen =
      std::to_string(options_.width) + "x" + std::to_string(options_.height) + "x24";
  std::vector<std::string> env;
  for (char** e = environ; *e; ++e) env.emplace_back(*e);
  server_ = Spawn({"Xvfb", "-displayfd", "3", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"}, env, fds[1]);
  close(fds[1]);
  // The number comes with a line end, which may come in a write of its own: the server ends itself
  // when it can't write that, so the pipe stays open until it has.
  std::string number;
  char c = 0;
  pollfd ready{fds[0], POLLIN, 0};
  while (server_ > 0 && number.size() < 16 && poll(&ready, 1, 10000) == 1 && read(fds[0], &c, 1) == 1 && c != '\n')
    number += c;
  close(fds[0]);
  const std::string name = c == '\n' && !number.empty() ? ":" + number : std::string();
  if (name.empty()) return false;
  for (int i = 0; i < 250 && Alive(server_); ++i) {
    if (Display* d = XOpenDisplay(name.c_str())) {
      const bool ours = DisplayWidth(d, DefaultScreen(d)) == options_.width &&
                        DisplayHeight(d, DefaultScreen(d)) == options_.height;
      XCloseDisplay(d);
      if (ours) display_ = name;
      return ours;
    }
    usleep(20000);
  }
  return false;
}

bool PrivateXServer::StartWindowManager() {
  manager_ = Spawn({"openbox", "--sm-disable"}, EnvironmentFor(display_));
  Display* display = Client();
  if (manager_ <= 0 || !display) return false;
  // The manager names its check window on the root early in its start, and drops the windows mapped
  // before it is done: it is ready when it frames a window of its own.
  const Window root = DefaultRootWindow(display);
  bool ready = false;
  for (int attempt = 0; attempt < 100 && !ready && Alive(manager_); ++attempt) {
    const Window probe = XCreateSimpleWindow(display, root, 0, 0, 8, 8, 0, 0, 0);
    XMapWindow(display, probe);
    XSync(display, False);
    ready = WaitUntil([&] { return Framed(probe); }, 100);
    XDestroyWindow(display, probe);
    XSync(display, False);
  }
  return ready;
}

bool PrivateXServer::Framed(uint64_t window) {
  XWindowAttributes attributes;
  Window root = None, parent = None, *children = nullptr;
  unsigned count = 0;
  if (!XGetWindowAttributes(client_, static_cast<Window>(window), &attributes) ||
      !XQueryTree(client_, static_cast<Window>(window), &root, &parent, &children, &count))
    return false;
  if (children) XFree(children);
  return attributes.map_state == IsViewable && parent != root;
}

void PrivateXServer::Kill() {
  // The connection goes before the server: Xlib would end this process on a connection that breaks.
  if (client_) XCloseDisplay(client_);
  client_ = nullptr;
  End(manager_);
  if (display_.empty()) End(server_);
  if (server_ <= 0) return;
  // Killed as a crash kills it. The number stays taken while this object lives, since the component
  // that lost the server reconnects to whatever DISPLAY names: a server takes a number whose address
  // it can bind, so this process binds the address the moment the killed server has let go of it.
  // Clients' connections to it are refused.
  kill(server_, SIGKILL);
  waitpid(server_, nullptr, 0);
  server_ = -1;
  socket_ = "/tmp/.X11-unix/X" + display_.substr(1);  // the address, and the file the server left
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path + 1, socket_.data(), socket_.size());  // in the abstract namespace
  hold_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (hold_ >= 0 &&
      bind(hold_, reinterpret_cast<const sockaddr*>(&address), socklen_t(offsetof(sockaddr_un, sun_path) + 1 +
                                                                           socket_.size())) != 0) {
    close(hold_);
    hold_ = -1;
  }
}

int PrivateXServer::Xrandr(const std::vector<std::string>& arguments) const {
  if (display_.empty()) return -1;
  std::vector<std::string> argv{"xrandr"};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  const pid_t pid = Spawn(argv, EnvironmentFor(display_));
  int status = 0;
  if (pid <= 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

Display* PrivateXServer::Client() {
  if (!client_ && !display_.empty()) client_ = XOpenDisplay(display_.c_str());
  return client_;
}

unsigned long PrivateXServer::Pixel(uint32_t rgb) {
  XColor colour{};
  colour.red = static_cast<unsigned short>(((rgb >> 16) & 0xff) * 0x101);
  colour.green = static_cast<unsigned short>(((rgb >> 8) & 0xff) * 0x101);
  colour.blue = static_cast<unsigned short>((rgb & 0xff) * 0x101);
  XAllocColor(client_, DefaultColormap(client_, DefaultScreen(client_)), &colour);
  return colour.pixel;
}

void PrivateXServer::SetRootColour(uint32_t rgb) {
  if (!Client()) return;
  XSetWindowBackground(client_, DefaultRootWindow(client_), Pixel(rgb));
  XClearWindow(client_, DefaultRootWindow(client_));
  XSync(client_, False);
}

void PrivateXServer::FillRoot(const TRect& rect, uint32_t rgb) {
  if (!Client()) return;
  GC gc = XCreateGC(client_, DefaultRootWindow(client_), 0, nullptr);
  XSetForeground(client_, gc, Pixel(rgb));
  XFillRectangle(client_, DefaultRootWindow(client_), gc, rect.left, rect.top,
                 static_cast<unsigned>(rect.right - rect.left), static_cast<unsigned>(rect.bottom - rect.top));
  XFreeGC(client_, gc);
  XSync(client_, False);
}

uint64_t PrivateXServer::MakeWindow(const TRect& rect, uint32_t rgb) {
  if (!Client()) return 0;
  const Window root = DefaultRootWindow(client_);
  const Window window =
      XCreateSimpleWindow(client_, root, rect.left, rect.top, static_cast<unsigned>(rect.right - rect.left),
                          static_cast<unsigned>(rect.bottom - rect.top), 0, 0, Pixel(rgb));
  // Where the program asks for it, as a window manager places a window that the user placed.
  XSizeHints hints{};
  hints.flags = USPosition | USSize;
  hints.x = rect.left;
  hints.y = rect.top;
  hints.width = rect.right - rect.left;
  hints.height = rect.bottom - rect.top;
  XSetWMNormalHints(client_, window, &hints);
  XStoreName(client_, window, "capture test");
  XMapWindow(client_, window);
  XSync(client_, False);
  // Shown, and with a window manager framed by it.
  const bool shown = WaitUntil(
      [&] {
        XWindowAttributes attributes;
        if (manager_ > 0) return Framed(window);
        return XGetWindowAttributes(client_, window, &attributes) && attributes.map_state == IsViewable;
      },
      5000);
  return shown ? window : 0;
}

void PrivateXServer::MoveWindow(uint64_t window, int32_t x, int32_t y) {
  if (!Client() || !window) return;
  XMoveWindow(client_, static_cast<Window>(window), x, y);
  XSync(client_, False);
}

void PrivateXServer::Activate(uint64_t window) {
  if (!Client() || !window) return;
  const Window root = DefaultRootWindow(client_);
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = static_cast<Window>(window);
  event.xclient.message_type = XInternAtom(client_, "_NET_ACTIVE_WINDOW", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = 2;  // from a pager: no focus-stealing rules apply
  event.xclient.data.l[1] = CurrentTime;
  XSendEvent(client_, root, False, SubstructureRedirectMask | SubstructureNotifyMask, &event);
  XSync(client_, False);
}

uint64_t PrivateXServer::ActiveWindow() {
  if (!Client()) return 0;
  const std::vector<unsigned long> active =
      WindowProperty(client_, DefaultRootWindow(client_), "_NET_ACTIVE_WINDOW", XA_WINDOW);
  return active.empty() ? 0 : active[0];
}

bool PrivateXServer::ClientRect(uint64_t window, TRect* rect) {
  if (!Client() || !window || !rect) return false;
  XWindowAttributes attributes;
  Window child = None;
  int x = 0, y = 0;
  if (!XGetWindowAttributes(client_, static_cast<Window>(window), &attributes) ||
      !XTranslateCoordinates(client_, static_cast<Window>(window), DefaultRootWindow(client_), 0, 0, &x, &y, &child))
    return false;
  *rect = {x, y, x + attributes.width, y + attributes.height};
  return true;
}

DisplayScope::DisplayScope(const std::string& display) {
  if (const char* old = std::getenv("DISPLAY")) {
    had_ = true;
    saved_ = old;
  }
  setenv("DISPLAY", display.c_str(), 1);
}

DisplayScope::~DisplayScope() {
  if (had_)
    setenv("DISPLAY", saved_.c_str(), 1);
  else
    unsetenv("DISPLAY");
}

}  // namespace cvtest
