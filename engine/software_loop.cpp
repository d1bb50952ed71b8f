#include "engine/software_loop.h"

#include "engine/cursor_marks.h"
#include "engine/frame_stamp.h"
#include "framelib/frame_factory.h"
#include "platform/kernel.h"
#include "platform/system.h"
#include "props/xml_node.h"

TSoftwareLoop::TSoftwareLoop(TCaptureSCR& engine)
    : engine_(engine),
      factory_(TRefPtr<ICVFactory>::Adopt(GetFrameFactory())),
      rateTimer_(MakeRef<TRateTimer>()),
      shotWorker_(engine.platform.makeGrabber) {}

void TSoftwareLoop::Run() {
  TApartmentScope apartment;
  const bool timerResolution = cvplat::BeginTimerResolution1ms();
  if (engine_.platform.paceRate > 0 && engine_.platform.paceRate != 1.0) rateTimer_->SetPaceRate(engine_.platform.paceRate);
  TRefPtr<XMLParse::CoXMLNode> props = engine_.propertyTree.Get();
  TCaptureRegion& region = engine_.region;

  while (engine_.captureThread.IsRunning()) {
    engine_.FillScreen(props.Get(), region.screen);
    TVideoProps format{};
    UpdateCaptureRegion(props.Get(), engine_.platform, engine_.requestedVideoFormat, region, format);
    engine_.PublishFormat(format);
    engine_.cursor.UpdateCursorState(props.Get(), cursorState_);
    const TScaleOptions scale = BuildScaleOptions(props.Get(), format);

    // Unscaled: a wait of so many 100 ns units, unlike the hardware loop's milliseconds.
    const int64_t timeout = props ? props->GetUInt(L"capture.wait_frame_msec", 0) : 0;
    TRefPtr<ICVFrame_I> shot;
    shotWorker_.RequestSoftwareShot(region, shot, timeout);
    if (!shot) {
      engine_.IdlePause();
      engine_.Wake();
      continue;
    }
    // The loop works on a clone: the worker may hand the same shot out again.
    ICVFrame_I* clone = nullptr;
    if (SUCCEEDED(factory_->FrameDuplicate(shot.Get(), &clone, kFrameDuplicateWork)) && clone) {
      shot = TRefPtr<ICVFrame_I>::Adopt(clone);
    }
    StampFrame(region.fps, props.Get(), shot.Get(), frameCounter_);
    const std::wstring background = props ? props->GetString(L"capture.background_color") : std::wstring();
    FillOutsideVisible(shot.Get(), region.current, region.visible, background.c_str());
    ICVFrame_I* const stock[3] = {engine_.stockFrames[0].Get(), engine_.stockFrames[1].Get(),
                                  engine_.stockFrames[2].Get()};
    DrawSoftwareMarks(factory_.Get(), stock, engine_.cursor, cursorState_, shot.Get(), region, props.Get());

    ICVFrame_I* converted = nullptr;
    if (FAILED(shot->FrameConvert(scale.pixelFormat, scale.width, scale.height, 0, &converted,
                                  scale.options.c_str(), L"screen-cap")) ||
        !converted) {
      engine_.Wake();
      continue;
    }
    TRefPtr<ICVFrame_I> frame = TRefPtr<ICVFrame_I>::Adopt(converted);
    if (FAILED(engine_.FinishTWFrame(frame.Get(), *rateTimer_, frameCounter_))) break;
    engine_.Wake();
  }

  if (timerResolution) cvplat::EndTimerResolution1ms();
}
