#include "engine/capture_region.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "engine/frame_format.h"
#include "media/colour_formats.h"
#include "props/catalogue.h"
#include "props/number_text.h"
#include "props/text_chars.h"
#include "props/value_codecs.h"
#include "props/xml_node.h"

namespace {

using cv_text::EqualsNoCase;
using XMLParse::CoXMLNode;

constexpr wchar_t kKeyScreenIndex[] = L"capture.screen_index";
constexpr wchar_t kKeyFollowingMode[] = L"capture.following_mode";
constexpr wchar_t kKeyArea[] = L"capture.area";
constexpr wchar_t kKeyScreenEdges[] = L"capture.screen_edges";
constexpr wchar_t kKeyAspectRatio[] = L"capture.aspect_ratio";
constexpr wchar_t kKeyFocusSpeed[] = L"capture.focus_change_speed";

// An index this large is a stray value rather than a screen; it means the first one.
constexpr uint32_t kMaxScreenIndex = 1000;
constexpr float kMinSpeed = 0.1f;
constexpr float kMaxSpeed = 1.0f;
// Shapes within one per cent of each other count as the same: no strip of a pixel or two for rounding.
constexpr float kRatioHigh = 1.01f;
constexpr float kRatioLow = 0.99f;

// Every key is read with the catalogue's default as its fall-back, so a tree without the key (or no
// tree) behaves as a freshly started device.
std::wstring ReadText(CoXMLNode* props, const wchar_t* key) {
  const XMLParse::TPropKey* entry = XMLParse::FindCatalogueKey(key);
  const wchar_t* fallback = (entry && entry->text) ? entry->text : L"";
  return props ? props->GetString(key, fallback) : std::wstring(fallback);
}

uint32_t ReadUInt(CoXMLNode* props, const wchar_t* key) {
  const XMLParse::TPropKey* entry = XMLParse::FindCatalogueKey(key);
  const uint32_t fallback = entry ? static_cast<uint32_t>(entry->number) : 0;
  return props ? props->GetUInt(key, fallback) : fallback;
}

float ReadFloat(CoXMLNode* props, const wchar_t* key) {
  const XMLParse::TPropKey* entry = XMLParse::FindCatalogueKey(key);
  const double fallback = entry ? static_cast<double>(entry->real) : 0.0;
  return static_cast<float>(props ? props->GetDouble(key, fallback) : fallback);
}

// Truncation towards zero that stays defined for any float: the glide and the widening never meet
// values near the limits on a real desktop, but a wild window rectangle must not become undefined.
int64_t TruncToInt(float v) {
  if (std::isnan(v)) return 0;
  constexpr float kLimit = 4.0e18f;
  if (v >= kLimit) return static_cast<int64_t>(kLimit);
  if (v <= -kLimit) return -static_cast<int64_t>(kLimit);
  return static_cast<int64_t>(v);
}

int32_t Clamp32(int64_t v) {
  if (v > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  if (v < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(v);
}

// A window's rectangle without its invisible shadow where the system knows it, else the plain one.
bool WindowBounds(cvplat::IDesktopWindows* windows, uint64_t handle, TRect& rect) {
  if (!windows) return false;
  TRect r{};
  if (windows->ExtendedFrameBounds(handle, &r) || windows->WindowRect(handle, &r)) {
    rect = r;
    return true;
  }
  return false;
}

void ClampToScreen(TRect& r, const TRect& screen) {
  if (r.left < screen.left) r.left = screen.left;
  if (r.top < screen.top) r.top = screen.top;
  if (r.right > screen.right) r.right = screen.right;
  if (r.bottom > screen.bottom) r.bottom = screen.bottom;
}

// Moves the box into the screen without resizing it; a box larger than the screen ends up against the
// right and bottom edges.
void ShiftIntoScreen(TRect& r, const TRect& screen) {
  if (r.left < screen.left) {
    r.right = Clamp32(int64_t{r.right} + screen.left - r.left);
    r.left = screen.left;
  }
  if (r.top < screen.top) {
    r.bottom = Clamp32(int64_t{r.bottom} + screen.top - r.top);
    r.top = screen.top;
  }
  if (r.right > screen.right) {
    r.left = Clamp32(int64_t{r.left} + screen.right - r.right);
    r.right = screen.right;
  }
  if (r.bottom > screen.bottom) {
    r.top = Clamp32(int64_t{r.top} + screen.bottom - r.bottom);
    r.bottom = screen.bottom;
  }
}

int32_t GlideEdge(int32_t current, int32_t target, float speed) {
  const int64_t d = int64_t{target} - current;
  int64_t s = TruncToInt(static_cast<float>(d) * speed);
  if (s == 0 && d != 0) s = d > 0 ? 1 : -1;
  return Clamp32(int64_t{current} + s);
}

}  // namespace

TRect FindScreenRect(XMLParse::CoXMLNode* props, cvplat::IMonitors& monitors) {
  uint32_t index = ReadUInt(props, kKeyScreenIndex);
  if (index > kMaxScreenIndex) index = 0;
  const std::vector<cvplat::MonitorInfo> list = monitors.List();
  if (index < list.size()) return list[index].rect;
  if (!list.empty()) return list[0].rect;
  return TRect{0, 0, 0, 0};
}

bool HostFormatInForce(const TVideoProps& host) {
  if (host.videoFormat == kVideoFormatDisabled) return false;
  if (host.videoFormat <= 0 && (host.width <= 0 || host.height == 0 || host.colourFormat == 0)) return false;
  return true;
}

bool ResolveWindowTarget(XMLParse::CoXMLNode* props, const cvplat::CapturePlatform& desktop, std::wstring_view mode,
                         TRect& target, const TRect& screen) {
  // An area is given relative to the screen being captured, so it follows a change of screen.
  TRect area{};
  if (ParseRect(ReadText(props, kKeyArea), area)) {
    target = TRect{area.left + screen.left, area.top + screen.top, area.right + screen.left,
                   area.bottom + screen.top};
    return true;
  }

  // "none" reads as no number, hence 0; the window list writes handles in hexadecimal.
  const uint64_t handle = ScanUInt64(ReadText(props, XMLParse::kKeyFollowWindow), 0);
  if (handle != 0 && WindowBounds(desktop.windows.get(), handle, target)) return true;

  if (!EqualsNoCase(mode, L"active_wnd")) return false;
  const uint64_t foreground = desktop.windows ? desktop.windows->ForegroundWindow() : 0;
  if (foreground == 0) return false;
  TRect window{};
  if (!WindowBounds(desktop.windows.get(), foreground, window)) return false;
  // A maximised window's frame overhangs its monitor and a full-screen one covers it: both mean the
  // whole screen, not a rectangle a few pixels larger. A window followed by handle is taken as it is.
  if (screen.left >= window.left && screen.top >= window.top && screen.right <= window.right &&
      screen.bottom <= window.bottom) {
    target = screen;
  } else {
    target = window;
  }
  return true;
}

void ResolveFollowTarget(XMLParse::CoXMLNode* props, const cvplat::CapturePlatform& desktop, const TRect& screen,
                         TRect& target, TRect& visible) {
  target = screen;
  visible = screen;
  const int32_t width = RectWidth(screen);
  const int32_t height = RectHeight(screen);
  const std::wstring mode = ReadText(props, kKeyFollowingMode);

  if (ResolveWindowTarget(props, desktop, mode, target, screen)) {
    visible = target;
  } else if (EqualsNoCase(mode, L"cursor")) {
    // Without a pointer showing the box sits at the origin of the desktop.
    int32_t x = 0;
    int32_t y = 0;
    if (desktop.pointer) {
      int32_t px = 0;
      int32_t py = 0;
      if (desktop.pointer->Position(&px, &py)) {
        x = px;
        y = py;
      }
    }
    const int32_t hw = width / 6;
    const int32_t hh = height / 6;
    target = TRect{Clamp32(int64_t{x} - hw), Clamp32(int64_t{y} - hh), Clamp32(int64_t{x} + hw),
                   Clamp32(int64_t{y} + hh)};
  }

  const std::wstring edges = ReadText(props, kKeyScreenEdges);
  if (EqualsNoCase(edges, L"scale")) {
    ClampToScreen(target, screen);
  } else if (EqualsNoCase(edges, L"stick_to_visible")) {
    ShiftIntoScreen(target, screen);
  } else {
    // The box may reach past the screen; what lies beyond shows the background.
    ClampToScreen(visible, screen);
  }
}

void ApplyAspectRatio(XMLParse::CoXMLNode* props, TRect& target, const TRect& screen, int32_t frameWidth,
                      int32_t frameHeight) {
  const std::wstring aspect = ReadText(props, kKeyAspectRatio);
  const bool keep = EqualsNoCase(aspect, L"keep");
  if (!keep && !EqualsNoCase(aspect, L"frame")) return;
  const int64_t sw = RectWidth(screen);
  const int64_t sh = RectHeight(screen);
  if (sw == 0) return;
  const int64_t w = RectWidth(target);
  const int64_t h = RectHeight(target);
  const int64_t fw = frameWidth;
  const int64_t fh = std::llabs(frameHeight);

  const int64_t numerator = keep ? sh * w : w * fh;
  const int64_t denominator = keep ? h * sw : h * fw;
  // An empty or inverted target goes on unchanged, and a shape that can't be compared has no ratio.
  if (w <= 0 || h <= 0 || numerator <= 0 || denominator <= 0) return;
  const float r = static_cast<float>(numerator) / static_cast<float>(denominator);

  if (r > kRatioHigh) {
    const float grow = (r - 1.0f) * static_cast<float>(h) * 0.5f;
    const int64_t p = TruncToInt(grow);
    target.top = Clamp32(target.top - p);
    target.bottom = Clamp32(target.bottom + p);
  } else if (r < kRatioLow) {
    const float grow = (1.0f - r) * static_cast<float>(w) / (2.0f * r);
    const int64_t p = TruncToInt(grow);
    target.left = Clamp32(target.left - p);
    target.right = Clamp32(target.right + p);
  }
}

float FocusChangeSpeed(XMLParse::CoXMLNode* props) {
  const float speed = ReadFloat(props, kKeyFocusSpeed);
  // Written so that an unreadable value (NaN) moves as slowly as a missing one.
  if (!(speed >= kMinSpeed)) return kMinSpeed;
  if (speed > kMaxSpeed) return kMaxSpeed;
  return speed;
}

void SmoothRegion(XMLParse::CoXMLNode* props, TRect& result, const TRect& current, const TRect& target) {
  const float speed = FocusChangeSpeed(props);
  // Read both rectangles before writing: `result` may be `current`.
  const TRect from = current;
  const TRect to = target;
  result = TRect{GlideEdge(from.left, to.left, speed), GlideEdge(from.top, to.top, speed),
                 GlideEdge(from.right, to.right, speed), GlideEdge(from.bottom, to.bottom, speed)};
}

void UpdateCaptureRegion(XMLParse::CoXMLNode* props, const cvplat::CapturePlatform& desktop,
                         const TVideoProps& hostFormat, TCaptureRegion& region, TVideoProps& format) {
  ResolveFollowTarget(props, desktop, region.screen, region.target, region.visible);

  // The size "area" is the target's before it is widened, so the frame has the shape that was asked for.
  const TVideoProps fromProps = BuildFrameFormat(props, region.target, region.screen);
  if (HostFormatInForce(hostFormat)) {
    // The host chooses size and rate; the memory format stays the engine's, since the pipeline only
    // produces that one.
    format = hostFormat;
    format.colourFormat = fromProps.colourFormat;
    format.rowBytes = ColourRowBytes(format.colourFormat, format.width);
    if (ColourIsRGB(format.colourFormat)) format.height = -std::abs(format.height);
  } else {
    format = fromProps;
  }

  ApplyAspectRatio(props, region.target, region.screen, format.width, std::abs(format.height));

  if (RectEmpty(region.current)) {
    region.current = region.target;
  } else {
    SmoothRegion(props, region.current, region.current, region.target);
  }
  region.fps = format.frameRate;
}

void FillOutsideVisible(ICVFrame_I* frame, const TRect& current, const TRect& visible, const wchar_t* colourText) {
  if (!frame || RectEmpty(current)) return;
  const std::wstring text = colourText ? colourText : L"";
  const Colour colour = ParseColor(text, XMLParse::kDefaultBackgroundColor);
  const uint32_t alpha = colour >> 24;
  if (alpha == 0) return;

  const int32_t width = RectWidth(current);
  const int32_t height = RectHeight(current);
  auto limit = [](int64_t v, int32_t hi) { return static_cast<int32_t>(v < 0 ? 0 : (v > hi ? hi : v)); };
  const int32_t l = limit(int64_t{visible.left} - current.left, width);
  const int32_t t = limit(int64_t{visible.top} - current.top, height);
  const int32_t r = limit(int64_t{visible.right} - current.left, width);
  const int32_t b = limit(int64_t{visible.bottom} - current.top, height);

  const double opacity = static_cast<double>(alpha) / 255.0;
  auto paint = [&](int32_t x, int32_t y, int32_t w, int32_t h) {
    // "color=%s width=%d height=%d", with the property's text as it stands.
    const std::wstring markup =
        L"color=" + text + L" width=" + std::to_wstring(w) + L" height=" + std::to_wstring(h);
    frame->MarkupFill(0, 0, x, y, opacity, markup.c_str(), 0);
  };
  // Top and bottom strips take the full width; the side strips fill in between them.
  if (t > 0) paint(0, 0, width, t);
  if (b < height) paint(0, b, width, height - b);
  if (l > 0) paint(0, t, l, b - t);
  if (r < width) paint(r, t, width - r, b - t);
}
