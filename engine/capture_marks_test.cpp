// The marks in running captures on the simulated desktop, in the software loop ("GDI") and both
// branches of the hardware loop: the click ring's sizes and place, which button wins, the deadlines on
// a scripted clock, the disc's transparency, the pointer's shapes, and the stock pictures' failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "engine/capture_test_support.h"
#include "engine/cursor_marks.h"
#include "engine/stock_images.h"

namespace {

using engine_test::Delivery;
using engine_test::SimCapture;

constexpr int32_t kWidth = 640;
constexpr int32_t kHeight = 360;

struct Pixel {
  uint8_t b, g, r;
  bool operator==(const Pixel&) const = default;
};
// The simulated desktop's blue never passes 18 on this screen, so these colours are the marks' alone.
constexpr Pixel kLeftColour{99, 0, 200};  // what the test's left ring paints
constexpr Pixel kRightColour{99, 200, 0};
constexpr Pixel kMagenta{255, 0, 255};     // the test's pointer

Pixel At(const std::vector<uint8_t>& picture, int32_t x, int32_t y) {
  const uint8_t* p = &picture[(static_cast<size_t>(y) * kWidth + x) * 4];
  return {p[0], p[1], p[2]};
}

Pixel Desktop(cvplat::SimDesktop& desktop, int32_t x, int32_t y) {
  const uint32_t v = desktop.DesktopPixel(x, y);
  return {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v >> 16)};
}

// The smallest rectangle holding every pixel of `colour`; empty when there is none.
TRect BoxOf(const std::vector<uint8_t>& picture, Pixel colour) {
  TRect box{kWidth, kHeight, 0, 0};
  for (int32_t y = 0; y < kHeight; ++y) {
    for (int32_t x = 0; x < kWidth; ++x) {
      if (!(At(picture, x, y) == colour)) continue;
      box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1), std::max(box.bottom, y + 1)};
    }
  }
  return box;
}

// A 100 x 100 BMP of one opaque colour, rows top-down, as a stand-in ring whose size a frame shows
// exactly.
std::vector<uint8_t> SolidBitmap(Pixel colour) {
  std::vector<uint8_t> file(54 + 100 * 100 * 4);
  const auto put32 = [&](size_t at, uint32_t v) { std::memcpy(&file[at], &v, 4); };
  file[0] = 'B';
  file[1] = 'M';
  put32(2, static_cast<uint32_t>(file.size()));
  put32(10, 54);
  put32(14, 40);
  put32(18, 100);
  put32(22, static_cast<uint32_t>(-100));
  file[26] = 1;
  file[28] = 32;
  for (size_t i = 54; i < file.size(); i += 4) {
    file[i] = colour.b;
    file[i + 1] = colour.g;
    file[i + 2] = colour.r;
    file[i + 3] = 255;
  }
  return file;
}

cvplat::SimPointerShape SolidPointer() {
  cvplat::SimPointerShape shape;
  shape.width = shape.height = 8;
  shape.colour = true;
  shape.pixels.assign(64, 0xFFFF00FFu);
  return shape;
}

// A capture in ARGB at the screen's own size, so a frame's pixels are the desktop's pixels, with the
// pointer and the disc switched off and the clicks on. DXGI rebuilds every frame from its last image, so
// a still desktop still shows the marks of each pass.
struct MarksCapture : SimCapture {
  explicit MarksCapture(const wchar_t* mode) : SimCapture(L"ARGB") {
    root->SetString(L"capture.mode", mode);
    root->SetString(L"capture.show_mouse", L"hide");
    root->SetString(L"capture.highlight_mouse", L"hide");
    root->SetBool(L"capture.show_clicks", true);
    root->SetBool(L"capture.dxgi_optimize_copy", false);
    root->SetString(L"capture.sampler_type", L"point");
    desktop->SetResource(kStockLeftClick, SolidBitmap(kLeftColour));
    desktop->SetResource(kStockRightClick, SolidBitmap(kRightColour));
    desktop->SetPointerShape(7, SolidPointer());
    desktop->SetPointer(true, 300, 200);
  }
  bool Software() const { return engine->CaptureMode() == eCaptureGDI; }

