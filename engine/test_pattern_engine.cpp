#include "engine/test_pattern_engine.h"

#include "engine/frame_format.h"
#include "engine/frame_stamp.h"
#include "engine/test_pattern.h"
#include "framelib/frame_factory.h"
#include "media/rate_timer.h"
#include "media/video_format.h"
#include "platform/kernel.h"
#include "props/text_chars.h"

namespace {

bool Is(const wchar_t* name, const wchar_t* key) { return cv_text::EqualsNoCase(name, key); }

// The keys whose change needs a new run: the capture set-up, and everything that shapes the output
// format, which stays fixed for a run.
bool RestartsCapture(const wchar_t* name) {
  return Is(name, L"capture.force_software") || Is(name, L"capture.screen_index") ||
         Is(name, L"capture.memory_format") || Is(name, L"capture.mode") || Is(name, L"capture.frame_size") ||
         Is(name, L"capture.fps_limit");
}

}  // namespace

TTestPatternEngine::~TTestPatternEngine() {
  engineLock.Enter();
  Stop();
  SetState(eEngineClosed);
  engineLock.Leave();
}

HRESULT TTestPatternEngine::Init(const TPropertyTree& tree) { return BindTree(tree); }

BSTR TTestPatternEngine::PropertyText(const wchar_t* name) { return TreeText(name); }

TVideoProps TTestPatternEngine::RequestedVideoFormat() {
  Locked lock(engineLock);
  return requestedVideoFormat;
}

HRESULT TTestPatternEngine::Start(const TAvProps& format, void* context, TFrameCallback callback) {
  if (!context || !callback) return E_INVALIDARG;
  Locked lock(engineLock);
  if (State() <= eEngineClosed) {
    if (HRESULT hr = Init(propertyTree); FAILED(hr)) return hr;
  }
  if (State() >= eEngineRunning) Stop();
  // A thread that failed may still be on its way out; it reads the start data, so it goes first.
  StopCaptureThread(captureThread);

  TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
  requestedVideoFormat = format.video;
  if (VideoIsValid(requestedVideoFormat)) VideoNormalise(requestedVideoFormat, false);
  runFormat = BuildFrameFormat(tree.Get(), kScreen, kScreen);
  activeFormat = TAvProps{};
  activeFormat.video = runFormat;
  activeFormat.audio.channels = 0;
  activeFormat.audio.sampleRate = 48000;
  activeFormat.audio.bitsPerSample = 16;

  frameCallback = callback;
  frameCallbackContext = context;
  SetState(eEngineRunning);
  ClearCaptureStop();  // the old thread has ended: nothing waits on the signal now
  if (HRESULT hr = captureThread.Start(this, &CaptureThreadMain); FAILED(hr)) {
    SetState(eEngineOpen);
    activeFormat = TAvProps{};
    return hr;
  }
  captureThread.Wake();
  return S_OK;
}

HRESULT TTestPatternEngine::Stop() {
  Locked lock(engineLock);
  // Joined whatever the state: after a failure the thread may still be leaving.
  StopCaptureThread(captureThread);
  if (State() > eEngineClosed) {
    SetState(eEngineOpen);
    activeFormat = TAvProps{};
  }
  return S_OK;
}


HRESULT TTestPatternEngine::Close() {
  Locked lock(engineLock);
  Stop();
  SetState(eEngineClosed);
  return S_OK;
}

HRESULT TTestPatternEngine::Restart() {
  Locked lock(engineLock);
  if (State() < eEngineRunning) return S_OK;
  Stop();
  TAvProps request{};
  request.video = requestedVideoFormat;
  return Start(request, frameCallbackContext, frameCallback);
}

HRESULT TTestPatternEngine::OnPropertyChanged(const wchar_t* name, const wchar_t* value) {
  if (!name) return S_OK;
  if (RestartsCapture(name)) {
    const HRESULT hr = Restart();
    return FAILED(hr) ? hr : S_OK;
  }
  if (Is(name, L"_audio_enabled_")) {
    audioEnabledFlag.store(value && Is(value, L"true"), std::memory_order_relaxed);
  }
  return S_OK;
}

HRESULT TTestPatternEngine::MakeFrame(ICVFactory* factory, const TVideoProps& format, int64_t n,
                                      ICVFrame_I** frame) {
  ICVFrame_I* made = nullptr;
  HRESULT hr = factory->FrameCreate(&format, 0, 0, 0, 0, &made, nullptr);
  if (FAILED(hr)) return hr;
  TRefPtr<ICVFrame_I> result = TRefPtr<ICVFrame_I>::Adopt(made);
  // The frame's own layout counts: the factory may have given the lines more room than asked.
  TAvProps actual{};
  uint8_t* pixels = nullptr;
  if (FAILED(hr = result->FormatGet(&actual, nullptr))) return hr;
  if (FAILED(hr = result->PixelsGet(0, &pixels))) return hr;
  if (FAILED(hr = DrawTestPattern(pixels, actual.video, n))) return hr;
  *frame = result.Detach();
  return S_OK;
}

uint32_t CV_THREADCALL TTestPatternEngine::CaptureThreadMain(void* self) {
  TApartmentScope apartment;
  auto* engine = static_cast<TTestPatternEngine*>(self);
  TCaptureStopScope stopScope(engine->captureStopEvent);
  engine->CaptureLoop();
  return 0;
}

void TTestPatternEngine::Fail(HRESULT status, const wchar_t* text) {
  SetState(eEngineFailed);
  frameCallback(frameCallbackContext, nullptr, static_cast<int64_t>(status), text);
}

void TTestPatternEngine::CaptureLoop() {
  // Start wrote these before the thread began and writes them again only after it has ended.
  const TVideoProps format = runFormat;
  const TFrameCallback callback = frameCallback;
  void* const context = frameCallbackContext;
  TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  TRefPtr<TRateTimer> timer = MakeRef<TRateTimer>();

  int64_t n = 0;
  while (captureThread.IsRunning() && State() != eEngineFailed) {
    TRefPtr<ICVFrame_I> frame;
    ICVFrame_I* made = nullptr;
    HRESULT hr = MakeFrame(factory.Get(), format, n, &made);
    if (FAILED(hr)) return Fail(hr, L"TTestPatternEngine::CaptureLoop - MakeFrame() ERROR");
    frame = TRefPtr<ICVFrame_I>::Adopt(made);
    if (FAILED(hr = StampFrame(format.frameRate, tree.Get(), frame.Get(), n))) {
      return Fail(hr, L"TTestPatternEngine::CaptureLoop - StampFrame() ERROR");
    }
    // The wake event ends the wait at once when Stop comes.
    timer->WaitFrame(frame.Get(), captureThread.WakeEvent(), 0, -1);
    if (!captureThread.IsRunning()) break;
    if (FAILED(callback(context, frame.Get(), n, nullptr))) {
      SetState(eEngineFailed);
      return;
    }
    ++n;
  }
}
