#include "device/format_impl.h"

#include <gtest/gtest.h>

#include <string>

#include "device/format_test_core.h"
#include "engine/engine_test_sink.h"
#include "engine/test_pattern_engine.h"
#include "media/colour_formats.h"
#include "media/format_text.h"

namespace {

using format_test::TFakeCore;
using format_test::TFakeEngine;
using format_test::TFormatObject;

std::wstring Take(BSTR text) {
  std::wstring s = text ? std::wstring(text, SysStringLen(text)) : std::wstring();
  SysFreeString(text);
  return s;
}

TVideoProps Format(int32_t videoFormat, uint32_t colour = 0) {
  TVideoProps v{};
  v.videoFormat = videoFormat;
  v.colourFormat = colour;
  return v;
}

struct Store {
  TRefPtr<TFakeEngine> engine = MakeRef<TFakeEngine>();
  TFakeCore core;
  TFormatObject object;
  ICVFormat& format;

  explicit Store(bool withEngine = true) : core(withEngine ? engine.Get() : nullptr), object(core), format(object) {
    engine->Init(TPropertyTree());
  }
};

TEST(FormatLists, StockRowsWithTheirNamesAndTheirBounds) {
  Store s;
  ICVFormat& f = s.format;
  EXPECT_EQ(f.VideoFormatCount(0, nullptr), S_OK);
  int32_t count = 0;
  EXPECT_EQ(f.VideoFormatCount(1, &count), S_OK);
  EXPECT_EQ(count, 47);
  EXPECT_EQ(f.VideoFormatCount(4, &count), E_INVALIDARG);
  EXPECT_EQ(f.VideoFormatCount(-1, &count), E_INVALIDARG);

  TVideoProps row{};
  BSTR name = nullptr;
  ASSERT_EQ(f.VideoFormatGetByIndex(1, 46, &row, &name), S_OK);
  EXPECT_EQ(row.videoFormat, kVideoFormatDisabled);
  EXPECT_EQ(Take(name), L"<None>");
  ASSERT_EQ(f.VideoFormatGetByIndex(1, 0, &row, &name), S_OK);
  EXPECT_EQ(Take(name), L"<Auto/Not Specified>");
  ASSERT_EQ(f.VideoFormatGetByIndex(2, 11, &row, &name), S_OK);
  EXPECT_EQ(Take(name), L"HD1080-25p HDYC 1920x1080@25.00p 16:9");
  EXPECT_EQ(row.width, 1920);

  // Outside the list: 1, and the out arguments are left as they were.
  row.videoFormat = 99;
  name = nullptr;
  EXPECT_EQ(f.VideoFormatGetByIndex(1, 47, &row, &name), S_FALSE);
  EXPECT_EQ(f.VideoFormatGetByIndex(1, -1, &row, &name), S_FALSE);
  EXPECT_EQ(row.videoFormat, 99);
  EXPECT_EQ(name, nullptr);
  EXPECT_EQ(f.VideoFormatGetByIndex(7, 0, &row, &name), E_INVALIDARG);
  EXPECT_EQ(f.VideoFormatGetByIndex(3, 4, nullptr, nullptr), S_OK);  // built on first use

  ASSERT_EQ(f.AudioFormatCount(0, &count), S_OK);
  EXPECT_EQ(count, 191);
  TAudioProps a{};
  ASSERT_EQ(f.AudioFormatGetByIndex(0, 1, &a, &name), S_OK);
  EXPECT_EQ(a.channels, 2);
  EXPECT_EQ(a.sampleRate, 48000);
  EXPECT_EQ(a.bitsPerSample, 16);
  EXPECT_EQ(Take(name), L"48000 Hz, 2 Ch, 16-bit");
  ASSERT_EQ(f.AudioFormatGetByIndex(0, 64, &a, &name), S_OK);
  EXPECT_EQ(Take(name), L"48000 Hz, 2 Ch, 32-bit (float)");
  ASSERT_EQ(f.AudioFormatGetByIndex(0, 190, &a, &name), S_OK);
  EXPECT_EQ(Take(name), L"<None>");
  EXPECT_EQ(f.AudioFormatGetByIndex(0, 191, &a, &name), E_INVALIDARG);
  EXPECT_EQ(f.AudioFormatGetByIndex(2, -1, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(f.AudioFormatCount(4, nullptr), E_INVALIDARG);
}

TEST(FormatLists, TheEngineShapesTheInputListOnly) {
  Store s;
  s.engine->maxRate = 30;  // no row above 30 frames a second
  int32_t input = 0;
  int32_t output = 0;
  ASSERT_EQ(s.format.VideoFormatCount(0, &input), S_OK);
  ASSERT_EQ(s.format.VideoFormatCount(1, &output), S_OK);
  EXPECT_EQ(output, 47);
  EXPECT_LT(input, 47);
  EXPECT_GT(input, 2);  // auto and disabled have no rate, so they stay
  s.engine->maxChannels = 2;
  ASSERT_EQ(s.format.AudioFormatCount(0, &input), S_OK);
  EXPECT_EQ(input, 1 + 3 * 7 * 2 + 1);

  // An engine with a list of its own replaces the stock list of kind 0.
  s.engine->ownVideoList = true;
  s.engine->videoRows = {Format(0), Format(4)};
  ASSERT_EQ(s.format.VideoFormatCount(0, &input), S_OK);
  EXPECT_EQ(input, 2);

  // Without an engine every stock row is offered.
  Store none(false);
  ASSERT_EQ(none.format.VideoFormatCount(0, &input), S_OK);
  EXPECT_EQ(input, 47);
}

TEST(FormatRecords, NewStoreAndKindsOutsideEachTable) {
  Store s;
  ICVFormat& f = s.format;
  TVideoProps v{};
  int32_t index = -7;
  BSTR name = nullptr;
  EXPECT_EQ(f.VideoFormatGet(0, &v, &index, &name), S_FALSE);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(Take(name), L"<Auto/Not Specified>");
  EXPECT_EQ(f.VideoFormatGet(2, nullptr, nullptr, nullptr), S_FALSE);
  EXPECT_EQ(f.VideoFormatGet(4, &v, &index, &name), E_INVALIDARG);
  TAudioProps a{};
  EXPECT_EQ(f.AudioFormatGet(0, &a, &index, &name), S_FALSE);
  EXPECT_EQ(Take(name), L"<Auto/Not Specified>");

  const TVideoProps pal = Format(eTVF_PAL);
  EXPECT_EQ(f.VideoFormatSet(3, &pal), E_INVALIDARG);
  EXPECT_EQ(f.VideoFormatSet(3, nullptr), E_INVALIDARG);
  EXPECT_EQ(f.VideoFormatSet(4, &pal), E_INVALIDARG);
  const TAudioProps stereo{2, 48000, 16, 0};
  EXPECT_EQ(f.AudioFormatSet(3, &stereo), E_INVALIDARG);
  EXPECT_EQ(f.AudioFormatSet(2, &stereo), E_INVALIDARG);
  EXPECT_EQ(f.AudioFormatGet(2, &a, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(f.AudioFormatGet(-1, &a, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(s.engine->starts, 0);
}

TEST(FormatRecords, OutputColoursAreCheckedAndSwappedToThePicture) {
  Store s;
  ICVFormat& f = s.format;
  TVideoProps custom{};
  custom.width = 640;
  custom.height = 480;
  custom.frameRate = 30;
  custom.colourFormat = kColourYV12;
  EXPECT_EQ(f.VideoFormatSet(1, &custom), CV_E_FORMAT_REFUSED);
  EXPECT_EQ(f.VideoFormatSet(2, &custom), CV_E_FORMAT_REFUSED);
  EXPECT_EQ(f.VideoFormatSet(0, &custom), S_OK);  // the engine's to judge, and this one takes it
  EXPECT_EQ(s.engine->starts, 1);

  const TVideoProps hdHdyc = Format(eTVF_HD1080_25p, kColourHDYC);
  ASSERT_EQ(f.VideoFormatSet(1, &hdHdyc), S_OK);
  const TVideoProps pal = Format(eTVF_PAL);
  ASSERT_EQ(f.VideoFormatSet(1, &pal), S_OK);
  TVideoProps got{};
  BSTR name = nullptr;
  EXPECT_EQ(f.VideoFormatGet(1, &got, nullptr, &name), S_OK);
  EXPECT_EQ(got.colourFormat, kColourUYVY);
  EXPECT_EQ(got.width, 720);
  EXPECT_EQ(Take(name), L"PAL UYVY 720x576@25.00iT 4:3");

  const TVideoProps hd = Format(eTVF_HD720_50p);
  ASSERT_EQ(f.VideoFormatSet(1, &hd), S_OK);
  EXPECT_EQ(f.VideoFormatGet(1, &got, nullptr, nullptr), S_OK);
  EXPECT_EQ(got.colourFormat, kColourHDYC);

  // A colour that comes with the request stays.
  const TVideoProps hdUyvy = Format(eTVF_HD1080_25p, kColourUYVY);
  ASSERT_EQ(f.VideoFormatSet(1, &hdUyvy), S_OK);
  EXPECT_EQ(f.VideoFormatGet(1, &got, nullptr, nullptr), S_OK);
  EXPECT_EQ(got.colourFormat, kColourUYVY);
  // The output format shapes nothing but kind 3: no restart for it.
  EXPECT_EQ(s.engine->starts, 1);
}

TEST(FormatRecords, InputFormatRestartsTheCaptureOnlyWhenItChanges) {
  Store s;
  ICVFormat& f = s.format;
  const TVideoProps pal = Format(eTVF_PAL);
  ASSERT_EQ(f.VideoFormatSet(0, &pal), S_OK);
  EXPECT_EQ(s.core.closes, 1);
  EXPECT_EQ(s.core.opens, 1);
  EXPECT_EQ(s.engine->State(), eEngineRunning);
  EXPECT_EQ(s.engine->started.video.videoFormat, eTVF_PAL);
  EXPECT_EQ(s.engine->started.video.width, 720);

  EXPECT_EQ(f.VideoFormatSet(0, &pal), S_FALSE);
  EXPECT_EQ(s.core.opens, 1);

  int32_t index = -1;
  EXPECT_EQ(f.VideoFormatGet(0, nullptr, &index, nullptr), S_OK);
  EXPECT_EQ(index, eTVF_PAL);

  // The sound joins the running format: a restart with both.
  const TAudioProps stereo{2, 48000, 16, 0};
  ASSERT_EQ(f.AudioFormatSet(0, &stereo), S_OK);
  EXPECT_EQ(s.core.opens, 2);
  EXPECT_EQ(s.engine->started.audio.channels, 2);
  EXPECT_EQ(s.engine->started.video.videoFormat, eTVF_PAL);
  EXPECT_EQ(f.AudioFormatSet(0, &stereo), S_FALSE);
  TAudioProps a{};
  EXPECT_EQ(f.AudioFormatGet(0, &a, &index, nullptr), S_OK);
  EXPECT_EQ(index, 1);

  // A closed engine takes the format at its next open.
  s.engine->Close();
  const TVideoProps hd = Format(eTVF_HD1080_50i);
  ASSERT_EQ(f.VideoFormatSet(0, &hd), S_OK);
  EXPECT_EQ(s.core.opens, 2);
  EXPECT_EQ(s.object.InputFormat().video.videoFormat, eTVF_HD1080_50i);
}

TEST(FormatRecords, RefusalsLeaveTheRecordAsItWas) {
  Store s;
  ICVFormat& f = s.format;
  const TVideoProps pal = Format(eTVF_PAL);
  ASSERT_EQ(f.VideoFormatSet(0, &pal), S_OK);

  const TVideoProps sideBySide = Format(eTVF_HD1080_25p | kLayoutSideBySide);
  EXPECT_EQ(f.VideoFormatSet(0, &sideBySide), CV_E_FORMAT_REFUSED);
  TAudioProps many{16, 48000, 16, 0};
  s.engine->maxChannels = 8;
  EXPECT_EQ(f.AudioFormatSet(0, &many), CV_E_FORMAT_REFUSED);

  // A restart whose open fails puts the old record back; the capture stays closed.
  s.core.openResult = E_FAIL;
  const TAudioProps stereo{2, 44100, 16, 0};
  EXPECT_EQ(f.AudioFormatSet(0, &stereo), CV_E_FORMAT_REFUSED);
  EXPECT_EQ(s.engine->State(), eEngineClosed);
  s.engine->Init(TPropertyTree());  // open again, so that the next change restarts it
  const TVideoProps hd = Format(eTVF_HD720_50p);
  EXPECT_EQ(f.VideoFormatSet(0, &hd), CV_E_FORMAT_REFUSED);
  const TAvProps input = s.object.InputFormat();
  EXPECT_EQ(input.video.videoFormat, eTVF_PAL);
  EXPECT_EQ(input.audio.channels, 0);
}

TEST(FormatRecords, ASetRecordIsListedAndNoAudioIsAValidAnswer) {
  Store s(false);
  ICVFormat& f = s.format;
  TVideoProps custom{};
  custom.width = 640;
  custom.height = 360;
  custom.frameRate = 30;
  custom.colourFormat = kColourRGB32;
  ASSERT_EQ(f.VideoFormatSet(1, &custom), S_OK);
  int32_t index = -1;
  TVideoProps got{};
  EXPECT_EQ(f.VideoFormatGet(1, &got, &index, nullptr), S_OK);
  EXPECT_EQ(index, 47);
  TVideoProps row{};
  ASSERT_EQ(f.VideoFormatGetByIndex(1, 47, &row, nullptr), S_OK);
  EXPECT_EQ(row.width, 640);
  EXPECT_EQ(row.colourFormat, kColourRGB32);

  const TAudioProps none{-1, 0, 0, 0};
  ASSERT_EQ(f.AudioFormatSet(1, &none), S_OK);
  TAudioProps a{};
  BSTR name = nullptr;
  EXPECT_EQ(f.AudioFormatGet(1, &a, &index, &name), S_OK);
  EXPECT_EQ(index, 190);
  EXPECT_EQ(Take(name), L"<None>");
  // A null record clears it again.
  EXPECT_EQ(f.AudioFormatSet(1, nullptr), S_OK);
  EXPECT_EQ(f.AudioFormatGet(1, &a, nullptr, nullptr), S_FALSE);
}

TEST(FormatRecords, EffectiveFormatFollowsTheAdjustments) {
  Store s(false);
  ICVFormat& f = s.format;
  const TVideoProps interlaced = Format(eTVF_HD1080_50i);
  ASSERT_EQ(f.VideoFormatSet(0, &interlaced), S_OK);
  TVideoProps effective{};
  EXPECT_EQ(f.VideoFormatGet(3, &effective, nullptr, nullptr), S_OK);
  EXPECT_EQ(effective.scan, 1);

  TVideoProps adjust{};
  adjust.scan = 4;
  ASSERT_EQ(f.VideoFormatSet(2, &adjust), S_OK);
  EXPECT_EQ(f.VideoFormatGet(3, &effective, nullptr, nullptr), S_OK);
  EXPECT_EQ(effective.scan, 2);

  adjust.scan = 5;
  ASSERT_EQ(f.VideoFormatSet(2, &adjust), S_OK);
  EXPECT_EQ(f.VideoFormatGet(3, &effective, nullptr, nullptr), S_OK);
  EXPECT_EQ(effective.scan, 3);
  EXPECT_EQ(effective.width, 1920);

  // The output's sound fields replace the input's.
  const TAudioProps in{2, 48000, 16, 0};
  const TAudioProps out{0, 44100, -32, 0};
  ASSERT_EQ(f.AudioFormatSet(0, &in), S_OK);
  ASSERT_EQ(f.AudioFormatSet(1, &out), S_OK);
  TAudioProps a{};
  EXPECT_EQ(f.AudioFormatGet(3, &a, nullptr, nullptr), S_OK);
  EXPECT_EQ(a.channels, 2);
  EXPECT_EQ(a.sampleRate, 44100);
  EXPECT_EQ(a.bitsPerSample, -32);
}

TEST(FormatRecords, FramesFillTheInputOnlyWithTheirValidParts) {
  Store s(false);
  EXPECT_FALSE(s.object.InputVideoValid());
  TAvProps seen{};
  seen.video = Format(eTVF_HD720_50p);
  seen.audio = TAudioProps{0, 0, 0, 0};
  s.object.InputFormatSeen(seen);
  EXPECT_TRUE(s.object.InputVideoValid());
  EXPECT_EQ(s.object.InputFormat().video.videoFormat, eTVF_HD720_50p);

  seen.video = TVideoProps{};
  seen.audio = TAudioProps{2, 48000, 16, 0};
  s.object.InputFormatSeen(seen);
  const TAvProps input = s.object.InputFormat();
  EXPECT_EQ(input.video.videoFormat, eTVF_HD720_50p);
  EXPECT_EQ(input.audio.sampleRate, 48000);
}

// The engine that stands in for the screen: a valid input format set on a fresh device starts it.
TEST(FormatWithEngine, ValidInputFormatStartsTheTestPatternAndTheSameOneDoesNothing) {
  TRefPtr<TTestPatternEngine> engine = MakeRef<TTestPatternEngine>();
  XMLParse::XMLNodePtr root = engine_test::SmallTree();
  ASSERT_EQ(engine->Init(TPropertyTree(root.Get())), S_OK);
  TFakeCore core(engine.Get());
  TFormatObject object(core);
  ICVFormat& f = object;

  int32_t count = 0;
  ASSERT_EQ(f.VideoFormatCount(0, &count), S_OK);
  EXPECT_EQ(count, 47);
  ASSERT_EQ(f.AudioFormatCount(0, &count), S_OK);
  EXPECT_EQ(count, 191);

  const TVideoProps hd = Format(eTVF_HD1080_25p);
  ASSERT_EQ(f.VideoFormatSet(0, &hd), S_OK);
  EXPECT_EQ(engine->State(), eEngineRunning);
  EXPECT_EQ(engine->RequestedVideoFormat().videoFormat, eTVF_HD1080_25p);
  EXPECT_EQ(f.VideoFormatSet(0, &hd), S_FALSE);
  EXPECT_EQ(core.opens, 1);

  const TVideoProps pal = Format(eTVF_PAL);
  ASSERT_EQ(f.VideoFormatSet(0, &pal), S_OK);
  EXPECT_EQ(core.opens, 2);
  EXPECT_EQ(engine->RequestedVideoFormat().videoFormat, eTVF_PAL);
  EXPECT_EQ(engine->Close(), S_OK);
}

}  // namespace
