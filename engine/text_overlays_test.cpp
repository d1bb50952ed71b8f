#include "engine/text_overlays.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "engine/capture_test_support.h"
#include "framelib/frame_factory.h"
#include "media/colour_formats.h"
#include "media/timecode.h"
#include "props/xml_node.h"

namespace {

struct TextCall {
  std::wstring text;
  double size;
  TTextPlacement at;
  int32_t flags;
  std::wstring style;
};

// A frame that writes down every TextDraw and passes every call on to a real frame of the library, so
// the lines are really drawn too. A set `drawResult` replaces what TextDraw answers.
class RecordingFrame final : public ICVFrame_I {
 public:
  explicit RecordingFrame(ICVFrame_I* real) : real_(real) {}
  std::vector<TextCall> calls;
  HRESULT drawResult = S_OK;

  HRESULT STDMETHODCALLTYPE TextDraw(const wchar_t* text, double size, const TTextPlacement* at, int32_t flags,
                                     const wchar_t* style) override {
    calls.push_back({text, size, *at, flags, style});
    const HRESULT hr = real_->TextDraw(text, size, at, flags, style);
    return drawResult != S_OK ? drawResult : hr;
  }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    *object = riid == IID_IUnknown || riid == IID_ICVFrame_I ? static_cast<ICVFrame_I*>(this) : nullptr;
    return *object ? S_OK : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }  // lives on the test's stack
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE FormatGet(TAvProps* p, int32_t* a) override { return real_->FormatGet(p, a); }
  HRESULT STDMETHODCALLTYPE FormatSet(const TAvProps* p, const wchar_t* h) override { return real_->FormatSet(p, h); }
  HRESULT STDMETHODCALLTYPE TimeGet(TFrameTime* t) override { return real_->TimeGet(t); }
  HRESULT STDMETHODCALLTYPE TimeSet(const TFrameTime* t) override { return real_->TimeSet(t); }
  HRESULT STDMETHODCALLTYPE AudioChannelGet(int32_t c, int32_t m, int32_t* b, uint8_t** s) override {
    return real_->AudioChannelGet(c, m, b, s);
  }
  HRESULT STDMETHODCALLTYPE AudioCommit() override { return real_->AudioCommit(); }
  HRESULT STDMETHODCALLTYPE AudioSet(const TAudioProps* p, int32_t b, int32_t r1, int32_t r2) override {
    return real_->AudioSet(p, b, r1, r2);
  }
  HRESULT STDMETHODCALLTYPE PixelsGet(int32_t plane, uint8_t** p) override { return real_->PixelsGet(plane, p); }
  HRESULT STDMETHODCALLTYPE FrameDuplicate(ICVFrame_I** f, uint32_t m, int32_t r) override {
    return real_->FrameDuplicate(f, m, r);
  }
  HRESULT STDMETHODCALLTYPE MarkupFill(int32_t r1, int32_t r2, int32_t x, int32_t y, double o, const wchar_t* m,
                                       int32_t r3) override {
    return real_->MarkupFill(r1, r2, x, y, o, m, r3);
  }
  HRESULT STDMETHODCALLTYPE FrameConvert(uint32_t c, int32_t w, int32_t h, int32_t r, ICVFrame_I** f,
                                         const wchar_t* o, const wchar_t* hints) override {
    return real_->FrameConvert(c, w, h, r, f, o, hints);
  }
  HRESULT STDMETHODCALLTYPE LabelSet(const wchar_t* n, int32_t r, int64_t v) override {
    return real_->LabelSet(n, r, v);
  }
  HRESULT STDMETHODCALLTYPE Overlay(ICVFrame_I* s, int32_t r1, const TOverlayRect* rect, int32_t f, double o,
                                    int32_t r2, int32_t r3) override {
    return real_->Overlay(s, r1, rect, f, o, r2, r3);
  }

 private:
  ICVFrame_I* real_;
};