  // What `look` makes of each frame from now on.
  template <class T>
  struct Log {
    std::mutex mutex;
    std::vector<T> seen;
    size_t Size() {
      std::lock_guard lock(mutex);
      return seen.size();
    }
    std::vector<T> Copy() {
      std::lock_guard lock(mutex);
      return seen;
    }
  };
  template <class T, class Look>
  void Watch(Log<T>& log, Look look) {
    sink.Inspect([&log, look](const Delivery&, const std::vector<uint8_t>& picture) {
      if (picture.size() != static_cast<size_t>(kWidth) * kHeight * 4) return;
      std::lock_guard lock(log.mutex);
      log.seen.push_back(look(picture));
    });
  }
  template <class T>
  bool WaitLog(Log<T>& log, size_t count) {
    return WaitFor([&] { return log.Size() >= count; }, 30);
  }
};

const wchar_t* const kModes[] = {L"GDI", L"DXGI", L"DirectX"};

TEST(CaptureMarks, ClickRingShrinksAroundThePointerInEveryLoop) {
  for (const wchar_t* mode : kModes) {
    SCOPED_TRACE(std::string(mode, mode + std::wcslen(mode)));
    MarksCapture::Log<TRect> rings;
    MarksCapture s(mode);
    s.Watch(rings, [](const std::vector<uint8_t>& p) { return BoxOf(p, kLeftColour); });
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.WaitLog(rings, 3));
    // A click that begins and ends between two passes.
    s.desktop->TapKey(1);
    ASSERT_TRUE(s.WaitFor([&] {
      const auto seen = rings.Copy();
      return std::count_if(seen.begin(), seen.end(), [](const TRect& r) { return !RectEmpty(r); }) > 0 &&
             RectEmpty(seen.back());
    }, 30));
    s.engine->Stop();

    // A pass that has no new picture delivers the frame in hand again: count each size once.
    std::vector<TRect> shown;
    for (const TRect& r : rings.Copy()) {
      if (!RectEmpty(r) && (shown.empty() || !RectEqual(shown.back(), r))) shown.push_back(r);
    }
    ASSERT_EQ(shown.size(), 8u);
    for (int i = 0; i < 8; ++i) {
      const int32_t counter = 8 - i;
      const int32_t half = ClickRingSize(counter) / 2;
      // The software loop scales to the odd size; the gpu's quad spans twice the half.
      const int32_t side = s.Software() ? ClickRingSize(counter) : 2 * half;
      EXPECT_EQ(shown[i].left, 300 - half) << "counter " << counter;
      EXPECT_EQ(shown[i].top, 200 - half) << "counter " << counter;
      EXPECT_EQ(RectWidth(shown[i]), side) << "counter " << counter;
      EXPECT_EQ(RectHeight(shown[i]), side) << "counter " << counter;
    }
  }
}

TEST(CaptureMarks, LeftWinsAndMarksAreCutAtTheEdgeOfThePicture) {
  for (const wchar_t* mode : {L"GDI", L"DXGI"}) {
    SCOPED_TRACE(std::string(mode, mode + std::wcslen(mode)));
    struct Seen {
      TRect left, right;
    };
    MarksCapture::Log<Seen> log;
    MarksCapture s(mode);
    s.Watch(log, [](const std::vector<uint8_t>& p) { return Seen{BoxOf(p, kLeftColour), BoxOf(p, kRightColour)}; });
    s.desktop->SetPointer(true, 3, 100);
    // Held buttons keep the ring at its full size.
    s.desktop->PressKey(1);
    s.desktop->PressKey(2);
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.WaitFor([&] { return log.Size() > 3 && !RectEmpty(log.Copy().back().left); }, 30));
    Seen held = log.Copy().back();
    EXPECT_TRUE(RectEmpty(held.right));
    EXPECT_EQ(held.left.left, 0);
    EXPECT_EQ(held.left.right, 3 + (s.Software() ? 51 : 50));

    // Wholly outside the picture: nothing at all.
    s.desktop->SetPointer(true, -300, 100);
    const size_t from = log.Size();
    ASSERT_TRUE(s.WaitLog(log, from + 10));
    const Seen outside = log.Copy().back();
    EXPECT_TRUE(RectEmpty(outside.left));
    EXPECT_TRUE(RectEmpty(outside.right));

    // With the left button up, the right one rings.
    s.desktop->SetPointer(true, 300, 200);
    s.desktop->ReleaseKey(1);
    ASSERT_TRUE(s.WaitFor([&] { return !RectEmpty(log.Copy().back().right); }, 30));
  }
}

