// TAudioCalc: how many samples each frame gets. Durations rarely come to whole samples, so the part of
// a sample that a frame is owed is carried to the next one: over any run the counts add up to the
// time at the rate, and no fraction of a sample is ever lost.
#pragma once

#include <cstdint>

#include "media/auto_obj.h"
#include "media/av_props.h"

class TAudioCalc : public AutoObjBase<TAudioCalc, IUnknown> {
 public:
  // A frame whose stop isn't 1 ms past its start is taken to last this long (a frame at 29.97).
  static constexpr int64_t kDefaultFrameLength = 333667;
  static constexpr int64_t kShortestFrame = 10000;

  // Samples for `duration` (100 ns units) plus the carry; `clearCarry` starts afresh. With no rate the
  // count is 0 and the result S_FALSE.
  HRESULT SamplesForDuration(const TAudioProps& format, double duration, int64_t* count, bool clearCarry);
  // Samples from the end of the previous frame's audio to this frame's stop. A frame that opens a run,
  // starts before that end, or starts more than `largestGap` after it (when above 0) starts afresh.
  HRESULT SamplesForTime(const TAudioProps& format, const TFrameTime& time, int64_t* count, int64_t largestGap);
  void Reset() {
    carry_ = 0.0;
    nextStart_ = kNoTime;
  }

  double Carry() const { return carry_; }
  int64_t NextStart() const { return nextStart_; }

 private:
  double carry_ = 0.0;
  int64_t nextStart_ = kNoTime;
};
