// The kernel-object seam: events, waitable timers, waits over sets of them, threads and the clocks.
// Windows maps each call onto the native object; Linux builds the same semantics from eventfd, timerfd,
// poll and clock_gettime. Handles are opaque and must be closed with CloseKernelHandle.
#pragma once

#include <cstdint>

#include "platform/com_types.h"

namespace cvplat {

using KHandle = void*;  // null means "no object"

inline constexpr uint32_t kWaitObject0 = 0;
inline constexpr uint32_t kWaitTimeout = 0x102;
inline constexpr uint32_t kWaitFailed = 0xFFFFFFFFu;
inline constexpr uint32_t kInfinite = 0xFFFFFFFFu;  // a wait in milliseconds without a limit
inline constexpr uint32_t kMaxWaitHandles = 64;

// Events. A manual-reset event stays set until reset; an auto-reset event releases one waiter and clears.
KHandle CreateEventObject(bool manualReset, bool initiallySet);
bool SetEventObject(KHandle event);
bool ResetEventObject(KHandle event);

// Waitable timers. A relative due time of `due100ns` (> 0) from now; arming again replaces the previous
// due time and clears the signalled state. A manual-reset timer stays signalled until re-armed.
KHandle CreateWaitableTimerObject(bool manualReset);
bool SetTimerRelative(KHandle timer, int64_t due100ns);
bool CancelTimerObject(KHandle timer);

// Waits. Results: kWaitObject0 + index of the object that ended the wait (for WaitForAll: kWaitObject0),
// kWaitTimeout, or kWaitFailed for bad handles or more than kMaxWaitHandles. An auto-reset object that
// ends a wait is consumed by it.
uint32_t WaitForAny(uint32_t count, const KHandle* handles, uint32_t timeoutMs);
uint32_t WaitForAll(uint32_t count, const KHandle* handles, uint32_t timeoutMs);
inline uint32_t WaitForOne(KHandle handle, uint32_t timeoutMs) { return WaitForAny(1, &handle, timeoutMs); }

// Closes any handle of this seam: event, timer or thread. A thread still running is not affected.
void CloseKernelHandle(KHandle handle);

// Threads. The handle of a thread is signalled once the thread has ended. The thread is created
// suspended, with the C runtime's per-thread state set up, and runs after ResumeThreadObject.
using ThreadProc = uint32_t(CV_THREADCALL*)(void* context);
HRESULT CreateThreadSuspended(ThreadProc proc, void* context, uint32_t stackSize, KHandle* thread,
                              uint32_t* threadId);
bool ResumeThreadObject(KHandle thread);
uint32_t CurrentThreadId();
void SleepMs(uint32_t ms);  // 0 gives the rest of the time slice away
// Raises the calling thread to the highest priority the system grants an ordinary process (time
// critical on Windows; the lowest nice value allowed on Linux). False when the system refuses.
bool RaiseCurrentThreadPriority();

// Clocks.
int64_t PerformanceCounter();
int64_t PerformanceFrequency();       // counts per second, constant for the process
int64_t SystemTimeAsFileTime();       // 100 ns since 1601-01-01 UTC
uint32_t TickCountMs();               // milliseconds, wraps at 2^32

// Asks the system for timer events at a 1 ms granularity while the request stands. Requests nest.
bool BeginTimerResolution1ms();
void EndTimerResolution1ms();

}  // namespace cvplat
