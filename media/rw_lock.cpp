#include "media/rw_lock.h"

#include "platform/kernel.h"

namespace {

// Raises a non-negative state by one; false when a writer holds it.
bool EnterAsReader(std::atomic<int32_t>& state) {
  int32_t s = state.load(std::memory_order_relaxed);
  while (s >= 0)
    if (state.compare_exchange_weak(s, s + 1, std::memory_order_acquire, std::memory_order_relaxed)) return true;
  return false;
}

}  // namespace

bool CRWSynchroLiteRW::ReadLock(bool wait, uintptr_t* outTag) {
  if (outTag) *outTag = lastTag_.load(std::memory_order_relaxed);
  if (EnterAsReader(lockState_)) return true;
  // A writer is at work. Its critical section is where we queue behind it.
  if (wait)
    section_.Enter();
  else if (!section_.TryEnter())
    return false;
  // Still negative while we hold the section: that can only be this thread's own write lock, under
  // which reading is allowed without counting.
  EnterAsReader(lockState_);
  section_.Leave();
  return true;
}

void CRWSynchroLiteRW::ReadUnlock() {
  int32_t s = lockState_.load(std::memory_order_relaxed);
  while (s > 0)
    if (lockState_.compare_exchange_weak(s, s - 1, std::memory_order_release, std::memory_order_relaxed)) return;
}

bool CRWSynchroLiteRW::WriteLock(bool wait, uintptr_t tag, uintptr_t* outTag) {
  if (outTag) *outTag = lastTag_.load(std::memory_order_relaxed);
  if (!wait) {
    if (!section_.TryEnter()) return false;
    int32_t s = lockState_.load(std::memory_order_relaxed);
    for (;;) {
      if (s > 0) {  // readers inside
        section_.Leave();
        return false;
      }
      if (lockState_.compare_exchange_weak(s, s - 1, std::memory_order_acquire, std::memory_order_relaxed)) break;
    }
    writersWaiting_.fetch_add(1, std::memory_order_relaxed);
  } else {
    section_.Enter();
    writersWaiting_.fetch_add(1, std::memory_order_relaxed);
    for (uint32_t round = 1;; ++round) {
      int32_t s = lockState_.load(std::memory_order_relaxed);
      if (s <= 0 &&
          lockState_.compare_exchange_weak(s, s - 1, std::memory_order_acquire, std::memory_order_relaxed))
        break;
      if (s > 0) cvplat::SleepMs(round % 128 == 0 ? 1 : 0);  // readers are leaving; give them the CPU
    }
  }
  lastTag_.store(tag, std::memory_order_relaxed);
  return true;
}

void CRWSynchroLiteRW::WriteUnlock() {
  int32_t s = lockState_.load(std::memory_order_relaxed);
  while (s < 0)
    if (lockState_.compare_exchange_weak(s, s + 1, std::memory_order_release, std::memory_order_relaxed)) break;
  writersWaiting_.fetch_sub(1, std::memory_order_relaxed);
  section_.Leave();
}

bool CRWSynchroLiteCS::ReadLock(bool wait, uintptr_t* outTag) {
  if (outTag) *outTag = 0;
  if (wait) {
    section_.Enter();
    return true;
  }
  return section_.TryEnter();
}

bool CRWSynchroLiteCS::WriteLock(bool wait, uintptr_t /*tag*/, uintptr_t* outTag) {
  return ReadLock(wait, outTag);
}
