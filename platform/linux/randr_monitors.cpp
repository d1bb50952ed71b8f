#include "platform/linux/randr_monitors.h"

#include <algorithm>

namespace cvplat {

namespace {

// The records of libXrandr that this reads, as its header declares them.
struct RandrMonitor {
  Atom name;
  Bool primary;
  Bool automatic;
  int outputCount;
  int x;
  int y;
  int width;
  int height;
  int widthMm;
  int heightMm;
  unsigned long* outputs;
};
struct RandrScreenResources {
  Time timestamp;
  Time configTimestamp;
  int crtcCount;
  XID* crtcs;
  int outputCount;
  XID* outputs;
  int modeCount;
  void* modes;
};
struct RandrCrtcInfo {
  Time timestamp;
  int x;
  int y;
  unsigned int width;
  unsigned int height;
  XID mode;
  unsigned short rotation;
  int outputCount;
  XID* outputs;
  unsigned short rotations;
  int possibleCount;
  XID* possible;
};
using QueryExtension = Bool (*)(Display*, int*, int*);
using QueryVersion = Status (*)(Display*, int*, int*);
using GetMonitors = RandrMonitor* (*)(Display*, Window, Bool, int*);
using FreeMonitors = void (*)(RandrMonitor*);
using GetResources = RandrScreenResources* (*)(Display*, Window);
using FreeResources = void (*)(RandrScreenResources*);
using GetCrtcInfo = RandrCrtcInfo* (*)(Display*, RandrScreenResources*, XID);
using FreeCrtcInfo = void (*)(RandrCrtcInfo*);

bool AtLeast(int major, int minor, int wantMajor, int wantMinor) {
  return major > wantMajor || (major == wantMajor && minor >= wantMinor);
}

}  // namespace

void RandrMonitors::Load(Display* display) {
  if (library_.Open("libXrandr.so.2") != S_OK) return;
  const auto queryExtension = reinterpret_cast<QueryExtension>(library_.Symbol("XRRQueryExtension"));
  const auto queryVersion = reinterpret_cast<QueryVersion>(library_.Symbol("XRRQueryVersion"));
  int eventBase = 0, errorBase = 0;
  if (!queryExtension || !queryVersion || !queryExtension(display, &eventBase, &errorBase) ||
      !queryVersion(display, &major_, &minor_))
    return;
  if (AtLeast(major_, minor_, 1, 5)) {
    getMonitors_ = library_.Symbol("XRRGetMonitors");
    freeMonitors_ = library_.Symbol("XRRFreeMonitors");
  }
  if (AtLeast(major_, minor_, 1, 2)) {
    // The current resources, without making the server probe its outputs, where it knows 1.3.
    getResources_ = library_.Symbol(AtLeast(major_, minor_, 1, 3) ? "XRRGetScreenResourcesCurrent"
                                                                   : "XRRGetScreenResources");
    freeResources_ = library_.Symbol("XRRFreeScreenResources");
    getCrtc_ = library_.Symbol("XRRGetCrtcInfo");
    freeCrtc_ = library_.Symbol("XRRFreeCrtcInfo");
  }
}

std::vector<MonitorInfo> RandrMonitors::List(Display* display) {
  std::vector<MonitorInfo> list = ByMonitorList(display);
  if (list.empty()) list = ByCrtcs(display);
  if (list.empty()) list = ByRoot(display);
  return list;
}

std::vector<MonitorInfo> RandrMonitors::ByMonitorList(Display* display) {
  std::vector<MonitorInfo> list;
  if (!getMonitors_ || !freeMonitors_) return list;
  int count = 0;
  RandrMonitor* monitors =
      reinterpret_cast<GetMonitors>(getMonitors_)(display, DefaultRootWindow(display), True, &count);
  if (!monitors) return list;
  for (int i = 0; i < count; ++i) {
    const RandrMonitor& m = monitors[i];
    list.push_back({m.name, {m.x, m.y, m.x + m.width, m.y + m.height}});
  }
  reinterpret_cast<FreeMonitors>(freeMonitors_)(monitors);
  return list;
}

std::vector<MonitorInfo> RandrMonitors::ByCrtcs(Display* display) {
  std::vector<MonitorInfo> list;
  if (!getResources_ || !freeResources_ || !getCrtc_ || !freeCrtc_) return list;
  RandrScreenResources* resources =
      reinterpret_cast<GetResources>(getResources_)(display, DefaultRootWindow(display));
  if (!resources) return list;
  for (int i = 0; i < resources->crtcCount; ++i) {
    RandrCrtcInfo* crtc = reinterpret_cast<GetCrtcInfo>(getCrtc_)(display, resources, resources->crtcs[i]);
    if (!crtc) continue;
    // A CRTC without a mode drives nothing; two that show the same rectangle (mirrored outputs) are
    // one monitor to a capture.
    const TRect rect{crtc->x, crtc->y, crtc->x + static_cast<int32_t>(crtc->width),
                     crtc->y + static_cast<int32_t>(crtc->height)};
    const bool lit = crtc->mode != None && crtc->width > 0 && crtc->height > 0;
    const bool seen = std::any_of(list.begin(), list.end(), [&](const MonitorInfo& m) {
      return m.rect.left == rect.left && m.rect.top == rect.top && m.rect.right == rect.right &&
             m.rect.bottom == rect.bottom;
    });
    if (lit && !seen) list.push_back({resources->crtcs[i], rect});
    reinterpret_cast<FreeCrtcInfo>(freeCrtc_)(crtc);
  }
  reinterpret_cast<FreeResources>(freeResources_)(resources);
  return list;
}

std::vector<MonitorInfo> RandrMonitors::ByRoot(Display* display) {
  XWindowAttributes attributes;
  if (!XGetWindowAttributes(display, DefaultRootWindow(display), &attributes)) return {};
  return {{DefaultRootWindow(display), {0, 0, attributes.width, attributes.height}}};
}

}  // namespace cvplat
