// The pointer in captures of the real X desktop: the engine over the machine's own platform draws the
// pointer's picture where the server has the pointer, in both loops.
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <string>

#include "engine/capture_test_support.h"
#include "platform/desktop.h"
#include "platform/x11_pointer_test_support.h"

namespace {

using engine_test::CaptureSink;
using engine_test::Delivery;

constexpr int32_t kWidth = 640;
constexpr int32_t kHeight = 360;
constexpr int32_t kSide = 8;  // the test pointer: an opaque magenta square, hot spot (2, 3)
constexpr int32_t kHotX = 2;
constexpr int32_t kHotY = 3;

bool Magenta(const std::vector<uint8_t>& picture, int32_t x, int32_t y) {
  const uint8_t* p = &picture[(static_cast<size_t>(y) * kWidth + x) * 4];
  return p[0] == 255 && p[1] == 0 && p[2] == 255;
}

// The smallest rectangle holding every magenta pixel; empty when there is none.
TRect MagentaBox(const std::vector<uint8_t>& picture) {
  TRect box{kWidth, kHeight, 0, 0};
  for (int32_t y = 0; y < kHeight; ++y)
    for (int32_t x = 0; x < kWidth; ++x)
      if (Magenta(picture, x, y))
        box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1), std::max(box.bottom, y + 1)};
  return box;
}

bool Same(const TRect& a, const TRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

TEST(NativeCaptureMarks, ThePointerIsDrawnWhereTheServerHasIt) {
  cvtest::X11PointerDriver pointer;
  if (!pointer.Ready()) GTEST_SKIP() << "no X display";
  pointer.UseSquarePointer(0xFF00FF, kSide, kHotX, kHotY);
  for (const wchar_t* mode : {L"GDI", L"DirectX"}) {
    SCOPED_TRACE(std::string(mode, mode + std::wcslen(mode)));
    pointer.MoveTo(300, 200);
    // The top left 640 x 360 of the desktop at its own size, so a frame's pixels are the desktop's.
    XMLParse::XMLNodePtr root = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
    XMLParse::SetDefaults(*root);
    root->SetString(L"capture.mode", mode);
    root->SetString(L"capture.frame_size", L"640x360");
    root->SetString(L"capture.area", L"0,0,640,360");
    root->SetString(L"capture.memory_format", L"ARGB");
    root->SetString(L"capture.sampler_type", L"point");
    root->SetString(L"capture.show_mouse", L"show");
    root->SetString(L"capture.highlight_mouse", L"hide");
    TPropertyTree tree;
    tree.Set(root.Get());
    const cvplat::CapturePlatform platform = cvplat::NativeCapturePlatform();
    ASSERT_TRUE(platform.cursor);
    TRefPtr<TCaptureSCR> engine = MakeRef<TCaptureSCR>(platform);
    ASSERT_EQ(engine->Init(tree), S_OK);

    std::mutex mutex;
    TRect last{};
    int frames = 0;
    CaptureSink sink;
    sink.Inspect([&](const Delivery&, const std::vector<uint8_t>& picture) {
      if (picture.size() != static_cast<size_t>(kWidth) * kHeight * 4) return;
      const TRect box = MagentaBox(picture);
      std::lock_guard lock(mutex);
      last = box;
      ++frames;
    });
    const auto seen = [&](TRect want) {
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (std::chrono::steady_clock::now() < end) {
        {
          std::lock_guard lock(mutex);
          if (Same(last, want)) return true;
        }
        cvplat::SleepMs(5);
      }
      return false;
    };
    ASSERT_EQ(engine->Start(TAvProps{}, &sink, &CaptureSink::Callback), S_OK);
    EXPECT_TRUE(seen({300 - kHotX, 200 - kHotY, 300 - kHotX + kSide, 200 - kHotY + kSide}));
    pointer.MoveTo(101, 57);
    EXPECT_TRUE(seen({101 - kHotX, 57 - kHotY, 101 - kHotX + kSide, 57 - kHotY + kSide}));
    // Beyond the captured area the pointer leaves no trace.
    pointer.MoveTo(900, 700);
    EXPECT_TRUE(seen({kWidth, kHeight, 0, 0}));
    engine->Close();
    EXPECT_EQ(engine->CaptureMode(), mode == std::wstring(L"GDI") ? eCaptureGDI : eCaptureDirectX);
  }
}

}  // namespace
