// Which rectangle of the desktop goes into a frame: the screen, a fixed area, a followed window, the
// foreground window or a box around the pointer; kept at the screen's edges, widened to an aspect ratio
// and glided towards from pass to pass. Everything here runs on the capture thread, once per pass, and
// reports nothing: a failing query falls through to the next source of a rectangle, at last the screen.
#pragma once

#include <cstdint>
#include <string_view>

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

// ---- the steps of the update, each on its own for the loops and the tests ----

// Whether the format the host set through the format interface replaces the properties' size and rate:
// not when it is the disabled format, nor when it names no table row and lacks a width, a height or a
// pixel format.
bool HostFormatInForce(const TVideoProps& hostFormat);

// `target` and `visible` from "capture.following_mode", the area, the followed window and
// "capture.screen_edges", all within the frame of `screen`.
void ResolveFollowTarget(XMLParse::CoXMLNode* props, const cvplat::CapturePlatform& desktop, const TRect& screen,
                         TRect& target, TRect& visible);

// The fixed area, else the window by handle, else (in the mode "active_wnd") the foreground window, into
// `target`; false when none of them gave a rectangle, and `target` is then as it was.
bool ResolveWindowTarget(XMLParse::CoXMLNode* props, const cvplat::CapturePlatform& desktop, std::wstring_view mode,
                         TRect& target, const TRect& screen);

// Widens `target` to the screen's shape ("keep") or the frame's ("frame") of "capture.aspect_ratio";
// never narrows it. `frameHeight` is the magnitude of the format's height.
void ApplyAspectRatio(XMLParse::CoXMLNode* props, TRect& target, const TRect& screen, int32_t frameWidth,
                      int32_t frameHeight);

// One step of `current` towards `target` at "capture.focus_change_speed" into `result`, which may be
// `current` itself. Each edge covers that fraction of its way, at least one pixel, never more than all.
void SmoothRegion(XMLParse::CoXMLNode* props, TRect& result, const TRect& current, const TRect& target);

// The speed of SmoothRegion: the property as a 32-bit float, held within 0.1 .. 1.0.
float FocusChangeSpeed(XMLParse::CoXMLNode* props);

// The software path's background: paints the strips of `current` outside `visible` with the colour
// text of "capture.background_color" through the frame's MarkupFill. The colour's top byte is the share
// of the picture that stays; a top byte of 0 paints nothing here.
void FillOutsideVisible(ICVFrame_I* frame, const TRect& current, const TRect& visible, const wchar_t* colourText);
