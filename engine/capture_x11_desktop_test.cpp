// The engine over the machine's own platform on a real X desktop, each test on a server of its own: a
// window followed as it moves and the active window under a window manager, the second of two monitors,
// a screen that changes size while frames flow, and a server that goes away under a running capture.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cwchar>
#include <functional>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/capture_test_support.h"
#include "platform/desktop.h"
#include "platform/linux/private_x_server_test_support.h"

namespace {

using engine_test::CaptureSink;
using engine_test::Delivery;

constexpr uint32_t kDesk = 0x20c040;
constexpr uint32_t kFirst = 0xc02060;
constexpr uint32_t kSecond = 0xe0a000;
constexpr uint32_t kMark = 0x3366cc;

std::string Text(const wchar_t* mode) { return std::string(mode, mode + std::wcslen(mode)); }
// The mode that the engine must reach when asked for `mode`: every one of them works here.
int32_t ModeOf(const wchar_t* mode) {
  const std::wstring m = mode;
  return m == L"DXGI" ? eCaptureDXGI : m == L"DirectX" ? eCaptureDirectX : eCaptureGDI;
}

// A frame's pixels as 0xRRGGBB, top row first.
struct Picture {
  int32_t width = 0, height = 0;
  std::vector<uint32_t> rgb;
  uint32_t At(int32_t x, int32_t y) const { return rgb[size_t(y) * size_t(width) + size_t(x)]; }
  size_t Count(uint32_t colour) const { return size_t(std::count(rgb.begin(), rgb.end(), colour)); }
};
using Match = std::function<bool(const Picture&)>;

// The engine as the component makes it, on the server's display, in ARGB frames at 60 a second without
// pointer marks; `settings` on top.
class DesktopCapture {
 public:
  DesktopCapture(const cvtest::PrivateXServer& server, const wchar_t* mode,
                 const std::vector<std::pair<const wchar_t*, std::wstring>>& settings)
      : display_(server.Name()) {
    root_->SetString(L"capture.mode", mode);
    root_->SetString(L"capture.memory_format", L"ARGB");
    root_->SetString(L"capture.sampler_type", L"point");
    root_->SetDouble(L"capture.fps_limit", 60.0);
    root_->SetString(L"capture.show_mouse", L"hide");
    root_->SetString(L"capture.highlight_mouse", L"hide");
    for (const auto& [name, value] : settings) root_->SetString(name, value);
    tree_.Set(root_.Get());
    // The component's connections go to the display that DISPLAY names while they open: this one.
    engine = MakeRef<TCaptureSCR>(cvplat::NativeCapturePlatform());
    EXPECT_EQ(engine->Init(tree_), S_OK);
    sink.Inspect([this](const Delivery& d, const std::vector<uint8_t>& bytes) {
      Picture p;
      p.width = d.format.width;
      p.height = std::abs(d.format.height);
      if (bytes.size() != size_t(p.width) * size_t(p.height) * 4) return;
      p.rgb.resize(size_t(p.width) * size_t(p.height));
      for (size_t i = 0; i < p.rgb.size(); ++i)
        p.rgb[i] = uint32_t(bytes[i * 4 + 2]) << 16 | uint32_t(bytes[i * 4 + 1]) << 8 | bytes[i * 4];
      std::lock_guard lock(mutex_);
      latest_ = std::move(p);
      ++pictures_;
      arrived_.notify_all();
    });
  }
  ~DesktopCapture() { engine->Close(); }

  HRESULT Start() { return engine->Start(TAvProps{}, &sink, &CaptureSink::Callback); }
  HRESULT Change(const wchar_t* name, const std::wstring& value) {
    root_->SetString(name, value);
    return engine->OnPropertyChanged(name, value.c_str());
  }
  // Whether a frame shows what `match` wants within 20 seconds. The first `settle` frames from now are
  // passed over: they may hold a picture taken before the change the caller waits for. `draw` runs every
  // 50 ms meanwhile, for a desktop that goes on drawing: the duplication reports nothing new on a still
  // one, and the loop then repeats its last frame even where the rectangle it captures has moved since.
  testing::AssertionResult Shows(const Match& match, const std::function<void()>& draw = {}, int64_t settle = 4) {
    std::unique_lock lock(mutex_);
    const int64_t from = pictures_ + settle;
    const auto shown = [&] { return pictures_ > from && match(latest_); };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!arrived_.wait_for(lock, std::chrono::milliseconds(50), shown)) {
      if (std::chrono::steady_clock::now() > end) return Describe(latest_, pictures_);
      if (!draw) continue;
      lock.unlock();
      draw();
      lock.lock();
    }
    return testing::AssertionSuccess();
  }
  // Whether the last frame shows what `match` wants.
  testing::AssertionResult Showing(const Match& match) {
    std::lock_guard lock(mutex_);
    return match(latest_) ? testing::AssertionSuccess() : Describe(latest_, pictures_);
  }

