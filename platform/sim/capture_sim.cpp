#include "platform/sim/capture_sim.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

#include "platform/auto_obj.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/module_resources.h"
#include "platform/screen_grab.h"

namespace cvplat {

namespace {

// What a duplication answers when it is asked out of turn, as the system's duplication does.
constexpr HRESULT kInvalidCall = static_cast<HRESULT>(0x887A0001u);
constexpr uint32_t kOpaqueBlack = 0xFF000000u;

// Calls number `first` .. `last` of one kind fail; `last` below `first`: no end.
struct FailRule {
  int first;
  int last;
  HRESULT result;
};

FailRule MakeRule(int nth, int times, HRESULT result) { return {nth, times < 1 ? nth - 1 : nth + times - 1, result}; }

HRESULT Scripted(const std::vector<FailRule>& rules, int n) {
  for (const FailRule& r : rules)
    if (n >= r.first && (r.last < r.first || n <= r.last)) return r.result;
  return S_OK;
}

struct SimWindow {
  TRect frame;
  TRect rect;
  bool hasFrame;
  bool hasRect;
};

bool Inside(const TRect& r, int32_t x, int32_t y) { return x >= r.left && x < r.right && y >= r.top && y < r.bottom; }
bool EmptyRect(const TRect& r) { return r.left >= r.right || r.top >= r.bottom; }

// ---- pointer shapes ----

constexpr int32_t kArrowWidth = 12;
constexpr int32_t kArrowHeight = 19;

// How much of each pixel of a 12 x 19 picture the arrow covers, from 0 to 16 of a 4 x 4 grid of
// samples, top row first.
std::vector<int> ArrowCoverage() {
  struct Point {
    double x, y;
  };
  static constexpr Point kOutline[] = {{0, 0}, {0, 17}, {4, 13}, {7, 19}, {9, 18}, {6, 12}, {11, 12}};
  const auto inside = [](double x, double y) {
    bool in = false;
    for (size_t i = 0, j = std::size(kOutline) - 1; i < std::size(kOutline); j = i++) {
      const Point& a = kOutline[i];
      const Point& b = kOutline[j];
      if ((a.y > y) != (b.y > y) && x < (b.x - a.x) * (y - a.y) / (b.y - a.y) + a.x) in = !in;
    }
    return in;
  };
  std::vector<int> coverage(size_t{kArrowWidth} * kArrowHeight, 0);
  for (int32_t y = 0; y < kArrowHeight; ++y)
    for (int32_t x = 0; x < kArrowWidth; ++x)
      for (int sy = 0; sy < 4; ++sy)
        for (int sx = 0; sx < 4; ++sx)
          if (inside(x + (sx + 0.5) / 4, y + (sy + 0.5) / 4)) ++coverage[size_t(y) * kArrowWidth + size_t(x)];
  return coverage;
}

// Whether the pixel and its four neighbours all pass `test`: the arrow's inside, away from its outline.
template <class Test>
bool Interior(int32_t x, int32_t y, Test test) {
  static constexpr int32_t kSteps[][2] = {{0, 0}, {1, 0}, {-1, 0}, {0, 1}, {0, -1}};
  for (const auto& step : kSteps) {
    const int32_t nx = x + step[0];
    const int32_t ny = y + step[1];
    if (nx < 0 || ny < 0 || nx >= kArrowWidth || ny >= kArrowHeight || !test(nx, ny)) return false;
  }
  return true;
}


// A monochrome pointer's pixel over `d`: its AND plane, then its XOR plane.
uint32_t MonochromeOver(uint32_t code, uint32_t d) {
  constexpr uint32_t kPlane = 0x00FFFFFFu;
  switch (code) {
    case SimPointerShape::kBlack: return 0;
    case SimPointerShape::kWhite: return kPlane;
    case SimPointerShape::kInvert: return (d & kPlane) ^ kPlane;
    default: return d & kPlane;
  }
}

std::array<std::wstring, 256> DefaultKeyNames() {
  std::array<std::wstring, 256> names;
  for (uint32_t vk : {0x10u, 0xA0u, 0xA1u}) names[vk] = L"Shift";
  for (uint32_t vk : {0x11u, 0xA2u, 0xA3u}) names[vk] = L"Ctrl";
  for (uint32_t vk : {0x12u, 0xA4u, 0xA5u}) names[vk] = L"Alt";
  for (wchar_t c = L'0'; c <= L'9'; ++c) names[c] = std::wstring(1, c);
  for (wchar_t c = L'A'; c <= L'Z'; ++c) names[c] = std::wstring(1, c);
  names[0x20] = L"Space";
  names[0x0D] = L"Enter";
  names[0x1B] = L"Esc";
  names[0x09] = L"Tab";
  for (uint32_t n = 1; n <= 12; ++n) names[0x6F + n] = L"F" + std::to_wstring(n);
  return names;
}

// The general modifier that a side one (0xA0 .. 0xA5) also holds down; 0 for every other key.
uint32_t GeneralOf(uint32_t vk) { return vk >= 0xA0 && vk <= 0xA5 ? 0x10 + (vk - 0xA0) / 2 : 0; }

}  // namespace

SimPointerShape SimPointerShape::ColourArrow() {
  const std::vector<int> coverage = ArrowCoverage();
  const auto full = [&](int32_t x, int32_t y) { return coverage[size_t(y) * kArrowWidth + size_t(x)] == 16; };
  SimPointerShape shape{kArrowWidth, kArrowHeight, 0, 0, true, {}};
  shape.pixels.resize(coverage.size());
  for (int32_t y = 0; y < kArrowHeight; ++y)
    for (int32_t x = 0; x < kArrowWidth; ++x) {
      const uint32_t a = static_cast<uint32_t>(coverage[size_t(y) * kArrowWidth + size_t(x)] * 255 + 8) / 16;
      const uint32_t grey = Interior(x, y, full) ? a : 0;  // white inside, premultiplied; black outline
      shape.pixels[size_t(y) * kArrowWidth + size_t(x)] = a << 24 | grey << 16 | grey << 8 | grey;
    }
  return shape;
}

SimPointerShape SimPointerShape::MonochromeIBeam() {
  SimPointerShape shape{9, 16, 4, 8, false, std::vector<uint32_t>(9 * 16, kTransparent)};
  for (int32_t y = 0; y < 16; ++y) shape.pixels[size_t(y) * 9 + 4] = kInvert;
  for (int32_t x = 1; x < 8; ++x) {
    shape.pixels[size_t(x)] = kInvert;
    shape.pixels[15 * 9 + size_t(x)] = kInvert;
  }
  return shape;
}

SimPointerShape SimPointerShape::MonochromeArrow() {
  const std::vector<int> coverage = ArrowCoverage();
  const auto in = [&](int32_t x, int32_t y) { return coverage[size_t(y) * kArrowWidth + size_t(x)] >= 8; };
  SimPointerShape shape{kArrowWidth, kArrowHeight, 0, 0, false, {}};
  shape.pixels.resize(coverage.size());
  for (int32_t y = 0; y < kArrowHeight; ++y)
    for (int32_t x = 0; x < kArrowWidth; ++x)
      shape.pixels[size_t(y) * kArrowWidth + size_t(x)] =
          !in(x, y) ? kTransparent : Interior(x, y, in) ? kWhite : kBlack;
  return shape;
}

struct SimDesktop::State {
  std::mutex lock;

