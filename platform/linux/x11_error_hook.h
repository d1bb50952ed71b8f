// Keeps the errors of one X connection's requests away from Xlib's process-wide error handler.
#pragma once

struct _XDisplay;

namespace cvplat {

// From now on a request of `display` that fails while its caller waits for the reply just returns its
// failure (Xlib's 0) to that caller: a window handle that names no window, a request the server doesn't
// know. It works through a hook of a private extension record of this connection, so nothing global
// changes. Xlib hands the hook also the errors of earlier requests without a reply that it meets while it
// waits; each error is noted for the connection (NoteConnectionError), so a trapped connection's
// TakeConnectionError sees them all.
void SwallowReplyErrors(_XDisplay* display);

}  // namespace cvplat