  CaptureSink sink;
  TRefPtr<TCaptureSCR> engine;

 private:
  static testing::AssertionResult Describe(const Picture& p, int64_t frames) {
    const auto hex = [](uint32_t v) {
      char text[16];
      std::snprintf(text, sizeof text, "%06x", v);
      return std::string(text);
    };
    testing::AssertionResult failure = testing::AssertionFailure();
    failure << "the last of " << frames << " frames is " << p.width << "x" << p.height << ":";
    size_t known = 0;
    for (uint32_t colour : {kDesk, kFirst, kSecond, kMark}) {
      failure << " " << hex(colour) << " x " << p.Count(colour);
      known += p.Count(colour);
    }
    if (p.rgb.empty()) return failure;
    return failure << ", others x " << p.rgb.size() - known << "; corners " << hex(p.rgb.front()) << " and "
                   << hex(p.rgb.back());
  }

  cvtest::DisplayScope display_;
  XMLParse::XMLNodePtr root_ = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
  TPropertyTree tree_;
  std::mutex mutex_;
  std::condition_variable arrived_;
  Picture latest_;
  int64_t pictures_ = 0;
};

bool Have(const char* program) { return cvtest::PrivateXServer::Installed(program); }

// A window's frame at its own size: the window's colour over exactly its own area, the manager's frame
// around it, and nothing of the desk; a capture of any other place shows the desk or cuts the window.
Match ShowsWindow(uint32_t colour, const TRect& window) {
  const size_t area = size_t(window.right - window.left) * size_t(window.bottom - window.top);
  return [=](const Picture& p) { return p.Count(colour) == area && p.Count(kDesk) == 0; };
}

TEST(X11DesktopCapture, FollowsAWindowThatMovesAndTheWindowThatIsMadeActive) {
  if (!Have("Xvfb") || !Have("openbox")) GTEST_SKIP() << "needs Xvfb and openbox";
  cvtest::PrivateXServer server({1024, 768, true});
  ASSERT_FALSE(server.Name().empty()) << "the private X server or its window manager did not start";
  server.SetRootColour(kDesk);
  const uint64_t first = server.MakeWindow({40, 60, 340, 260}, kFirst);
  const uint64_t second = server.MakeWindow({80, 480, 320, 640}, kSecond);
  ASSERT_NE(first, 0u);
  ASSERT_NE(second, 0u);
  TRect firstRect{}, secondRect{};
  ASSERT_TRUE(server.ClientRect(second, &secondRect));
  // Frames of the followed rectangle's own size, which jumps to the window at once.
  for (const wchar_t* mode : {L"DXGI", L"GDI"}) {
    SCOPED_TRACE(Text(mode));
    wchar_t handle[32];
    std::swprintf(handle, 32, L"%#llx", static_cast<unsigned long long>(first));
    DesktopCapture capture(server, mode,
                           {{L"capture.follow_window_by_handle", handle}, {L"capture.frame_size", L"area"},
                            {L"capture.aspect_ratio", L"stretch"}, {L"capture.focus_change_speed", L"1.0"}});
    ASSERT_EQ(capture.Start(), S_OK);
    EXPECT_EQ(capture.engine->CaptureMode(), ModeOf(mode));
    ASSERT_TRUE(server.ClientRect(first, &firstRect));
    // The desk goes on drawing in a corner that no window covers.
    const auto draw = [&] { server.FillRoot({1016, 760, 1024, 768}, kDesk); };
    EXPECT_TRUE(capture.Shows(ShowsWindow(kFirst, firstRect), draw));

    // Away from where it was, so that a capture left behind shows the desk.
    const TRect before = firstRect;
    const int32_t x = before.left < 500 ? 560 : 40;
    server.MoveWindow(first, x, 120);
    for (int i = 0; i < 500 && firstRect.left == before.left; ++i) {
      cvplat::SleepMs(10);
      ASSERT_TRUE(server.ClientRect(first, &firstRect));
    }
    ASSERT_NE(firstRect.left, before.left) << "the window manager did not move the window";
    EXPECT_TRUE(capture.Shows(ShowsWindow(kFirst, firstRect), draw));

    // The active window instead of the one by handle; the manager made the last window it mapped the
    // active one, or the one activated last time round.
    capture.Change(L"capture.follow_window_by_handle", L"none");
    capture.Change(L"capture.following_mode", L"active_wnd");
    for (const auto& [window, colour, rect] :
         {std::tuple(second, kSecond, secondRect), std::tuple(first, kFirst, firstRect)}) {
      server.Activate(window);
      for (int i = 0; i < 500 && server.ActiveWindow() != window; ++i) cvplat::SleepMs(10);
      ASSERT_EQ(server.ActiveWindow(), window) << "the window manager did not activate the window";
      EXPECT_TRUE(capture.Shows(ShowsWindow(colour, rect), draw));
    }
    EXPECT_EQ(capture.sink.Failures(), 0);
  }
}

