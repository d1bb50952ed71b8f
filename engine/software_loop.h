// The software loop: each pass takes the newest shot as a frame of the frame library, paints the
// background outside `visible`, draws the overlays and converts the frame to the output size and format.
// Its frame lives for one pass; a pass whose conversion fails delivers nothing.
#pragma once

#include <cstdint>

#include "engine/capture_scr.h"
#include "engine/cursor_overlay.h"
#include "engine/scale_request.h"
#include "engine/shot_worker.h"
#include "media/rate_timer.h"

class TSoftwareLoop {
 public:
  explicit TSoftwareLoop(TCaptureSCR& engine);
  TSoftwareLoop(const TSoftwareLoop&) = delete;
  TSoftwareLoop& operator=(const TSoftwareLoop&) = delete;

  // Runs passes until the run flag falls or a delivery fails.
  void Run();

 private:
  TCaptureSCR& engine_;
  TRefPtr<ICVFactory> factory_;
  int64_t frameCounter_ = 0;
  TRefPtr<TRateTimer> rateTimer_;
  TShotWorker shotWorker_;
  TCursorState cursorState_;
};