constexpr size_t kBytes = 320 * 180 * 4;

// A real RGB32 frame of the library, every byte 0x40, seen through a recorder.
struct TestFrame {
  TRefPtr<ICVFrame_I> real = [] {
    TVideoProps v{};
    v.colourFormat = kColourRGB32;
    v.width = 320;
    v.height = -180;
    v.frameRate = 30;
    ICVFrame_I* made = nullptr;
    EXPECT_EQ(TRefPtr<ICVFactory>::Adopt(GetFrameFactory())->FrameCreate(&v, 0, 0, 0, 0, &made, nullptr), S_OK);
    return TRefPtr<ICVFrame_I>::Adopt(made);
  }();
  RecordingFrame frame{real.Get()};

  TestFrame() { std::fill(Pixels(), Pixels() + kBytes, uint8_t{0x40}); }
  uint8_t* Pixels() {
    uint8_t* pixels = nullptr;
    real->PixelsGet(0, &pixels);
    return pixels;
  }
  bool Untouched() { return std::count(Pixels(), Pixels() + kBytes, 0x40) == std::ptrdiff_t(kBytes); }
};

XMLParse::XMLNodePtr Props(const wchar_t* on) {
  XMLParse::XMLNodePtr props = XMLParse::CoXMLNode::Create(L"props");
  if (on) props->SetBool(on, true);
  return props;
}

void ExpectLine(const TextCall& c, double size, int32_t flags, const wchar_t* colour) {
  EXPECT_EQ(c.size, size);
  EXPECT_EQ(c.flags, flags);
  EXPECT_EQ(c.style, std::wstring(L"color='") + colour + L"' face='Consolas' bg-color='black(100)'");
  EXPECT_TRUE(c.at.x == 0 && c.at.y == 0.05 && c.at.width == 0 && c.at.height == 0 && c.at.relative == 1);
}

TEST(TextOverlays, TimecodeLineMarksDropFrameAndIsReallyDrawn) {
  TestFrame f;
  TFrameTime t{};
  t.hours = 1, t.minutes = 2, t.seconds = 3, t.frames = 4;
  t.timecodeFlags = kTimecodeBase30 | kTimecodeDropFrame;
  ASSERT_EQ(f.frame.TimeSet(&t), S_OK);
  EXPECT_EQ(DrawTextLines(&f.frame, Props(nullptr).Get(), nullptr), S_OK);
  EXPECT_TRUE(f.frame.calls.empty() && f.Untouched()) << "off unless asked for";

  auto props = Props(L"timecode.print");
  EXPECT_EQ(DrawTextLines(&f.frame, props.Get(), nullptr), S_OK);
  ASSERT_EQ(f.frame.calls.size(), 1u);
  EXPECT_EQ(f.frame.calls[0].text, L"01:02:03;04");
  ExpectLine(f.frame.calls[0], 2.0, 0x21, L"yellow");
  EXPECT_FALSE(f.Untouched()) << "the frame library drew the line";

  t.timecodeFlags = kTimecodeBase30;
  t.hours = 123;  // more than two digits stay whole
  ASSERT_EQ(f.frame.TimeSet(&t), S_OK);
  EXPECT_EQ(DrawTextLines(&f.frame, props.Get(), nullptr), S_OK);
  ASSERT_EQ(f.frame.calls.size(), 2u);
  EXPECT_EQ(f.frame.calls[1].text, L"123:02:03:04");
}