TEST(CaptureMarks, HideInactiveOnTheScriptedClock) {
  for (const wchar_t* mode : {L"GDI", L"DXGI"}) {
    SCOPED_TRACE(std::string(mode, mode + std::wcslen(mode)));
    struct Seen {
      bool pointer, disc;
      int32_t pointerX;
    };
    MarksCapture::Log<Seen> log;
    MarksCapture s(mode);
    s.root->SetString(L"capture.show_mouse", L"hide_inactive(3000)");
    s.root->SetString(L"capture.highlight_mouse", L"hide_inactive(3000)");
    s.root->SetColor(L"capture.highlight_mouse_color", 0x00FF0000u);
    // The disc is looked for left of the pointer, where the pointer itself never lies.
    s.Watch(log, [&](const std::vector<uint8_t>& p) {
      const TRect pointer = BoxOf(p, kMagenta);
      const int32_t x = RectEmpty(pointer) ? 300 : pointer.left;
      return Seen{!RectEmpty(pointer), !(At(p, x - 20, 204) == Desktop(*s.desktop, x - 20, 204)), pointer.left};
    });
    s.desktop->SetClockMs(1000);
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.WaitLog(log, 5));
    Seen now = log.Copy().back();
    EXPECT_TRUE(now.pointer);
    EXPECT_TRUE(now.disc);
    EXPECT_EQ(now.pointerX, 300);

    // Past the 3000 ms without activity both go.
    s.desktop->AdvanceClockMs(3500);
    ASSERT_TRUE(s.WaitFor([&] {
      const Seen last = log.Copy().back();
      return !last.pointer && !last.disc;
    }, 30));
    // A movement brings both back, at the new place.
    s.desktop->SetPointer(true, 320, 200);
    ASSERT_TRUE(s.WaitFor([&] {
      const Seen last = log.Copy().back();
      return last.pointer && last.disc && last.pointerX == 320;
    }, 30));
    // A text of no known form: a deadline already passed, whatever the pointer does.
    ASSERT_EQ(s.Change(L"capture.show_mouse", L"when moving"), S_OK);
    s.desktop->SetPointer(true, 340, 200);
    const size_t from = log.Size();
    ASSERT_TRUE(s.WaitLog(log, from + 10));
    const auto seen = log.Copy();
    EXPECT_TRUE(std::none_of(seen.begin() + static_cast<long>(from) + 2, seen.end(), [](const Seen& v) { return v.pointer; }));
  }
}

