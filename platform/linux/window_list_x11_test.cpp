// The enumeration against a real window on the X display, when there is one to talk to.
// gtest comes first: Xlib defines macros such as None and Bool that its templates would trip on.
#include <gtest/gtest.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <unistd.h>

#include <string>

#include "platform/window_list.h"

namespace {

class X11Windows : public ::testing::Test {
 protected:
  void SetUp() override {
    display_ = XOpenDisplay(nullptr);
    if (!display_) GTEST_SKIP() << "no X display";
    // A window manager lists only the windows it manages, after it has taken them in.
    if (XInternAtom(display_, "_NET_CLIENT_LIST", True) != None) GTEST_SKIP() << "a window manager is running";
  }
  void TearDown() override {
    if (!display_) return;
    for (Window w : windows_) XDestroyWindow(display_, w);
    XCloseDisplay(display_);
  }
  Window Make(const char* title, unsigned width, unsigned height) {
    Window w = XCreateSimpleWindow(display_, DefaultRootWindow(display_), 10, 10, width, height, 0, 0, 0);
    windows_.push_back(w);
    if (*title) XStoreName(display_, w, title);
    const unsigned long pid = static_cast<unsigned long>(getpid());
    XChangeProperty(display_, w, XInternAtom(display_, "_NET_WM_PID", False), XA_CARDINAL, 32, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(&pid), 1);
    return w;
  }
  static const cvplat::TopWindow* Find(const std::vector<cvplat::TopWindow>& rows, Window w) {
    for (const auto& row : rows) {
      if (row.handle == w) return &row;
    }
    return nullptr;
  }

  Display* display_ = nullptr;
  std::vector<Window> windows_;
};

TEST_F(X11Windows, ListsATitledWindowWithItsProcessAndPassesOverSmallAndUntitledOnes) {
  Window big = Make("CV window list test", 400, 300);
  Window small = Make("CV small", 150, 300);
  Window untitled = Make("", 400, 300);
  // A UTF-8 title wins over the plain one.
  const char utf8Title[] = "CV \xC3\xA9t\xC3\xA9";
  XChangeProperty(display_, big, XInternAtom(display_, "_NET_WM_NAME", False),
                  XInternAtom(display_, "UTF8_STRING", False), 8, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(utf8Title), sizeof(utf8Title) - 1);
  XSync(display_, False);

  const std::vector<cvplat::TopWindow> rows = cvplat::ListTopWindows();
  const cvplat::TopWindow* row = Find(rows, big);
  ASSERT_NE(row, nullptr) << "of " << rows.size() << " windows";
  EXPECT_EQ(row->title, L"CV \u00E9t\u00E9");
  EXPECT_EQ(row->processId, static_cast<uint32_t>(getpid()));
  char exe[4096] = {};
  const ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
  ASSERT_GT(n, 0);
  const std::string base = std::string(exe, static_cast<size_t>(n)).substr(std::string(exe).rfind('/') + 1);
  EXPECT_EQ(row->processName, std::wstring(base.begin(), base.end()));
  EXPECT_EQ(Find(rows, small), nullptr);
  EXPECT_EQ(Find(rows, untitled), nullptr);
}

}  // namespace
