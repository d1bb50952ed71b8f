// Apart from the other X11 code: the hook's header declares types (BOOL among them) that clash with
// the component types.
#include "platform/linux/x11_error_hook.h"

#include <X11/Xlib.h>
#include <X11/Xlibint.h>

#include "platform/linux/x11_error_trap.h"

namespace cvplat {

namespace {

int Swallow(Display* display, xError* error, XExtCodes*, int* result) {
  NoteConnectionError(display, error->errorCode);
  *result = 0;  // what the waiting call returns: the request failed
  return True;
}

}  // namespace

void SwallowReplyErrors(_XDisplay* display) {
  if (XExtCodes* codes = XAddExtension(display)) XESetError(display, codes->extension, Swallow);
}

}  // namespace cvplat