  uint32_t versionMajor = 10;
  uint32_t versionMinor = 0;
  std::vector<MonitorInfo> monitors{{0x10001, {0, 0, 1920, 1080}}};
  std::map<uint64_t, SimWindow> windows;
  uint64_t foreground = 0;
  bool pointerShowing = true;
  int32_t pointerX = 100;
  int32_t pointerY = 100;
  bool changing = false;
  uint32_t tick = 0;

  uint64_t pointerHandle = 1;
  std::map<uint64_t, SimPointerShape> shapes{{1, SimPointerShape::ColourArrow()}};
  bool failRender = false;
  bool failShape = false;
  std::array<bool, 256> keyHeld{};
  std::array<bool, 256> keyLatched{};  // went down since the last poll of that key
  std::array<std::wstring, 256> keyNames = DefaultKeyNames();
  uint32_t clockMs = 1000;

  std::vector<FailRule> shotRules;
  HRESULT outputsResult = S_OK;
  std::optional<std::vector<uint64_t>> adapterMonitors;
  std::vector<FailRule> duplicateRules;
  HRESULT acquireResult = S_OK;
  int acquireFailures = 0;
  int acquiresBeforeFailures = 0;
  uint32_t lastAcquireTimeout = 0;
  std::vector<FailRule> releaseRules;
  bool stillGivesImage = false;
  bool pointerOnly = false;
  std::map<uint32_t, std::optional<std::vector<uint8_t>>> resources;  // nullopt: removed

