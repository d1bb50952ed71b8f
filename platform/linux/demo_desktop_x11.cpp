// The private desktop on Linux: Xvfb, started the way a test starts it (it picks a free display itself
// and writes the number on a pipe once it accepts connections), and a content thread that paints a
// window and drives the pointer and the keyboard through XTest, as a user would.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <numbers>
#include <thread>
#include <vector>

#include "platform/demo_desktop.h"

namespace cvplat {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kTick = std::chrono::milliseconds(33);  // about 30 pictures a second
constexpr int kServerReadyMs = 10000;
constexpr int kServerStopMs = 5000;

// ---- The script -----------------------------------------------------------------------------------

constexpr double kPointerArrives = 1.8;  // seconds
constexpr double kPointerArc = 380;      // how far the path bends up, over the window's lane

enum class TInput { Button, Key };
struct TStep {
  double at;  // seconds since the content started
  TInput input;
  unsigned code;  // button number, or key symbol
  bool down;
};
constexpr TStep kSteps[] = {
    {0.5, TInput::Button, 1, true},         {0.6, TInput::Button, 1, false},
    {0.8, TInput::Key, XK_Shift_L, true},   {0.85, TInput::Key, XK_a, true},
    {1.05, TInput::Key, XK_a, false},       {1.1, TInput::Key, XK_Shift_L, false},
    {1.3, TInput::Button, 3, true},         {1.4, TInput::Button, 3, false},
    {2.0, TInput::Button, 1, true},  // held until the content stops
};

TDemoPoint PointerAt(double seconds) {
  const double s = std::clamp(seconds / kPointerArrives, 0.0, 1.0);
  const TDemoPoint a = kDemoPointerStart, b = kDemoPointerRest;
  return {static_cast<int32_t>(std::lround(a.x + (b.x - a.x) * s)),
          static_cast<int32_t>(std::lround(a.y + (b.y - a.y) * s - kPointerArc * std::sin(std::numbers::pi * s)))};
}

// The window glides across the upper half, well away from where the pointer rests.
constexpr int kWindowWidth = 480, kWindowHeight = 300;
TDemoPoint WindowAt(double seconds) {
  const double across = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * seconds / 8);
  return {static_cast<int32_t>(120 + 1200 * across),
          static_cast<int32_t>(180 + 60 * std::sin(2 * std::numbers::pi * seconds / 3))};
}

// A hue that goes round the colour circle every four seconds, 0xRRGGBB.
uint32_t HueAt(double seconds) {
  const double h = std::fmod(seconds / 4, 1.0) * 6;
  const auto ramp = [](double v) { return static_cast<uint32_t>(std::lround(std::clamp(v, 0.0, 1.0) * 200 + 40)); };
  const uint32_t r = ramp(std::fabs(h - 3) - 1), g = ramp(2 - std::fabs(h - 2)), b = ramp(2 - std::fabs(h - 4));
  return r << 16 | g << 8 | b;
}

// The pointer: an arrow with its hot spot at the tip. 'X' black edge, '#' white, '.' clear.
constexpr const char* kArrow[] = {
    "X...........", "XX..........", "X#X.........", "X##X........", "X###X.......",
    "X####X......", "X#####X.....", "X######X....", "X#######X...", "X########X..",
    "X#########X.", "X######XXXXX", "X###X##X....", "X##XX##X....", "X#X..X##X...",
    "XX...X##X...", "X.....X##X..", "......X##X..", ".......XX...",
};

// ---- The content ----------------------------------------------------------------------------------

unsigned long PixelOf(const Visual* visual, uint32_t rgb) {
  const auto place = [](unsigned long mask, uint32_t channel) -> unsigned long {
    if (mask == 0) return 0;
    const int shift = __builtin_ctzl(mask);
    return ((channel * (mask >> shift) / 255) << shift) & mask;
  };
  return place(visual->red_mask, rgb >> 16 & 0xFF) | place(visual->green_mask, rgb >> 8 & 0xFF) |
         place(visual->blue_mask, rgb & 0xFF);
}

