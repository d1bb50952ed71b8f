#include "platform/linux/duplication_x11.h"

// Before Xlib, whose macros (Always, None) would rename the gpu seam's enumerators.
#include "platform/screen_grab.h"

#include <X11/Xlib.h>
#include <X11/extensions/Xdamage.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/auto_obj.h"
#include "platform/linux/screen_grab_x11.h"
#include "platform/linux/x11_error_trap.h"

namespace cvplat {

namespace {

constexpr HRESULT kInvalidCall = static_cast<HRESULT>(0x887A0001u);
// Between two looks at the pointer while nothing is drawn: a pointer that moves shows within this.
constexpr int kPointerLookMs = 4;

using Clock = std::chrono::steady_clock;

int64_t Stamp() {  // 100 ns since the clock's epoch; never 0
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count() / 100 + 1;
}

class X11Duplication : public IDuplication {
 public:
  X11Duplication(Display* display, Damage damage, int damageEvent, TRefPtr<IGpuDevice> device, MonitorInfo output,
                 std::function<std::vector<MonitorInfo>()> monitors)
      : display_(display),
        damage_(damage),
        damageEvent_(damageEvent),
        device_(std::move(device)),
        output_(output),
        monitors_(std::move(monitors)) {
    const int screen = DefaultScreen(display_);
    rootWidth_ = DisplayWidth(display_, screen);
    rootHeight_ = DisplayHeight(display_, screen);
  }

  ~X11Duplication() override {
    QuietBrokenPipe quiet;  // the host's Stop may come before the duplication saw its server go
    // A broken connection takes no more requests: Xlib queues them unsent until its buffer is full, and
    // then hands out none, which most calls don't survive. The server let go of everything anyway.
    if (!ConnectionLost(display_)) XDamageDestroy(display_, damage_);
    shared_.Release(display_);
    CloseComponentDisplay(display_);
  }

  HRESULT AcquireNextFrame(uint32_t timeoutMs, DuplicationFrameInfo* info, IGpuTexture2D** image) override {
    if (info) *info = {};
    if (image) *image = nullptr;
    if (!info || !image) return E_INVALIDARG;
    if (lost_ || (lost_ = ConnectionLost(display_) || !OutputStillThere(monitors_(), output_)))
      return kDuplicationAccessLost;
    if (held_) return kInvalidCall;

    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    bool drawn = !last_;  // the first image is always a new one
    bool moved = !last_;
    for (;;) {
      drawn = TakeEvents() || drawn;
      // The connection may break while the events are read; from then on the wait would only spin.
      if (lost_ || (lost_ = ConnectionLost(display_))) return kDuplicationAccessLost;
      moved = PointerMoved() || moved;
      if (drawn || moved) break;
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      if (left <= 0) return kDuplicationWaitTimeout;
      pollfd connection{ConnectionNumber(display_), POLLIN, 0};
      poll(&connection, 1, static_cast<int>(std::min<int64_t>(left, kPointerLookMs)));
    }
    if (drawn) {
      // What was drawn from here on is reported by the next acquire.
      XDamageSubtract(display_, damage_, None, None);
      if (HRESULT hr = Shoot(); FAILED(hr)) return hr;
      info->lastPresentTime = Stamp();
    }
    if (moved) info->lastMouseUpdateTime = Stamp();
    *image = last_.Get();
    last_->AddRef();
    held_ = true;
    return S_OK;
  }

  HRESULT ReleaseFrame() override {
    if (!held_) return kInvalidCall;
    held_ = false;
    return S_OK;
  }

 private:

  // Drains the connection's events: true when something was drawn. A root that changed size marks the
  // duplication lost.
  bool TakeEvents() {
    bool drawn = false;
    while (XPending(display_) > 0) {
      XEvent event;
      XNextEvent(display_, &event);
      if (event.type == damageEvent_ + XDamageNotify) {
        drawn = true;
      } else if (event.type == ConfigureNotify && event.xconfigure.window == DefaultRootWindow(display_) &&
                 (event.xconfigure.width != rootWidth_ || event.xconfigure.height != rootHeight_)) {
        lost_ = true;
      }
    }
    return drawn;
  }