  int shots = 0;
  int liveGrabbers = 0;
  int duplicateCalls = 0;
  int liveDuplications = 0;
  int acquires = 0;
  int imagesHeld = 0;
  int releaseFrameCalls = 0;
  int renderCalls = 0;
  int shapeCalls = 0;
  int keyPolls = 0;

  // Callers hold `lock`.
  uint32_t Pixel(int32_t x, int32_t y) const {
    for (const MonitorInfo& m : monitors)
      if (Inside(m.rect, x, y)) return PixelAt(x, y, tick);
    return kOpaqueBlack;
  }
  void Paint(const TRect& rect, uint8_t* pixels, size_t pitch) const {
    for (int32_t y = rect.top; y < rect.bottom; ++y) {
      auto* row = reinterpret_cast<uint32_t*>(pixels + static_cast<size_t>(y - rect.top) * pitch);
      for (int32_t x = rect.left; x < rect.right; ++x) row[x - rect.left] = Pixel(x, y);
    }
  }
  std::vector<uint32_t> Picture(const TRect& rect) const {
    const size_t width = static_cast<size_t>(int64_t{rect.right} - rect.left);
    std::vector<uint32_t> pixels(width * static_cast<size_t>(int64_t{rect.bottom} - rect.top));
    Paint(rect, reinterpret_cast<uint8_t*>(pixels.data()), width * 4);
    return pixels;
  }
  // The monitors the adapter has outputs for, in monitor order.
  std::vector<MonitorInfo> AdapterOutputs() const {
    if (!adapterMonitors) return monitors;
    std::vector<MonitorInfo> outputs;
    for (const MonitorInfo& m : monitors)
      if (std::find(adapterMonitors->begin(), adapterMonitors->end(), m.handle) != adapterMonitors->end())
        outputs.push_back(m);
    return outputs;
  }
};

namespace {

using State = SimDesktop::State;

// A texture of `device` holding `picture`, as the desktop's pictures come: B8G8R8A8 in default usage,
// shader resource and render target.
HRESULT MakeTexture(IGpuDevice* device, const TRect& rect, const std::vector<uint32_t>& picture, UINT miscFlags,
                    IGpuTexture2D** texture) {
  GpuTexture2DDesc desc;
  desc.width = static_cast<UINT>(int64_t{rect.right} - rect.left);
  desc.height = static_cast<UINT>(int64_t{rect.bottom} - rect.top);
  desc.format = GpuFormat::B8G8R8A8Unorm;
  desc.usage = GpuUsage::Default;
  desc.bindFlags = kGpuBindShaderResource | kGpuBindRenderTarget;
  desc.miscFlags = miscFlags;
  const GpuSubresourceData data{picture.data(), desc.width * 4, 0};
  return device->CreateTexture2D(&desc, &data, texture);
}

class SimGrabber : public IScreenGrabber {
 public:
  explicit SimGrabber(std::shared_ptr<State> state) : state_(std::move(state)) {
    std::lock_guard<std::mutex> hold(state_->lock);
    ++state_->liveGrabbers;
  }
  ~SimGrabber() override {
    std::lock_guard<std::mutex> hold(state_->lock);
    --state_->liveGrabbers;
  }

  HRESULT GrabToMemory(const TRect& rect, uint8_t* pixels, int32_t pitch) override {
    std::lock_guard<std::mutex> hold(state_->lock);
    const int n = ++state_->shots;
    if (EmptyRect(rect) || !pixels || int64_t{pitch} < (int64_t{rect.right} - rect.left) * 4) return E_INVALIDARG;
    if (const HRESULT scripted = Scripted(state_->shotRules, n); scripted != S_OK) return scripted;
    state_->Paint(rect, pixels, static_cast<size_t>(pitch));
    if (state_->changing) ++state_->tick;
    return S_OK;
  }