TEST(TextOverlays, KeyLineNamesTheKeysDownInKeyOrderEachModifierOnce) {
  auto desktop = cvplat::SimDesktop::Create();
  auto props = Props(L"capture.show_keypresses");
  TestFrame f;
  // Pressed as A, right Ctrl, left and right Shift.
  for (uint32_t vk : {uint32_t{'A'}, 0xA3u, 0xA1u, 0xA0u}) desktop->PressKey(vk);
  EXPECT_EQ(DrawTextLines(&f.frame, props.Get(), desktop.get()), S_OK);
  EXPECT_EQ(desktop->KeyPolls(), 256);
  ASSERT_EQ(f.frame.calls.size(), 1u);
  EXPECT_EQ(f.frame.calls[0].text, L"Shift + Ctrl + A ");
  ExpectLine(f.frame.calls[0], 0.5, 1, L"white");
  // A key without a name drops out, and the " + " it would have needed with it.
  desktop->SetKeyName('A', L"");
  EXPECT_EQ(BuildKeyText(*desktop), L"Shift + Ctrl ");
  for (uint32_t vk : {0xA0u, 0xA1u, 0xA3u, uint32_t{'A'}}) desktop->ReleaseKey(vk);

  // Mouse buttons have no names: held alone they draw nothing. A tap shows on the next frame only.
  for (uint32_t vk : {1u, 2u, 4u}) desktop->PressKey(vk);
  desktop->TapKey(0x70);
  EXPECT_EQ(DrawTextLines(&f.frame, props.Get(), desktop.get()), S_OK);
  EXPECT_EQ(DrawTextLines(&f.frame, props.Get(), desktop.get()), S_OK);
  ASSERT_EQ(f.frame.calls.size(), 2u);
  EXPECT_EQ(f.frame.calls[1].text, L"F1 ");

  // The size is held to 0.5 .. 2.0; a missing or unreadable one counts as 0.
  desktop->PressKey('K');
  for (const auto& [text, size] : {std::pair{L"0.1", 0.5}, {L"3", 2.0}, {L"0.75", 0.75}, {L"large", 0.5}}) {
    props->SetString(L"capture.keypress_text_size", text);
    EXPECT_EQ(DrawTextLines(&f.frame, props.Get(), desktop.get()), S_OK);
    EXPECT_EQ(f.frame.calls.back().size, size) << text;
  }

  // The line off: the keys aren't even polled.
  props->SetBool(L"capture.show_keypresses", false);
  const int polls = desktop->KeyPolls();
  EXPECT_EQ(DrawTextLines(&f.frame, props.Get(), desktop.get()), S_OK);
  EXPECT_EQ(desktop->KeyPolls(), polls);
}

// Keys whose names can't be had for want of memory.
struct NoMemoryKeys : cvplat::IKeyInput {
  bool KeyDown(uint32_t vk) override { return vk == 'A'; }
  std::wstring KeyName(uint32_t) override { throw std::bad_alloc(); }
};

TEST(TextOverlays, TimecodeFirstFailedDrawsIgnoredMissingMemoryReported) {
  auto desktop = cvplat::SimDesktop::Create();
  desktop->PressKey('Z');
  auto props = Props(L"timecode.print");
  props->SetBool(L"capture.show_keypresses", true);
  TestFrame f;
  f.frame.drawResult = E_FAIL;
  EXPECT_EQ(DrawTextLines(&f.frame, props.Get(), desktop.get()), S_OK);
  ASSERT_EQ(f.frame.calls.size(), 2u);
  EXPECT_EQ(f.frame.calls[0].text, L"00:00:00:00");
  EXPECT_EQ(f.frame.calls[1].text, L"Z ");
  NoMemoryKeys noMemory;
  EXPECT_EQ(DrawTextLines(&f.frame, props.Get(), &noMemory), E_OUTOFMEMORY);
  EXPECT_EQ(f.frame.calls.size(), 3u) << "the timecode went out before the key line failed";
}

TEST(TextOverlays, TheRunningEngineAsksThePlatformsKeys) {
  engine_test::SimCapture s;
  s.root->SetBool(L"capture.show_keypresses", true);
  ASSERT_EQ(s.Start(), S_OK);
  ASSERT_TRUE(s.sink.WaitFrames(2));
  EXPECT_EQ(s.engine->Stop(), S_OK);
  EXPECT_GE(s.desktop->KeyPolls(), 2 * 256);
}

}  // namespace