TEST(X11DesktopCapture, TheSecondScreenIndexCapturesTheRightHandMonitor) {
  if (!Have("Xvfb") || !Have("xrandr")) GTEST_SKIP() << "needs Xvfb and xrandr";
  cvtest::PrivateXServer server({3840, 1080});
  ASSERT_FALSE(server.Name().empty()) << "the private X server did not start";
  // Two monitors side by side on one screen, the left one primary, so first.
  ASSERT_EQ(server.Xrandr({"--setmonitor", "*L", "1920/254x1080/143+0+0", "screen"}), 0);
  ASSERT_EQ(server.Xrandr({"--setmonitor", "R", "1920/254x1080/143+1920+0", "none"}), 0);
  server.FillRoot({0, 0, 1920, 1080}, kFirst);
  server.FillRoot({1920, 0, 3840, 1080}, kSecond);
  server.FillRoot({1920, 0, 2880, 540}, kMark);  // the right monitor's top left quarter
  for (const wchar_t* mode : {L"DXGI", L"DirectX", L"GDI"}) {
    SCOPED_TRACE(Text(mode));
    DesktopCapture capture(server, mode, {{L"capture.screen_index", L"1"}, {L"capture.frame_size", L"480x270"}});
    ASSERT_EQ(capture.Start(), S_OK);
    EXPECT_EQ(capture.engine->CaptureMode(), ModeOf(mode));
    const bool shown = capture.Shows([](const Picture& p) {
      return p.width == 480 && p.Count(kFirst) == 0 && p.At(4, 4) == kMark && p.At(235, 130) == kMark &&
             p.At(245, 4) == kSecond && p.At(4, 140) == kSecond && p.At(475, 265) == kSecond;
    });
    EXPECT_TRUE(shown);
  }
}

// Xvfb's output has one mode, the size the server started with, and its root can't grow beyond that.
// It can shrink with the output turned off and grow back, which is what a client sees of a resolution
// lowered and raised again; and a monitor can take the place of the output's own while the root stays
// as it is, which is how a RandR 1.5 client sees a new resolution on a desktop that keeps its size.
// The desk: a 1280x720 block at the top left, its top left quarter marked, on a ground of another colour.
bool ShowsTheBlockAlone(const Picture& p) {
  return p.width == 480 && p.Count(kDesk) == 0 && p.At(4, 4) == kMark && p.At(235, 130) == kMark &&
         p.At(245, 140) == kFirst && p.At(475, 265) == kFirst;
}
bool ShowsTheWholeRoot(const Picture& p) {
  return p.width == 480 && p.At(4, 4) == kMark && p.At(155, 85) == kMark && p.At(165, 95) == kFirst &&
         p.At(315, 175) == kFirst && p.At(325, 4) == kDesk && p.At(4, 185) == kDesk && p.At(475, 265) == kDesk;
}