  HRESULT GrabToTexture(IGpuDevice* device, const TRect& rect, IGpuTexture2D** texture) override {
    if (texture) *texture = nullptr;
    std::lock_guard<std::mutex> hold(state_->lock);
    const int n = ++state_->shots;
    if (!device || !texture || EmptyRect(rect)) return E_INVALIDARG;
    if (const HRESULT scripted = Scripted(state_->shotRules, n); scripted != S_OK) return scripted;
    const HRESULT hr = MakeTexture(device, rect, state_->Picture(rect), kGpuMiscGdiCompatible, texture);
    if (hr == S_OK && state_->changing) ++state_->tick;
    return hr;
  }

  void ReleaseCached() override {}

 private:
  std::shared_ptr<State> state_;
};

class SimDuplication : public IDuplication {
 public:
  SimDuplication(std::shared_ptr<State> state, TRefPtr<IGpuDevice> device, const MonitorInfo& output)
      : state_(std::move(state)), device_(std::move(device)), output_(output) {
    ++state_->liveDuplications;  // made under the lock by Duplicate
  }
  ~SimDuplication() override {
    std::lock_guard<std::mutex> hold(state_->lock);
    --state_->liveDuplications;
    if (held_) --state_->imagesHeld;
  }

  HRESULT AcquireNextFrame(uint32_t timeoutMs, DuplicationFrameInfo* info, IGpuTexture2D** image) override {
    if (info) *info = {};
    if (image) *image = nullptr;
    std::lock_guard<std::mutex> hold(state_->lock);
    State& s = *state_;
    ++s.acquires;
    s.lastAcquireTimeout = timeoutMs;
    if (s.acquiresBeforeFailures > 0) {
      --s.acquiresBeforeFailures;
    } else if (s.acquireFailures > 0) {
      --s.acquireFailures;
      return s.acquireResult;
    }
    if (!info || !image) return E_INVALIDARG;
    // A duplication whose output moved, changed size or went away is lost for good, as the system's is
    // after a change of display mode.
    if (!lost_) {
      const std::vector<MonitorInfo> outputs = s.AdapterOutputs();
      lost_ = !OutputStillThere(outputs, output_);
    }
    if (lost_) return kDuplicationAccessLost;
    if (held_) return kInvalidCall;

    const bool first = !acquiredOnce_;
    const bool pointerOnly = s.pointerOnly;
    DuplicationFrameInfo next;
    if (s.changing || first) {
      next.lastPresentTime = int64_t{s.tick} + 1;
      next.lastMouseUpdateTime = int64_t{s.tick} + 1;
    } else if (pointerOnly) {
      next.lastMouseUpdateTime = int64_t{s.tick} + 1;
    } else if (!s.stillGivesImage) {
      return kDuplicationWaitTimeout;  // at once: a test never waits for the time-out it asked for
    }

    IGpuTexture2D* texture = nullptr;
    const HRESULT hr = MakeTexture(device_.Get(), output_.rect, s.Picture(output_.rect), 0, &texture);
    if (hr != S_OK) return hr;
    *image = texture;
    *info = next;
    held_ = true;
    acquiredOnce_ = true;
    s.pointerOnly = false;
    ++s.imagesHeld;
    if (s.changing) ++s.tick;
    return S_OK;
  }

  HRESULT ReleaseFrame() override {
    std::lock_guard<std::mutex> hold(state_->lock);
    const int n = ++state_->releaseFrameCalls;
    if (const HRESULT scripted = Scripted(state_->releaseRules, n); scripted != S_OK) return scripted;
    if (!held_) return kInvalidCall;
    held_ = false;
    --state_->imagesHeld;
    return S_OK;
  }

 private:
  std::shared_ptr<State> state_;
  TRefPtr<IGpuDevice> device_;
  const MonitorInfo output_;
  bool held_ = false;
  bool acquiredOnce_ = false;
  bool lost_ = false;
};

class SimOutputs : public IGpuOutputs {
 public:
  SimOutputs(std::shared_ptr<State> state, IGpuDevice* device) : state_(std::move(state)), device_(device) {}