Cursor MakeArrow(Display* display, Window root) {
  constexpr int width = 12, height = sizeof kArrow / sizeof kArrow[0], rowBytes = (width + 7) / 8;
  std::vector<char> white(rowBytes * height), shown(rowBytes * height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const char c = kArrow[y][x];
      const char bit = static_cast<char>(1 << (x % 8));  // bitmap data is least significant bit first
      if (c == '#') white[y * rowBytes + x / 8] |= bit;
      if (c != '.') shown[y * rowBytes + x / 8] |= bit;
    }
  const Pixmap source = XCreateBitmapFromData(display, root, white.data(), width, height);
  const Pixmap mask = XCreateBitmapFromData(display, root, shown.data(), width, height);
  XColor fore{}, back{};
  fore.red = fore.green = fore.blue = 0xFFFF;
  const Cursor cursor = XCreatePixmapCursor(display, source, mask, &fore, &back, 0, 0);
  XFreePixmap(display, source);
  XFreePixmap(display, mask);
  return cursor;
}

class TContent {
 public:
  explicit TContent(Display* display) : display_(display) {}
  TContent(const TContent&) = delete;
  TContent& operator=(const TContent&) = delete;
  ~TContent() { Stop(); }

  void Start() { thread_ = std::thread([this] { Run(); }); }

  void Stop() {
    {
      std::lock_guard lock(mutex_);
      stop_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) thread_.join();
  }

 private:
  void Run() {
    SetUp();
    const Clock::time_point start = Clock::now();
    size_t next = 0;
    TDemoPoint pointer{-1, -1};
    std::unique_lock lock(mutex_);
    while (!stop_) {
      lock.unlock();
      const double t = std::chrono::duration<double>(Clock::now() - start).count();
      // The pointer first, so that a click of this tick lands where the path is now.
      const TDemoPoint p = PointerAt(t);
      if (p.x != pointer.x || p.y != pointer.y) XTestFakeMotionEvent(display_, -1, p.x, p.y, CurrentTime);
      pointer = p;
      for (; next < std::size(kSteps) && kSteps[next].at <= t; ++next) Press(kSteps[next]);
      Paint(t);
      XFlush(display_);
      lock.lock();
      wake_.wait_for(lock, kTick, [this] { return stop_; });
    }
    lock.unlock();
    TearDown();
  }

  void SetUp() {
    root_ = DefaultRootWindow(display_);
    visual_ = DefaultVisual(display_, DefaultScreen(display_));
    const int depth = DefaultDepth(display_, DefaultScreen(display_));
    XSetWindowBackground(display_, root_, PixelOf(visual_, kDemoBackground));
    XClearWindow(display_, root_);
    cursor_ = MakeArrow(display_, root_);
    XDefineCursor(display_, root_, cursor_);
    const TDemoPoint at = WindowAt(0);
    window_ = XCreateSimpleWindow(display_, root_, at.x, at.y, kWindowWidth, kWindowHeight, 0, 0, 0);
    XStoreName(display_, window_, "cvcapture demo");
    // Painted whole from a picture of its own each time, so that a shot never catches half a paint.
    XSetWindowBackgroundPixmap(display_, window_, None);
    picture_ = XCreatePixmap(display_, window_, kWindowWidth, kWindowHeight, static_cast<unsigned>(depth));
    gc_ = XCreateGC(display_, picture_, 0, nullptr);
    XMapRaised(display_, window_);
    XSync(display_, False);
  }

