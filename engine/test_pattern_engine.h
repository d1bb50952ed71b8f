// TTestPatternEngine: the first engine. Its thread makes frames of the output format through the frame
// factory, draws a moving test picture into them, stamps them from their number, paces them at the
// output rate and hands them to the frame callback. It stands in for the screen capture engine until
// that exists, and keeps the same contract, so the device and its readers can be built against it.
#pragma once

#include <atomic>
#include <cstdint>

#include "engine/capture_base.h"
#include "media/av_props.h"
#include "media/worker_thread.h"
#include "props/value_codecs.h"

class TTestPatternEngine : public TCaptureBase<TTestPatternEngine> {
 public:
  // The desktop this engine pretends to capture: what "screen" and "area" frame sizes take.
  static constexpr TRect kScreen = {0, 0, 1920, 1080};

  TTestPatternEngine() = default;
  // Stops the thread first. A subclass that overrides MakeFrame must stop it in its own destructor.
  ~TTestPatternEngine() override;

  int32_t IsBusy() override { return 0; }
  // Keys that change the output format or the capture restart a running capture; all others are read
  // again on every pass.
  HRESULT OnPropertyChanged(const wchar_t* name, const wchar_t* value) override;
  BSTR PropertyText(const wchar_t* name) override;
  HRESULT Init(const TPropertyTree& tree) override;
  HRESULT Start(const TAvProps& format, void* context, TFrameCallback callback) override;
  HRESULT Stop() override;
  HRESULT Close() override;

  bool AudioEnabled() const { return audioEnabledFlag.load(std::memory_order_relaxed); }
  // Whether a capture thread is alive, running or leaving.
  bool ThreadAlive() { return captureThread.Query() != TWorkerThread::kNoThread; }
  // The video part of the last Start, normalised when it named a valid format.
  TVideoProps RequestedVideoFormat();

 protected:
  // Makes frame `n` with its picture in `format`. Called on the capture thread; a failure ends the
  // capture with a failure callback.
  virtual HRESULT MakeFrame(ICVFactory* factory, const TVideoProps& format, int64_t n, ICVFrame_I** frame);

 private:
  static uint32_t CV_THREADCALL CaptureThreadMain(void* self);
  void CaptureLoop();
  // Ends the capture: the state goes to -1 first, then the callback hears of it.
  void Fail(HRESULT status, const wchar_t* text);
  // Stops a running capture and starts it anew with the stored request, context and callback.
  HRESULT Restart();

  TWorkerThread captureThread;
  std::atomic<bool> audioEnabledFlag{false};
  TVideoProps requestedVideoFormat{};
  // The output format of the present run: fixed at Start, read by the thread, so never rewritten while a
  // thread runs.
  TVideoProps runFormat{};
};