  HRESULT Output(uint32_t index, OutputInfo* info) override {
    std::lock_guard<std::mutex> hold(state_->lock);
    return OutputOfList(state_->AdapterOutputs(), index, info);
  }

  HRESULT Duplicate(uint32_t index, std::unique_ptr<IDuplication>* duplication) override {
    if (!duplication) return E_INVALIDARG;
    duplication->reset();
    std::lock_guard<std::mutex> hold(state_->lock);
    const int n = ++state_->duplicateCalls;
    if (const HRESULT scripted = Scripted(state_->duplicateRules, n); scripted != S_OK) return scripted;
    const std::vector<MonitorInfo> outputs = state_->AdapterOutputs();
    if (index >= outputs.size()) return kDuplicationNotFound;
    *duplication = std::make_unique<SimDuplication>(state_, device_, outputs[index]);
    return S_OK;
  }

 private:
  std::shared_ptr<State> state_;
  TRefPtr<IGpuDevice> device_;
};

}  // namespace

SimDesktop::SimDesktop() : state_(std::make_shared<State>()) {}

std::shared_ptr<SimDesktop> SimDesktop::Create() { return std::shared_ptr<SimDesktop>(new SimDesktop()); }

uint32_t SimDesktop::PixelAt(int32_t x, int32_t y, uint32_t tick) {
  // Blocks of 256 are counted from the origin downwards as well (an arithmetic shift rounds down).
  const uint32_t red = (static_cast<uint32_t>(x) + tick) & 0xFF;
  const uint32_t green = static_cast<uint32_t>(y) & 0xFF;
  const uint32_t blue = static_cast<uint32_t>((x >> 8) + 16 * (y >> 8) + 85 * static_cast<int64_t>(tick >> 8)) & 0xFF;
  return 0xFF000000u | red << 16 | green << 8 | blue;
}

uint32_t SimDesktop::DesktopPixel(int32_t x, int32_t y) {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->Pixel(x, y);
}

CapturePlatform SimDesktop::Platform(GpuDeviceFactory gpu) {
  const std::shared_ptr<SimDesktop> self = shared_from_this();
  CapturePlatform platform;
  platform.system = self;
  platform.monitors = self;
  platform.windows = self;
  platform.pointer = self;
  platform.duplication = self;
  platform.makeGrabber = [self] { return self->MakeGrabber(); };
  platform.cursor = self;
  platform.keys = self;
  platform.tickMs = [self] { return self->ClockMs(); };
  platform.resource = [self](uint32_t id, std::vector<uint8_t>* bytes) -> HRESULT {
    if (!bytes) return E_POINTER;
    {
      std::lock_guard<std::mutex> hold(self->state_->lock);
      const auto found = self->state_->resources.find(id);
      if (found != self->state_->resources.end()) {
        if (!found->second) return CV_E_RESOURCE_NOT_FOUND;
        *bytes = *found->second;
        return S_OK;
      }
    }
    return FindModuleResource(id, bytes);
  };
  if (gpu) {
    platform.gpu = std::move(gpu);
  } else {
    platform.gpu = [](IGpuDevice** device, UINT* featureLevel, IGpuContext** context) {
      return CreateCpuGpuDevice({}, device, featureLevel, context);
    };
  }
  return platform;
}

void SimDesktop::SetResource(uint32_t id, std::vector<uint8_t> bytes) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->resources[id] = std::move(bytes);
}

void SimDesktop::RemoveResource(uint32_t id) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->resources[id] = std::nullopt;
}

void SimDesktop::SetVersion(uint32_t major, uint32_t minor) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->versionMajor = major;
  state_->versionMinor = minor;
}

void SimDesktop::SetMonitors(std::vector<MonitorInfo> monitors) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->monitors = std::move(monitors);
}

void SimDesktop::SetWindow(uint64_t handle, TRect frame, TRect rect, bool hasFrame, bool hasRect) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->windows[handle] = {frame, rect, hasFrame, hasRect};
}

void SimDesktop::RemoveWindow(uint64_t handle) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->windows.erase(handle);
}

void SimDesktop::SetForeground(uint64_t handle) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->foreground = handle;
}

