// Kernel objects on Windows: the native objects, one to one.
#include <windows.h>
#include <mmsystem.h>
#include <process.h>

#include "platform/kernel.h"

namespace cvplat {

KHandle CreateEventObject(bool manualReset, bool initiallySet) {
  return CreateEventW(nullptr, manualReset, initiallySet, nullptr);
}

bool SetEventObject(KHandle event) { return event && SetEvent(event); }
bool ResetEventObject(KHandle event) { return event && ResetEvent(event); }

KHandle CreateWaitableTimerObject(bool manualReset) { return CreateWaitableTimerW(nullptr, manualReset, nullptr); }

bool SetTimerRelative(KHandle timer, int64_t due100ns) {
  if (!timer) return false;
  LARGE_INTEGER due;
  due.QuadPart = -(due100ns > 0 ? due100ns : 1);  // negative: relative to now
  return SetWaitableTimer(timer, &due, 0, nullptr, nullptr, FALSE) != 0;
}

bool CancelTimerObject(KHandle timer) { return timer && CancelWaitableTimer(timer); }

uint32_t WaitForAny(uint32_t count, const KHandle* handles, uint32_t timeoutMs) {
  if (count == 0 || count > kMaxWaitHandles || !handles) return kWaitFailed;
  return WaitForMultipleObjects(count, handles, FALSE, timeoutMs);
}

uint32_t WaitForAll(uint32_t count, const KHandle* handles, uint32_t timeoutMs) {
  if (count == 0 || count > kMaxWaitHandles || !handles) return kWaitFailed;
  return WaitForMultipleObjects(count, handles, TRUE, timeoutMs);
}

void CloseKernelHandle(KHandle handle) {
  if (handle) CloseHandle(handle);
}

HRESULT CreateThreadSuspended(ThreadProc proc, void* context, uint32_t stackSize, KHandle* thread,
                              uint32_t* threadId) {
  if (!proc || !thread) return E_INVALIDARG;
  unsigned id = 0;
  // The C runtime's start sets up its per-thread state, which CreateThread would leave out.
  uintptr_t h = _beginthreadex(nullptr, stackSize, proc, context, CREATE_SUSPENDED, &id);
  if (h == 0) {
    DWORD err = GetLastError();
    *thread = nullptr;
    return err ? HRESULT_FROM_WIN32(err) : E_FAIL;
  }
  *thread = reinterpret_cast<KHandle>(h);
  if (threadId) *threadId = id;
  return S_OK;
}

bool ResumeThreadObject(KHandle thread) { return thread && ResumeThread(thread) != static_cast<DWORD>(-1); }

uint32_t CurrentThreadId() { return GetCurrentThreadId(); }

void SleepMs(uint32_t ms) { Sleep(ms); }

bool RaiseCurrentThreadPriority() { return SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_TIME_CRITICAL) != 0; }

int64_t PerformanceCounter() {
  LARGE_INTEGER v;
  QueryPerformanceCounter(&v);  // cannot fail on any supported system
  return v.QuadPart;
}

int64_t PerformanceFrequency() {
  static const int64_t frequency = [] {
    LARGE_INTEGER f;
    QueryPerformanceFrequency(&f);
    return f.QuadPart;
  }();
  return frequency;
}

int64_t SystemTimeAsFileTime() {
  FILETIME ft;
  GetSystemTimeAsFileTime(&ft);
  return static_cast<int64_t>((static_cast<uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime);
}

uint32_t TickCountMs() { return timeGetTime(); }

bool BeginTimerResolution1ms() { return timeBeginPeriod(1) == TIMERR_NOERROR; }
void EndTimerResolution1ms() { timeEndPeriod(1); }

}  // namespace cvplat
