// TCaptureSCR: the screen capture engine behind the device. Start picks the first capture mode that
// works (desktop duplication, shots into a texture, shots into memory), publishes it, and runs one
// capture thread with the hardware loop or the software loop until Stop. Everything the engine knows of
// the machine comes through the seams of platform/desktop.h, so the same logic runs on every system and
// on the simulated desktop.
//
// Threads: Init, Start, Stop, Close and a restart run on host threads under engineLock; the capture
// thread runs the loop and never takes engineLock. OnPropertyChanged runs on the caller's thread without
// engineLock but for the keys that restart.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "audio/audio_inserter.h"
#include "engine/capture_base.h"
#include "engine/capture_region.h"
#include "engine/cursor_overlay.h"
#include "engine/gpu_pipeline.h"
#include "media/av_props.h"
#include "media/worker_thread.h"
#include "platform/critical_section.h"
#include "platform/desktop.h"

class TRateTimer;

enum TCaptureMode : int32_t {
  eCaptureGDI = 0,
  eCaptureDirectX = 1,
  eCaptureDXGI = 2,
  eCaptureError = 3,
};

// The text of "capture.current_mode" for a mode; null for eCaptureError.
const wchar_t* CaptureModeText(int32_t mode);

class TCaptureSCR : public TCaptureBase<TCaptureSCR> {
 public:
  explicit TCaptureSCR(cvplat::CapturePlatform platform);
  ~TCaptureSCR() override;

  int32_t IsBusy() override { return 0; }
  // No 3D layouts.
  bool VideoFormatAccept(const TVideoProps& format) override;
  HRESULT OnPropertyChanged(const wchar_t* name, const wchar_t* value) override;
  BSTR PropertyText(const wchar_t* name) override;
  HRESULT Init(const TPropertyTree& tree) override;
  HRESULT Start(const TAvProps& format, void* context, TFrameCallback callback) override;
  HRESULT Stop() override;
  HRESULT Close() override;
  // The loop rewrites the output format on every pass; a copy is taken under a lock of its own, so a
  // host never waits for a pass.
  TAvProps* FormatCopy(TAvProps* format) override;

  int32_t CaptureMode() const { return captureMode.load(std::memory_order_acquire); }
  bool AudioEnabled() const { return audioEnabledFlag.load(std::memory_order_relaxed); }
  // Whether a capture thread is alive, running or leaving.
  bool ThreadAlive() { return captureThread.Query() != TWorkerThread::kNoThread; }

 private:
  friend class THardwareLoop;
  friend class TSoftwareLoop;

  // Mode selection: fills captureMode; S_OK when the mode is one of the three.
  HRESULT SelectCaptureMode();
  void PublishCurrentMode(int32_t mode);
  // The mode reached: 2 with a duplication, 1 with a device, 0 without.
  int32_t InitHardware(bool useDuplication);
  // The duplication part of InitHardware: true when a duplication exists now.
  bool InitDuplication();
  HRESULT InitSoftware();
  void ReleaseHardware();

  HRESULT Restart();
  static uint32_t CV_THREADCALL CaptureThreadMain(void* self);
  HRESULT SwitchAudioDevice(const wchar_t* name);
  // The device a text of "capture.audio_device" names: "none" gives the default one while audio is on.
  std::wstring AudioDeviceToOpen(const wchar_t* text);
  // The sound format asked of a device: the audio part of the output format.
  TAudioProps AudioRequest();

  // The last step of every pass: stamps, sound, text lines, the wait for the frame's moment and the
  // delivery. A failure ends the loop.
  HRESULT FinishTWFrame(ICVFrame_I* frame, TRateTimer& rateTimer, int64_t& frameCounter);
  // The text lines drawn on a finished frame.
  HRESULT UpdateFrame(ICVFrame_I* frame, int64_t frameNumber);
  // Ends the capture: the state goes to -1 first, then the callback hears of it.
  void Fail(HRESULT status, const wchar_t* text);
  // Sets the wake event of the capture thread, if there is one.
  void Wake();
  // While nothing can be captured and no frame exists, a loop would spin: it rests a few milliseconds,
  // or less when a stop comes.
  void IdlePause();
  // The screen a pass captures: the duplicated output's place in DXGI mode, else the monitor of
  // "capture.screen_index"; empty without monitors. `screen` keeps its value when there is nothing to ask.
  void FillScreen(XMLParse::CoXMLNode* props, TRect& screen) const;
  // The output format the loop has just chosen, for FormatCopy.
  void PublishFormat(const TVideoProps& video);

  void ReleaseStockFrames();

  const cvplat::CapturePlatform platform;
  TWorkerThread captureThread;
  TGpuPipeline gpu;
  // The pointer's deadlines and picture; the picture outlives the runs.
  TCursorOverlay cursor;
  // The stock pictures of the software loop's marks, by kStockIndex*.
  TRefPtr<ICVFrame_I> stockFrames[3];
  // Joins the sound of the chosen endpoint to the frames; made last, kept for the engine's life, and
  // released first, which stops a device that a property change opened while no capture ran.
  TRefPtr<TAudioInserter> audioInserter;
  // Set up and dropped by mode selection, the recovery of the DXGI branch and Stop; used by the capture
  // thread alone while it runs.
  std::unique_ptr<cvplat::IDuplication> duplication;
  cvplat::OutputInfo outputDesc{};
  std::atomic<int32_t> captureMode{eCaptureDXGI};
  std::atomic<bool> audioEnabledFlag{false};
  // Belongs to the capture thread while it runs; zeroed by Start.
  TCaptureRegion region{};
  TVideoProps requestedVideoFormat{};
  cvplat::CriticalSection formatLock;  // guards activeFormat against the loop's rewrites
};