void SimDesktop::SetPointer(bool showing, int32_t x, int32_t y) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->pointerShowing = showing;
  state_->pointerX = x;
  state_->pointerY = y;
}

void SimDesktop::SetChanging(bool changing) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->changing = changing;
}

void SimDesktop::SetTick(uint32_t tick) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->tick = tick;
}

uint32_t SimDesktop::Tick() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->tick;
}

void SimDesktop::FailShots(int nth, int times, HRESULT result) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->shotRules.push_back(MakeRule(nth, times, result));
}

void SimDesktop::FailOutputs(HRESULT result) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->outputsResult = result;
}

void SimDesktop::SetAdapterMonitors(std::vector<uint64_t> monitors) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->adapterMonitors = std::move(monitors);
}

void SimDesktop::FailDuplicate(int nth, int times, HRESULT result) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->duplicateRules.push_back(MakeRule(nth, times, result));
}

void SimDesktop::FailAcquire(HRESULT result, int times, int after) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->acquireResult = result;
  state_->acquiresBeforeFailures = std::max(after, 0);
  state_->acquireFailures = std::max(times, 0);
}

void SimDesktop::FailReleaseFrame(int nth, int times, HRESULT result) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->releaseRules.push_back(MakeRule(nth, times, result));
}

void SimDesktop::SetStillGivesImage(bool image) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->stillGivesImage = image;
}

void SimDesktop::MovePointerOnly() {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->pointerOnly = true;
}

void SimDesktop::SetPointerShape(uint64_t handle, SimPointerShape shape) {
  if (handle == 0) return;
  shape.width = std::max(shape.width, 0);
  shape.height = std::max(shape.height, 0);
  // Pixels the script left out are see-through, so Render never reads past them.
  shape.pixels.resize(size_t(shape.width) * size_t(shape.height), shape.colour ? 0u : SimPointerShape::kTransparent);
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->shapes[handle] = std::move(shape);
  state_->pointerHandle = handle;
}

void SimDesktop::FailRender(bool fail) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->failRender = fail;
}

void SimDesktop::FailShape(bool fail) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->failShape = fail;
}

void SimDesktop::PressKey(uint32_t vk) {
  if (vk >= 256) return;
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->keyHeld[vk] = true;
  state_->keyLatched[vk] = true;
  if (const uint32_t general = GeneralOf(vk)) state_->keyLatched[general] = true;
}

void SimDesktop::ReleaseKey(uint32_t vk) {
  if (vk >= 256) return;
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->keyHeld[vk] = false;
}

void SimDesktop::TapKey(uint32_t vk) {
  PressKey(vk);
  ReleaseKey(vk);
}

void SimDesktop::SetKeyName(uint32_t vk, std::wstring name) {
  if (vk >= 256) return;
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->keyNames[vk] = std::move(name);
}

void SimDesktop::SetClockMs(uint32_t ms) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->clockMs = ms;
}

void SimDesktop::AdvanceClockMs(uint32_t ms) {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->clockMs += ms;
}

uint32_t SimDesktop::ClockMs() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->clockMs;
}

int SimDesktop::Shots() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->shots;
}
int SimDesktop::LiveGrabbers() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->liveGrabbers;
}
int SimDesktop::DuplicateCalls() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->duplicateCalls;
}
int SimDesktop::LiveDuplications() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->liveDuplications;
}
int SimDesktop::Acquires() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->acquires;
}
int SimDesktop::ImagesHeld() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->imagesHeld;
}
int SimDesktop::ReleaseFrameCalls() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->releaseFrameCalls;
}

uint32_t SimDesktop::LastAcquireTimeout() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->lastAcquireTimeout;
}

int SimDesktop::RenderCalls() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->renderCalls;
}
int SimDesktop::ShapeCalls() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->shapeCalls;
}
int SimDesktop::KeyPolls() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->keyPolls;
}

bool SimDesktop::AtLeast(uint32_t major, uint32_t minor) {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->versionMajor > major || (state_->versionMajor == major && state_->versionMinor >= minor);
}

std::vector<MonitorInfo> SimDesktop::List() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->monitors;
}

