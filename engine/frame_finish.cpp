// FinishTWFrame: the one pace-maker of the engine. A frame's time comes from its number alone, and the
// loops run as fast as the wait for that moment lets them.
#include "engine/capture_scr.h"
#include "media/rate_timer.h"
#include "props/xml_node.h"

namespace {

bool CarriesSound(ICVFrame_I* frame) {
  TAvProps props{};
  int32_t samples = 0;
  return SUCCEEDED(frame->FormatGet(&props, &samples)) && samples > 0;
}

}  // namespace

HRESULT TCaptureSCR::FinishTWFrame(ICVFrame_I* frame, TRateTimer& rateTimer, int64_t& frameCounter) {
  if (region.shot_time != 0) frame->LabelSet(L"crtm", 0, region.shot_time);
  // The frames are the clock: a frame whose sound is late goes out with silence, never later. A frame
  // that goes out a second time, after a pass that made nothing, keeps the sound it has: readers hold it.
  if (audioInserter->Capturing() && !CarriesSound(frame)) {
    audioInserter->JoinAudio(frame, true, nullptr, TAudioInserter::kFrameWait);
  }

  if (HRESULT hr = UpdateFrame(frame, frameCounter); FAILED(hr)) {
    Fail(hr, L"TCaptureSCR::FinishTWFrame - UpdateFrame() ERROR");
    return hr;
  }

  TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
  const bool minDelay = tree && tree->GetBool(L"capture.min_delay", false);
  // The stop signal ends the wait at once; the loop then sees its run flag down.
  if (!minDelay) {
    rateTimer.WaitFrame(frame, captureStopEvent, 0, -1);
    // A stop that ended the wait: the frame's moment hasn't come, and nobody waits for it any more.
    if (!captureThread.IsRunning()) return E_ABORT;
  }

  if (HRESULT hr = frameCallback(frameCallbackContext, frame, frameCounter, nullptr); FAILED(hr)) {
    SetState(eEngineFailed);
    return hr;
  }
  ++frameCounter;

  if (minDelay) rateTimer.WaitFrame(frame, captureStopEvent, 0, -1);
  return S_OK;
}