TEST(CaptureMarks, DiscStaysWhereThePointerHidAndAnOpaqueTopByteDrawsNothing) {
  for (const wchar_t* mode : {L"GDI", L"DXGI"}) {
    SCOPED_TRACE(std::string(mode, mode + std::wcslen(mode)));
    struct Seen {
      bool discAtOld, discAtNew, pointer;
      bool unchanged;
    };
    MarksCapture::Log<Seen> log;
    MarksCapture s(mode);
    s.root->SetString(L"capture.show_mouse", L"show");
    s.root->SetString(L"capture.highlight_mouse", L"show");
    s.root->SetColor(L"capture.highlight_mouse_color", 0x00FF0000u);
    s.Watch(log, [&](const std::vector<uint8_t>& p) {
      bool unchanged = true;
      for (int32_t y = 0; y < kHeight && unchanged; ++y)
        for (int32_t x = 0; x < kWidth && unchanged; ++x) unchanged = At(p, x, y) == Desktop(*s.desktop, x, y);
      return Seen{!(At(p, 280, 204) == Desktop(*s.desktop, 280, 204)),
                  !(At(p, 80, 104) == Desktop(*s.desktop, 80, 104)), !RectEmpty(BoxOf(p, kMagenta)), unchanged};
    });
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.WaitLog(log, 3));
    // An application hides the pointer and it moves on: the disc stays where the pointer was last seen.
    s.desktop->SetPointer(false, 100, 100);
    size_t from = log.Size();
    ASSERT_TRUE(s.WaitLog(log, from + 10));
    Seen last = log.Copy().back();
    EXPECT_TRUE(last.discAtOld);
    EXPECT_FALSE(last.discAtNew);
    EXPECT_FALSE(last.pointer);

    // The top byte is a transparency: 255, what a plain colour name gives, leaves the picture as it is.
    s.root->SetColor(L"capture.highlight_mouse_color", 0xFF00FF00u);
    from = log.Size();
    ASSERT_TRUE(s.WaitLog(log, from + 10));
    EXPECT_TRUE(log.Copy().back().unchanged);
  }
}

TEST(CaptureMarks, MonochromeIBeamShowsBlackOnDarkAndOnLight) {
  for (const wchar_t* mode : {L"GDI", L"DXGI"}) {
    SCOPED_TRACE(std::string(mode, mode + std::wcslen(mode)));
    struct Seen {
      int32_t black, other;
    };
    MarksCapture::Log<Seen> log;
    std::mutex at;
    int32_t cx = 20, cy = 20;
    MarksCapture s(mode);
    s.root->SetString(L"capture.show_mouse", L"show");
    const cvplat::SimPointerShape beam = cvplat::SimPointerShape::MonochromeIBeam();
    s.desktop->SetPointerShape(9, beam);
    // Near the origin the desktop is nearly black, near (250, 250) nearly white.
    s.Watch(log, [&](const std::vector<uint8_t>& p) {
      std::lock_guard lock(at);
      Seen seen{0, 0};
      for (int32_t y = cy - beam.hotY; y < cy - beam.hotY + beam.height; ++y) {
        for (int32_t x = cx - beam.hotX; x < cx - beam.hotX + beam.width; ++x) {
          if (At(p, x, y) == Pixel{0, 0, 0}) {
            ++seen.black;
          } else if (!(At(p, x, y) == Desktop(*s.desktop, x, y))) {
            ++seen.other;
          }
        }
      }
      return seen;
    });
    s.desktop->SetPointer(true, 20, 20);
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.WaitLog(log, 5));
    const Seen dark = log.Copy().back();
    {
      std::lock_guard lock(at);
      cx = cy = 250;
      s.desktop->SetPointer(true, 250, 250);
    }
    const size_t from = log.Size();
    ASSERT_TRUE(s.WaitLog(log, from + 10));
    const Seen light = log.Copy().back();
    EXPECT_GT(dark.black, 0);
    EXPECT_EQ(dark.black, light.black) << "the same beam, black on both backgrounds";
    EXPECT_EQ(dark.other, 0);
    EXPECT_EQ(light.other, 0);
  }
}

