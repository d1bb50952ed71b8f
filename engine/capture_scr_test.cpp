// The screen capture engine on the simulated desktop: mode selection and its fall-back, the counters
// and recovery of the duplication branch, repeated frames on a still desktop, and what a running loop
// makes of property changes.
#include "engine/capture_scr.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "engine/capture_test_support.h"
#include "platform/sim/audio_sim.h"

namespace {

using engine_test::SimCapture;

struct ModeCase {
  const wchar_t* mode;
  const char* script;  // what the machine refuses
  int32_t expected;
};

TEST(CaptureModeSelection, FallsBackAlongTheChainAndPublishesTheMode) {
  const ModeCase cases[] = {
      {L"DXGI", "", eCaptureDXGI},
      {L"dxgi", "no duplication", eCaptureDirectX},
      {L"DXGI", "no adapter", eCaptureDirectX},
      {L"DXGI", "no device", eCaptureGDI},
      {L"DXGI", "level 9.3", eCaptureGDI},
      {L"DXGI", "no hdyc program", eCaptureGDI},
      {L"DXGI", "no blend state", eCaptureGDI},
      {L"DirectX", "", eCaptureDirectX},
      {L"DirectX", "no device", eCaptureGDI},
      {L"GDI", "", eCaptureGDI},
      {L"auto", "", eCaptureDXGI},
      {L"something else", "no duplication", eCaptureDirectX},
      {L"auto", "old system", eCaptureGDI},
  };
  for (const ModeCase& c : cases) {
    SCOPED_TRACE(std::string(c.script) + " / mode " + std::to_string(c.expected));
    SimCapture s;
    s.root->SetString(L"capture.mode", c.mode);
    const std::string script = c.script;
    if (script == "no duplication") s.desktop->FailDuplicate(1, 0);
    if (script == "no adapter") s.desktop->FailOutputs(E_NOINTERFACE);
    if (script == "no device") s.faults.Fail(cvplat::GpuCall::CreateDevice, 1, E_FAIL, 0);
    if (script == "level 9.3") s.faults.ReportFeatureLevel(cvplat::kGpuFeatureLevel9_3);
    if (script == "no hdyc program") s.faults.FailProgram(cvplat::GpuProgramId::Hdyc, 1, E_FAIL, 0);
    if (script == "no blend state") s.faults.Fail(cvplat::GpuCall::BlendState, 1, E_FAIL, 0);
    if (script == "old system") s.desktop->SetVersion(6, 1);

    ASSERT_EQ(s.Start(), S_OK);
    EXPECT_EQ(s.engine->CaptureMode(), c.expected);
    EXPECT_EQ(s.root->GetString(L"capture.current_mode"), std::wstring(CaptureModeText(c.expected)));
    // Every mode delivers the desktop.
    EXPECT_TRUE(s.sink.WaitFrames(2));
    if (std::wstring_view(c.mode) == L"GDI" || script == "old system") {
      EXPECT_EQ(s.faults.Calls(cvplat::GpuCall::CreateDevice), 0) << "the software mode never asks for a device";
    }
    if (c.expected != eCaptureDXGI) {
      EXPECT_EQ(s.desktop->LiveDuplications(), 0);
    }
    s.engine->Stop();
    EXPECT_EQ(s.faults.LiveObjects(), 0);
    EXPECT_EQ(s.desktop->LiveDuplications(), 0);
  }
}

TEST(CaptureEngine, KeepsTheContractOfStartStopAndClose) {
  SimCapture s;
  TCaptureSCR& engine = *s.engine;
  EXPECT_EQ(engine.Start(TAvProps{}, &s.sink, nullptr), E_INVALIDARG);
  EXPECT_EQ(engine.State(), eEngineOpen);
  const auto layout = [](int32_t word) {
    TVideoProps v{};
    v.videoFormat = word;
    return v;
  };
  EXPECT_FALSE(engine.VideoFormatAccept(layout(0x200)));
  EXPECT_FALSE(engine.VideoFormatAccept(layout(0x412)));
  EXPECT_TRUE(engine.VideoFormatAccept(layout(0x1ff)));
  // Audio keys find no device to switch to, and no restart happens for them.
  EXPECT_EQ(s.Change(L"_audio_enabled_", L"TRUE"), S_OK);
  EXPECT_TRUE(engine.AudioEnabled());

  ASSERT_EQ(s.Start(), S_OK);
  EXPECT_EQ(engine.State(), eEngineRunning);
  // The format is there before the first frame.
  TAvProps started{};
  engine.FormatCopy(&started);
  EXPECT_EQ(started.video.width, 640);
  ASSERT_TRUE(s.sink.WaitFrames(3));
  TAvProps running{};
  engine.FormatCopy(&running);
  EXPECT_EQ(running.video.width, 640);
  EXPECT_EQ(running.audio.sampleRate, 48000);

  EXPECT_EQ(engine.Stop(), S_OK);
  EXPECT_EQ(engine.State(), eEngineOpen);
  EXPECT_FALSE(engine.ThreadAlive());
  TAvProps stopped{};
  engine.FormatCopy(&stopped);
  EXPECT_EQ(stopped.video.width, 0);
  EXPECT_EQ(s.faults.LiveObjects(), 0) << "Stop releases every gpu object";
  EXPECT_EQ(engine.Close(), S_OK);
  EXPECT_EQ(engine.Close(), S_OK);
  EXPECT_EQ(engine.State(), eEngineClosed);

  // A refused frame ends the run at -1; the next Start begins anew from frame 0.
  s.sink.RefuseAt(2);
  ASSERT_EQ(s.Start(), S_OK);
  ASSERT_TRUE(s.WaitState(eEngineFailed));
  const size_t before = s.sink.FrameCount();
  ASSERT_EQ(s.Start(), S_OK);
  ASSERT_TRUE(s.sink.WaitFrames(before + 2));
  EXPECT_EQ(s.sink.Frames()[before].counter, 0);
}

TEST(CaptureEngine, PropertyChangesReachTheRunningLoop) {
  SimCapture s;
  // A still desktop would repeat the frame in hand, at its old size, until the picture changes.
  s.desktop->SetChanging(true);
  ASSERT_EQ(s.Start(), S_OK);
  ASSERT_TRUE(s.sink.WaitFrames(2));

  // The size acts on the next pass without a restart: the numbers go on.
  s.Change(L"capture.frame_size", L"400x200");
  const int resized = s.sink.WaitFrameWhere(0, [](const engine_test::Delivery& d) { return d.format.width == 400; });
  ASSERT_GE(resized, 1);
  EXPECT_EQ(s.sink.Frames()[resized].counter, s.sink.Frames()[resized - 1].counter + 1);
  EXPECT_EQ(s.sink.Frames()[resized].format.height, 200);  // HDYC is not top-down

  // The sampler is replaced at once, on this thread, without a restart.
  const int samplers = s.faults.Calls(cvplat::GpuCall::Sampler);
  const int devices = s.faults.Calls(cvplat::GpuCall::CreateDevice);
  s.Change(L"capture.sampler_type", L"linear");
  EXPECT_EQ(s.faults.Calls(cvplat::GpuCall::Sampler), samplers + 1);
  EXPECT_EQ(s.faults.Calls(cvplat::GpuCall::CreateDevice), devices);

  // The memory format restarts: a new device, frames from 0 again, RGB top-down.
  const size_t before = s.sink.FrameCount();
  EXPECT_EQ(s.Change(L"capture.memory_format", L"ARGB"), S_OK);
  EXPECT_GT(s.faults.Calls(cvplat::GpuCall::CreateDevice), devices);
  const int restarted = s.sink.WaitFrameWhere(before, [](const engine_test::Delivery& d) { return d.format.height < 0; });
  ASSERT_GE(restarted, 0);
  EXPECT_EQ(s.sink.Frames()[restarted].counter, 0);

  // A mode that can't be had falls back at once, and the text says so.
  s.desktop->FailDuplicate(1, 0);
  EXPECT_EQ(s.Change(L"capture.mode", L"DXGI"), S_OK);
  EXPECT_EQ(s.engine->CaptureMode(), eCaptureDirectX);
  EXPECT_EQ(s.root->GetString(L"capture.current_mode"), L"DirectX");
}

TEST(CaptureFinish, FramesCarryTheirShotTimeInEachModeAndOrderWithEitherDelay) {
  for (const wchar_t* mode : {L"DXGI", L"DirectX", L"GDI"}) {
    for (const bool minDelay : {false, true}) {
      SimCapture s;
      s.root->SetString(L"capture.mode", mode);
      s.root->SetBool(L"capture.min_delay", minDelay);
      s.desktop->SetChanging(true);
      const int64_t before = cvplat::SystemTimeAsFileTime();
      ASSERT_EQ(s.Start(), S_OK);
      ASSERT_TRUE(s.sink.WaitFrames(5));
      s.engine->Stop();
      const int64_t after = cvplat::SystemTimeAsFileTime();
      const std::vector<engine_test::Delivery> frames = s.sink.Frames();
      for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].counter, static_cast<int64_t>(i));
        EXPECT_GE(frames[i].shotTime, before);
        EXPECT_LE(frames[i].shotTime, after);
        EXPECT_EQ(frames[i].time.frameFlags, i == 0 ? 0x101u : 0x100u);
      }
    }
  }
}

