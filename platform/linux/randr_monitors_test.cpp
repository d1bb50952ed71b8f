#include <gtest/gtest.h>

#include "platform/linux/randr_monitors.h"

namespace cvplat {
namespace {

bool SameRect(const TRect& a, const TRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

// The test server has one output that shows the whole root: each way of asking must find just that,
// so the CRTC records are read at the library's layout, not only the monitor list the server prefers.
TEST(RandrMonitors, EveryWayFindsTheOneOutputOfTheTestServer) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) GTEST_SKIP() << "no X display";
  RandrMonitors randr;
  randr.Load(display);
  const TRect root{0, 0, DisplayWidth(display, DefaultScreen(display)), DisplayHeight(display, DefaultScreen(display))};

  const std::vector<MonitorInfo> byRoot = RandrMonitors::ByRoot(display);
  ASSERT_EQ(byRoot.size(), 1u);
  EXPECT_TRUE(SameRect(byRoot[0].rect, root));
  EXPECT_EQ(byRoot[0].handle, DefaultRootWindow(display));

  const std::vector<MonitorInfo> byCrtcs = randr.ByCrtcs(display);
  ASSERT_EQ(byCrtcs.size(), 1u) << "the server's RandR must be 1.2 or later";
  EXPECT_TRUE(SameRect(byCrtcs[0].rect, root));
  EXPECT_NE(byCrtcs[0].handle, 0u);

  const std::vector<MonitorInfo> byList = randr.ByMonitorList(display);
  ASSERT_EQ(byList.size(), 1u);
  EXPECT_TRUE(SameRect(byList[0].rect, root));
  const std::vector<MonitorInfo> list = randr.List(display);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].handle, byList[0].handle) << "the monitor list comes first";

  // Without the library loaded only the root is left.
  RandrMonitors unloaded;
  EXPECT_TRUE(unloaded.ByMonitorList(display).empty());
  EXPECT_TRUE(unloaded.ByCrtcs(display).empty());
  ASSERT_EQ(unloaded.List(display).size(), 1u);
  EXPECT_EQ(unloaded.List(display)[0].handle, DefaultRootWindow(display));
  XCloseDisplay(display);
}

}  // namespace
}  // namespace cvplat
