// The device object as a host sees it: its table, its choice of device and audio, its open and close,
// its identity and aggregation, and the road of frames from the engine to readers.
#include "device/capture_device.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "device/capture_device_test.h"
#include "media/format_table.h"
#include "media/module_lock.h"
#include "media/video_format.h"
#include "platform/kernel.h"
#include "platform/sim/audio_sim.h"
#include "props/settings_persist.h"

namespace {

constexpr int64_t kSecond = 10000000;

std::wstring Text(BSTR text) {
  std::wstring s(text ? text : L"", SysStringLen(text));
  SysFreeString(text);
  return s;
}

TEST(CaptureDeviceTable, CountsDescribesAndRefusesBadKindsAndIndices) {
  TTestDevice d;
  ASSERT_EQ(d.status, S_OK);
  int32_t count = -7;
  EXPECT_EQ(d.device->DeviceCount(kDeviceKindVideo, &count), S_OK);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(d.device->DeviceCount(kDeviceKindAudio, &count), S_OK);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(d.device->DeviceCount(5, &count), S_OK);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(d.device->DeviceCount(0, nullptr), E_POINTER);

  BSTR name = nullptr;
  int32_t busy = 99;
  ASSERT_EQ(d.device->DeviceDescribe(kDeviceKindVideo, 0, &name, &busy), S_OK);
  EXPECT_EQ(Text(name), L"Tarnwell DXGI/DX11 ScreenCapture");
  EXPECT_EQ(busy, -1);  // the selected row
  EXPECT_EQ(d.device->DeviceDescribe(kDeviceKindVideo, 1, nullptr, nullptr), CV_E_BAD_INDEX);
  EXPECT_EQ(d.device->DeviceDescribe(kDeviceKindVideo, -1, nullptr, nullptr), CV_E_BAD_INDEX);

  busy = 99;
  ASSERT_EQ(d.device->DeviceDescribe(kDeviceKindAudio, 1, &name, &busy), S_OK);
  EXPECT_EQ(Text(name), L"<No Audio>");
  EXPECT_EQ(busy, 99);  // left alone for the audio list
  EXPECT_EQ(d.device->DeviceDescribe(kDeviceKindAudio, 2, nullptr, nullptr), CV_E_BAD_INDEX);
  EXPECT_EQ(d.device->DeviceDescribe(7, 0, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(d.device->DeviceSelect(7, 0, nullptr), E_INVALIDARG);
  EXPECT_EQ(d.device->DeviceSelect(kDeviceKindVideo, 3, nullptr), CV_E_BAD_INDEX);

  EXPECT_EQ(d.device->DeviceReserved1(0, 0, nullptr, nullptr), E_NOTIMPL);
  EXPECT_EQ(d.device->DeviceReserved2(nullptr, nullptr), E_NOTIMPL);
}

TEST(CaptureDeviceTable, SelectionAndAudioChoiceAsTextAndIndex) {
  TTestDevice d;
  int32_t index = -7;
  BSTR text = nullptr;
  ASSERT_EQ(d.device->DeviceCurrent(kDeviceKindVideo, &index, &text), S_OK);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(Text(text), L"Tarnwell DXGI/DX11 ScreenCapture");

  // Selecting the row already selected merges the text and says nothing changed.
  EXPECT_EQ(d.device->DeviceSelect(kDeviceKindVideo, 0, L"capture.fps_limit='25'"), S_FALSE);
  EXPECT_EQ(d.Get(L"capture.fps_limit"), L"25");

  ASSERT_EQ(d.device->DeviceSelect(kDeviceKindAudio, 1, nullptr), S_OK);
  ASSERT_EQ(d.device->DeviceCurrent(kDeviceKindAudio, &index, &text), S_OK);
  EXPECT_EQ(index, 1);
  EXPECT_EQ(Text(text), L"<No Audio>");
  ASSERT_EQ(d.device->DeviceCurrent(kDeviceKindSelection, nullptr, &text), S_OK);
  const std::wstring selection = Text(text);
  EXPECT_NE(selection.find(L"<device"), std::wstring::npos) << selection;
  EXPECT_NE(selection.find(L"Tarnwell DXGI/DX11 ScreenCapture"), std::wstring::npos) << selection;
  EXPECT_NE(selection.find(L"audio_enabled='false'"), std::wstring::npos) << selection;

  // An index past the list still turns the sound off, and says the index was bad.
  ASSERT_EQ(d.device->DeviceSelect(kDeviceKindAudio, 0, nullptr), S_OK);
  EXPECT_EQ(d.device->DeviceSelect(kDeviceKindAudio, 2, nullptr), CV_E_BAD_INDEX);
  ASSERT_EQ(d.device->DeviceCurrent(kDeviceKindAudio, &index, nullptr), S_OK);
  EXPECT_EQ(index, 1);
}

// A props text in the element form is merged as the pair form is: what it names is laid over the tree,
// into child nodes too, and everything else (the other defaults, the descriptions) stays.
TEST(CaptureDeviceTable, PropsTextAsAnElementIsLaidOverTheTree) {
  TTestDevice d;
  d.SmallAndFast();
  int32_t before = 0;
  ASSERT_EQ(d.props->PropsCount(nullptr, &before), S_OK);
  EXPECT_EQ(d.device->DeviceSelect(kDeviceKindVideo, 0, L"<t-props capture.mode='GDI'><extra x='1'/></t-props>"),
            S_FALSE);
  EXPECT_EQ(d.Get(L"capture.mode"), L"GDI");
  EXPECT_EQ(d.Get(L"extra::x"), L"1");
  EXPECT_EQ(d.Get(L"capture.frame_size"), L"240x160");
  EXPECT_EQ(d.Get(L"capture.async_resize"), L"false");
  BSTR text = nullptr;
  ASSERT_EQ(d.props->PropsInfo(L"capture.async_resize", 0, &text), S_OK);  // the description is still there
  EXPECT_EQ(Text(text), L"Async output frame resize (experimental)");
  int32_t after = 0;
  ASSERT_EQ(d.props->PropsCount(nullptr, &after), S_OK);
  EXPECT_EQ(after, before + 1);  // the new child node

  ASSERT_EQ(d.device->DeviceOpen(nullptr, L"<t-props capture.show_mouse='false'/>"), S_OK);
  EXPECT_EQ(d.Get(L"capture.show_mouse"), L"false");
  EXPECT_EQ(d.Get(L"capture.mode"), L"GDI");
  EXPECT_EQ(d.Get(L"extra::x"), L"1");
  EXPECT_EQ(d.device->DeviceClose(), S_OK);
}

TEST(CaptureDeviceOpen, UnknownDeviceNameStartsNothingAndCloseTwiceStaysClosed) {
  TTestDevice d;
  d.SmallAndFast();
  EXPECT_EQ(d.device->DeviceOpen(L"<config video='No Such Screen'/>", L"capture.fps_limit='50'"), E_INVALIDARG);
  EXPECT_EQ(d.Get(L"capture.fps_limit"), L"60");  // the props of a refused open are not merged

  // Nothing runs: a reader made without a frame doesn't start the capture, and a poll finds nothing.
  int64_t id = 0;
  ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, nullptr, 0, nullptr), S_OK);
  cvplat::SleepMs(60);
  ICVFrame_I* frame = nullptr;
  EXPECT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 0, nullptr), CV_E_TIMEOUT);
  ASSERT_EQ(frame, nullptr);

  EXPECT_EQ(d.device->DeviceClose(), S_OK);
  EXPECT_EQ(d.device->DeviceClose(), S_OK);
}

