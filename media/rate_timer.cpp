#include "media/rate_timer.h"

#include <cmath>
#include <cstdlib>

#include "media/duration_snap.h"
#include "media/time_math.h"

namespace {

// Frame duration in 100 ns for a rate, the exact one for the common rates.
double FrameDuration(double frameRate) {
  double duration = frameRate > 0 ? static_cast<double>(kTimeUnitsPerSecond) / frameRate : 0;
  if (duration > 0 && duration < 1e15) {
    int64_t rounded = RoundHalfAway(duration);
    bool hit = false;
    const double exact = DurationSnap(rounded, &hit);
    if (hit) duration = exact;
  }
  return duration > 0 ? duration : TRateTimer::kDefaultDuration;
}

// (next - start) truncated towards zero, exact for stamps far beyond a double's 53 bits (file times).
int64_t TruncatedDifference(double next, int64_t start) {
  const int64_t whole = static_cast<int64_t>(next);
  const double fraction = next - static_cast<double>(whole);
  const int64_t difference = whole - start;
  if (difference > 0 && fraction < 0) return difference - 1;
  if (difference < 0 && fraction > 0) return difference + 1;
  return difference;
}

}  // namespace

TRateTimer::TRateTimer() = default;

TRateTimer::~TRateTimer() { cvplat::CloseKernelHandle(paceEvent_); }

double TRateTimer::RateForHint(double hint) {
  if (hint > 0.5) return 1.2;
  if (hint > 0.1) return (hint - 0.1) * 0.5 + 1.0;
  if (hint < -0.5) return 0.95;
  return 1.0;
}

void TRateTimer::SetPaceRate(double rate) {
  cvplat::SectionLock lock(paceLock_);
  paceClock_.SetRate(rate);
}

void TRateTimer::MapTimes(const TFrameTime& time, double frameRate, int64_t jumpLimit, int64_t* start,
                          int64_t* end) {
  const double duration = FrameDuration(frameRate);
  // Without a start there is nothing to keep or offset: the frame goes where the line has got to.
  if (time.startTime == kNoTime) {
    *start = RoundHalfAway(nextTime_);
    *end = RoundHalfAway(nextTime_ + duration);
    nextTime_ += duration;
    return;
  }
  const int64_t from = time.startTime;
  bool resync = timeOffset_ == kNoTime || (time.frameFlags & (kFrameFlagGap | kFrameFlagNewTimeBase)) != 0;
  int64_t mapped = 0;
  if (!resync) {
    // A sum that doesn't even fit is a jump by any measure.
    resync = __builtin_add_overflow(from, timeOffset_, &mapped) ||
             (jumpLimit > 0 && std::fabs(static_cast<double>(mapped) - nextTime_) > static_cast<double>(jumpLimit));
  }
  if (resync) {
    timeOffset_ = TruncatedDifference(nextTime_, from);
    mapped = from + timeOffset_;
  }
  *start = mapped;
  int64_t mappedEnd = 0;
  const bool hasEnd = time.endTime != kNoTime && time.endTime > from && time.endTime - from > 1000 &&
                      !__builtin_add_overflow(time.endTime, timeOffset_, &mappedEnd);
  *end = hasEnd ? mappedEnd : mapped + RoundHalfAway(duration);
  nextTime_ = static_cast<double>(*end);
}

HRESULT TRateTimer::WaitFrame(ICVFrame_I* frame, cvplat::KHandle event, int64_t offset, int64_t maxWait,
                              TRateTimerStep* step) {
  if (!frame) return E_POINTER;
  TAvProps props;
  TFrameTime time;
  if (const HRESULT hr = frame->FormatGet(&props, nullptr); FAILED(hr)) return hr;
  if (const HRESULT hr = frame->TimeGet(&time); FAILED(hr)) return hr;

  int64_t start = 0, end = 0;
  MapTimes(time, props.video.frameRate, kJumpLimit, &start, &end);

  int64_t wait = 0;
  paceLock_.Enter();
  if ((time.frameFlags & kFrameFlagSpeedMask) != 0) paceClock_.SetRate(RateForHint(FrameSpeedHint(time.frameFlags)));
  // The first frame finds the pace clock without a time, as far off as a clock can be.
  const bool slipped = !paceClockSet_ || __builtin_sub_overflow(start, paceClock_.Time(), &wait) ||
                       wait > kSlipLimit || wait < -kSlipLimit;
  if (slipped) {
    // The time line has slipped: it restarts at this frame, which is held for its own duration.
    int64_t restart = 0;
    paceClock_.Set(__builtin_sub_overflow(start, offset, &restart) ? start : restart);
    paceClockSet_ = true;
    wait = end - start;
  }
  paceLock_.Leave();

  if (wait > 0 && maxWait != 0) {
    if (maxWait > 0 && maxWait <= wait) wait = maxWait;
    // The wait is on the pace clock's time line; a clock that runs faster gets there sooner.
    const double rate = paceClock_.Rate();
    const int64_t sleep = rate > 0 && rate != 1.0 ? static_cast<int64_t>(static_cast<double>(wait) / rate) : wait;
    cvplat::KHandle sleepOn = event;
    if (!sleepOn) {
      if (!paceEvent_) paceEvent_ = cvplat::CreateEventObject(true, false);
      sleepOn = paceEvent_;
    }
    waiter_.WaitAny(sleepOn ? 1 : 0, &sleepOn, sleep);
  } else {
    wait = 0;
  }
  if (step) *step = {start, end, wait};
  return S_OK;
}