  void Paint(double t) {
    const TDemoPoint at = WindowAt(t);
    XMoveWindow(display_, window_, at.x, at.y);
    Fill(HueAt(t), 0, 0, kWindowWidth, kWindowHeight);
    // A bar that fills up every three seconds, and a disc that circles every two.
    Fill(0x101010, 20, kWindowHeight - 40, kWindowWidth - 40, 20);
    Fill(0xF0F0F0, 20, kWindowHeight - 40, static_cast<int>((kWindowWidth - 40) * std::fmod(t / 3, 1.0)), 20);
    const double angle = 2 * std::numbers::pi * t / 2;
    XSetForeground(display_, gc_, PixelOf(visual_, 0xFFFFFF));
    XFillArc(display_, picture_, gc_, static_cast<int>(200 + 140 * std::cos(angle)),
             static_cast<int>(100 + 70 * std::sin(angle)), 80, 80, 0, 360 * 64);
    XCopyArea(display_, picture_, window_, gc_, 0, 0, kWindowWidth, kWindowHeight, 0, 0);
  }

  void Fill(uint32_t rgb, int x, int y, int width, int height) {
    if (width <= 0 || height <= 0) return;
    XSetForeground(display_, gc_, PixelOf(visual_, rgb));
    XFillRectangle(display_, picture_, gc_, x, y, static_cast<unsigned>(width), static_cast<unsigned>(height));
  }

  void Press(const TStep& step) {
    if (step.input == TInput::Button) {
      XTestFakeButtonEvent(display_, step.code, step.down, CurrentTime);
      if (step.down) heldButtons_.push_back(step.code);
      else std::erase(heldButtons_, step.code);
      return;
    }
    const KeyCode key = XKeysymToKeycode(display_, step.code);
    if (key == 0) return;
    XTestFakeKeyEvent(display_, key, step.down, CurrentTime);
    if (step.down) heldKeys_.push_back(key);
    else std::erase(heldKeys_, key);
  }

  // Nothing stays pressed, and the server is left as the content found it.
  void TearDown() {
    for (unsigned button : heldButtons_) XTestFakeButtonEvent(display_, button, False, CurrentTime);
    for (KeyCode key : heldKeys_) XTestFakeKeyEvent(display_, key, False, CurrentTime);
    XUndefineCursor(display_, root_);
    XFreeCursor(display_, cursor_);
    XFreeGC(display_, gc_);
    XFreePixmap(display_, picture_);
    XDestroyWindow(display_, window_);
    XSync(display_, False);
  }

  Display* display_;
  Window root_ = None;
  Visual* visual_ = nullptr;
  Cursor cursor_ = None;
  Window window_ = None;
  Pixmap picture_ = None;
  GC gc_ = nullptr;
  std::vector<unsigned> heldButtons_;
  std::vector<KeyCode> heldKeys_;
  std::thread thread_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stop_ = false;
};

// ---- The server -----------------------------------------------------------------------------------

