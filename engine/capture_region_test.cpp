#include "engine/capture_region.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

#include "framelib/draw_test_helpers.h"
#include "media/colour_formats.h"
#include "platform/sim/capture_sim.h"
#include "props/catalogue.h"
#include "props/xml_node.h"

inline std::ostream& operator<<(std::ostream& os, const TRect& r) {
  return os << "(" << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom << ")";
}
inline bool operator==(const TRect& a, const TRect& b) { return RectEqual(a, b); }

namespace {

using cvplat::SimDesktop;
using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

constexpr TRect kLeftScreen = {-1920, 0, 0, 1080};
constexpr TRect kMainScreen = {0, 0, 1920, 1080};

// A device's tree: every key at its catalogue default.
XMLNodePtr Props() {
  XMLNodePtr root = CoXMLNode::Create(XMLParse::kPropsRootName);
  XMLParse::SetDefaults(*root);
  return root;
}

struct Desk {
  std::shared_ptr<SimDesktop> sim = SimDesktop::Create();
  cvplat::CapturePlatform platform = sim->Platform();
  Desk() { sim->SetMonitors({{1, kMainScreen}, {2, kLeftScreen}}); }
};

TCaptureRegion Update(CoXMLNode* props, Desk& desk, const TRect& screen, TVideoProps* formatOut = nullptr,
                      const TVideoProps& host = {}) {
  TCaptureRegion region{};
  region.screen = screen;
  TVideoProps format{};
  UpdateCaptureRegion(props, desk.platform, host, region, format);
  if (formatOut) *formatOut = format;
  return region;
}

TEST(CaptureRegion, ScreenIndexPicksAMonitorAndFallsBackToTheFirst) {
  Desk desk;
  XMLNodePtr props = Props();
  EXPECT_EQ(FindScreenRect(props.Get(), *desk.sim), kMainScreen);
  for (const wchar_t* index : {L"1", L"0x1"}) {
    props->SetString(L"capture.screen_index", index);
    EXPECT_EQ(FindScreenRect(props.Get(), *desk.sim), kLeftScreen) << index;
  }
  for (const wchar_t* index : {L"7", L"1001"}) {
    props->SetString(L"capture.screen_index", index);
    EXPECT_EQ(FindScreenRect(props.Get(), *desk.sim), kMainScreen) << index;
  }
  desk.sim->SetMonitors({});
  EXPECT_EQ(FindScreenRect(props.Get(), *desk.sim), (TRect{0, 0, 0, 0}));
}

TEST(CaptureRegion, DefaultsCaptureTheWholeScreenAtOnce) {
  Desk desk;
  for (XMLNodePtr props : {Props(), CoXMLNode::Create(L"t-props")}) {
    TVideoProps format{};
    const TCaptureRegion r = Update(props.Get(), desk, kLeftScreen, &format);
    EXPECT_EQ(r.target, kLeftScreen);
    EXPECT_EQ(r.visible, kLeftScreen);
    EXPECT_EQ(r.current, kLeftScreen);
    EXPECT_EQ(format.colourFormat, kColourHDYC);
    EXPECT_EQ(format.width, 1920);
    EXPECT_EQ(r.fps, 30.0);
  }
}

// 100x100 against a 16:9 screen: r = 0.5625, p = trunc(0.4375 x 100 / 1.125) = 38 on each side, and the
// strips stay outside `visible`. The area counts from the second screen's corner.
TEST(CaptureRegion, AreaOnSecondScreenIsWidenedToTheScreensShape) {
  Desk desk;
  XMLNodePtr props = Props();
  props->SetString(L"capture.area", L"0,0,100,100");
  const TRect second = {1920, 0, 3840, 1080};
  TCaptureRegion r = Update(props.Get(), desk, second);
  EXPECT_EQ(r.target, (TRect{1882, 0, 2058, 100}));
  EXPECT_EQ(r.visible, (TRect{1920, 0, 2020, 100}));
  EXPECT_EQ(r.current, r.target) << "the first update snaps";

  props->SetString(L"capture.aspect_ratio", L"Stretch");
  EXPECT_EQ(Update(props.Get(), desk, second).target, (TRect{1920, 0, 2020, 100}));

  // Against a 4:3 frame a 16:9 area grows in height: r = 4/3, p = trunc(1/3 x 90 / 2) = 15.
  props->SetString(L"capture.aspect_ratio", L"FRAME");
  props->SetString(L"capture.area", L"0,0,160,90");
  props->SetString(L"capture.frame_size", L"640x480");
  EXPECT_EQ(Update(props.Get(), desk, kMainScreen).target, (TRect{0, -15, 160, 105}));

  // Areas that don't parse fall through to the whole screen.
  props->SetString(L"capture.aspect_ratio", L"keep");
  for (const wchar_t* bad : {L"0,0,3001,100", L"100,0,100,50", L"x"}) {
    props->SetString(L"capture.area", bad);
    EXPECT_EQ(Update(props.Get(), desk, kMainScreen).target, kMainScreen) << bad;
  }
  props->SetString(L"capture.area", L"-3000,-3000,3000,3000");
  EXPECT_EQ(Update(props.Get(), desk, kMainScreen).target.top, -3000) << "a valid area";
}

// A third of the screen around the pointer at the left screen's top left corner.
TEST(CaptureRegion, CursorBoxUnderEachEdgeMode) {
  Desk desk;
  desk.sim->SetPointer(true, -1920, 0);
  XMLNodePtr props = Props();
  props->SetString(L"capture.following_mode", L"Cursor");
  const struct {
    const wchar_t* edges;
    TRect target;
  } cases[] = {
      {L"all", {-2240, -180, -1600, 180}},
      {L"SCALE", {-1920, 0, -1600, 180}},
      {L"stick_to_visible", {-1920, 0, -1280, 360}},
  };
  for (const auto& c : cases) {
    props->SetString(L"capture.screen_edges", c.edges);
    TRect target{};
    TRect visible{};
    ResolveFollowTarget(props.Get(), desk.platform, kLeftScreen, target, visible);
    EXPECT_EQ(target, c.target) << c.edges;
    EXPECT_EQ(visible, kLeftScreen) << c.edges;
  }
  desk.sim->SetPointer(false, 500, 500);
  props->SetString(L"capture.screen_edges", L"all");
  EXPECT_EQ(Update(props.Get(), desk, kLeftScreen).target, (TRect{-320, -180, 320, 180}))
      << "no pointer showing: the box sits at the origin";
}

TEST(CaptureRegion, WindowsByHandleAndInTheForeground) {
  Desk desk;
  const TRect overhang = {-8, -8, 1928, 1088};
  desk.sim->SetWindow(0x2a, overhang, {-10, -10, 1930, 1090});
  desk.sim->SetWindow(0x30, {}, {100, 100, 500, 400}, false, true);
  XMLNodePtr props = Props();
  props->SetString(L"capture.following_mode", L"active_wnd");

  desk.sim->SetForeground(0x2a);
  TCaptureRegion r = Update(props.Get(), desk, kMainScreen);
  EXPECT_EQ(r.target, kMainScreen) << "a maximised window is the screen";

  // By handle the frame is taken as it is; `visible` keeps to the screen under "all".
  props->SetString(L"capture.follow_window_by_handle", L"0x2a");
  r = Update(props.Get(), desk, kMainScreen);
  EXPECT_EQ(r.target, overhang);
  EXPECT_EQ(r.visible, kMainScreen);

  // Without frame bounds the plain window rectangle serves; a decimal handle reads as well.
  props->SetString(L"capture.follow_window_by_handle", L"48");
  props->SetString(L"capture.aspect_ratio", L"stretch");
  r = Update(props.Get(), desk, kMainScreen);
  EXPECT_EQ(r.target, (TRect{100, 100, 500, 400}));
  EXPECT_EQ(r.visible, r.target);

  // A handle without a window falls back to the mode; a window beside the screen isn't the screen.
  props->SetString(L"capture.follow_window_by_handle", L"0x99");
  desk.sim->SetForeground(0x30);
  EXPECT_EQ(Update(props.Get(), desk, kMainScreen).target, (TRect{100, 100, 500, 400}));
  desk.sim->SetForeground(0);
  EXPECT_EQ(Update(props.Get(), desk, kMainScreen).target, kMainScreen);

  props->SetString(L"capture.area", L"10,20,30,40");
  props->SetString(L"capture.follow_window_by_handle", L"0x2a");
  EXPECT_EQ(Update(props.Get(), desk, kMainScreen).target, (TRect{10, 20, 30, 40})) << "the area wins";
}

TEST(CaptureRegion, GlideCoversTheSpeedsFractionAndEndsOnePixelAFrame) {
  XMLNodePtr props = Props();
  // Default 0.2: 1000 pixels go 200, 160, 128; edges move on their own, in either direction.
  TRect current = {0, 0, 2000, 10};
  const TRect target = {1000, 0, 1000, 13};
  SmoothRegion(props.Get(), current, current, target);
  EXPECT_EQ(current, (TRect{200, 0, 1800, 11}));
  SmoothRegion(props.Get(), current, current, target);
  SmoothRegion(props.Get(), current, current, target);
  EXPECT_EQ(current.left, 488);
  EXPECT_EQ(current.right, 1512);

  // Three pixels take three frames at 0.2 and at 0.4 (1.2 truncates to 1); no speed overshoots.
  const struct {
    const wchar_t* speed;
    int frames;
  } glides[] = {{L"0.2", 3}, {L"0.4", 3}, {L"0.7", 2}, {L"1.0", 1}};
  for (const auto& c : glides) {
    props->SetString(L"capture.focus_change_speed", c.speed);
    TRect r = {0, 0, 10, 10};
    int frames = 0;
    for (; r.left != 3 && frames < 10; ++frames) {
      SmoothRegion(props.Get(), r, r, {3, 0, 10, 10});
      EXPECT_LE(r.left, 3) << c.speed;
    }
    EXPECT_EQ(frames, c.frames) << c.speed;
  }

  // Limits: 0.05 acts as 0.1, 5 as 1.0, an empty text as 0.1; without the key the catalogue's 0.2.
  const struct {
    const wchar_t* text;
    float speed;
  } limits[] = {{L"0.05", 0.1f}, {L"5", 1.0f}, {L"", 0.1f}, {L"abc", 0.1f}, {L"0.5", 0.5f}};
  for (const auto& c : limits) {
    props->SetString(L"capture.focus_change_speed", c.text);
    EXPECT_EQ(FocusChangeSpeed(props.Get()), c.speed) << c.text;
  }
  EXPECT_EQ(FocusChangeSpeed(CoXMLNode::Create(L"t-props").Get()), 0.2f);
}

TEST(CaptureRegion, HostFormatReplacesSizeAndRateButNotPixelFormat) {
  Desk desk;
  XMLNodePtr props = Props();
  props->SetString(L"capture.memory_format", L"ARGB");
  TVideoProps host{};
  host.colourFormat = kColourUYVY;
  host.width = 1280;
  host.height = 720;
  host.rowBytes = 2560;
  host.frameRate = 50.0;

  TVideoProps format{};
  TCaptureRegion r = Update(props.Get(), desk, kMainScreen, &format, host);
  EXPECT_EQ(format.colourFormat, kColourRGB32);
  EXPECT_EQ(format.width, 1280);
  EXPECT_EQ(format.height, -720) << "RGB is top-down";
  EXPECT_EQ(format.rowBytes, 1280 * 4);
  EXPECT_EQ(r.fps, 50.0);

  props->SetString(L"capture.memory_format", L"HDYC");
  Update(props.Get(), desk, kMainScreen, &format, host);
  EXPECT_EQ(format.colourFormat, kColourHDYC);
  EXPECT_EQ(format.height, 720);

  // Not in force: the disabled format, and a custom record without a height or a pixel format.
  TVideoProps disabled = host;
  disabled.videoFormat = kVideoFormatDisabled;
  TVideoProps noHeight = host;
  noHeight.height = 0;
  TVideoProps noColour = host;
  noColour.colourFormat = 0;
  for (const TVideoProps& h : {disabled, noHeight, noColour}) {
    r = Update(props.Get(), desk, kMainScreen, &format, h);
    EXPECT_EQ(format.width, 1920);
    EXPECT_EQ(r.fps, 30.0);
  }
}

// Current (100,100)-(110,108) with visible (102,101)-(107,105): strips above, below, left and right,
// each shaded once with 2/3 of the picture left; inside nothing changes.
TEST(CaptureRegion, SoftwareBackgroundShadesOnlyOutsideVisible) {
  const Pixel picture = {40, 120, 200, 33};
  const Pixel shaded = {27, 80, 133, 33};
  const TRect current = {100, 100, 110, 108};
  FramePtr frame = Filled(kColourRGB32, 10, 8, picture);
  FillOutsideVisible(frame.Get(), current, {102, 101, 107, 105}, L"Black(170)");
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 10; ++x) {
      const bool inside = x >= 2 && x < 7 && y >= 1 && y < 5;
      EXPECT_EQ(Get(frame.Get(), x, y), inside ? picture : shaded) << x << "," << y;
    }
  }

  // A visible part beyond every edge leaves nothing to paint; a top byte of 0 paints nothing here.
  FramePtr whole = Filled(kColourRGB32, 10, 8, picture);
  FillOutsideVisible(whole.Get(), current, {0, 0, 500, 500}, L"Black(170)");
  FillOutsideVisible(whole.Get(), current, {105, 105, 106, 106}, L"#00FF0000");
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 10; ++x) EXPECT_EQ(Get(whole.Get(), x, y), picture) << x << "," << y;
  }
}

}  // namespace