  bool PointerMoved() {
    Window root = None, child = None;
    int x = 0, y = 0, wx = 0, wy = 0;
    unsigned int mask = 0;
    if (!XQueryPointer(display_, DefaultRootWindow(display_), &root, &child, &x, &y, &wx, &wy, &mask)) return false;
    const bool moved = x != pointerX_ || y != pointerY_;
    pointerX_ = x;
    pointerY_ = y;
    return moved;
  }

  // The whole output into a new texture; the one before stays with whoever holds it.
  HRESULT Shoot() {
    const TRect& r = output_.rect;
    const int32_t width = r.right - r.left, height = r.bottom - r.top;
    const int32_t pitch = width * 4;
    scratch_.resize(static_cast<size_t>(pitch) * static_cast<size_t>(height));
    const HRESULT hr = shared_.Grab(display_, r, scratch_.data(), pitch);
    TakeConnectionError(display_);
    if (FAILED(hr)) return hr;
    TRefPtr<IGpuTexture2D> texture;
    if (HRESULT made = MakeShotTexture(device_.Get(), scratch_.data(), static_cast<UINT>(width),
                                       static_cast<UINT>(height), pitch, texture.Receive());
        FAILED(made))
      return made;
    last_ = std::move(texture);
    return S_OK;
  }

  Display* display_;
  Damage damage_;
  int damageEvent_;
  TRefPtr<IGpuDevice> device_;
  const MonitorInfo output_;
  std::function<std::vector<MonitorInfo>()> monitors_;
  SharedRootShot shared_;
  std::vector<uint8_t> scratch_;
  TRefPtr<IGpuTexture2D> last_;
  int rootWidth_ = 0;
  int rootHeight_ = 0;
  int pointerX_ = INT32_MIN;
  int pointerY_ = INT32_MIN;
  bool held_ = false;
  bool lost_ = false;
};

class X11Outputs : public IGpuOutputs {
 public:
  X11Outputs(IGpuDevice* device, std::function<std::vector<MonitorInfo>()> monitors)
      : device_(device), monitors_(std::move(monitors)) {}

  HRESULT Output(uint32_t index, OutputInfo* info) override { return OutputOfList(monitors_(), index, info); }

  HRESULT Duplicate(uint32_t index, std::unique_ptr<IDuplication>* duplication) override {
    if (!duplication) return E_INVALIDARG;
    duplication->reset();
    const std::vector<MonitorInfo> outputs = monitors_();
    if (index >= outputs.size()) return kDuplicationNotFound;
    Display* display = OpenComponentDisplay();
    if (!display) return E_FAIL;
    int eventBase = 0, errorBase = 0;
    if (!XDamageQueryExtension(display, &eventBase, &errorBase)) {
      CloseComponentDisplay(display);
      return E_NOTIMPL;
    }
    const Window root = DefaultRootWindow(display);
    XSelectInput(display, root, StructureNotifyMask);
    // Reports once until subtracted, however much is drawn meanwhile: one event per image at most.
    const Damage damage = XDamageCreate(display, root, XDamageReportNonEmpty);
    XSync(display, False);
    if (TakeConnectionError(display) != 0) {
      CloseComponentDisplay(display);
      return E_FAIL;
    }
    *duplication = std::make_unique<X11Duplication>(display, damage, eventBase, device_, outputs[index], monitors_);
    return S_OK;
  }

 private:
  TRefPtr<IGpuDevice> device_;
  std::function<std::vector<MonitorInfo>()> monitors_;
};

class X11Duplications : public IDuplicationSource {
 public:
  explicit X11Duplications(std::function<std::vector<MonitorInfo>()> monitors) : monitors_(std::move(monitors)) {}
  HRESULT Outputs(IGpuDevice* device, std::unique_ptr<IGpuOutputs>* outputs) override {
    if (!device || !outputs) return E_INVALIDARG;
    *outputs = std::make_unique<X11Outputs>(device, monitors_);
    return S_OK;
  }

 private:
  std::function<std::vector<MonitorInfo>()> monitors_;
};

}  // namespace

std::shared_ptr<IDuplicationSource> X11DuplicationSource(std::function<std::vector<MonitorInfo>()> monitors) {
  return std::make_shared<X11Duplications>(std::move(monitors));
}

}  // namespace cvplat