// Runs Xvfb and reads its display number. -1 with `error` when it doesn't come up.
pid_t StartServer(int* number, std::string* error) {
  int ready[2], failed[2];
  if (pipe2(ready, O_CLOEXEC) != 0) {
    *error = std::string("cannot make a pipe: ") + std::strerror(errno);
    return -1;
  }
  if (pipe2(failed, O_CLOEXEC) != 0) {
    *error = std::string("cannot make a pipe: ") + std::strerror(errno);
    close(ready[0]);
    close(ready[1]);
    return -1;
  }
  const int quiet = open("/dev/null", O_RDWR | O_CLOEXEC);
  const std::string fd = std::to_string(ready[1]), geometry =
      std::to_string(kDemoDisplayWidth) + "x" + std::to_string(kDemoDisplayHeight) + "x24";
  const char* argv[] = {"Xvfb", "-displayfd", fd.c_str(), "-screen", "0", geometry.c_str(), "-nolisten", "tcp",
                        "-noreset", nullptr};
  const pid_t pid = fork();
  if (pid == 0) {
    // Between fork and exec: only calls that are safe there. The server goes with this process if it
    // dies without stopping it; its chatter goes nowhere.
    fcntl(ready[1], F_SETFD, 0);
    if (quiet >= 0) {
      dup2(quiet, STDIN_FILENO);
      dup2(quiet, STDOUT_FILENO);
      dup2(quiet, STDERR_FILENO);
    }
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    execvp(argv[0], const_cast<char* const*>(argv));
    const int code = errno;
    [[maybe_unused]] const ssize_t n = write(failed[1], &code, sizeof code);
    _exit(127);
  }
  const int forkError = errno;
  close(ready[1]);
  close(failed[1]);
  if (quiet >= 0) close(quiet);
  if (pid < 0) {
    close(ready[0]);
    close(failed[0]);
    *error = std::string("cannot start Xvfb: ") + std::strerror(forkError);
    return -1;
  }
  // The exec's own failure, or nothing once it has run.
  int execError = 0;
  const ssize_t got = read(failed[0], &execError, sizeof execError);
  close(failed[0]);
  std::string text;
  if (got == sizeof execError) {
    *error = execError == ENOENT ? "Xvfb is not installed (it comes in the package xvfb)"
                                 : std::string("cannot run Xvfb: ") + std::strerror(execError);
  } else {
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kServerReadyMs);
    while (text.find('\n') == std::string::npos) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      pollfd p{ready[0], POLLIN, 0};
      if (left <= 0 || poll(&p, 1, static_cast<int>(left)) <= 0) break;
      char buffer[32];
      const ssize_t n = read(ready[0], buffer, sizeof buffer);
      if (n <= 0) break;
      text.append(buffer, static_cast<size_t>(n));
    }
    if (text.find('\n') == std::string::npos) *error = "Xvfb did not come up";
  }
  close(ready[0]);
  if (!error->empty()) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return -1;
  }
  *number = std::atoi(text.c_str());
  return pid;
}

void StopServer(pid_t pid) {
  kill(pid, SIGTERM);
  const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kServerStopMs);
  while (waitpid(pid, nullptr, WNOHANG) == 0) {
    if (Clock::now() >= deadline) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

class X11DemoDesktop : public IDemoDesktop {
 public:
  X11DemoDesktop(pid_t server, std::string name) : server_(server), name_(std::move(name)) {}
  X11DemoDesktop(const X11DemoDesktop&) = delete;
  X11DemoDesktop& operator=(const X11DemoDesktop&) = delete;
  ~X11DemoDesktop() override {
    if (content_) {
      content_->Stop();
      content_.reset();
    }
    if (display_) XCloseDisplay(display_);
    StopServer(server_);
  }

  const std::string& DisplayName() const override { return name_; }

  bool StartContent(std::string* error) override {
    if (content_) return true;
    display_ = XOpenDisplay(name_.c_str());
    if (!display_) {
      *error = "cannot open the private display " + name_;
      return false;
    }
    int event = 0, firstError = 0, major = 0, minor = 0;
    if (!XTestQueryExtension(display_, &event, &firstError, &major, &minor)) {
      *error = "the private display " + name_ + " has no XTEST";
      return false;
    }
    content_ = std::make_unique<TContent>(display_);
    content_->Start();
    return true;
  }

 private:
  pid_t server_;
  std::string name_;
  Display* display_ = nullptr;
  std::unique_ptr<TContent> content_;
};

}  // namespace

bool NeedsDemoDesktop(std::string* why) {
  const char* name = std::getenv("DISPLAY");
  if (!name || !*name) {
    if (why) *why = "DISPLAY is not set";
    return true;
  }
  Display* display = XOpenDisplay(nullptr);
  if (!display) {
    if (why) *why = std::string("the display ") + name + " does not open";
    return true;
  }
  XCloseDisplay(display);
  return false;
}

std::unique_ptr<IDemoDesktop> StartDemoDesktop(std::string* error) {
  std::string failure;
  int number = 0;
  const pid_t server = StartServer(&number, &failure);
  if (server < 0) {
    if (error) *error = failure;
    return nullptr;
  }
  std::string name(":");  // appended, not added: GCC 12 at -O3 warns falsely about a prefix added to a number
  name += std::to_string(number);
  setenv("DISPLAY", name.c_str(), 1);
  return std::make_unique<X11DemoDesktop>(server, name);
}

}  // namespace cvplat
