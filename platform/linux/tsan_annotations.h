// ThreadSanitizer cannot see that a write to an eventfd orders memory for the thread that polls it.
// These annotations tell it, so the waits of this seam order memory as the system's waits do.
#pragma once

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#define CV_TSAN_RELEASE(addr) __tsan_release(static_cast<void*>(addr))
#define CV_TSAN_ACQUIRE(addr) __tsan_acquire(static_cast<void*>(addr))
#else
#define CV_TSAN_RELEASE(addr) ((void)0)
#define CV_TSAN_ACQUIRE(addr) ((void)0)
#endif