TEST(CaptureDeviceOpen, OpenByNameRunsFramesBeforeAnyReadAndCloseStopsThem) {
  TTestDevice d;
  d.SmallAndFast();
  ASSERT_EQ(d.device->DeviceOpen(L"<config video='Tarnwell DXGI/DX11 ScreenCapture' audio_enabled='false'/>",
                                 L"capture.show_mouse='false'"),
            S_OK);
  EXPECT_EQ(d.Get(L"capture.show_mouse"), L"false");

  // The frame callback fills the input format while the host has chosen none.
  TVideoProps seen{};
  for (int i = 0; i < 200 && seen.width == 0; ++i) {
    cvplat::SleepMs(10);
    d.format->VideoFormatGet(kFormatKindInput, &seen, nullptr, nullptr);
  }
  EXPECT_EQ(seen.width, 240);
  EXPECT_EQ(std::abs(seen.height), 160);

  ASSERT_EQ(d.device->DeviceClose(), S_OK);
  // A reader made now finds no frame coming: the capture was closed, not paused.
  int64_t id = 0;
  ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, nullptr, 0, nullptr), S_OK);
  cvplat::SleepMs(80);
  ICVFrame_I* frame = nullptr;
  EXPECT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 0, nullptr), CV_E_TIMEOUT);
}