TEST(CaptureDuplication, AcquireTimeoutIsTheSettingWithinItsBounds) {
  const struct {
    const wchar_t* text;
    uint32_t expected;
  } cases[] = {{L"4", 15}, {L"5", 5}, {L"50", 50}, {L"51", 15}, {L"nonsense", 15}};
  for (const auto& c : cases) {
    SimCapture s;
    s.root->SetString(L"capture.screenshot_timeout", c.text);
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.sink.WaitFrames(2));
    s.engine->Stop();
    EXPECT_EQ(s.desktop->LastAcquireTimeout(), c.expected) << static_cast<int>(c.expected);
  }
}

TEST(CaptureDuplication, StillDesktopRepeatsClonesLabelledDupOrRebuildsThem) {
  for (const bool optimize : {true, false}) {
    SCOPED_TRACE(optimize ? "clones" : "rebuilt");
    SimCapture s(L"ARGB");
    s.root->SetBool(L"capture.dxgi_optimize_copy", optimize);
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.sink.WaitFrames(6));
    s.engine->Stop();
    const std::vector<engine_test::Delivery> frames = s.sink.Frames();
    const double d = 10000000.0 / 60.0;
    for (size_t i = 0; i < frames.size(); ++i) {
      EXPECT_EQ(frames[i].counter, static_cast<int64_t>(i));
      // Clones carry the next number's stamps; a rebuilt frame is stamped anew.
      EXPECT_NEAR(static_cast<double>(frames[i].time.startTime), static_cast<double>(i) * d, 1.0);
    }
    EXPECT_EQ(s.sink.DupFrames(), optimize ? frames.size() - 1 : 0u);
    EXPECT_EQ(s.desktop->ImagesHeld(), 0);
    // The last frame, rebuilt or cloned, shows the desktop pixel for pixel.
    const std::vector<uint8_t> picture = s.sink.LastPicture();
    ASSERT_EQ(picture.size(), 640u * 360u * 4u);
    int wrong = 0;
    for (int32_t y = 0; y < 360; ++y) {
      for (int32_t x = 0; x < 640; ++x) {
        uint32_t pixel = 0;
        std::memcpy(&pixel, &picture[(static_cast<size_t>(y) * 640 + x) * 4], 4);
        wrong += pixel != s.desktop->DesktopPixel(x, y);
      }
    }
    EXPECT_EQ(wrong, 0);
  }
}

