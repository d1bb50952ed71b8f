// Which rectangle of the desktop goes into a frame: the screen, a fixed area, a followed window, the
// foreground window or a box around the pointer; kept at the screen's edges, widened to an aspect ratio
// and glided towards from pass to pass. Everything here runs on the capture thread, once per pass, and
// reports nothing: a failing query falls through to the next source of a rectangle, at last the screen.
#pragma once

#include <cstdint>

#include "CVDeviceSCR.h"
#include "platform/desktop.h"
#include "platform/rect.h"

namespace XMLParse {
class CoXMLNode;
}

// The region of one picture. Copied whole between the capture thread and the shot thread, so a picture
// always travels with the rectangles it was taken for.
struct TCaptureRegion {
  TRect current;      // what the shot captures: the rectangle that glides
  TRect target;       // where `current` is heading
  TRect visible;      // the part shown unchanged; the background colour lies over the rest
  TRect screen;       // the screen being captured; set by the loop before each update
  int64_t shot_time;  // file time of the shot; 0 until a picture is taken
  double fps;         // the output rate
};

inline bool RectEmpty(const TRect& r) { return r.left >= r.right || r.top >= r.bottom; }
inline int32_t RectWidth(const TRect& r) { return r.right - r.left; }
inline int32_t RectHeight(const TRect& r) { return r.bottom - r.top; }
inline bool RectEqual(const TRect& a, const TRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

// The monitor rectangle of "capture.screen_index" (above 1000 counts as 0; an index without a monitor
// falls back to monitor 0); four zeros when there is no monitor at all.
TRect FindScreenRect(XMLParse::CoXMLNode* props, cvplat::IMonitors& monitors);

// The per-pass update: from `region.screen` it writes `target`, `visible`, `current` and `fps`, and the
// whole output format `format`. `hostFormat` is the format the host set through the format interface
// (zeroed when none); it replaces the properties' size and rate while it is in force.
void UpdateCaptureRegion(XMLParse::CoXMLNode* props, const cvplat::CapturePlatform& desktop,
                         const TVideoProps& hostFormat, TCaptureRegion& region, TVideoProps& format);