TEST(CaptureDeviceIdentity, AnswersItsFourFacesWithOneIdentityAndNotTheInnerOnes) {
  TTestDevice d;
  void* unknownA = nullptr;
  void* unknownB = nullptr;
  ASSERT_EQ(d.props->QueryInterface(IID_IUnknown, &unknownA), S_OK);
  ASSERT_EQ(d.format->QueryInterface(IID_IUnknown, &unknownB), S_OK);
  EXPECT_EQ(unknownA, unknownB);
  static_cast<IUnknown*>(unknownA)->Release();
  static_cast<IUnknown*>(unknownB)->Release();

  void* face = nullptr;
  EXPECT_EQ(d.source->QueryInterface(IID_ITSource_I, &face), E_NOINTERFACE);
  EXPECT_EQ(face, nullptr);
  EXPECT_EQ(d.source->QueryInterface(IID_ICVExternal, &face), E_NOINTERFACE);
  EXPECT_EQ(d.device->QueryInterface(IID_ICVDevice, nullptr), E_POINTER);
}

// An outer object that owns the device as its inner part, as a host's aggregate does.
class TOuter final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    if (IsEqualIID(riid, IID_IUnknown)) {
      *object = this;
      AddRef();
      return S_OK;
    }
    return inner ? inner->QueryInterface(riid, object) : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs; }

  IUnknown* inner = nullptr;
  ULONG refs = 1;
};

TEST(CaptureDeviceIdentity, AggregatedDeviceDelegatesToItsOuterAndGoesWithItsInner) {
  const int32_t locksBefore = ModuleLockCount();
  TOuter outer;
  void* object = nullptr;
  EXPECT_EQ(CreateCaptureDevice(&outer, IID_ICVDevice, &object, cvplat::SimDevicePlatform()),
            CLASS_E_NOAGGREGATION);
  EXPECT_EQ(object, nullptr);

  ASSERT_EQ(CreateCaptureDevice(&outer, IID_IUnknown, &object, cvplat::SimDevicePlatform()), S_OK);
  outer.inner = static_cast<IUnknown*>(object);
  EXPECT_GT(ModuleLockCount(), locksBefore);

  void* face = nullptr;
  ASSERT_EQ(outer.QueryInterface(IID_ICVProps, &face), S_OK);
  auto* props = static_cast<ICVProps*>(face);
  EXPECT_EQ(outer.refs, 2u);  // the face counts on the outer object
  // Asked through a face, the identity is the outer object's.
  void* identity = nullptr;
  ASSERT_EQ(props->QueryInterface(IID_IUnknown, &identity), S_OK);
  EXPECT_EQ(identity, static_cast<IUnknown*>(&outer));
  outer.Release();
  props->Release();
  EXPECT_EQ(outer.refs, 1u);

  outer.inner->Release();  // the inner unknown's last reference ends the device
  outer.inner = nullptr;
  EXPECT_EQ(ModuleLockCount(), locksBefore);
}

TEST(CaptureDeviceReads, FirstPollStartsTheCaptureAndLaterReadsGetPacedStampedFrames) {
  TTestDevice d;
  d.SmallAndFast();
  int64_t id = 0;
  ICVFrame_I* frame = nullptr;
  // The first read makes the reader and starts the engine; with timeout 0 it cannot have a frame yet.
  EXPECT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 0, nullptr), CV_E_TIMEOUT);
  EXPECT_NE(id, 0);

  int64_t last = -1;
  for (int i = 0; i < 5; ++i) {
    ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 2 * kSecond, nullptr), S_OK);
    const int64_t n = NumberOf(frame);
    EXPECT_GT(n, last);
    last = n;
    int64_t waited = -1;
    ICVFrame* plain = nullptr;
    ASSERT_EQ(frame->QueryInterface(IID_ICVFrame, reinterpret_cast<void**>(&plain)), S_OK);
    EXPECT_EQ(plain->LabelGet(L"WAIT", &waited), S_OK);
    EXPECT_GE(waited, 0);
    plain->Release();
    frame->Release();
  }
  TAvProps last_format{};
  EXPECT_EQ(d.source->SourceLastFormatGet(&last_format), S_OK);
  EXPECT_EQ(last_format.video.width, 240);
}