// Lost access on every pass, with the frame in hand repeated: the loop counts and makes the
// duplication anew every 17th pass, and never stops delivering at its rate.
TEST(CaptureDuplication, LostAccessTenThousandTimesKeepsFramesGoingAndRetriesEverySeventeenthPass) {
  SimCapture s(L"ARGB", /*paceRate=*/200.0);
  s.root->SetBool(L"capture.dxgi_optimize_copy", false);
  s.root->SetInt(L"capture.no_frame_max_count", 0);
  s.desktop->SetChanging(true);
  // The first image makes a frame; then every acquire loses access.
  s.desktop->FailAcquire(cvplat::kDuplicationAccessLost, 10000, 1);
  ASSERT_EQ(s.Start(), S_OK);
  ASSERT_TRUE(s.WaitAcquires(10001, 600));
  s.engine->Stop();

  const int acquires = s.desktop->Acquires();
  // Pass 1 got the image; each later pass lost access and counted; recovery at passes 19, 36, ...
  EXPECT_EQ(s.desktop->DuplicateCalls() - 1, (acquires - 2) / 17);
  const std::vector<engine_test::Delivery> frames = s.sink.Frames();
  EXPECT_GE(frames.size(), 10000u);
  for (size_t i = 0; i < frames.size(); ++i) ASSERT_EQ(frames[i].counter, static_cast<int64_t>(i));
  EXPECT_EQ(s.faults.LiveObjects(), 0);
  EXPECT_EQ(s.desktop->LiveDuplications(), 0);
  EXPECT_EQ(s.desktop->ImagesHeld(), 0);
}

