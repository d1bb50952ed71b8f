// Kernel objects on Linux. Every object is a file descriptor that poll() can watch: an eventfd for an
// event and for the end of a thread, a timerfd for a waitable timer. "Signalled" means readable; an
// auto-reset object is consumed by reading it, and a waiter that loses that race keeps waiting, which
// gives the one-waiter-wins rule of auto-reset objects.
#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>

#include "platform/kernel.h"
#include "platform/linux/tsan_annotations.h"

namespace cvplat {
namespace {

enum class Kind { Event, Timer, Thread };

struct ThreadState;

struct KObject {
  Kind kind;
  bool manualReset;
  int fd;
  std::shared_ptr<ThreadState> thread;  // threads only

  KObject(Kind k, bool manual, int descriptor) : kind(k), manualReset(manual), fd(descriptor) {}
  ~KObject() {
    // A thread's descriptor belongs to its shared state, which may outlive the handle.
    if (fd >= 0 && !thread) close(fd);
  }
  // The address that orders memory between the signalling and the waiting side.
  void* SyncAddress() { return thread ? static_cast<void*>(thread.get()) : static_cast<void*>(this); }
};

KObject* Obj(KHandle h) { return static_cast<KObject*>(h); }

int64_t NowNs(clockid_t clock) {
  timespec ts{};
  clock_gettime(clock, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

bool SignalFd(int fd) {
  const uint64_t one = 1;
  for (;;) {
    if (write(fd, &one, sizeof one) == static_cast<ssize_t>(sizeof one)) return true;
    if (errno == EINTR) continue;
    // EAGAIN: the counter is already enormous, so the event is set anyway.
    return errno == EAGAIN;
  }
}

// Reads the object's count away; false if it was not signalled (another waiter took it).
bool DrainFd(int fd) {
  uint64_t value = 0;
  for (;;) {
    if (read(fd, &value, sizeof value) == static_cast<ssize_t>(sizeof value)) return true;
    if (errno == EINTR) continue;
    return false;
  }
}

// Called once poll() reported the object readable: takes it if it is auto-reset.
bool Acquire(KObject* o) {
  if (o->manualReset) {
    CV_TSAN_ACQUIRE(o->SyncAddress());
    return true;
  }
  if (!DrainFd(o->fd)) return false;
  CV_TSAN_ACQUIRE(o->SyncAddress());
  return true;
}

// Remaining milliseconds of a wait as a timespec for ppoll; null means no limit.
const timespec* Remaining(int64_t deadlineNs, timespec* ts) {
  if (deadlineNs == INT64_MAX) return nullptr;
  int64_t left = std::max<int64_t>(0, deadlineNs - NowNs(CLOCK_MONOTONIC));
  ts->tv_sec = left / 1'000'000'000;
  ts->tv_nsec = left % 1'000'000'000;
  return ts;
}

int64_t DeadlineFor(uint32_t timeoutMs) {
  if (timeoutMs == kInfinite) return INT64_MAX;
  return NowNs(CLOCK_MONOTONIC) + static_cast<int64_t>(timeoutMs) * 1'000'000;
}

bool ValidHandles(uint32_t count, const KHandle* handles) {
  if (count == 0 || count > kMaxWaitHandles || handles == nullptr) return false;
  for (uint32_t i = 0; i < count; ++i)
    if (handles[i] == nullptr || Obj(handles[i])->fd < 0) return false;
  return true;
}

// --- threads -------------------------------------------------------------------------------------

struct ThreadState {
  ThreadProc proc = nullptr;
  void* context = nullptr;
  int doneFd = -1;   // eventfd, set when the body has returned
  int gateFd = -1;   // eventfd, set by ResumeThreadObject
  std::atomic<uint32_t> tid{0};
  pthread_t thread{};
  std::atomic<bool> finished{false};
  std::atomic<bool> joined{false};

  ~ThreadState() {
    if (gateFd >= 0) close(gateFd);
    if (doneFd >= 0) close(doneFd);
  }
};

void* ThreadStart(void* arg) {
  // The thread keeps its own reference: the handle may be closed while it runs.
  std::shared_ptr<ThreadState> state(*static_cast<std::shared_ptr<ThreadState>*>(arg));
  delete static_cast<std::shared_ptr<ThreadState>*>(arg);
  state->tid.store(static_cast<uint32_t>(syscall(SYS_gettid)), std::memory_order_release);
  // These threads talk to servers that may go away (the display's): a write to a connection the server
  // closed raises SIGPIPE, whose default action ends the host process. Blocked, it stays with the
  // thread, and the write fails with EPIPE, which the connection's owner sees.
  sigset_t brokenPipe;
  sigemptyset(&brokenPipe);
  sigaddset(&brokenPipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);

  pollfd gate{state->gateFd, POLLIN, 0};
  while (poll(&gate, 1, -1) < 0 && errno == EINTR) {
  }
  CV_TSAN_ACQUIRE(state.get());
  state->proc(state->context);
  state->finished.store(true, std::memory_order_release);
  CV_TSAN_RELEASE(state.get());
  SignalFd(state->doneFd);
  return nullptr;
}

}  // namespace

KHandle CreateEventObject(bool manualReset, bool initiallySet) {
  int fd = eventfd(initiallySet ? 1 : 0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (fd < 0) return nullptr;
  auto* o = new (std::nothrow) KObject(Kind::Event, manualReset, fd);
  if (!o) close(fd);
  return o;
}

bool SetEventObject(KHandle event) {
  if (!event || Obj(event)->kind != Kind::Event) return false;
  CV_TSAN_RELEASE(Obj(event));
  return SignalFd(Obj(event)->fd);
}

bool ResetEventObject(KHandle event) {
  if (!event || Obj(event)->kind != Kind::Event) return false;
  DrainFd(Obj(event)->fd);
  return true;
}

KHandle CreateWaitableTimerObject(bool manualReset) {
  int fd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
  if (fd < 0) return nullptr;
  auto* o = new (std::nothrow) KObject(Kind::Timer, manualReset, fd);
  if (!o) close(fd);
  return o;
}

bool SetTimerRelative(KHandle timer, int64_t due100ns) {
  if (!timer || Obj(timer)->kind != Kind::Timer) return false;
  // A due time of 0 would disarm a timerfd; the system's timers fire at once instead.
  int64_t ns = std::max<int64_t>(due100ns, 1) * 100;
  itimerspec spec{};
  spec.it_value.tv_sec = ns / 1'000'000'000;
  spec.it_value.tv_nsec = ns % 1'000'000'000;
  // Re-arming resets the expiry count, so a manual-reset timer is clear until the new due time.
  CV_TSAN_RELEASE(Obj(timer));
  return timerfd_settime(Obj(timer)->fd, 0, &spec, nullptr) == 0;
}

bool CancelTimerObject(KHandle timer) {
  if (!timer || Obj(timer)->kind != Kind::Timer) return false;
  itimerspec off{};
  return timerfd_settime(Obj(timer)->fd, 0, &off, nullptr) == 0;
}

uint32_t WaitForAny(uint32_t count, const KHandle* handles, uint32_t timeoutMs) {
  if (!ValidHandles(count, handles)) return kWaitFailed;
  pollfd fds[kMaxWaitHandles];
  for (uint32_t i = 0; i < count; ++i) fds[i] = pollfd{Obj(handles[i])->fd, POLLIN, 0};
  const int64_t deadline = DeadlineFor(timeoutMs);
  for (;;) {
    timespec ts{};
    int n = ppoll(fds, count, Remaining(deadline, &ts), nullptr);
    if (n < 0) {
      if (errno == EINTR) continue;
      return kWaitFailed;
    }
    if (n == 0) return kWaitTimeout;
    for (uint32_t i = 0; i < count; ++i) {
      if (fds[i].revents & (POLLERR | POLLNVAL)) return kWaitFailed;
      if ((fds[i].revents & POLLIN) && Acquire(Obj(handles[i]))) return kWaitObject0 + i;
    }
    // Every readable object was auto-reset and taken by another waiter first: wait on.
  }
}

uint32_t WaitForAll(uint32_t count, const KHandle* handles, uint32_t timeoutMs) {
  if (!ValidHandles(count, handles)) return kWaitFailed;
  const int64_t deadline = DeadlineFor(timeoutMs);
  pollfd all[kMaxWaitHandles];
  pollfd pending[kMaxWaitHandles];
  for (;;) {
    for (uint32_t i = 0; i < count; ++i) all[i] = pollfd{Obj(handles[i])->fd, POLLIN, 0};
    int n = poll(all, count, 0);
    if (n < 0 && errno != EINTR) return kWaitFailed;
    uint32_t waiting = 0;
    for (uint32_t i = 0; i < count; ++i) {
      if (all[i].revents & (POLLERR | POLLNVAL)) return kWaitFailed;
      if (!(all[i].revents & POLLIN)) pending[waiting++] = all[i];
    }
    if (waiting == 0) {
      // All are signalled at this moment: take the auto-reset ones. Losing one of them to another waiter
      // sends us round again for that one.
      bool all_taken = true;
      for (uint32_t i = 0; i < count; ++i)
        if (!Acquire(Obj(handles[i]))) all_taken = false;
      if (all_taken) return kWaitObject0;
      continue;
    }
    timespec ts{};
    const timespec* limit = Remaining(deadline, &ts);
    if (limit && limit->tv_sec == 0 && limit->tv_nsec == 0) return kWaitTimeout;
    n = ppoll(pending, waiting, limit, nullptr);
    if (n < 0 && errno != EINTR) return kWaitFailed;
    if (n == 0) return kWaitTimeout;
  }
}

void CloseKernelHandle(KHandle handle) {
  if (!handle) return;
  KObject* o = Obj(handle);
  if (o->kind == Kind::Thread && o->thread) {
    ThreadState* t = o->thread.get();
    if (!t->joined.exchange(true)) {
      // A finished thread is joined; one still running is let go and frees itself at its end.
      if (t->finished.load(std::memory_order_acquire))
        pthread_join(t->thread, nullptr);
      else
        pthread_detach(t->thread);
    }
  }
  delete o;
}

HRESULT CreateThreadSuspended(ThreadProc proc, void* context, uint32_t stackSize, KHandle* thread,
                              uint32_t* threadId) {
  if (!proc || !thread) return E_INVALIDARG;
  *thread = nullptr;
  auto state = std::make_shared<ThreadState>();
  state->proc = proc;
  state->context = context;
  state->gateFd = eventfd(0, EFD_CLOEXEC);
  state->doneFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  if (state->gateFd < 0 || state->doneFd < 0) return E_OUTOFMEMORY;
  auto* handle = new (std::nothrow) KObject(Kind::Thread, true, state->doneFd);
  if (!handle) return E_OUTOFMEMORY;
  handle->thread = state;

  pthread_attr_t attr;
  pthread_attr_init(&attr);
  if (stackSize != 0) pthread_attr_setstacksize(&attr, std::max<size_t>(stackSize, PTHREAD_STACK_MIN));
  auto* arg = new std::shared_ptr<ThreadState>(state);
  int rc = pthread_create(&state->thread, &attr, ThreadStart, arg);
  pthread_attr_destroy(&attr);
  if (rc != 0) {
    delete arg;
    state->joined = true;
    delete handle;
    return rc == EAGAIN || rc == ENOMEM ? E_OUTOFMEMORY : HRESULT_FROM_WIN32(rc);
  }
  // The identifier is known once the new thread has run its first lines.
  while (state->tid.load(std::memory_order_acquire) == 0) sched_yield();
  if (threadId) *threadId = state->tid.load();
  *thread = handle;
  return S_OK;
}

bool ResumeThreadObject(KHandle thread) {
  if (!thread || Obj(thread)->kind != Kind::Thread) return false;
  CV_TSAN_RELEASE(Obj(thread)->thread.get());
  return SignalFd(Obj(thread)->thread->gateFd);
}

uint32_t CurrentThreadId() {
  static thread_local uint32_t id = static_cast<uint32_t>(syscall(SYS_gettid));
  return id;
}

void SleepMs(uint32_t ms) {
  if (ms == 0) {
    sched_yield();
    return;
  }
  timespec ts{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1'000'000};
  while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
  }
}

bool RaiseCurrentThreadPriority() {
  // A nice value belongs to the thread on Linux. Without the right to raise it, the thread keeps its
  // place: what it does between waits is short.
  const id_t tid = static_cast<id_t>(CurrentThreadId());
  return setpriority(PRIO_PROCESS, tid, -10) == 0;
}

int64_t PerformanceCounter() { return NowNs(CLOCK_MONOTONIC); }
int64_t PerformanceFrequency() { return 1'000'000'000; }

int64_t SystemTimeAsFileTime() {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  constexpr int64_t kSecondsFrom1601To1970 = 11'644'473'600;
  return (static_cast<int64_t>(ts.tv_sec) + kSecondsFrom1601To1970) * 10'000'000 + ts.tv_nsec / 100;
}

uint32_t TickCountMs() { return static_cast<uint32_t>(NowNs(CLOCK_MONOTONIC) / 1'000'000); }

namespace {
thread_local int timerResolutionDepth = 0;
}

// Linux timers have no global resolution; what delays a wake-up is the thread's timer slack (50 µs by
// default). A request narrows it to 1 µs for the calling thread.
bool BeginTimerResolution1ms() {
  if (timerResolutionDepth++ == 0) return prctl(PR_SET_TIMERSLACK, 1000UL, 0, 0, 0) == 0;
  return true;
}

void EndTimerResolution1ms() {
  if (timerResolutionDepth > 0 && --timerResolutionDepth == 0) prctl(PR_SET_TIMERSLACK, 0UL, 0, 0, 0);
}

}  // namespace cvplat
