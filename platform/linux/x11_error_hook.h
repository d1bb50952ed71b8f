// Keeps the errors of one X connection's requests away from Xlib's process-wide error handler.
#pragma once

struct _XDisplay;

namespace cvplat {

// From now on a request of `display` that fails while its caller waits for the reply just returns its
// failure (Xlib's 0) to that caller: a window handle that names no window, a request the server doesn't
// know. It works through a hook of a private extension record of this connection, so nothing global
// changes; errors of requests that have no reply still reach the process's handler.
void SwallowReplyErrors(_XDisplay* display);

}  // namespace cvplat
