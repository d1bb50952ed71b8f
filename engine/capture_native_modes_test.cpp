// The engine on the machine's own Windows desktop: the mode chain as this system answers it, each mode's
// frames of a window painted by the test, and the search for the output of a screen among DXGI's.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cwchar>
#include <string>
#include <vector>

#include "engine/capture_test_support.h"
#include "engine/desktop_duplication.h"
#include "platform/painted_window_test_support.h"

namespace {

using cvplat::RunsUnderWine;
using cvplat::TestPaintedWindow;
using engine_test::CaptureSink;

// The painted window at a place of the primary monitor, the capture's area. Apart from the other
// tests' windows, which hold the same lock anyway.
constexpr int kLeft = 400, kTop = 300, kWidth = 200, kHeight = 160;

// The centre of each quarter in a 32-bit picture of the window, top row first: the window's colour,
// opaque. The picture is taken 1:1, so no sample there mixes two colours.
bool ShowsTheWindow(const std::vector<uint8_t>& picture, std::string* seen) {
  if (picture.size() != size_t(kWidth) * kHeight * 4) return false;
  bool all = true;
  seen->clear();
  for (int i = 0; i < 4; ++i) {
    const int x = i % 2 * kWidth / 2 + kWidth / 4, y = i / 2 * kHeight / 2 + kHeight / 4;
    const uint8_t* p = &picture[(size_t(y) * kWidth + x) * 4];
    const uint32_t colour = cvplat::kPaintedQuarters[i];
    const int want[4] = {int(colour & 0xFF), int(colour >> 8 & 0xFF), int(colour >> 16 & 0xFF), 255};
    for (int c = 0; c < 4; ++c) all = all && std::abs(p[c] - want[c]) <= 1;
    *seen += std::to_string(p[0]) + "," + std::to_string(p[1]) + "," + std::to_string(p[2]) + "," +
             std::to_string(p[3]) + " ";
  }
  return all;
}

// What the machine's desktop does on a system of version 10, whatever the machine calls itself (the
// test prefix says 10; a new Wine prefix says 6.1, on which "auto" goes straight to GDI).
struct SystemOfVersion10 : cvplat::ISystemVersion {
  bool AtLeast(uint32_t major, uint32_t minor) override { return major < 10 || (major == 10 && minor == 0); }
};

struct NativeCapture {
  XMLParse::XMLNodePtr root = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
  TPropertyTree tree;
  CaptureSink sink;
  TRefPtr<TCaptureSCR> engine;

  NativeCapture(const wchar_t* mode, const cvplat::GpuDeviceFactory& gpu, bool newSystem) {
    XMLParse::SetDefaults(*root);
    root->SetString(L"capture.mode", mode);
    root->SetString(L"capture.memory_format", L"ARGB");
    root->SetString(L"capture.frame_size", L"200x160");
    root->SetString(L"capture.area", L"400,300,600,460");
    root->SetDouble(L"capture.fps_limit", 30.0);
    root->SetString(L"capture.show_mouse", L"hide");
    root->SetString(L"capture.highlight_mouse", L"hide");
    tree.Set(root.Get());
    cvplat::CapturePlatform platform = cvplat::NativeCapturePlatform();
    if (gpu) platform.gpu = gpu;
    if (newSystem) platform.system = std::make_shared<SystemOfVersion10>();
    platform.audio = nullptr;
    engine = MakeRef<TCaptureSCR>(platform);
    EXPECT_EQ(engine->Init(tree), S_OK);
  }
  ~NativeCapture() { engine->Close(); }
};

struct ModeCase {
  const wchar_t* mode;
  bool newSystem;  // the version seam answers for version 10, else the machine's own
  bool refuseDevice;
  int32_t expected;
};

TEST(NativeCaptureModes, ChainEndsInTheFirstModeThatWorksAndItsFramesShowTheDesktop) {
  TestPaintedWindow window({kLeft, kTop, kLeft + kWidth, kTop + kHeight});
  if (!window) GTEST_SKIP() << "no window station to make a window on";
  // Wine makes Direct3D 11 devices but refuses to duplicate an output: "DXGI", and "auto" on a system
  // of 6.2 or later, come out in DirectX. A system that duplicates gives DXGI.
  const int32_t duplicated = RunsUnderWine() ? eCaptureDirectX : eCaptureDXGI;
  const bool recent = cvplat::NativeCapturePlatform().system->AtLeast(6, 2);
  const ModeCase cases[] = {
      {L"auto", false, false, recent ? duplicated : eCaptureGDI},
      {L"auto", true, false, duplicated},
      {L"DXGI", false, false, duplicated},
      {L"DirectX", false, false, eCaptureDirectX},
      {L"GDI", false, false, eCaptureGDI},
      {L"DXGI", false, true, eCaptureGDI},
  };
  for (const ModeCase& c : cases) {
    SCOPED_TRACE(testing::Message() << "mode " << std::string(c.mode, c.mode + wcslen(c.mode))
                                    << (c.newSystem ? ", version 10" : "") << (c.refuseDevice ? ", no device" : ""));
    cvplat::GpuFaults faults;  // over the native device
    if (c.refuseDevice) faults.Fail(cvplat::GpuCall::CreateDevice, 1, E_FAIL, 0);
    NativeCapture s(c.mode, c.refuseDevice ? faults.Factory() : cvplat::GpuDeviceFactory{}, c.newSystem);
    ASSERT_EQ(s.engine->Start(TAvProps{}, &s.sink, &CaptureSink::Callback), S_OK);
    EXPECT_EQ(s.engine->CaptureMode(), c.expected);
    EXPECT_EQ(s.root->GetString(L"capture.current_mode"), std::wstring(CaptureModeText(c.expected)));
    if (c.refuseDevice) {
      EXPECT_GE(faults.Calls(cvplat::GpuCall::CreateDevice), 1);
    }

    // The window shows in the frames within a few seconds, with its colours and opaque.
    std::string seen;
    bool shown = false;
    for (int i = 0; i < 300 && !shown; ++i) {
      TestPaintedWindow::Pump();
      shown = s.sink.FrameCount() > 0 && ShowsTheWindow(s.sink.LastPicture(), &seen);
      if (!shown) cvplat::SleepMs(10);
    }
    EXPECT_TRUE(shown) << s.sink.FrameCount() << " frames; quarters (b,g,r,a) " << seen;
    const std::vector<engine_test::Delivery> frames = s.sink.Frames();
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames.back().format.width, kWidth);
    EXPECT_EQ(std::abs(frames.back().format.height), kHeight);
    s.engine->Stop();
    EXPECT_EQ(s.sink.Failures(), 0);
  }
}