TEST(X11DesktopCapture, FramesFollowTheScreenWhenItGrowsAndWhenItsMonitorShrinks) {
  if (!Have("Xvfb") || !Have("xrandr")) GTEST_SKIP() << "needs Xvfb and xrandr";
  for (const wchar_t* mode : {L"DXGI", L"GDI"}) {
    SCOPED_TRACE(Text(mode));
    cvtest::PrivateXServer server({1920, 1080});
    ASSERT_FALSE(server.Name().empty()) << "the private X server did not start";
    const auto draw = [&] {
      server.SetRootColour(kDesk);
      server.FillRoot({0, 0, 1280, 720}, kFirst);
      server.FillRoot({0, 0, 640, 360}, kMark);
    };
    const auto redraw = [&] { server.FillRoot({0, 0, 640, 360}, kMark); };
    // The capture starts on a small root with no monitor: the root is the screen.
    ASSERT_EQ(server.Xrandr({"--output", "screen", "--off", "--fb", "1280x720"}), 0);
    draw();
    DesktopCapture capture(server, mode, {{L"capture.frame_size", L"480x270"}});
    ASSERT_EQ(capture.Start(), S_OK);
    EXPECT_TRUE(capture.Shows(ShowsTheBlockAlone, redraw));

    // A larger resolution: the output comes back at its mode, the root grows under it. The duplication
    // reports the change as lost access and is made anew; the shots take the new root.
    ASSERT_EQ(server.Xrandr({"--fb", "1920x1080", "--output", "screen", "--mode", "1920x1080"}), 0);
    draw();
    EXPECT_TRUE(capture.Shows(ShowsTheWholeRoot, redraw));

    // The output's monitor replaced by a smaller one: the root keeps its size.
    ASSERT_EQ(server.Xrandr({"--setmonitor", "S", "1280/254x720/143+0+0", "screen"}), 0);
    EXPECT_TRUE(capture.Shows(ShowsTheBlockAlone, redraw));
    const size_t frames = capture.sink.FrameCount();
    EXPECT_TRUE(capture.sink.WaitFrames(frames + 30)) << "the frames stopped";
    EXPECT_EQ(capture.sink.Failures(), 0);
  }
}

// The desktop that goes away is a desktop that can't be read: the capture goes on delivering the last
// picture it has at its rate, reports no failure, and stops when asked.
TEST(X11DesktopCapture, AServerThatGoesAwayLeavesTheLastPictureGoingOutUntilTheStop) {
  if (!Have("Xvfb")) GTEST_SKIP() << "needs Xvfb";
  for (const wchar_t* mode : {L"DXGI", L"DirectX", L"GDI"}) {
    SCOPED_TRACE(Text(mode));
    cvtest::PrivateXServer server({640, 360});
    ASSERT_FALSE(server.Name().empty()) << "the private X server did not start";
    server.SetRootColour(kFirst);
    server.FillRoot({0, 0, 320, 180}, kMark);
    DesktopCapture capture(server, mode, {{L"capture.frame_size", L"640x360"}});
    ASSERT_EQ(capture.Start(), S_OK);
    const auto last = [](const Picture& p) {
      return p.width == 640 && p.Count(kMark) == 320 * 180 && p.Count(kFirst) == 640 * 360 - 320 * 180;
    };
    ASSERT_TRUE(capture.Shows(last));

    server.Kill();
    // Beyond the passes after which the duplication is made anew, and tried again.
    EXPECT_TRUE(capture.sink.WaitFrames(capture.sink.FrameCount() + 150)) << "the frames stopped";
    EXPECT_TRUE(capture.Showing(last));
    EXPECT_EQ(capture.sink.Failures(), 0);
    EXPECT_EQ(capture.engine->Stop(), S_OK);
    const size_t stopped = capture.sink.FrameCount();
    cvplat::SleepMs(100);
    EXPECT_EQ(capture.sink.FrameCount(), stopped);
  }
}

}  // namespace

namespace {

// No display at all, or one that doesn't answer: no mode starts, and the status says there is no device.
TEST(X11DesktopCapture, WithoutADisplayNoModeStartsAndTheStatusSaysNoDevice) {
  for (const char* display : {"", ":987"}) {
    cvtest::DisplayScope scope(display);
    for (const wchar_t* mode : {L"auto", L"DXGI", L"DirectX", L"GDI"}) {
      SCOPED_TRACE(Text(mode) + " on '" + display + "'");
      XMLParse::XMLNodePtr root = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
      root->SetString(L"capture.mode", mode);
      TPropertyTree tree;
      tree.Set(root.Get());
      CaptureSink sink;
      TRefPtr<TCaptureSCR> engine = MakeRef<TCaptureSCR>(cvplat::NativeCapturePlatform());
      ASSERT_EQ(engine->Init(tree), S_OK);
      EXPECT_EQ(engine->Start(TAvProps{}, &sink, &CaptureSink::Callback), CV_E_DEVICE_NOT_AVAILABLE);
      EXPECT_EQ(engine->State(), eEngineOpen);
      engine->Close();
    }
  }
}

}  // namespace
