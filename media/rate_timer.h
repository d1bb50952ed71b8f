// TRateTimer: paces a producer to the time stamps of its frames. Each frame's stamps are mapped onto an
// output time line, and WaitFrame sleeps until that frame's moment on the pace clock has come. It is the
// frame's time that paces the loop, not a fixed period: a frame up to a second late isn't waited for, so
// the loop catches up at full speed; later than that the time line restarts at that frame.
// One producer thread calls WaitFrame; the pace clock may be read by others.
#pragma once

#include <cstdint>

#include "CVDeviceSCR.h"
#include "media/auto_obj.h"
#include "media/clock.h"
#include "media/timed_wait.h"
#include "platform/critical_section.h"
#include "platform/kernel.h"

// What WaitFrame made of one frame.
struct TRateTimerStep {
  int64_t start;  // the frame's start on the output time line
  int64_t end;    // its end there
  int64_t wait;   // how long it slept for the frame's moment (100 ns; 0: not at all)
};

class TRateTimer : public AutoObjBase<TRateTimer> {
 public:
  static constexpr int64_t kJumpLimit = 100'000;      // 10 ms: a larger jump of the stamps resynchronises
  static constexpr int64_t kSlipLimit = 10'000'000;   // 1 s: a larger distance from the pace clock restarts it
  static constexpr double kDefaultDuration = 400'000;  // a frame without a rate counts as 1/25 s

  TRateTimer();
  ~TRateTimer() override;

  // Sleeps until the frame's moment. `event` (may be null) ends the sleep early when it is signalled;
  // `offset` is how far ahead of the pace clock the frames run; `maxWait` (100 ns) bounds one sleep: 0
  // never sleeps, a negative value doesn't bound it. `step` (may be null) gets what was done.
  // Returns S_OK, E_POINTER for a null frame, or the failure of reading the frame.
  HRESULT WaitFrame(ICVFrame_I* frame, cvplat::KHandle event, int64_t offset, int64_t maxWait,
                    TRateTimerStep* step = nullptr);

  // Maps a frame's stamps onto the output time line and moves the line on; a `jumpLimit` above 0
  // resynchronises on a jump of the stamps beyond it.
  void MapTimes(const TFrameTime& time, double frameRate, int64_t jumpLimit, int64_t* start, int64_t* end);

  // Runs the pace clock `rate` times as fast as real time: a simulated machine's frames go out faster,
  // with the same stamps.
  void SetPaceRate(double rate);

  double NextTime() const { return nextTime_; }
  int64_t TimeOffset() const { return timeOffset_; }
  double PaceRate() const { return paceClock_.Rate(); }

  // The speed of the pace clock that a speed hint from -1 to 1 asks for.
  static double RateForHint(double hint);

 private:
  TTimedWait waiter_;
  int64_t timeOffset_ = kNoTime;  // added to the stamps of incoming frames
  double nextTime_ = 0;           // where the next frame should start on the output time line
  TClock paceClock_;              // the time line that frames are held to
  // The pace clock reads no time until the first frame sets it (a clock can't hold that value itself).
  bool paceClockSet_ = false;
  cvplat::CriticalSection paceLock_;  // guards changes of the pace clock
  cvplat::KHandle paceEvent_ = nullptr;  // never set: sleeping on it is a pure timed sleep
};