TEST(CaptureDuplication, NoFrameLimitAndErrorCountRecoverAtTheirThresholds) {
  // With frames repeated, lost access counts only towards the no-frame limit.
  for (const int32_t limit : {0, 5}) {
    SCOPED_TRACE(limit);
    SimCapture s;
    s.root->SetInt(L"capture.no_frame_max_count", limit);
    s.desktop->FailAcquire(cvplat::kDuplicationAccessLost, 40, 1);
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.WaitAcquires(41, 60));
    s.engine->Stop();
    if (limit == 0) {
      EXPECT_EQ(s.desktop->DuplicateCalls(), 1) << "the test is off; repeated frames don't count as errors";
    } else {
      // Passes 2 .. 6 lost access; from pass 8 on the count stays above 5, so every pass makes anew.
      EXPECT_GE(s.desktop->DuplicateCalls(), 30);
    }
  }
  // A duplication that can't be made again counts on every pass; the 17th tries anew.
  SimCapture s;
  s.desktop->FailReleaseFrame(1, 1);
  s.desktop->FailDuplicate(2, 0);
  s.desktop->SetChanging(true);
  ASSERT_EQ(s.Start(), S_OK);
  ASSERT_TRUE(s.WaitFor([&] { return s.desktop->DuplicateCalls() >= 4; }, 60));
  s.engine->Stop();
  EXPECT_EQ(s.desktop->Acquires(), 1) << "after the failed release no duplication was left to ask";
  EXPECT_GE(s.sink.FrameCount(), 17u * 2) << "frames kept going out while there was no duplication";
}

