// The marks in captures of the machine's own desktop (an X server, or Windows under Wine): the engine
// over the native platform draws the pointer's picture where the system has the pointer, in both loops,
// rings at real clicks, and the key line while real keys are down.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>

#include "engine/capture_test_support.h"
#include "platform/desktop.h"
#if defined(_WIN32)
#include "platform/win32_input_test_support.h"
using PointerDriver = cvtest::Win32InputDriver;
#else
#include "platform/x11_pointer_test_support.h"
using PointerDriver = cvtest::X11PointerDriver;
#endif

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

XMLParse::XMLNodePtr CaptureProps(const wchar_t* mode) {
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
  return root;
}

bool Same(const TRect& a, const TRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

TEST(NativeCaptureMarks, ThePointerIsDrawnWhereTheServerHasIt) {
  PointerDriver pointer;
  if (!pointer.Ready()) GTEST_SKIP() << "no desktop to drive";
  pointer.UseSquarePointer(0xFF00FF, kSide, kHotX, kHotY);
  for (const wchar_t* mode : {L"GDI", L"DirectX"}) {
    SCOPED_TRACE(std::string(mode, mode + std::wcslen(mode)));
    pointer.MoveTo(300, 200);
    XMLParse::XMLNodePtr root = CaptureProps(mode);
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

// The stock rings at full cover: orange for the left button, green for the right.
bool LeftRing(const uint8_t* p) { return p[2] >= 240 && p[1] >= 70 && p[1] <= 110 && p[0] <= 40; }
bool RightRing(const uint8_t* p) { return p[2] >= 40 && p[2] <= 80 && p[1] >= 150 && p[1] <= 190 && p[0] >= 30 && p[0] <= 75; }

TEST(NativeCaptureMarks, RealClicksRingAndRealKeysShowTheKeyLine) {
  PointerDriver input;
  if (!input.Ready()) GTEST_SKIP() << "no desktop to drive";
  constexpr int32_t kX = 540, kY = 270;  // the pointer, and the ring around it, well away from the key line
  const TRect ringBox{kX - 60, kY - 60, kX + 60, kY + 60};
  input.UseSquarePointer(0xFF00FF, kSide, kHotX, kHotY);
  input.MoveTo(kX, kY);
  XMLParse::XMLNodePtr root = CaptureProps(L"GDI");
  root->SetString(L"capture.show_clicks", L"true");
  // The key line's sweep polls the mouse buttons too, and may take a short click's press before the
  // rings look: it comes on only for the keys.
  root->SetString(L"capture.show_keypresses", L"false");
  TPropertyTree tree;
  tree.Set(root.Get());
  const cvplat::CapturePlatform platform = cvplat::NativeCapturePlatform();
  ASSERT_TRUE(platform.cursor && platform.keys);
  TRefPtr<TCaptureSCR> engine = MakeRef<TCaptureSCR>(platform);
  ASSERT_EQ(engine->Init(tree), S_OK);

  // Per frame: the rings' pixels around the pointer, and how many pixels elsewhere differ from the first
  // frame that shows the pointer in place (no key is down then, so that frame has no key line).
  struct Seen {
    int left = 0, right = 0, changed = 0;
  };
  std::mutex mutex;
  std::vector<uint8_t> baseline;
  std::vector<Seen> seen;
  const TRect pointerBox{kX - kHotX, kY - kHotY, kX - kHotX + kSide, kY - kHotY + kSide};
  CaptureSink sink;
  sink.Inspect([&](const Delivery&, const std::vector<uint8_t>& picture) {
    if (picture.size() != static_cast<size_t>(kWidth) * kHeight * 4) return;
    std::lock_guard lock(mutex);
    if (baseline.empty()) {
      if (Same(MagentaBox(picture), pointerBox)) baseline = picture;
      return;
    }
    Seen s;
    for (int32_t y = 0; y < kHeight; ++y) {
      for (int32_t x = 0; x < kWidth; ++x) {
        const size_t at = (static_cast<size_t>(y) * kWidth + x) * 4;
        const uint8_t* p = &picture[at];
        if (x >= ringBox.left && x < ringBox.right && y >= ringBox.top && y < ringBox.bottom) {
          s.left += LeftRing(p);
          s.right += RightRing(p);
        } else {
          s.changed += std::memcmp(p, &baseline[at], 3) != 0;
        }
      }
    }
    seen.push_back(s);
  });
  // Waits for a frame after the ones seen so far that passes `match`.
  const auto waitFor = [&](auto match) {
    size_t from;
    {
      std::lock_guard lock(mutex);
      from = seen.size();
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::chrono::steady_clock::now() < end) {
      {
        std::lock_guard lock(mutex);
        for (size_t i = from; i < seen.size(); ++i)
          if (match(seen[i])) return true;
        from = seen.size();
      }
      cvplat::SleepMs(5);
    }
    return false;
  };
  ASSERT_EQ(engine->Start(TAvProps{}, &sink, &CaptureSink::Callback), S_OK);
  ASSERT_TRUE(waitFor([](const Seen&) { return true; })) << "the pointer never showed in place";

  // A left click between two passes rings orange, and the ring goes again by itself.
  input.Key(1, true);
  input.Key(1, false);
  EXPECT_TRUE(waitFor([](const Seen& s) { return s.left > 100 && s.right == 0; }));
  EXPECT_TRUE(waitFor([](const Seen& s) { return s.left == 0; }));
  // A held right button rings green until it is let go.
  input.Key(2, true);
  EXPECT_TRUE(waitFor([](const Seen& s) { return s.right > 100 && s.left == 0; }));
  input.Key(2, false);
  EXPECT_TRUE(waitFor([](const Seen& s) { return s.right == 0; }));

  // Held keys write their line into the picture; none of it stays once they are let go, and the rings
  // don't answer keys.
  root->SetString(L"capture.show_keypresses", L"true");
  input.Key(0x10, true);
  input.Key('A', true);
  EXPECT_TRUE(waitFor([](const Seen& s) { return s.changed > 50 && s.left == 0 && s.right == 0; }));
  input.Key('A', false);
  input.Key(0x10, false);
  EXPECT_TRUE(waitFor([](const Seen& s) { return s.changed == 0; }));
  engine->Close();
}

}  // namespace
