#include "engine/shot_worker.h"

#include <cstdlib>

#include "engine/capture_base.h"
#include "framelib/frame_factory.h"
#include "media/colour_formats.h"

using namespace cvplat;

TShotWorker::TShotWorker(std::function<std::unique_ptr<IScreenGrabber>()> makeGrabber, int64_t firstShotLimit)
    : ready_(CreateEventObject(true, false)),
      firstShotLimit_(firstShotLimit > 0 ? firstShotLimit : kFirstShotLimit),
      makeGrabber_(std::move(makeGrabber)) {}

TShotWorker::~TShotWorker() {
  thread_.Stop(kInfinite);
  if (grabber_) grabber_->ReleaseCached();
  grabber_.reset();
  textureShot_.Reset();
  frameShot_.Reset();
  CloseKernelHandle(ready_);
}

HRESULT TShotWorker::RequestHardwareShot(TCaptureRegion& region, TRefPtr<IGpuTexture2D>& shot, int64_t timeout) {
  return Request(Kind::Texture, region, timeout, &shot, nullptr) ? S_OK : S_FALSE;
}

HRESULT TShotWorker::RequestSoftwareShot(TCaptureRegion& region, TRefPtr<ICVFrame_I>& shot, int64_t timeout) {
  return Request(Kind::Frame, region, timeout, nullptr, &shot) ? S_OK : S_FALSE;
}

bool TShotWorker::Request(Kind kind, TCaptureRegion& region, int64_t timeout, TRefPtr<IGpuTexture2D>* texture,
                          TRefPtr<ICVFrame_I>* frame) {
  // A negative time-out would wait without a limit that a stop can't always break.
  if (timeout < 0) timeout = 0;
  if (thread_.Query() == TWorkerThread::kNoThread) {
    {
      SectionLock lock(lock_);
      request_ = region;
    }
    kind_ = kind;
    if (SUCCEEDED(thread_.Start(this, &TShotWorker::ThreadMain))) timeout = firstShotLimit_;
  }

  // The stop signal ends any wait here: the loop that called has to leave at once.
  KHandle handles[2] = {ready_, CaptureStopSignal()};
  const uint32_t count = handles[1] ? 2 : 1;
  wait_.WaitAny(count, handles, timeout);

  // Woken before the new request is stored: the thread may begin its cycle with the previous rectangle,
  // which costs at most one pass of age and never makes the loop wait.
  thread_.Wake();

  SectionLock lock(lock_);
  const bool ready = WaitForOne(ready_, 0) == kWaitObject0;
  if (ready) ResetEventObject(ready_);
  request_ = region;
  // The loop goes on with the region of the picture it actually gets, so overlays land where the
  // picture shows them. Without any picture there is no region to give.
  if (textureShot_ || frameShot_) region = result_;
  if (texture) *texture = textureShot_;
  if (frame) *frame = frameShot_;
  return ready;
}

uint32_t CV_THREADCALL TShotWorker::ThreadMain(void* context) {
  static_cast<TShotWorker*>(context)->RunShots();
  return 0;
}

void TShotWorker::RunShots() {
  TApartmentScope apartment;
  const KHandle wake = thread_.WakeEvent();
  // The first round runs at once: the request that started the thread is waiting for it.
  SetEventObject(wake);
  if (!grabber_ && makeGrabber_) grabber_ = makeGrabber_();
  while (thread_.IsRunning()) {
    WaitForOne(wake, kInfinite);
    if (!thread_.IsRunning()) break;
    TakeShot();
  }
}

void TShotWorker::TakeShot() {
  TCaptureRegion copy;
  {
    SectionLock lock(lock_);
    copy = request_;
  }
  // A failed grab leaves everything as it was: the loop keeps the newest shot it has.
  if (kind_ == Kind::Texture) {
    TRefPtr<IGpuTexture2D> texture;
    if (FAILED(ShootSurface(copy, texture))) return;
    SectionLock lock(lock_);
    textureShot_ = texture;
    result_ = copy;
    SetEventObject(ready_);
  } else {
    TRefPtr<ICVFrame_I> frame;
    if (FAILED(ShootFrame(copy, frame))) return;
    SectionLock lock(lock_);
    frameShot_ = frame;
    result_ = copy;
    SetEventObject(ready_);
  }
}

HRESULT TShotWorker::ShootSurface(TCaptureRegion& region, TRefPtr<IGpuTexture2D>& texture) {
  IGpuDevice* device = device_.load(std::memory_order_acquire);
  if (!device || texture) return E_INVALIDARG;
  if (!grabber_) return E_FAIL;
  region.shot_time = SystemTimeAsFileTime();
  IGpuTexture2D* made = nullptr;
  const HRESULT hr = grabber_->GrabToTexture(device, region.current, &made);
  if (FAILED(hr)) {
    if (made) made->Release();
    return hr;
  }
  texture = TRefPtr<IGpuTexture2D>::Adopt(made);
  return made ? S_OK : E_FAIL;
}

HRESULT TShotWorker::ShootFrame(TCaptureRegion& region, TRefPtr<ICVFrame_I>& frame) {
  const int32_t width = RectWidth(region.current);
  const int32_t height = RectHeight(region.current);
  if (width <= 0 || height <= 0) return E_INVALIDARG;
  if (!grabber_) return E_FAIL;

  TAvProps props{};
  props.video.colourFormat = kColourARGB32;
  props.video.width = width;
  props.video.height = -height;  // top-down, as the grabber writes it
  props.video.rowBytes = ColourRowBytes(kColourARGB32, width);
  props.video.scan = 3;
  props.video.frameRate = region.fps;

  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  ICVFrame_I* made = nullptr;
  HRESULT hr = factory->FrameAlloc(ColourImageBytes(kColourARGB32, props.video.rowBytes, height), &made);
  if (FAILED(hr)) return hr;
  if (!made) return E_OUTOFMEMORY;
  TRefPtr<ICVFrame_I> shot = TRefPtr<ICVFrame_I>::Adopt(made);

  region.shot_time = SystemTimeAsFileTime();
  uint8_t* pixels = nullptr;
  hr = shot->PixelsGet(0, &pixels);
  if (FAILED(hr)) return hr;
  if (!pixels) return E_FAIL;

  TFrameTime time{};
  hr = GrabBitmap(pixels, props.video.rowBytes, region.current, time);
  if (FAILED(hr)) {
    // A new size, or cached objects that went stale: one more try on fresh ones.
    grabber_->ReleaseCached();
    hr = GrabBitmap(pixels, props.video.rowBytes, region.current, time);
    if (FAILED(hr)) return hr;
  }

  hr = shot->FormatSet(&props, nullptr);
  if (FAILED(hr)) return hr;
  hr = shot->TimeSet(&time);
  if (SUCCEEDED(hr)) frame = shot;
  return hr;
}

HRESULT TShotWorker::GrabBitmap(uint8_t* pixels, int32_t pitch, const TRect& current, TFrameTime& time) {
  const int32_t width = RectWidth(current);
  const int32_t height = RectHeight(current);
  if (width != grabWidth_ || height != grabHeight_) {
    grabWidth_ = width;
    grabHeight_ = height;
    return E_FAIL;
  }
  time.startTime = SystemTimeAsFileTime();
  const HRESULT hr = grabber_->GrabToMemory(current, pixels, pitch);
  if (FAILED(hr)) return hr;
  time.endTime = SystemTimeAsFileTime();
  return S_OK;
}
