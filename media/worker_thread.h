// TWorkerThread: start and stop of one thread whose body loops while IsRunning() holds. A body that
// polls waits on WakeEvent() with a time-out, so that Stop ends its wait at once.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/critical_section.h"
#include "platform/kernel.h"

class TWorkerThread {
 public:
  enum State : int { kNoThread = 0, kRunning = 1, kStopping = 2 };

  TWorkerThread();
  // A thread still alive here is a bug of the owner: it is reported and then stopped with no time limit.
  ~TWorkerThread();
  TWorkerThread(const TWorkerThread&) = delete;
  TWorkerThread& operator=(const TWorkerThread&) = delete;

  // Stops a thread that runs, then starts `body(context)` as the thread's whole body.
  // E_INVALIDARG for a null context or body; 0x80070050 if the old thread would not end; the system's
  // error if no thread could be made.
  HRESULT Start(void* context, cvplat::ThreadProc body, uint32_t stackSize = 0);
  // Clears the run flag, wakes the thread and waits up to `waitMs` for its end. S_OK when it ended,
  // S_FALSE when there was no thread, 0x80070610 when called from the thread itself (it cannot join
  // itself; the run flag is cleared all the same), 0x800705B4 when the wait ran out.
  HRESULT Stop(uint32_t waitMs = cvplat::kInfinite);
  // kNoThread (a finished thread is reaped here), kRunning, or kStopping: told to stop but still alive.
  int Query(cvplat::KHandle* thread = nullptr);

  bool IsRunning() const { return running_.load(std::memory_order_acquire); }
  cvplat::KHandle WakeEvent() const { return wakeEvent_.load(std::memory_order_acquire); }
  void Wake() const;

 private:
  void ReapLocked();
  int QueryLocked(cvplat::KHandle* thread);

  cvplat::CriticalSection controlLock_;  // serialises Start and Stop
  cvplat::CriticalSection stateLock_;    // guards the fields below
  cvplat::KHandle threadHandle_ = nullptr;
  uint32_t threadId_ = 0;
  int joiners_ = 0;  // Stops waiting on threadHandle_ without the lock
  std::atomic<cvplat::KHandle> wakeEvent_{nullptr};  // auto-reset, made by Start
  std::atomic<bool> running_{false};
};

// Every worker body runs inside a multi-threaded apartment of the component runtime.
class TApartmentScope {
 public:
  TApartmentScope();
  ~TApartmentScope();
  TApartmentScope(const TApartmentScope&) = delete;
  TApartmentScope& operator=(const TApartmentScope&) = delete;
  bool Entered() const { return SUCCEEDED(hr_); }

 private:
  HRESULT hr_;
};