TEST(CaptureDeviceReads, LastReaderLeavingClosesTheCaptureAndTheNextReadStartsANewRun) {
  TTestDevice d;
  d.SmallAndFast();
  int64_t id = 0;
  ICVFrame_I* frame = nullptr;
  ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 2 * kSecond, nullptr), S_OK);
  frame->Release();
  cvplat::SleepMs(200);  // a dozen frames at 60 a second
  ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 0, L"flush_reader"), S_OK);
  const int64_t reached = NumberOf(frame);
  frame->Release();
  EXPECT_GE(reached, 3);
  EXPECT_EQ(d.source->SourceReaderClose(id), S_OK);

  // Had the capture gone on, its numbers would have passed `reached`; a new run counts from 0.
  id = 0;
  ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 2 * kSecond, nullptr), S_OK);
  EXPECT_LT(NumberOf(frame), reached);
  EXPECT_NE(FlagsOf(frame) & kFrameFlagGap, 0u);
  frame->Release();
}

TEST(CaptureDeviceReads, TwoThreadsReadingAtOnceShareOneRun) {
  TTestDevice d;
  d.SmallAndFast();
  std::vector<int64_t> firsts(2, -1);
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&, t] {
      int64_t id = 0;
      ICVFrame_I* frame = nullptr;
      for (int i = 0; i < 6; ++i) {
        if (d.source->SourceFrameGetEx_I(&id, &frame, 2 * kSecond, nullptr) != S_OK) return;
        if (i == 5) firsts[t] = NumberOf(frame);
        frame->Release();
      }
    });
  }
  for (auto& t : threads) t.join();
  // A second start would have begun its numbers again from 0 while the other reader was mid-run.
  ASSERT_GE(firsts[0], 5);
  ASSERT_GE(firsts[1], 5);
  EXPECT_LE(std::abs(firsts[0] - firsts[1]), 3);
}

TEST(CaptureDeviceReads, ClosingAReaderWakesItsWaiterAtOnce) {
  TTestDevice d;
  d.SmallAndFast(L"2");  // the slowest rate: the next frame is half a second away
  int64_t id = 0;
  ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, nullptr, 0, nullptr), S_OK);
  ICVFrame_I* frame = nullptr;
  // A run's first frame is held for its own duration and the second follows at once; from then on the
  // next frame is half a second away.
  int64_t number = -1;
  while (number < 1) {
    ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 2 * kSecond, nullptr), S_OK);
    number = NumberOf(frame);
    frame->Release();
  }
  HRESULT waited = S_OK;
  std::thread waiter([&] { waited = d.source->SourceFrameGetEx_I(&id, &frame, 30 * kSecond, nullptr); });
  cvplat::SleepMs(30);  // long enough for the waiter to be waiting, well before the next frame
  d.source->SourceReaderClose(id);
  waiter.join();
  EXPECT_EQ(waited, E_ABORT);  // a time-out would have said so after 30 s
}

TEST(CaptureDeviceLife, ReleasingTheDeviceWhileItCapturesStopsEverything) {
  const int32_t locksBefore = ModuleLockCount();
  {
    TTestDevice d;
    d.SmallAndFast();
    int64_t id = 0;
    ICVFrame_I* frame = nullptr;
    ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 2 * kSecond, nullptr), S_OK);
    frame->Release();
  }
  EXPECT_EQ(ModuleLockCount(), locksBefore);
}

TEST(CaptureDeviceLife, SavedSettingsAreLaidOverTheDefaultsAndWrittenBack) {
  auto platform = cvplat::SimDevicePlatform();
  {
    std::unique_ptr<cvplat::ISettingsKey> key;
    ASSERT_EQ(platform->settings->OpenKey(XMLParse::kSettingsKeyPath, cvplat::SettingsAccess::kReadWrite, &key),
              S_OK);
    key->SetString(L"capture.fps_limit", L"12.5");
    key->Commit();
  }
  TTestDevice d(platform);
  EXPECT_EQ(d.Get(L"capture.fps_limit"), L"12.5");
  // Every other property went back into the store with its default.
  std::unique_ptr<cvplat::ISettingsKey> key;
  ASSERT_EQ(platform->settings->OpenKey(XMLParse::kSettingsKeyPath, cvplat::SettingsAccess::kRead, &key), S_OK);
  int values = 0;
  cvplat::SettingValue value;
  for (uint32_t i = 0; key->EnumValue(i, &value) != cvplat::CV_E_SETTING_NO_MORE; ++i) ++values;
  EXPECT_GE(values, 28);
}

