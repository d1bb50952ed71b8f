// Errors of the component's own X connections, whatever request caused them (also the requests without
// a reply, whose errors arrive later), kept for their connection instead of reaching the process's error
// handler, whose default ends the process. Errors of the host's connections go on to the handler that
// was installed before.
#pragma once

struct _XDisplay;

namespace cvplat {

// From now on errors of `display` are kept for it. The handler the process has now is chained behind
// the component's (again, if the host replaced it since).
void TrapConnectionErrors(_XDisplay* display);
// Before the connection closes: its errors are no longer the component's.
void ReleaseConnectionErrors(_XDisplay* display);
// The code of the last error of `display` since the last call; 0 when there was none.
int TakeConnectionError(_XDisplay* display);

}  // namespace cvplat
