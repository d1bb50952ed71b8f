#include "platform/linux/x11_error_trap.h"

#include <X11/Xlib.h>
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/linux/x11_error_hook.h"

namespace cvplat {

namespace {

struct Trapped {
  Display* display;
  int lastError;
  bool lost;
};

std::mutex& Lock() {
  static std::mutex lock;
  return lock;
}

// The trapped connections; a handful at most, so a plain list.
std::vector<Trapped>& List() {
  static std::vector<Trapped> list;
  return list;
}

XErrorHandler previousHandler = nullptr;
XIOErrorHandler previousIOHandler = nullptr;

Trapped* Find(Display* display) {
  for (Trapped& t : List())
    if (t.display == display) return &t;
  return nullptr;
}

int KeepError(Display* display, XErrorEvent* error) {
  XErrorHandler previous = nullptr;
  {
    std::lock_guard<std::mutex> hold(Lock());
    if (Trapped* t = Find(display)) {
      t->lastError = error->error_code;
      return 0;
    }
    previous = previousHandler;
  }
  return previous ? previous(display, error) : 0;
}

// A broken connection: Xlib's default handler ends the process. One of the component's is marked lost,
// and Xlib then calls its exit handler (MarkLost) in place of ending the process; from there on its
// calls return at once with a failure. The host's connections go to the handler that was there before.
int KeepIOError(Display* display) {
  XIOErrorHandler previous = nullptr;
  {
    std::lock_guard<std::mutex> hold(Lock());
    if (Trapped* t = Find(display)) {
      t->lost = true;
      return 0;
    }
    previous = previousIOHandler;
  }
  return previous ? previous(display) : 0;
}

void MarkLost(Display* display, void*) {
  {
    std::lock_guard<std::mutex> hold(Lock());
    if (Trapped* t = Find(display)) t->lost = true;
  }
  // Xlib takes the connection's user lock for the thread that met the break, expecting the process to
  // end, and keeps it: any other thread that touched the connection afterwards, if only to close it,
  // would wait forever. The connection is another thread's to close (a capture stopped by the host).
  XUnlockDisplay(display);
}

}  // namespace

void TrapConnectionErrors(_XDisplay* display) {
  if (!display) return;
  SwallowReplyErrors(display);
  XSetIOErrorExitHandler(display, MarkLost, nullptr);
  std::lock_guard<std::mutex> hold(Lock());
  // A host that set a handler of its own since the last time gets ours in front of it again, and its
  // own connections' errors still reach it.
  const XErrorHandler current = XSetErrorHandler(KeepError);
  if (current != KeepError) previousHandler = current;
  const XIOErrorHandler currentIO = XSetIOErrorHandler(KeepIOError);
  if (currentIO != KeepIOError) previousIOHandler = currentIO;
  if (!Find(display)) List().push_back({display, 0, false});
}

void ReleaseConnectionErrors(_XDisplay* display) {
  std::lock_guard<std::mutex> hold(Lock());
  auto& list = List();
  list.erase(std::remove_if(list.begin(), list.end(), [&](const Trapped& t) { return t.display == display; }),
             list.end());
}

void NoteConnectionError(_XDisplay* display, int code) {
  std::lock_guard<std::mutex> hold(Lock());
  if (Trapped* t = Find(display)) t->lastError = code;
}

int TakeConnectionError(_XDisplay* display) {
  std::lock_guard<std::mutex> hold(Lock());
  Trapped* t = Find(display);
  return t ? std::exchange(t->lastError, 0) : 0;
}

bool ConnectionLost(_XDisplay* display) {
  std::lock_guard<std::mutex> hold(Lock());
  const Trapped* t = Find(display);
  return t && t->lost;
}

QuietBrokenPipe::QuietBrokenPipe() {
  sigset_t pipe, pending;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pendingBefore_ = sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  pthread_sigmask(SIG_BLOCK, &pipe, &before_);
}

QuietBrokenPipe::~QuietBrokenPipe() {
  sigset_t pipe, pending;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  // A thread that blocked it before keeps what is pending, as it would have without the scope.
  if (!pendingBefore_ && sigismember(&before_, SIGPIPE) == 0 && sigpending(&pending) == 0 &&
      sigismember(&pending, SIGPIPE) == 1) {
    const timespec now{0, 0};
    sigtimedwait(&pipe, nullptr, &now);
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

_XDisplay* OpenComponentDisplay() {
  Display* display = XOpenDisplay(nullptr);
  if (display) TrapConnectionErrors(display);
  return display;
}

void CloseComponentDisplay(_XDisplay* display) {
  if (!display) return;
  // Often on a host's thread, stopping a capture whose server went away unnoticed.
  QuietBrokenPipe quiet;
  // Still trapped while it closes: the errors of what it sends last stay here too.
  XCloseDisplay(display);
  ReleaseConnectionErrors(display);
}

}  // namespace cvplat
