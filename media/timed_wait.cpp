#include "media/timed_wait.h"

#include <algorithm>

using cvplat::KHandle;
using cvplat::kInfinite;
using cvplat::kMaxWaitHandles;
using cvplat::kWaitFailed;
using cvplat::kWaitObject0;
using cvplat::kWaitTimeout;

namespace {

uint32_t ClampMs(int64_t ms) {
  return static_cast<uint32_t>(std::clamp<int64_t>(ms, 0, static_cast<int64_t>(kInfinite) - 1));
}

}  // namespace

TTimedWait::TTimedWait() : timer_(cvplat::CreateWaitableTimerObject(true)) {}

TTimedWait::~TTimedWait() { cvplat::CloseKernelHandle(timer_); }

bool TTimedWait::ArmTimer(int64_t timeout) {
  if (!timer_) timer_ = cvplat::CreateWaitableTimerObject(true);
  return timer_ && cvplat::SetTimerRelative(timer_, timeout);
}

uint32_t TTimedWait::WaitAny(uint32_t count, const KHandle* handles, int64_t timeout, int64_t* elapsed,
                             uint32_t foreverMs) {
  Set(0);
  if (count > kMaxWaitHandles || (count && !handles)) return kWaitFailed;
  KHandle list[kMaxWaitHandles + 1];
  std::copy(handles, handles + count, list);
  uint32_t n = count;
  bool timerAdded = false;
  uint32_t limitMs;
  if (timeout > 0) {
    if (n < kMaxWaitHandles && ArmTimer(timeout)) {
      list[n++] = timer_;
      timerAdded = true;
    }
    limitMs = ClampMs(timeout / 10000 * 2 + 1000);
  } else {
    limitMs = timeout == 0 ? 0 : foreverMs;
  }

  uint32_t result = cvplat::WaitForAny(n, list, limitMs);
  if (elapsed) *elapsed = Time();
  if (timerAdded && result == kWaitObject0 + n - 1) result = kWaitTimeout;
  return result;
}

uint32_t TTimedWait::WaitAll(uint32_t count, const KHandle* handles, uint32_t abortCount, const KHandle* aborts,
                             int64_t timeout, int64_t* elapsed, uint32_t foreverMs) {
  if (count == 0 || !handles) return kWaitFailed;
  Set(0);
  if (count + abortCount + 1 > kMaxWaitHandles || (abortCount && !aborts)) return kWaitFailed;

  // Abort handles first, so that the system's wait, which reports the lowest signalled index, lets an
  // abort win; the timer counts as one more abort handle.
  KHandle list[kMaxWaitHandles];
  uint32_t n = 0;
  for (uint32_t i = 0; i < abortCount; ++i) list[n++] = aborts[i];
  uint32_t limitMs;
  if (timeout > 0) {
    if (ArmTimer(timeout)) list[n++] = timer_;
    limitMs = ClampMs((timeout / 10000 + 500) * 2);
  } else {
    limitMs = timeout == 0 ? 0 : foreverMs;
  }
  const uint32_t firstHandle = n;

  uint32_t result;
  if (firstHandle == 0) {
    result = cvplat::WaitForAll(count, handles, limitMs);
  } else {
    for (uint32_t i = 0; i < count; ++i) list[n++] = handles[i];
    const uint32_t start = cvplat::TickCountMs();
    uint32_t left = limitMs;
    for (;;) {
      const uint32_t r = cvplat::WaitForAny(n, list, left);
      if (r == kWaitTimeout || r >= kWaitObject0 + n) {
        result = r;
        break;
      }
      const uint32_t index = r - kWaitObject0;
      if (index < abortCount) {
        result = index;
        break;
      }
      if (index < firstHandle) {  // the timer
        result = kWaitTimeout;
        break;
      }
      if (n - firstHandle == 1) {
        result = abortCount;
        break;
      }
      std::copy(list + index + 1, list + n, list + index);
      --n;
      if (limitMs != kInfinite && limitMs != 0) {
        const uint32_t used = cvplat::TickCountMs() - start;
        if (used >= limitMs) {
          result = kWaitTimeout;
          break;
        }
        left = limitMs - used;
      }
    }
  }
  if (elapsed) *elapsed = Time();
  return result;
}
