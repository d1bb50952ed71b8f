// TTimedWait: waits over sets of kernel objects whose precision comes from a waitable timer in 100 ns
// units; the millisecond limit of the system's wait is only a backstop. The timer belongs to one
// waiting thread at a time: arming it from two threads would mix their time-outs.
#pragma once

#include <cstdint>

#include "media/clock.h"
#include "platform/kernel.h"

class TTimedWait : public TClock {
 public:
  static constexpr uint32_t kTimedOut = cvplat::kWaitTimeout;

  TTimedWait();
  ~TTimedWait() override;

  // Waits until one of `handles` is signalled or `timeout` (100 ns) has passed. A timeout of 0 polls; a
  // negative one waits up to `foreverMs` milliseconds (kInfinite: no limit). With no handles and a
  // positive timeout it simply sleeps. Returns the index of the signalled handle, kTimedOut, or the
  // system's failure result. `elapsed` gets the time the wait took.
  uint32_t WaitAny(uint32_t count, const cvplat::KHandle* handles, int64_t timeout, int64_t* elapsed = nullptr,
                   uint32_t foreverMs = cvplat::kInfinite);

  // Waits until all of `handles` are signalled, unless one of `aborts` comes first; an abort handle
  // that is signalled wins over any handle, however early that one was signalled.
  // Returns the index of the abort handle (0 .. abortCount-1), abortCount when all handles were
  // signalled (0 without abort handles), kTimedOut, 0xFFFFFFFF with no handles, or the system's failure.
  // Handles that are auto-reset are consumed as they come in.
  uint32_t WaitAll(uint32_t count, const cvplat::KHandle* handles, uint32_t abortCount,
                   const cvplat::KHandle* aborts, int64_t timeout, int64_t* elapsed = nullptr,
                   uint32_t foreverMs = cvplat::kInfinite);

 private:
  // Arms the timer for a positive timeout; false when no timer could be had (the wait then relies on
  // the millisecond limit alone).
  bool ArmTimer(int64_t timeout);

  cvplat::KHandle timer_ = nullptr;
};