TEST(CaptureMarks, BothLoopsPutTheSameMarksOnTheSamePixels) {
  // The real disc at no transparency (where the two loops' tints agree) and the colour arrow, each loop
  // sampling the 100 x 100 mask its own way: the gpu's linear sampler, the frame library's bilinear
  // scaling. The ring is left out: its side is 101 in one loop and 100 in the other by design.
  std::vector<uint8_t> pictures[2];
  std::vector<uint8_t> desktop;
  for (int i = 0; i < 2; ++i) {
    SimCapture s(L"ARGB");
    s.root->SetString(L"capture.mode", i == 0 ? L"GDI" : L"DXGI");
    s.root->SetString(L"capture.show_mouse", L"show");
    s.root->SetString(L"capture.highlight_mouse", L"show");
    s.root->SetColor(L"capture.highlight_mouse_color", 0x0000FF00u);
    s.root->SetBool(L"capture.dxgi_optimize_copy", false);
    s.root->SetString(L"capture.sampler_type", L"linear");
    s.desktop->SetPointer(true, 300, 200);
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.sink.WaitFrames(5));
    pictures[i] = s.sink.LastPicture();
    s.engine->Stop();
    EXPECT_FALSE(Desktop(*s.desktop, 280, 204) == At(pictures[i], 280, 204)) << "the disc is drawn";
    EXPECT_FALSE(Desktop(*s.desktop, 302, 205) == At(pictures[i], 302, 205)) << "the pointer is drawn";
  }
  ASSERT_EQ(pictures[0].size(), pictures[1].size());
  int worst = 0;
  for (size_t i = 0; i < pictures[0].size(); i += 4) {
    for (int c = 0; c < 3; ++c) worst = std::max(worst, std::abs(pictures[0][i + c] - pictures[1][i + c]));
  }
  // Rounding of the blend in float on one side and of the scaled mask on the other.
  EXPECT_LE(worst, 1);
}

TEST(CaptureMarks, AMachineThatCantTellWhereThePointerIsGetsNoMarks) {
  for (const wchar_t* mode : {L"GDI", L"DXGI"}) {
    SCOPED_TRACE(std::string(mode, mode + std::wcslen(mode)));
    MarksCapture s(mode);
    cvplat::CapturePlatform platform = s.desktop->Platform(s.faults.Factory());
    platform.cursor = nullptr;
    s.engine = MakeRef<TCaptureSCR>(platform);
    ASSERT_EQ(s.engine->Init(s.tree), S_OK);
    s.root->SetString(L"capture.show_mouse", L"show");
    s.root->SetString(L"capture.highlight_mouse", L"show");
    s.root->SetColor(L"capture.highlight_mouse_color", 0x00FF0000u);
    s.desktop->PressKey(1);
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.sink.WaitFrames(5));
    const std::vector<uint8_t> picture = s.sink.LastPicture();
    s.engine->Stop();
    // Neither a disc nor a ring in the corner where the unknown position would put them.
    int32_t changed = 0;
    for (int32_t y = 0; y < kHeight; ++y)
      for (int32_t x = 0; x < kWidth; ++x) changed += !(At(picture, x, y) == Desktop(*s.desktop, x, y));
    EXPECT_EQ(changed, 0);
  }
}

TEST(CaptureMarks, DamagedStockPicturesFailTheSoftwareModeAndSkipTheGpu) {
  // GDI can't run without its pictures: the start fails and says so.
  {
    SimCapture s(L"ARGB");
    s.root->SetString(L"capture.mode", L"GDI");
    std::vector<uint8_t> damaged = SolidBitmap(kLeftColour);
    damaged[0] = 'X';
    s.desktop->SetResource(kStockLeftClick, damaged);
    EXPECT_EQ(s.Start(), E_FAIL);
    EXPECT_EQ(s.root->GetString(L"current_mode"), L"Error");
    EXPECT_EQ(s.sink.FrameCount(), 0u);
  }
  // A stock texture the gpu refuses ends the Direct3D set-up, and the software loop takes over.
  {
    SimCapture s(L"ARGB");
    s.root->SetString(L"capture.mode", L"DXGI");
    s.faults.Fail(cvplat::GpuCall::Texture, 2);
    ASSERT_EQ(s.Start(), S_OK);
    EXPECT_EQ(s.engine->CaptureMode(), eCaptureGDI);
    EXPECT_TRUE(s.sink.WaitFrames(2));
  }
  // A missing picture: the system's error, in either mode.
  {
    SimCapture s(L"ARGB");
    s.root->SetString(L"capture.mode", L"DXGI");
    s.desktop->RemoveResource(kStockHighlight);
    EXPECT_EQ(s.Start(), static_cast<HRESULT>(0x80070716u));
    EXPECT_EQ(s.root->GetString(L"current_mode"), L"Error");
  }
}

}  // namespace