TEST(CaptureLoops, HardwareAndSoftwareLoopAgreeOnAStillDesktop) {
  // Same size: exact. Scaled: within the linear filters' difference.
  for (const bool scaled : {false, true}) {
    SCOPED_TRACE(scaled ? "scaled" : "same size");
    std::vector<uint8_t> pictures[2];
    for (const wchar_t* mode : {L"DirectX", L"GDI"}) {
      SimCapture s(L"ARGB");
      s.root->SetString(L"capture.mode", mode);
      s.root->SetString(L"capture.frame_size", scaled ? L"480x270" : L"640x360");
      s.root->SetString(L"capture.sampler_type", scaled ? L"linear" : L"point");
      s.root->SetString(L"capture.software_scaling", L"ignore-ar");
      ASSERT_EQ(s.Start(), S_OK);
      ASSERT_TRUE(s.sink.WaitFrames(3));
      s.engine->Stop();
      pictures[std::wstring_view(mode) == L"GDI"] = s.sink.LastPicture();
    }
    ASSERT_EQ(pictures[0].size(), pictures[1].size());
    ASSERT_FALSE(pictures[0].empty());
    int worst = 0;
    for (size_t i = 0; i < pictures[0].size(); ++i) worst = std::max(worst, std::abs(pictures[0][i] - pictures[1][i]));
    EXPECT_LE(worst, scaled ? 2 : 0);
  }
}

TEST(CaptureLoops, ADesktopThatNeverShootsGivesNoFrameAndStopReturns) {
  for (const wchar_t* mode : {L"DirectX", L"GDI"}) {
    SimCapture s;
    s.root->SetString(L"capture.mode", mode);
    s.desktop->FailShots(1, 0);
    ASSERT_EQ(s.Start(), S_OK);
    ASSERT_TRUE(s.WaitFor([&] { return s.desktop->Shots() >= 3; }, 20));
    EXPECT_EQ(s.engine->Stop(), S_OK);
    EXPECT_EQ(s.sink.FrameCount(), 0u);
    EXPECT_EQ(s.sink.Failures(), 0);
    EXPECT_EQ(s.desktop->LiveGrabbers(), 0);
  }
}

TEST(CaptureEngine, JoinsTheSoundOfTheChosenEndpointToItsFrames) {
  const auto audio = cvplat::SimAudio::Create();
  const cvplat::WaveFormat mix{cvplat::WaveEncoding::kFloat, 2, 48000, 32, 32, 3};
  const std::wstring mic = audio->AddEndpoint(cvplat::AudioFlow::kCapture, L"Mic", mix);
  // Real time, so the sound's clock can follow the frames' from a thread of the test.
  SimCapture s(L"HDYC", 1.0, audio);
  s.root->SetDouble(L"capture.fps_limit", 30.0);
  s.root->SetString(L"capture.audio_device", L"Mic");
  ASSERT_EQ(s.Start(), S_OK);
  ASSERT_TRUE(audio->WaitStarted(mic, 5000));
  std::atomic<bool> feeding{true};
  std::thread feeder([&] {
    while (feeding) {
      audio->Advance(100000);
      cvplat::SleepMs(10);
    }
  });
  const bool sound = s.sink.WaitFrameWhere(0, [](const engine_test::Delivery& d) { return d.audioNonZero; }) >= 0;
  // Switching to "none" stops the sound; the frames go on without it.
  EXPECT_EQ(s.Change(L"capture.audio_device", L"none"), S_OK);
  const size_t switched = s.sink.FrameCount();
  const bool silentAfter =
      s.sink.WaitFrameWhere(switched + 1, [](const engine_test::Delivery& d) { return d.audioBytes == 0; }) >= 0;
  feeding = false;
  feeder.join();
  s.engine->Stop();

  EXPECT_TRUE(sound) << "the tone reaches a frame";
  EXPECT_TRUE(silentAfter);
  for (const engine_test::Delivery& d : s.sink.Frames()) {
    if (d.audioBytes == 0) continue;
    // Every frame with sound carries its 1/30 s in the endpoint's format: 1600 samples, give or take the
    // one that the sample count carries from frame to frame.
    EXPECT_EQ(d.audio.channels, 2);
    EXPECT_EQ(d.audio.sampleRate, 48000);
    EXPECT_NEAR(d.audioBytes / 4, 1600, 1) << "bytes of one channel of floats";
  }
  EXPECT_EQ(audio->Counters(mic).liveStreams, 0);
}

}  // namespace
