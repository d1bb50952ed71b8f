// The component's own X connections and their errors. Errors of any request (also of requests without a
// reply, whose errors arrive later) are kept for their connection instead of reaching the process's
// error handler, whose default ends the process; a connection that breaks (the server gone) is marked
// lost instead of ending the process. Errors of the host's connections go on to the handler that was
// installed before.
#pragma once

#include <signal.h>

struct _XDisplay;

namespace cvplat {

// A connection of the component's own to DISPLAY, trapped as below; null when there is no display.
_XDisplay* OpenComponentDisplay();
// Closes a connection from OpenComponentDisplay (lost or not).
void CloseComponentDisplay(_XDisplay* display);

// From now on errors of `display` are kept for it, a reply's error is the failure of the call that
// waited for it, and the connection's breaking marks it lost. The handler the process has now is chained
// behind the component's (again, if the host replaced it since).
void TrapConnectionErrors(_XDisplay* display);
// Before the connection closes: its errors are no longer the component's.
void ReleaseConnectionErrors(_XDisplay* display);
// The code of the last error of `display` since the last call; 0 when there was none.
int TakeConnectionError(_XDisplay* display);
// Keeps `code` as the last error of `display` when it is trapped.
void NoteConnectionError(_XDisplay* display, int code);
// The connection broke: every call on it fails from now on, and it can only be closed.
bool ConnectionLost(_XDisplay* display);

// For requests on a host's thread (the component's own threads block SIGPIPE for good): a request on a
// connection whose server went away raises SIGPIPE, whose default action ends the process. Within the
// scope it is blocked, and one that the scope raised is taken back before the thread's mask returns.
class QuietBrokenPipe {
 public:
  QuietBrokenPipe();
  ~QuietBrokenPipe();
  QuietBrokenPipe(const QuietBrokenPipe&) = delete;
  QuietBrokenPipe& operator=(const QuietBrokenPipe&) = delete;

 private:
  sigset_t before_;
  bool pendingBefore_ = false;
};

}  // namespace cvplat
