#include "engine/hardware_loop.h"

#include <cstdlib>

#include "engine/cursor_marks.h"
#include "engine/frame_stamp.h"
#include "framelib/frame_factory.h"
#include "platform/kernel.h"
#include "platform/system.h"
#include "props/xml_node.h"

namespace {

// The duplication is made anew after this many passes without one or with lost access.
constexpr int32_t kErrorCountLimit = 16;
constexpr uint32_t kDefaultAcquireTimeoutMs = 15;

uint32_t AcquireTimeout(XMLParse::CoXMLNode* props) {
  const uint32_t ms = props ? props->GetUInt(L"capture.screenshot_timeout", kDefaultAcquireTimeoutMs)
                            : kDefaultAcquireTimeoutMs;
  return ms >= 5 && ms <= 50 ? ms : kDefaultAcquireTimeoutMs;
}

}  // namespace

void RepeatFrame(ICVFactory* factory, TRefPtr<ICVFrame_I>& frame, double fps, XMLParse::CoXMLNode* props, int64_t n) {
  ICVFrame_I* clone = nullptr;
  if (SUCCEEDED(factory->FrameDuplicate(frame.Get(), &clone, kFrameDuplicateRepeat)) && clone) {
    frame = TRefPtr<ICVFrame_I>::Adopt(clone);
    // The clone stands for a new moment: it takes that moment's sound, not a second copy of the last.
    frame->AudioSet(nullptr, 0, 0, 0);
  }
  void* face = nullptr;
  if (SUCCEEDED(frame->QueryInterface(IID_ICVNamedValues, &face))) {
    auto values = TRefPtr<ICVNamedValues>::Adopt(static_cast<ICVNamedValues*>(face));
    values->ValueSet(L"dup", 1);
  }
  StampFrame(fps, props, frame.Get(), n);
}

THardwareLoop::THardwareLoop(TCaptureSCR& engine)
    : engine_(engine),
      factory_(TRefPtr<ICVFactory>::Adopt(GetFrameFactory())),
      rateTimer_(MakeRef<TRateTimer>()),
      shotWorker_(engine.platform.makeGrabber) {}

THardwareLoop::~THardwareLoop() {
  ReleaseAcquired();
  workTexture_.Reset();
  regionCopy_.Reset();
  desktopCopy_.Reset();
  frame_.Reset();
}

void THardwareLoop::ReleaseAcquired() {
  acquiredImage_.Reset();
  if (acquired_ && engine_.duplication) engine_.duplication->ReleaseFrame();
  acquired_ = false;
}

void THardwareLoop::Run() {
  TApartmentScope apartment;
  const bool timerResolution = cvplat::BeginTimerResolution1ms();
  if (engine_.platform.paceRate > 0 && engine_.platform.paceRate != 1.0) rateTimer_->SetPaceRate(engine_.platform.paceRate);
  shotWorker_.SetDevice(engine_.gpu.Device());
  TRefPtr<XMLParse::CoXMLNode> props = engine_.propertyTree.Get();
  const bool duplicating = engine_.CaptureMode() == eCaptureDXGI;
  TCaptureRegion& region = engine_.region;

  while (engine_.captureThread.IsRunning()) {
    if (frame_ && FAILED(engine_.FinishTWFrame(frame_.Get(), *rateTimer_, frameCounter_))) break;
    cvplat::WaitForOne(engine_.captureThread.WakeEvent(), cvplat::kInfinite);
    if (!engine_.captureThread.IsRunning()) break;

    engine_.FillScreen(props.Get(), region.screen);
    TVideoProps format{};
    UpdateCaptureRegion(props.Get(), engine_.platform, engine_.requestedVideoFormat, region, format);
    engine_.PublishFormat(format);
    const int32_t width = format.width;
    const int32_t height = std::abs(format.height);
    engine_.cursor.UpdateCursorState(props.Get(), cursorState_);

    const bool picture = duplicating ? CaptureDuplicated(props.Get()) : CaptureShot(props.Get());
    if (!picture || !workTexture_) {
      if (!frame_) engine_.IdlePause();
      engine_.Wake();
      continue;
    }

    DrawHardwareMarks(engine_.gpu, engine_.cursor, cursorState_, workTexture_.Get(), region, props.Get());
    TRefPtr<cvplat::IGpuTexture2D> output;
    if (SUCCEEDED(engine_.gpu.RenderOutputFrame(workTexture_.Get(), region, width, height, props.Get(), output))) {
      ReadOutput(output.Get(), format, props.Get());
    }
    engine_.Wake();
  }

  ReleaseAcquired();
  if (timerResolution) cvplat::EndTimerResolution1ms();
}