TEST(CaptureDeviceHostSurface, FormatAndPropsFacesWorkOnTheDeviceTheyBelongTo) {
  TTestDevice d;
  d.SmallAndFast();
  int32_t rows = 0;
  ASSERT_EQ(d.format->VideoFormatCount(kFormatKindInput, &rows), S_OK);
  EXPECT_EQ(rows, 47);
  ASSERT_EQ(d.format->AudioFormatCount(kFormatKindInput, &rows), S_OK);
  EXPECT_EQ(rows, 191);

  // A valid input format opens the device at once: a reader that has never read finds frames coming.
  TVideoProps video{};
  video.videoFormat = eTVF_HD720_50p;
  VideoNormalise(video, false);
  ASSERT_EQ(d.format->VideoFormatSet(kFormatKindInput, &video), S_OK);
  EXPECT_EQ(d.format->VideoFormatSet(kFormatKindInput, &video), S_FALSE);
  int64_t id = 0;
  ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, nullptr, 0, nullptr), S_OK);
  ICVFrame_I* frame = nullptr;
  ASSERT_EQ(d.source->SourceFrameGetEx_I(&id, &frame, 2 * kSecond, nullptr), S_OK);
  frame->Release();

  // The module's own keys answer in any letter case, from the platform the device was given.
  EXPECT_EQ(d.Get(L"DLL-VERSION"), d.Get(L"dll-version"));
  EXPECT_NE(d.Get(L"dll-version"), L"<none>");
  EXPECT_EQ(d.Get(L"no.such.key"), L"<none>");
}

std::vector<std::wstring> AudioOptions(TTestDevice& d) {
  std::vector<std::wstring> options;
  int32_t count = 0;
  if (FAILED(d.props->PropsOptionsCount(L"capture.audio_device", &count))) return options;
  for (int32_t i = 0; i < count; ++i) {
    BSTR option = nullptr;
    if (SUCCEEDED(d.props->PropsOptionsGetByIndex(L"capture.audio_device", i, &option, nullptr)))
      options.push_back(Text(option));
  }
  return options;
}

TEST(CaptureDeviceSound, OffersTheDefaultOutputsLoopbackAndAnOpenWithAudioCarriesItsSound) {
  const auto audio = cvplat::SimAudio::Create();
  const cvplat::WaveFormat mix{cvplat::WaveEncoding::kFloat, 2, 48000, 32, 32, 3};
  audio->AddEndpoint(cvplat::AudioFlow::kCapture, L"Mic", mix);
  const std::wstring speakers = audio->AddEndpoint(cvplat::AudioFlow::kRender, L"Speakers", mix);
  auto platform = cvplat::SimDevicePlatform();
  platform->capture.audio = audio;
  TTestDevice d(platform);
  ASSERT_EQ(d.status, S_OK);
  // Recording endpoints are opened by name, but only the default output's loopback is offered.
  EXPECT_EQ(AudioOptions(d), (std::vector<std::wstring>{L"none", L"PC Sounds (Loopback)"}));
  d.SmallAndFast(L"30");

  // Once the host turns audio on, "none" opens the first offered endpoint: the frames carry what the
  // output plays.
  ASSERT_EQ(d.device->DeviceSelect(kDeviceKindAudio, 0, nullptr), S_OK);
  std::atomic<bool> feeding{true};
  std::thread feeder([&] {
    while (feeding) {
      audio->Advance(100000);
      cvplat::SleepMs(10);
    }
  });
  int64_t id = 0;
  int32_t soundBytes = 0;
  TAvProps format{};
  for (int i = 0; i < 60 && soundBytes == 0; ++i) {
    ICVFrame_I* frame = nullptr;
    if (d.source->SourceFrameGetEx_I(&id, &frame, 2 * kSecond, nullptr) != S_OK || !frame) break;
    frame->FormatGet(&format, &soundBytes);
    frame->Release();
  }
  d.source->SourceReaderClose(id);
  feeding = false;
  feeder.join();
  EXPECT_GT(soundBytes, 0) << "no frame carried the loopback's sound";
  EXPECT_EQ(format.audio.sampleRate, 48000);
  EXPECT_GE(audio->Counters(speakers).starts, 1);

  // A machine without a default output offers "none" alone.
  audio->SetDefaultRender(L"");
  TTestDevice bare(platform);
  EXPECT_EQ(AudioOptions(bare), (std::vector<std::wstring>{L"none"}));
}

}  // namespace