bool SimDesktop::ExtendedFrameBounds(uint64_t window, TRect* rect) {
  std::lock_guard<std::mutex> hold(state_->lock);
  const auto it = state_->windows.find(window);
  if (it == state_->windows.end() || !it->second.hasFrame || !rect) return false;
  *rect = it->second.frame;
  return true;
}

bool SimDesktop::WindowRect(uint64_t window, TRect* rect) {
  std::lock_guard<std::mutex> hold(state_->lock);
  const auto it = state_->windows.find(window);
  if (it == state_->windows.end() || !it->second.hasRect || !rect) return false;
  *rect = it->second.rect;
  return true;
}

uint64_t SimDesktop::ForegroundWindow() {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->foreground;
}

bool SimDesktop::Position(int32_t* x, int32_t* y) {
  std::lock_guard<std::mutex> hold(state_->lock);
  if (!state_->pointerShowing || !x || !y) return false;
  *x = state_->pointerX;
  *y = state_->pointerY;
  return true;
}

HRESULT SimDesktop::Outputs(IGpuDevice* device, std::unique_ptr<IGpuOutputs>* outputs) {
  if (!outputs) return E_INVALIDARG;
  outputs->reset();
  if (!device) return E_INVALIDARG;
  {
    std::lock_guard<std::mutex> hold(state_->lock);
    if (state_->outputsResult != S_OK) return state_->outputsResult;
  }
  *outputs = std::make_unique<SimOutputs>(state_, device);
  return S_OK;
}

std::unique_ptr<IScreenGrabber> SimDesktop::MakeGrabber() { return std::make_unique<SimGrabber>(state_); }

bool SimDesktop::Query(CursorState* cursor) {
  if (!cursor) return false;
  std::lock_guard<std::mutex> hold(state_->lock);
  cursor->showing = state_->pointerShowing;
  cursor->handle = state_->pointerHandle;
  cursor->x = state_->pointerX;
  cursor->y = state_->pointerY;
  return true;
}

bool SimDesktop::Shape(uint64_t handle, CursorShape* shape) {
  std::lock_guard<std::mutex> hold(state_->lock);
  ++state_->shapeCalls;
  const auto it = state_->shapes.find(handle);
  if (state_->failShape || it == state_->shapes.end() || !shape) return false;
  const SimPointerShape& s = it->second;
  shape->hotX = s.hotX;
  shape->hotY = s.hotY;
  shape->colour = s.colour;
  shape->width = s.width;
  shape->height = s.colour ? s.height : 2 * s.height;  // the mask's AND plane above its XOR plane
  return true;
}

HRESULT SimDesktop::Render(uint64_t handle, int32_t width, int32_t height, uint32_t* pixels) {
  std::lock_guard<std::mutex> hold(state_->lock);
  ++state_->renderCalls;
  const auto it = state_->shapes.find(handle);
  if (state_->failRender || it == state_->shapes.end()) return E_FAIL;
  if (!pixels || width <= 0 || height <= 0) return E_INVALIDARG;
  const SimPointerShape& s = it->second;
  const int32_t w = std::min(width, s.width);
  const int32_t h = std::min(height, s.height);
  for (int32_t y = 0; y < h; ++y)
    for (int32_t x = 0; x < w; ++x) {
      uint32_t& d = pixels[size_t(y) * size_t(width) + size_t(x)];
      const uint32_t p = s.pixels[size_t(y) * size_t(s.width) + size_t(x)];
      d = s.colour ? PremultipliedOver(p, d) : MonochromeOver(p, d);
    }
  return S_OK;
}

bool SimDesktop::KeyDown(uint32_t vk) {
  std::lock_guard<std::mutex> hold(state_->lock);
  State& s = *state_;
  ++s.keyPolls;
  if (vk >= 256) return false;
  bool down = s.keyHeld[vk] || s.keyLatched[vk];
  if (vk >= 0x10 && vk <= 0x12) {
    const uint32_t left = 0xA0 + 2 * (vk - 0x10);
    down = down || s.keyHeld[left] || s.keyHeld[left + 1];
  }
  s.keyLatched[vk] = false;
  return down;
}

std::wstring SimDesktop::KeyName(uint32_t vk) {
  if (vk >= 256) return {};
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->keyNames[vk];
}

}  // namespace cvplat