bool THardwareLoop::CaptureDuplicated(XMLParse::CoXMLNode* props) {
  TCaptureRegion& region = engine_.region;
  if (acquired_) {
    acquiredImage_.Reset();
    // A duplication that can't give its image back can't give another: drop it, the recovery below
    // makes a new one.
    if (engine_.duplication && FAILED(engine_.duplication->ReleaseFrame())) engine_.duplication.reset();
    acquired_ = false;
  }

  const int32_t noFrameMax = props ? props->GetInt(L"capture.no_frame_max_count", 100) : 100;
  if ((noFrameMax > 0 && noFrameCount_ > noFrameMax) || errorCount_ > kErrorCountLimit) {
    regionCopy_.Reset();
    workTexture_.Reset();
    desktopCopy_.Reset();
    engine_.ReleaseHardware();
    engine_.InitHardware(true);
    errorCount_ = 0;
  }

  if (!engine_.duplication) {
    ++errorCount_;
    return false;
  }

  cvplat::DuplicationFrameInfo info{};
  TRefPtr<cvplat::IGpuTexture2D> image;
  cvplat::IGpuTexture2D* acquired = nullptr;
  const HRESULT hr = engine_.duplication->AcquireNextFrame(AcquireTimeout(props), &info, &acquired);
  image = TRefPtr<cvplat::IGpuTexture2D>::Adopt(acquired);
  region.shot_time = cvplat::SystemTimeAsFileTime();
  if (hr == cvplat::kDuplicationAccessLost) ++noFrameCount_;

  const bool optimizeCopy = props ? props->GetBool(L"capture.dxgi_optimize_copy", true) : true;
  if (frame_ && info.lastPresentTime == 0 && info.lastMouseUpdateTime == 0 && optimizeCopy) {
    // Nothing new: the frame in hand goes out again as a clone with the next number, without any gpu
    // work. There may be nothing to release; the result doesn't matter.
    image.Reset();
    engine_.duplication->ReleaseFrame();
    RepeatFrame(factory_.Get(), frame_, region.fps, props, frameCounter_);
    return false;
  }

  if (FAILED(hr)) {
    if (hr == cvplat::kDuplicationAccessLost) ++errorCount_;
  } else {
    acquired_ = true;
    acquiredImage_ = image;
    desktopCopy_.Reset();
    if (FAILED(engine_.gpu.CreateDesktopCopy(region.screen, desktopCopy_))) {
      acquiredImage_.Reset();
      return false;
    }
    engine_.gpu.CopyTextureFromOrigin(desktopCopy_.Get(), image.Get(), region.screen);
    errorCount_ = 0;
    noFrameCount_ = 0;
  }

  if (!desktopCopy_) return false;
  const bool copied =
      SUCCEEDED(engine_.gpu.CopyRegionToWork(desktopCopy_.Get(), region.screen, region.current, workTexture_));
  acquiredImage_.Reset();
  return copied;
}

bool THardwareLoop::CaptureShot(XMLParse::CoXMLNode* props) {
  TCaptureRegion& region = engine_.region;
  workTexture_.Reset();
  const int64_t timeout = static_cast<int64_t>(props ? props->GetUInt(L"capture.wait_frame_msec", 0) : 0) * 10000;
  shotWorker_.RequestHardwareShot(region, workTexture_, timeout);
  if (!workTexture_) return false;
  // The overlays go on a copy: the worker may hand the same shot out again.
  if (SUCCEEDED(engine_.gpu.EnsureRenderTexture(region.current, regionCopy_))) {
    engine_.gpu.CopyTextureFromOrigin(regionCopy_.Get(), workTexture_.Get(), region.current);
    workTexture_ = regionCopy_;
  }
  return true;
}

void THardwareLoop::ReadOutput(cvplat::IGpuTexture2D* output, const TVideoProps& format, XMLParse::CoXMLNode* props) {
  TCaptureRegion& region = engine_.region;
  engine_.gpu.ReadBack(output, [&](const uint8_t* data, uint32_t rowPitch, uint32_t, uint32_t) {
    frame_.Reset();
    TVideoProps mapped = format;
    mapped.rowBytes = static_cast<int32_t>(rowPitch);
    ICVFrame_I* made = nullptr;
    if (SUCCEEDED(factory_->FrameCreate(&mapped, reinterpret_cast<uintptr_t>(data), 0, 0, 0, &made, nullptr)) &&
        made) {
      frame_ = TRefPtr<ICVFrame_I>::Adopt(made);
      StampFrame(region.fps, props, frame_.Get(), frameCounter_);
    }
  });
}
