// The hardware loop: one pass gets the picture of `current` into a texture (from the duplicated output
// or from a shot), draws the overlays on it, renders the output frame on the gpu and reads it back. A
// pass that makes nothing leaves the frame in hand, and the next pass delivers it again under the next
// number, so the output keeps its rate while the desktop can't be read.
#pragma once

#include <cstdint>

#include "engine/capture_scr.h"
#include "engine/cursor_overlay.h"
#include "engine/shot_worker.h"
#include "media/rate_timer.h"

// The frame in hand again, for a pass whose duplication brought nothing new: a clone labelled "dup" with
// the stamps of number `n`, made without any gpu work. When no clone can be had the frame itself is
// stamped anew.
void RepeatFrame(ICVFactory* factory, TRefPtr<ICVFrame_I>& frame, double fps, XMLParse::CoXMLNode* props, int64_t n);

class THardwareLoop {
 public:
  explicit THardwareLoop(TCaptureSCR& engine);
  ~THardwareLoop();
  THardwareLoop(const THardwareLoop&) = delete;
  THardwareLoop& operator=(const THardwareLoop&) = delete;

  // Runs passes until the run flag falls or a delivery fails.
  void Run();

 private:
  // The picture of `current` into workTexture, by the branch of the mode; false when the pass has no
  // new picture to render.
  bool CaptureDuplicated(XMLParse::CoXMLNode* props);
  bool CaptureShot(XMLParse::CoXMLNode* props);
  // Output texture to a new frame of `format`, stamped with the current number.
  void ReadOutput(cvplat::IGpuTexture2D* output, const TVideoProps& format, XMLParse::CoXMLNode* props);
  void ReleaseAcquired();

  TCaptureSCR& engine_;
  TRefPtr<ICVFactory> factory_;
  TRefPtr<ICVFrame_I> frame_;
  int64_t frameCounter_ = 0;
  TRefPtr<TRateTimer> rateTimer_;
  TShotWorker shotWorker_;
  bool acquired_ = false;
  TRefPtr<cvplat::IGpuTexture2D> acquiredImage_;
  int32_t errorCount_ = 0;
  int32_t noFrameCount_ = 0;
  TCursorState cursorState_;
  TRefPtr<cvplat::IGpuTexture2D> desktopCopy_;
  TRefPtr<cvplat::IGpuTexture2D> workTexture_;
  TRefPtr<cvplat::IGpuTexture2D> regionCopy_;
};