TEST(NativeDuplication, FindsEachScreensOutputAndSetsUpAsTheSystemAllows) {
  const cvplat::CapturePlatform platform = cvplat::NativeCapturePlatform();
  TRefPtr<cvplat::IGpuDevice> device;
  ASSERT_EQ(platform.gpu(device.Receive(), nullptr, nullptr), S_OK);
  std::unique_ptr<cvplat::IGpuOutputs> outputs;
  ASSERT_EQ(platform.duplication->Outputs(device.Get(), &outputs), S_OK);
  const std::vector<cvplat::MonitorInfo> monitors = platform.monitors->List();
  ASSERT_FALSE(monitors.empty());

  // Every monitor of this one adapter has its output; the screens past the last have none, and the
  // indices out of range count as screen 0.
  uint32_t first = UINT32_MAX;
  for (size_t i = 0; i < monitors.size(); ++i) {
    uint32_t index = UINT32_MAX;
    ASSERT_EQ(FindOutputForScreen(*outputs, *platform.monitors, int64_t(i), &index), S_OK) << "screen " << i;
    cvplat::OutputInfo info;
    ASSERT_EQ(outputs->Output(index, &info), S_OK);
    EXPECT_EQ(info.monitor, monitors[i].handle);
    if (i == 0) first = index;
  }
  uint32_t index = UINT32_MAX;
  EXPECT_EQ(FindOutputForScreen(*outputs, *platform.monitors, int64_t(monitors.size()), &index), E_FAIL);
  for (int64_t outOfRange : {int64_t{-1}, int64_t{2000}}) {
    index = UINT32_MAX;
    EXPECT_EQ(FindOutputForScreen(*outputs, *platform.monitors, outOfRange, &index), S_OK);
    EXPECT_EQ(index, first) << "screen " << outOfRange;
  }

  // A screen past the last falls back to screen 0, whose place the description takes; the duplication
  // is what the system makes of it: refused under Wine, which doesn't implement it.
  std::unique_ptr<cvplat::IDuplication> duplication;
  cvplat::OutputInfo description;
  const bool made = SetUpDuplication(platform, device.Get(), uint32_t(monitors.size()), duplication, description);
  EXPECT_EQ(description.monitor, monitors[0].handle);
  EXPECT_EQ(description.desktopCoordinates.right - description.desktopCoordinates.left,
            monitors[0].rect.right - monitors[0].rect.left);
  EXPECT_EQ(made, duplication != nullptr);
  if (RunsUnderWine()) {
    EXPECT_FALSE(made);
    EXPECT_EQ(outputs->Duplicate(first, &duplication), E_NOTIMPL);
  }
}

}  // namespace
