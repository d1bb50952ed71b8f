#include "engine/test_pattern_engine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <thread>

#include "engine/engine_test_sink.h"
#include "engine/frame_stamp.h"
#include "media/colour_formats.h"

namespace {

using engine_test::Delivery;
using engine_test::FrameSink;
using engine_test::SmallTree;
using XMLParse::XMLNodePtr;

struct Engine {
  TRefPtr<TTestPatternEngine> engine = MakeRef<TTestPatternEngine>();
  XMLNodePtr root;
  TPropertyTree tree;
  FrameSink sink;

  explicit Engine(XMLNodePtr r = SmallTree(), bool bind = true) : root(r), tree(r.Get()) {
    sink.engine = engine.Get();
    if (bind) {
      EXPECT_EQ(engine->Init(tree), S_OK);
    }
  }
  ~Engine() { engine->Close(); }

  HRESULT Start() { return engine->Start(TAvProps{}, &sink, &FrameSink::Callback); }
  // Writes a property and tells the engine, as the device does.
  HRESULT Change(const wchar_t* name, const wchar_t* value) {
    root->SetString(name, value);
    return engine->OnPropertyChanged(name, value);
  }
  TAvProps Format() {
    TAvProps f{};
    EXPECT_EQ(engine->FormatCopy(&f), &f);
    return f;
  }
};

bool IsZero(const TAvProps& f) {
  const TAvProps zero{};
  return std::memcmp(&f, &zero, sizeof f) == 0;
}

TEST(TestPatternEngine, InitStartAndCloseFollowTheStateTable) {
  Engine e(SmallTree(), false);
  TTestPatternEngine& engine = *e.engine;
  EXPECT_EQ(engine.State(), eEngineClosed);
  EXPECT_EQ(engine.IsBusy(), 0);

  // Bad starts leave the state alone.
  EXPECT_EQ(engine.Start(TAvProps{}, &e.sink, nullptr), E_INVALIDARG);
  EXPECT_EQ(engine.Start(TAvProps{}, nullptr, &FrameSink::Callback), E_INVALIDARG);
  EXPECT_EQ(engine.State(), eEngineClosed);
  EXPECT_EQ(e.Start(), E_FAIL) << "no tree bound yet";
  EXPECT_EQ(engine.State(), eEngineClosed);
  EXPECT_EQ(engine.Init(TPropertyTree()), E_FAIL);
  EXPECT_EQ(engine.State(), eEngineClosed);

  // A second Init reports 1 and binds the new tree all the same.
  XMLNodePtr first = SmallTree();
  first->SetString(L"marker", L"first");
  EXPECT_EQ(engine.Init(TPropertyTree(first.Get())), S_OK);
  EXPECT_EQ(engine.State(), eEngineOpen);
  EXPECT_EQ(engine.Init(e.tree), S_FALSE);
  EXPECT_EQ(engine.State(), eEngineOpen);
  EXPECT_EQ(engine.PropertyText(L"marker"), nullptr) << "the second tree replaced the first";
  BSTR size = engine.PropertyText(L"capture.frame_size");
  ASSERT_NE(size, nullptr);
  EXPECT_STREQ(size, L"200x150");
  SysFreeString(size);

  EXPECT_EQ(engine.Close(), S_OK);
  EXPECT_EQ(engine.State(), eEngineClosed);
  EXPECT_EQ(engine.Close(), S_OK) << "closing a closed engine is no failure";
  EXPECT_EQ(engine.Stop(), S_OK);
  EXPECT_EQ(engine.State(), eEngineClosed) << "Stop doesn't open a closed engine";

  // A restarting key on a closed engine costs nothing; the next Start reads the tree afresh.
  EXPECT_EQ(e.Change(L"capture.mode", L"GDI"), S_OK);
  EXPECT_EQ(e.Change(L"capture.memory_format", L"ARGB"), S_OK);
  EXPECT_EQ(engine.State(), eEngineClosed);
  EXPECT_FALSE(engine.ThreadAlive());
  EXPECT_EQ(e.Start(), S_OK) << "a closed engine starts through Init";
  EXPECT_EQ(engine.State(), eEngineRunning);
  EXPECT_EQ(e.Format().video.colourFormat, kColourRGB32);
  ASSERT_TRUE(e.sink.WaitFrames(1));
  EXPECT_EQ(e.sink.Frames()[0].format.colourFormat, kColourRGB32);
}

TEST(TestPatternEngine, NameAndFormatQueriesAndAudioFlag) {
  Engine e(SmallTree(), false);
  BSTR name = reinterpret_cast<BSTR>(1);
  EXPECT_EQ(*e.engine->NameGet(&name), name);
  EXPECT_STREQ(name, L"");
  SysFreeString(name);
  e.engine->NameSet(L"Test pattern");
  EXPECT_EQ(e.engine->NameGet(&name), &name);
  EXPECT_STREQ(name, L"Test pattern");
  SysFreeString(name);
  EXPECT_EQ(e.engine->NameGet(nullptr), nullptr);
  EXPECT_EQ(e.engine->FormatCopy(nullptr), nullptr);
  EXPECT_TRUE(e.engine->VideoFormatAccept(TVideoProps{}));
  EXPECT_TRUE(e.engine->AudioFormatAccept(TAudioProps{}));
  std::vector<TVideoProps> videos;
  std::vector<TAudioProps> audios;
  EXPECT_FALSE(e.engine->VideoFormatList(&videos)) << "the store keeps its stock list";
  EXPECT_FALSE(e.engine->AudioFormatList(&audios));
  EXPECT_FALSE(e.engine->Reserved(nullptr, nullptr));

  EXPECT_EQ(e.engine->OnPropertyChanged(nullptr, L"x"), S_OK);
  EXPECT_EQ(e.engine->OnPropertyChanged(L"_audio_enabled_", L"TRUE"), S_OK);
  EXPECT_TRUE(e.engine->AudioEnabled()) << "the value compares without letter case";
  EXPECT_EQ(e.engine->OnPropertyChanged(L"_AUDIO_ENABLED_", L"1"), S_OK);
  EXPECT_FALSE(e.engine->AudioEnabled()) << "only the word true counts";
  EXPECT_EQ(e.engine->OnPropertyChanged(L"_audio_enabled_", nullptr), S_OK);
  EXPECT_FALSE(e.engine->AudioEnabled());
  EXPECT_EQ(e.engine->OnPropertyChanged(L"something.else", L"1"), S_OK);
  EXPECT_EQ(e.engine->State(), eEngineClosed);
}

TEST(TestPatternEngine, DeliversNumberedStampedFramesOfTheActiveFormat) {
  for (double fps : {30.0, 29.97}) {
    Engine e(SmallTree(L"HDYC", fps, L"320x240"));
    ASSERT_EQ(e.Start(), S_OK);
    const TAvProps active = e.Format();
    EXPECT_EQ(active.video.colourFormat, kColourHDYC);
    EXPECT_EQ(active.video.width, 320);
    EXPECT_EQ(active.video.height, 240);
    EXPECT_EQ(active.video.frameRate, fps);
    EXPECT_EQ(active.audio.channels, 0);
    EXPECT_EQ(active.audio.sampleRate, 48000);
    EXPECT_EQ(active.audio.bitsPerSample, 16);

    ASSERT_TRUE(e.sink.WaitFrames(4));
    ASSERT_EQ(e.engine->Stop(), S_OK);
    e.sink.Seal();
    EXPECT_EQ(e.engine->State(), eEngineOpen);
    EXPECT_FALSE(e.engine->ThreadAlive());
    EXPECT_TRUE(IsZero(e.Format())) << "Stop zeroes the active format";

    const std::vector<Delivery> frames = e.sink.Frames();
    const double d = FrameDuration(fps);
    for (size_t i = 0; i < frames.size(); ++i) {
      const Delivery& f = frames[i];
      EXPECT_EQ(f.counter, static_cast<int64_t>(i));
      EXPECT_EQ(f.pictureCounter, static_cast<int32_t>(i)) << "the picture shows its own number";
      EXPECT_EQ(f.time.startTime, std::llround(static_cast<double>(i) * d)) << fps << " fps, frame " << i;
      EXPECT_EQ(f.time.endTime, std::llround(static_cast<double>(i + 1) * d));
      EXPECT_EQ(f.time.frameFlags, i == 0 ? 0x101u : 0x100u);
      EXPECT_EQ(std::memcmp(&f.format, &active.video, sizeof f.format), 0) << "frame " << i;
    }
    EXPECT_EQ(e.sink.CallsAfterSeal(), 0) << "no frame after Stop returned";
    EXPECT_EQ(e.sink.Failures(), 0);
  }
  // The exact values at 29.97: frame 1 from 333667 to 667333.
  EXPECT_EQ(std::llround(FrameDuration(29.97)), 333667);
}

TEST(TestPatternEngine, FormatKeysRestartARunningCaptureOthersDoNot) {
  Engine e;
  ASSERT_EQ(e.Start(), S_OK);
  ASSERT_TRUE(e.sink.WaitFrames(3));

  // A key that the loop reads per frame doesn't interrupt the numbering.
  EXPECT_EQ(e.Change(L"timecode.drop_frame", L"false"), S_OK);
  const size_t before = e.sink.FrameCount();
  ASSERT_TRUE(e.sink.WaitFrames(before + 2));
  for (const Delivery& f : e.sink.Frames()) EXPECT_EQ(f.format.colourFormat, kColourHDYC);

  // Counted before the change: the new run may deliver its first frame before Change returns.
  const size_t switched = e.sink.FrameCount();
  EXPECT_EQ(e.Change(L"Capture.Memory_Format", L"ARGB"), S_OK) << "names compare without letter case";
  EXPECT_EQ(e.engine->State(), eEngineRunning);
  EXPECT_EQ(e.Format().video.colourFormat, kColourRGB32);
  const int rgb = e.sink.WaitFrameWhere(switched, [](const Delivery& f) { return f.format.colourFormat == kColourRGB32; });
  ASSERT_GE(rgb, 0);
  std::vector<Delivery> frames = e.sink.Frames();
  EXPECT_EQ(frames[rgb].counter, 0) << "a new run counts from 0";
  EXPECT_EQ(frames[rgb].format.height, -150) << "RGB frames are top-down";
  EXPECT_EQ(frames[rgb].pictureCounter, 0);

  EXPECT_EQ(e.Change(L"capture.frame_size", L"400x300"), S_OK);
  const int bigger = e.sink.WaitFrameWhere(frames.size(), [](const Delivery& f) { return f.format.width == 400; });
  ASSERT_GE(bigger, 0);
  EXPECT_EQ(e.sink.Frames()[bigger].counter, 0);
  EXPECT_EQ(e.sink.Frames()[bigger].format.height, -300);

  const size_t resized = e.sink.FrameCount();
  EXPECT_EQ(e.Change(L"capture.fps_limit", L"50"), S_OK);
  const int faster = e.sink.WaitFrameWhere(resized, [](const Delivery& f) { return f.format.frameRate == 50.0; });
  ASSERT_GE(faster, 0);
  EXPECT_EQ(e.sink.Frames()[faster].time.endTime, 200'000);

  EXPECT_EQ(e.sink.OutOfOrder(), 0);
  EXPECT_EQ(e.sink.MostAtOnce(), 1) << "never two capture threads";
  EXPECT_EQ(e.sink.Failures(), 0);
}

TEST(TestPatternEngine, StartOnARunningEngineStopsTheOldThreadFirst) {
  Engine e;
  ASSERT_EQ(e.Start(), S_OK);
  ASSERT_TRUE(e.sink.WaitFrames(3));
  const size_t from = e.sink.FrameCount();
  ASSERT_EQ(e.Start(), S_OK);
  EXPECT_EQ(e.engine->State(), eEngineRunning);
  // The old run may deliver a few more frames before Start stops it; the new one begins at 0.
  const int first = e.sink.WaitFrameWhere(from, [](const Delivery& f) { return f.counter == 0; });
  ASSERT_GE(first, 0);
  ASSERT_TRUE(e.sink.WaitFrames(first + 2));
  EXPECT_EQ(e.sink.Frames()[first + 1].counter, 1);
  EXPECT_EQ(e.sink.MostAtOnce(), 1);
  EXPECT_EQ(e.sink.OutOfOrder(), 0);
}

TEST(TestPatternEngine, RefusedFrameFailsTheEngineAndTheNextStartBeginsAnew) {
  Engine e;
  e.sink.RefuseAt(2);
  ASSERT_EQ(e.Start(), S_OK);
  ASSERT_TRUE(e.sink.WaitFrames(3));
  // The refused frame is the last: the thread leaves and the state stays failed.
  while (e.engine->ThreadAlive()) std::this_thread::yield();
  EXPECT_EQ(e.engine->State(), eEngineFailed);
  EXPECT_EQ(e.sink.FrameCount(), 3u);
  EXPECT_EQ(e.sink.Failures(), 0) << "a refusal is no capture failure";

  EXPECT_EQ(e.engine->Stop(), S_OK);
  EXPECT_EQ(e.engine->State(), eEngineFailed) << "Stop leaves a failed engine as it is";
  EXPECT_EQ(e.Change(L"capture.mode", L"auto"), S_OK) << "no restart below the running state";
  EXPECT_EQ(e.engine->State(), eEngineFailed);

  ASSERT_EQ(e.Start(), S_OK);
  EXPECT_EQ(e.engine->State(), eEngineRunning);
  ASSERT_TRUE(e.sink.WaitFrames(5));
  EXPECT_EQ(e.sink.Frames()[3].counter, 0);
  EXPECT_EQ(e.sink.Frames()[4].counter, 1);
}

// Makes frames until a chosen number, then fails to.
class FailingEngine : public TTestPatternEngine {
 public:
  ~FailingEngine() override { Close(); }
  int64_t failAt = 2;

 protected:
  HRESULT MakeFrame(ICVFactory* factory, const TVideoProps& format, int64_t n, ICVFrame_I** frame) override {
    if (n == failAt) return E_OUTOFMEMORY;
    return TTestPatternEngine::MakeFrame(factory, format, n, frame);
  }
};

TEST(TestPatternEngine, CaptureFailureReachesTheCallbackAsANullFrameWithAText) {
  // The sink outlives the engine, whose thread calls into it.
  FrameSink sink;
  XMLNodePtr root = SmallTree();
  TRefPtr<FailingEngine> engine = MakeRef<FailingEngine>();
  sink.engine = engine.Get();
  ASSERT_EQ(engine->Init(TPropertyTree(root.Get())), S_OK);
  ASSERT_EQ(engine->Start(TAvProps{}, &sink, &FrameSink::Callback), S_OK);
  ASSERT_TRUE(sink.WaitFailure());
  while (engine->ThreadAlive()) std::this_thread::yield();
  EXPECT_EQ(sink.FrameCount(), 2u) << "frames before the failure went out";
  EXPECT_EQ(sink.Failures(), 1);
  EXPECT_EQ(sink.FailureCounter(), static_cast<int64_t>(E_OUTOFMEMORY));
  EXPECT_LT(sink.FailureCounter(), 0) << "the status is widened with its sign";
  EXPECT_NE(sink.FailureText().find(L"MakeFrame"), std::wstring::npos);
  EXPECT_EQ(sink.StateSeenAtFailure(), eEngineFailed) << "the state is -1 before the callback";
  EXPECT_EQ(engine->State(), eEngineFailed);

  // The next start runs again from frame 0.
  engine->failAt = -1;
  ASSERT_EQ(engine->Start(TAvProps{}, &sink, &FrameSink::Callback), S_OK);
  ASSERT_TRUE(sink.WaitFrames(3));
  EXPECT_EQ(sink.Frames()[2].counter, 0);
}

TEST(TestPatternEngine, StopFromAnotherThreadEndsTheCapture) {
  // At 2 frames a second the thread spends its time in the pacing wait; Stop must wake it.
  Engine e(SmallTree(L"HDYC", 2.0));
  ASSERT_EQ(e.Start(), S_OK);
  ASSERT_TRUE(e.sink.WaitFrames(1));
  std::thread stopper([&] { EXPECT_EQ(e.engine->Stop(), S_OK); });
  stopper.join();
  e.sink.Seal();
  EXPECT_EQ(e.engine->State(), eEngineOpen);
  EXPECT_FALSE(e.engine->ThreadAlive());
  EXPECT_EQ(e.sink.CallsAfterSeal(), 0);
}

TEST(TestPatternEngine, CloseAndReleaseLeaveNoThreadBehind) {
  Engine e;
  ASSERT_EQ(e.Start(), S_OK);
  ASSERT_TRUE(e.sink.WaitFrames(2));
  EXPECT_EQ(e.engine->Close(), S_OK);
  e.sink.Seal();
  EXPECT_EQ(e.engine->State(), eEngineClosed);
  EXPECT_FALSE(e.engine->ThreadAlive());
  EXPECT_TRUE(IsZero(e.Format()));
  EXPECT_EQ(e.sink.CallsAfterSeal(), 0);

  // The last reference to a running engine stops it before it goes.
  FrameSink sink;
  XMLNodePtr root = SmallTree();
  {
    TRefPtr<TTestPatternEngine> running = MakeRef<TTestPatternEngine>();
    ASSERT_EQ(running->Init(TPropertyTree(root.Get())), S_OK);
    ASSERT_EQ(running->Start(TAvProps{}, &sink, &FrameSink::Callback), S_OK);
    ASSERT_TRUE(sink.WaitFrames(1));
  }
  sink.Seal();
  EXPECT_EQ(sink.CallsAfterSeal(), 0);
}

TEST(TestPatternEngine, ValidRequestIsNormalisedAndSurvivesARestart) {
  Engine e;
  TAvProps request{};
  request.video.colourFormat = kColourUYVY;
  request.video.width = 641;
  request.video.height = 480;
  request.video.frameRate = 25.0;
  ASSERT_EQ(e.engine->Start(request, &e.sink, &FrameSink::Callback), S_OK);
  TVideoProps asked = e.engine->RequestedVideoFormat();
  EXPECT_EQ(asked.width, 640) << "YUV widths are made even";
  EXPECT_GT(asked.rowBytes, 0);
  EXPECT_EQ(e.Change(L"capture.screen_index", L"1"), S_OK);
  EXPECT_EQ(e.engine->State(), eEngineRunning);
  const TVideoProps after = e.engine->RequestedVideoFormat();
  EXPECT_EQ(std::memcmp(&asked, &after, sizeof asked), 0) << "the restart starts with the stored request";
  // The request doesn't decide the output: the properties do.
  EXPECT_EQ(e.Format().video.width, 200);
}

}  // namespace
