#include "media/worker_thread.h"

#include "platform/system.h"

using namespace cvplat;

TWorkerThread::TWorkerThread() = default;

TWorkerThread::~TWorkerThread() {
  if (Query() != kNoThread) {
    ShowSystemWarning(L"WARNING !!! Thread not stopped.",
                      L"A worker thread was still alive when its owner went away; it is stopped now.");
    Stop(kInfinite);
  }
  stateLock_.Enter();
  ReapLocked();
  stateLock_.Leave();
  CloseKernelHandle(wakeEvent_.exchange(nullptr));
}

void TWorkerThread::ReapLocked() {
  CloseKernelHandle(threadHandle_);
  threadHandle_ = nullptr;
  threadId_ = 0;
}

void TWorkerThread::Wake() const {
  if (KHandle ev = WakeEvent()) SetEventObject(ev);
}

int TWorkerThread::Query(KHandle* thread) {
  stateLock_.Enter();
  const int state = QueryLocked(thread);
  stateLock_.Leave();
  return state;
}

int TWorkerThread::QueryLocked(KHandle* thread) {
  if (thread) *thread = nullptr;
  if (!threadHandle_) return kNoThread;
  if (WaitForOne(threadHandle_, 0) == kWaitObject0) {
    // The handle a Stop waits on stays open until its wait is over; that Stop reaps it then.
    if (joiners_ == 0) ReapLocked();
    return kNoThread;
  }
  if (thread) *thread = threadHandle_;
  return IsRunning() ? kRunning : kStopping;
}

HRESULT TWorkerThread::Stop(uint32_t waitMs) {
  running_.store(false, std::memory_order_release);
  // Checked before the control lock: a thread that stops itself while its owner is stopping it would
  // otherwise wait for the owner, who waits for it.
  stateLock_.Enter();
  const bool self = threadHandle_ && threadId_ == CurrentThreadId();
  stateLock_.Leave();
  if (self && Query() != kNoThread) return CV_E_THREAD_JOIN_SELF;

  controlLock_.Enter();
  running_.store(false, std::memory_order_release);
  KHandle thread = nullptr;
  stateLock_.Enter();
  const bool alive = QueryLocked(&thread) != kNoThread;
  // Another thread may ask meanwhile whether this one lives (a capture loop asks about its sound thread)
  // and see it end: it must not close the handle that this waits on.
  if (alive) ++joiners_;
  stateLock_.Leave();
  HRESULT hr = S_FALSE;
  if (alive) {
    Wake();
    WaitForOne(thread, waitMs);
    stateLock_.Enter();
    --joiners_;
    hr = QueryLocked(nullptr) == kNoThread ? S_OK : CV_E_TIMEOUT;
    stateLock_.Leave();
  }
  controlLock_.Leave();
  return hr;
}

HRESULT TWorkerThread::Start(void* context, ThreadProc body, uint32_t stackSize) {
  if (!context || !body) return E_INVALIDARG;
  controlLock_.Enter();
  Stop(kInfinite);
  if (Query() != kNoThread) {  // only when Start is called from the thread itself
    controlLock_.Leave();
    return CV_E_ALREADY_EXISTS;
  }
  KHandle wake = CreateEventObject(false, false);
  if (!wake) {
    controlLock_.Leave();
    return E_OUTOFMEMORY;
  }
  CloseKernelHandle(wakeEvent_.exchange(wake));

  KHandle thread = nullptr;
  uint32_t id = 0;
  const HRESULT hr = CreateThreadSuspended(body, context, stackSize, &thread, &id);
  if (FAILED(hr)) {
    controlLock_.Leave();
    return hr;
  }
  stateLock_.Enter();
  threadHandle_ = thread;
  threadId_ = id;
  running_.store(true, std::memory_order_release);
  stateLock_.Leave();
  if (!ResumeThreadObject(thread)) {
    // A thread that cannot be resumed never runs its body; nothing can end it but the process.
    running_.store(false, std::memory_order_release);
    controlLock_.Leave();
    return E_FAIL;
  }
  controlLock_.Leave();
  return S_OK;
}

TApartmentScope::TApartmentScope() : hr_(EnterMultithreadedApartment()) {}
TApartmentScope::~TApartmentScope() {
  if (SUCCEEDED(hr_)) LeaveApartment();
}
