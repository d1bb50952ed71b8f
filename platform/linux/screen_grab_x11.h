// Shots of the X display's root window: through a segment of memory shared with the server where it can
// share one with this client, else through the core protocol's GetImage; and the conversion of the
// server's pixels into 32-bit BGRA.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/com_types.h"
#include "platform/rect.h"

struct _XDisplay;
struct _XImage;

namespace cvplat {

// Copies `rect` of the root window of `display` into `pixels` (BGRA, alpha 255, top row first, rows
// `pitch` bytes apart); the part of `rect` beyond the root comes out opaque black. E_FAIL where the
// server refuses the image or its pixels have no colour masks to read. The caller owns the connection
// and keeps other threads off it meanwhile.
HRESULT GrabRootWindow(_XDisplay* display, const TRect& rect, uint8_t* pixels, int32_t pitch);

// Shots through one segment of shared memory that the server writes into: no pixels through the socket,
// nothing allocated per shot (a plain GetImage of 1920x1080 makes 8 MB each time). The segment is made
// on the first shot, for the whole root. The connection's errors must be trapped (x11_error_trap.h):
// an attach that the server refuses is seen that way, not as the end of the process.
class SharedRootShot {
 public:
  SharedRootShot() = default;
  SharedRootShot(const SharedRootShot&) = delete;
  SharedRootShot& operator=(const SharedRootShot&) = delete;
  ~SharedRootShot();

  // As GrabRootWindow, whose plain shot it falls back to where the server can't share memory with this
  // client (a remote display, no extension, a refused attach); from then on it shoots plainly.
  HRESULT Grab(_XDisplay* display, const TRect& rect, uint8_t* pixels, int32_t pitch);
  // Lets the server go of the segment; before the connection closes.
  void Release(_XDisplay* display);
  bool Attached() const { return address_ != nullptr; }

 private:
  // The shot through the segment; S_FALSE, with nothing written, where there is none to be had.
  HRESULT GrabShared(_XDisplay* display, const TRect& rect, uint8_t* pixels, int32_t pitch);
  bool Attach(_XDisplay* display, size_t bytes);

  unsigned long segment_ = 0;  // the server's id of the segment
  int shmId_ = -1;
  void* address_ = nullptr;
  size_t bytes_ = 0;
  bool unusable_ = false;
};

// Writes the pixels of a ZPixmap `image` as BGRA with alpha 255 into `pixels`, the image's top left
// pixel first. False, with nothing written, for an image without red, green and blue masks.
bool CopyImageAsBgra(_XImage* image, uint8_t* pixels, int32_t pitch);

}  // namespace cvplat
