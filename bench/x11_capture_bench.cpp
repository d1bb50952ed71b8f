// The engine capturing the real X desktop that DISPLAY names, through the machine's own platform, as a
// host runs it: frames go to a frame source with one reader on a thread of its own. After a warm-up it
// measures a window of real time and prints one line of name=value figures, which scripts/bench-x11.sh
// lays out beside ffmpeg's x11grab:
//   fps                 frames delivered a second; `new` counts the ones that aren't repeats
//   p50_ms p99_ms max_ms  the interval between two deliveries
//   grab_ms marks_ms pack_ms delivery_ms  CPU time a frame by stage, from the threads' own clocks
//   reader_ms           the host's reader thread a frame: the copy of its own that each read makes
//   total_ms            the whole process's CPU time a frame (the stages, the reader, this program)
//   server_ms           the X server's CPU time a frame (its side of the shots, and whatever draws)
//   faults              the process's minor page faults a frame: fresh memory touched for the first time
//
// The stages are told apart from the outside: the seams the engine calls (pointer, duplication, shots,
// gpu) are wrapped, and each switches the capture thread's clock to the stage its call belongs to. So
// the split follows the order of a pass, and the sum is the threads' time whatever the engine does:
//   grab      the pass's start (region, screen), the duplication's acquire and the copies of the picture
//             into the work texture; in the shot modes also all of the shot thread
//   marks     the pointer's seam and the marks drawn on the work texture
//   pack      the final pass, the readback and the frame made of it; a repeat's clone
//   delivery  the frame's finish: text lines, the wait for its moment, the hand-over to the reader
// In the software loop the marks are drawn inside the pass that converts, with no seam between them:
// they count in pack there, which holds the shot's clone, the marks and the conversion.
//
// usage: bench_x11_capture --mode DXGI|DirectX|GDI [--fps N] [--seconds S] [--warmup S] [--server-pid PID]
//        bench_x11_capture --paint [--fps N] [--seconds S]   draws changing content until stopped
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CVDeviceSCR.h"
#include "bench/latency_stats.h"
#include "device/frame_source.h"
#include "engine/capture_scr.h"
#include "platform/auto_obj.h"
#include "platform/desktop.h"
#include "platform/x11_paint_bench_support.h"
#include "props/catalogue.h"
#include "props/xml_node.h"

namespace {

using namespace cvplat;
using Clock = std::chrono::steady_clock;

int64_t CpuNs(clockid_t clock) {
  timespec t{};
  clock_gettime(clock, &t);
  return static_cast<int64_t>(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

int64_t NowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

// ---- the stage clock --------------------------------------------------------------------------------

enum Stage : int { kGrab, kMarks, kPack, kDelivery, kStageCount };

// Set on the capture thread by its first delivery; every other thread leaves the clock alone.
thread_local bool tCapture = false;

// The capture thread's CPU time by stage, and the shot thread's. The accumulators are read by the main
// thread while the capture runs; the rest is the capture thread's own.
struct StageClock {
  std::atomic<int64_t> ns[kStageCount] = {};
  std::atomic<int64_t> shotNs{0};
  std::atomic<int64_t> readerNs{0};  // the host's reader thread
  bool software = false;  // the software loop: marks count in pack

  // The time since the last switch goes to the stage that ran; `next` runs from now.
  void Enter(Stage next) {
    if (!tCapture) return;
    const int64_t now = CpuNs(CLOCK_THREAD_CPUTIME_ID);
    if (current >= 0) ns[current].fetch_add(now - last, std::memory_order_relaxed);
    last = now;
    current = next;
  }
  Stage Current() const { return current >= 0 ? static_cast<Stage>(current) : kGrab; }

  // A new pass: nothing copied into the work texture yet.
  void PassStart() {
    grabbed = false;
    Enter(kGrab);
  }

  int64_t last = 0;
  int current = -1;
  bool grabbed = false;        // the pass has copied its picture into the work texture
  const void* work = nullptr;  // that texture, which the marks draw on and the final pass reads
};

StageClock gClock;

// ---- wrapped seams ----------------------------------------------------------------------------------

// A call of the pointer's seam on the capture thread: the pointer is the marks' business.
template <class Call>
auto CursorCall(Call call) {
  if (!tCapture) return call();
  if (gClock.software) {
    // The pass's first look at the pointer ends its start; what follows is the work on the shot.
    auto result = call();
    if (gClock.Current() == kGrab) gClock.Enter(kPack);
    return result;
  }
  if (gClock.grabbed) {
    gClock.Enter(kMarks);
    return call();
  }
  // The pointer's state at a pass's start: the marks' time within the grab.
  const Stage before = gClock.Current();
  gClock.Enter(kMarks);
  auto result = call();
  gClock.Enter(before);
  return result;
}

class TimedCursor final : public ICursor {
 public:
  explicit TimedCursor(std::shared_ptr<ICursor> inner) : inner_(std::move(inner)) {}
  bool Query(CursorState* state) override {
    return CursorCall([&] { return inner_->Query(state); });
  }
  bool Shape(uint64_t handle, CursorShape* shape) override {
    return CursorCall([&] { return inner_->Shape(handle, shape); });
  }
  HRESULT Render(uint64_t handle, int32_t width, int32_t height, uint32_t* pixels) override {
    return CursorCall([&] { return inner_->Render(handle, width, height, pixels); });
  }

 private:
  std::shared_ptr<ICursor> inner_;
};

// The duplication: an acquire that brings nothing new lets the frame in hand go out again.
class TimedDuplication final : public IDuplication {
 public:
  explicit TimedDuplication(std::unique_ptr<IDuplication> inner) : inner_(std::move(inner)) {}
  HRESULT AcquireNextFrame(uint32_t timeoutMs, DuplicationFrameInfo* info, IGpuTexture2D** image) override {
    const HRESULT hr = inner_->AcquireNextFrame(timeoutMs, info, image);
    if (info && info->lastPresentTime == 0 && info->lastMouseUpdateTime == 0) gClock.Enter(kPack);
    return hr;
  }
  HRESULT ReleaseFrame() override { return inner_->ReleaseFrame(); }

 private:
  std::unique_ptr<IDuplication> inner_;
};

class TimedOutputs final : public IGpuOutputs {
 public:
  explicit TimedOutputs(std::unique_ptr<IGpuOutputs> inner) : inner_(std::move(inner)) {}
  HRESULT Output(uint32_t index, OutputInfo* info) override { return inner_->Output(index, info); }
  HRESULT Duplicate(uint32_t index, std::unique_ptr<IDuplication>* duplication) override {
    std::unique_ptr<IDuplication> made;
    const HRESULT hr = inner_->Duplicate(index, &made);
    if (SUCCEEDED(hr) && made && duplication) *duplication = std::make_unique<TimedDuplication>(std::move(made));
    return hr;
  }

 private:
  std::unique_ptr<IGpuOutputs> inner_;
};

class TimedDuplicationSource final : public IDuplicationSource {
 public:
  explicit TimedDuplicationSource(std::shared_ptr<IDuplicationSource> inner) : inner_(std::move(inner)) {}
  HRESULT Outputs(IGpuDevice* device, std::unique_ptr<IGpuOutputs>* outputs) override {
    std::unique_ptr<IGpuOutputs> made;
    const HRESULT hr = inner_->Outputs(device, &made);
    if (SUCCEEDED(hr) && made && outputs) *outputs = std::make_unique<TimedOutputs>(std::move(made));
    return hr;
  }

 private:
  std::shared_ptr<IDuplicationSource> inner_;
};

// The shot thread's grabber: all of that thread's time is the grab's.
class TimedGrabber final : public IScreenGrabber {
 public:
  explicit TimedGrabber(std::unique_ptr<IScreenGrabber> inner) : inner_(std::move(inner)) {}
  HRESULT GrabToMemory(const TRect& rect, uint8_t* pixels, int32_t pitch) override {
    Tick();
    const HRESULT hr = inner_->GrabToMemory(rect, pixels, pitch);
    Tick();
    return hr;
  }
  HRESULT GrabToTexture(IGpuDevice* device, const TRect& rect, IGpuTexture2D** texture) override {
    Tick();
    const HRESULT hr = inner_->GrabToTexture(device, rect, texture);
    Tick();
    return hr;
  }
  void ReleaseCached() override { inner_->ReleaseCached(); }

 private:
  // The thread's time since the last tick, the time between two grabs included.
  void Tick() {
    const int64_t now = CpuNs(CLOCK_THREAD_CPUTIME_ID);
    if (last_ != 0) gClock.shotNs.fetch_add(now - last_, std::memory_order_relaxed);
    last_ = now;
  }
  std::unique_ptr<IScreenGrabber> inner_;
  int64_t last_ = 0;
};

// The gpu's programs by object, so that a bound program tells which draw follows.
struct ProgramTable {
  void Add(IGpuProgram* program, GpuProgramId id) {
    std::lock_guard lock(mutex);
    ids.emplace_back(program, id);
  }
  bool Find(IGpuProgram* program, GpuProgramId* id) {
    std::lock_guard lock(mutex);
    for (const auto& [p, i] : ids)
      if (p == program) return *id = i, true;
    return false;
  }
  std::mutex mutex;
  std::vector<std::pair<IGpuProgram*, GpuProgramId>> ids;
};

// The immediate context: the objects pass through as they are; only a few calls move the clock.
class TimedContext final : public AutoObjBase<TimedContext, IGpuContext> {
 public:
  TimedContext(TRefPtr<IGpuContext> inner, std::shared_ptr<ProgramTable> programs)
      : inner_(std::move(inner)), programs_(std::move(programs)) {}

  void IASetInputLayout(IGpuInputLayout* layout) override { inner_->IASetInputLayout(layout); }
  void IASetVertexBuffers(UINT start, UINT count, IGpuBuffer* const* buffers, const UINT* strides,
                          const UINT* offsets) override {
    inner_->IASetVertexBuffers(start, count, buffers, strides, offsets);
  }
  void IASetPrimitiveTopology(GpuTopology topology) override { inner_->IASetPrimitiveTopology(topology); }
  void VSSetShader(IGpuProgram* program) override { inner_->VSSetShader(program); }
  void PSSetShader(IGpuProgram* program) override {
    GpuProgramId id{};
    if (tCapture && programs_->Find(program, &id)) {
      if (id == GpuProgramId::Overlay || id == GpuProgramId::ColouredOverlay) gClock.Enter(kMarks);
      if (id == GpuProgramId::Argb || id == GpuProgramId::Hdyc) gClock.Enter(kPack);
    }
    inner_->PSSetShader(program);
  }
  void PSSetConstantBuffers(UINT start, UINT count, IGpuBuffer* const* buffers) override {
    inner_->PSSetConstantBuffers(start, count, buffers);
  }
  void PSSetShaderResources(UINT start, UINT count, IGpuShaderResourceView* const* views) override {
    inner_->PSSetShaderResources(start, count, views);
  }
  void PSSetSamplers(UINT start, UINT count, IGpuSamplerState* const* samplers) override {
    inner_->PSSetSamplers(start, count, samplers);
  }
  void RSSetViewports(UINT count, const GpuViewport* viewports) override { inner_->RSSetViewports(count, viewports); }
  void OMSetBlendState(IGpuBlendState* state, const float factor[4], UINT sampleMask) override {
    inner_->OMSetBlendState(state, factor, sampleMask);
  }
  void OMSetRenderTargets(UINT count, IGpuRenderTargetView* const* views) override {
    inner_->OMSetRenderTargets(count, views);
  }
  void ClearRenderTargetView(IGpuRenderTargetView* view, const float rgba[4]) override {
    inner_->ClearRenderTargetView(view, rgba);
  }
  void Draw(UINT vertexCount, UINT startVertex) override { inner_->Draw(vertexCount, startVertex); }
  void CopySubresourceRegion(IGpuResource* dst, UINT dstSubresource, UINT x, UINT y, UINT z, IGpuResource* src,
                             UINT srcSubresource, const GpuBox* box) override {
    // Before the marks and the final pass, a copy brings the picture in; its target is the work texture.
    if (tCapture && gClock.Current() == kGrab) {
      gClock.grabbed = true;
      gClock.work = dst;
    }
    inner_->CopySubresourceRegion(dst, dstSubresource, x, y, z, src, srcSubresource, box);
  }
  HRESULT Map(IGpuResource* resource, UINT subresource, GpuMapType type, UINT flags,
              GpuMappedSubresource* mapped) override {
    return inner_->Map(resource, subresource, type, flags, mapped);
  }
  void Unmap(IGpuResource* resource, UINT subresource) override { inner_->Unmap(resource, subresource); }
  // The readback's last call: the frame is made, its finish follows.
  void Flush() override {
    inner_->Flush();
    gClock.Enter(kDelivery);
  }

 private:
  TRefPtr<IGpuContext> inner_;
  std::shared_ptr<ProgramTable> programs_;
};

class TimedDevice final : public AutoObjBase<TimedDevice, IGpuDevice> {
 public:
  TimedDevice(TRefPtr<IGpuDevice> inner, TRefPtr<TimedContext> context, std::shared_ptr<ProgramTable> programs)
      : inner_(std::move(inner)), context_(std::move(context)), programs_(std::move(programs)) {}

  HRESULT CreateTexture2D(const GpuTexture2DDesc* desc, const GpuSubresourceData* initial,
                          IGpuTexture2D** texture) override {
    return inner_->CreateTexture2D(desc, initial, texture);
  }
  // The final pass begins by reading the work texture.
  HRESULT CreateShaderResourceView(IGpuResource* resource, const GpuShaderResourceViewDesc* desc,
                                   IGpuShaderResourceView** view) override {
    if (tCapture && gClock.grabbed && resource == gClock.work) gClock.Enter(kPack);
    return inner_->CreateShaderResourceView(resource, desc, view);
  }
  // The marks begin by drawing on it.
  HRESULT CreateRenderTargetView(IGpuResource* resource, const GpuRenderTargetViewDesc* desc,
                                 IGpuRenderTargetView** view) override {
    if (tCapture && gClock.grabbed && resource == gClock.work && gClock.Current() == kGrab) gClock.Enter(kMarks);
    return inner_->CreateRenderTargetView(resource, desc, view);
  }
  HRESULT CreateBuffer(const GpuBufferDesc* desc, const GpuSubresourceData* initial, IGpuBuffer** buffer) override {
    return inner_->CreateBuffer(desc, initial, buffer);
  }
  HRESULT CreateSamplerState(const GpuSamplerDesc* desc, IGpuSamplerState** sampler) override {
    return inner_->CreateSamplerState(desc, sampler);
  }
  HRESULT CreateBlendState(const GpuBlendDesc* desc, IGpuBlendState** state) override {
    return inner_->CreateBlendState(desc, state);
  }
  HRESULT CreateInputLayout(const GpuInputElementDesc* elements, UINT count, IGpuProgram* vertexProgram,
                            IGpuInputLayout** layout) override {
    return inner_->CreateInputLayout(elements, count, vertexProgram, layout);
  }
  HRESULT CreateProgram(GpuProgramId id, IGpuProgram** program) override {
    const HRESULT hr = inner_->CreateProgram(id, program);
    if (SUCCEEDED(hr) && program && *program) programs_->Add(*program, id);
    return hr;
  }
  UINT GetFeatureLevel() override { return inner_->GetFeatureLevel(); }
  HRESULT SetMultithreadProtected(BOOL protect) override { return inner_->SetMultithreadProtected(protect); }
  BOOL GetMultithreadProtected() override { return inner_->GetMultithreadProtected(); }
  void GetImmediateContext(IGpuContext** context) override {
    if (!context) return;
    context_->AddRef();
    *context = context_.Get();
  }

 private:
  TRefPtr<IGpuDevice> inner_;
  TRefPtr<TimedContext> context_;
  std::shared_ptr<ProgramTable> programs_;
};

GpuDeviceFactory TimedGpu(GpuDeviceFactory inner) {
  return [inner = std::move(inner)](IGpuDevice** device, UINT* level, IGpuContext** context) -> HRESULT {
    if (device) *device = nullptr;
    if (context) *context = nullptr;
    IGpuDevice* d = nullptr;
    IGpuContext* c = nullptr;
    const HRESULT hr = inner(&d, level, &c);
    TRefPtr<IGpuDevice> innerDevice = TRefPtr<IGpuDevice>::Adopt(d);
    TRefPtr<IGpuContext> innerContext = TRefPtr<IGpuContext>::Adopt(c);
    if (FAILED(hr)) return hr;
    if (!innerDevice || !innerContext) return E_FAIL;
    auto programs = std::make_shared<ProgramTable>();
    TRefPtr<TimedContext> timedContext = MakeRef<TimedContext>(innerContext, programs);
    TRefPtr<TimedDevice> timedDevice = MakeRef<TimedDevice>(innerDevice, timedContext, programs);
    if (device) *device = timedDevice.Detach();
    if (context) *context = timedContext.Detach();
    return hr;
  };
}

CapturePlatform TimedPlatform(CapturePlatform platform) {
  if (platform.cursor) platform.cursor = std::make_shared<TimedCursor>(platform.cursor);
  if (platform.duplication) platform.duplication = std::make_shared<TimedDuplicationSource>(platform.duplication);
  if (platform.makeGrabber) {
    platform.makeGrabber = [make = platform.makeGrabber]() -> std::unique_ptr<IScreenGrabber> {
      std::unique_ptr<IScreenGrabber> grabber = make();
      if (!grabber) return grabber;
      return std::make_unique<TimedGrabber>(std::move(grabber));
    };
  }
  if (platform.gpu) platform.gpu = TimedGpu(platform.gpu);
  // Sound is no part of these figures: no endpoint is ever asked.
  platform.audio = nullptr;
  return platform;
}

// ---- the host side ----------------------------------------------------------------------------------

class BenchHost final : public ISourceHost {
 public:
  explicit BenchHost(XMLParse::XMLNodePtr root) : root_(std::move(root)) {}
  HRESULT OpenForRead() override { return S_OK; }
  HRESULT LastReaderLeft() override { return S_OK; }
  XMLParse::XMLNodePtr PropsRoot() override { return root_; }

 private:
  XMLParse::XMLNodePtr root_;
};

struct Delivery {
  int64_t atNs;
  bool repeat;
};

// What the device's frame callback does, with the moment of each delivery noted.
struct Deliveries {
  static HRESULT Callback(void* context, ICVFrame_I* frame, int64_t, const wchar_t*) {
    auto* self = static_cast<Deliveries*>(context);
    tCapture = true;
    gClock.Enter(kDelivery);
    if (frame) {
      bool repeat = false;
      void* face = nullptr;
      if (SUCCEEDED(frame->QueryInterface(IID_ICVNamedValues, &face))) {
        auto* values = static_cast<ICVNamedValues*>(face);
        int64_t dup = 0;
        repeat = SUCCEEDED(values->ValueGet(L"dup", &dup)) && dup == 1;
        values->Release();
      }
      // Only the capture thread writes, and the main thread reads once the capture has ended.
      if (self->list.size() < self->list.capacity()) self->list.push_back({NowNs(), repeat});
      self->count.fetch_add(1, std::memory_order_release);
      frame->AudioSet(nullptr, 0, 0, 0);
      self->source->Source_PutFrame(frame, 0, -1, nullptr, nullptr);
    }
    gClock.PassStart();
    return S_OK;
  }
  TFrameSource* source = nullptr;
  std::vector<Delivery> list;
  std::atomic<int> count{0};
};

struct Snapshot {
  int64_t atNs;
  int64_t stageNs[kStageCount];
  int64_t shotNs;
  int64_t readerNs;
  int64_t processNs;
  int64_t faults;       // minor page faults of the process
  int64_t serverTicks;  // -1 without a server to read
};

constexpr int kSelf = 0;

// Field `n` (counted from 1, as proc(5) counts) of /proc/PID/stat, or of this process for kSelf; 0 if
// unreadable. Times there are in clock ticks of 1/100 s (USER_HZ on Linux).
int64_t ProcessField(int pid, int n) {
  std::ifstream file(pid == kSelf ? std::string("/proc/self/stat") : "/proc/" + std::to_string(pid) + "/stat");
  std::string text;
  if (!std::getline(file, text)) return 0;
  // The name in parentheses may hold spaces: the fields are counted from the last ')', which ends field 2.
  const size_t close = text.rfind(')');
  if (close == std::string::npos) return 0;
  std::istringstream fields(text.substr(close + 1));
  std::string field;
  for (int i = 3; fields >> field; ++i)
    if (i == n) return std::strtoll(field.c_str(), nullptr, 10);
  return 0;
}

Snapshot Take(int serverPid) {
  Snapshot s{};
  s.atNs = NowNs();
  for (int i = 0; i < kStageCount; ++i) s.stageNs[i] = gClock.ns[i].load(std::memory_order_relaxed);
  s.shotNs = gClock.shotNs.load(std::memory_order_relaxed);
  s.readerNs = gClock.readerNs.load(std::memory_order_relaxed);
  s.faults = ProcessField(kSelf, 10);
  s.processNs = CpuNs(CLOCK_PROCESS_CPUTIME_ID);
  s.serverTicks = serverPid > 0 ? ProcessField(serverPid, 14) + ProcessField(serverPid, 15) : -1;
  return s;
}

struct Options {
  std::string mode = "DXGI";
  double fps = 60.0;
  double seconds = 5.0;
  double warmup = 1.0;
  int serverPid = 0;
  bool paint = false;
  bool secondsGiven = false;  // a painter without it draws until it is stopped
};

bool Parse(int argc, char** argv, Options* o) {
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const bool hasValue = i + 1 < argc;
    if (a == "--paint") {
      o->paint = true;
    } else if (a == "--mode" && hasValue) {
      o->mode = argv[++i];
    } else if (a == "--fps" && hasValue) {
      o->fps = std::atof(argv[++i]);
    } else if (a == "--seconds" && hasValue) {
      o->seconds = std::atof(argv[++i]);
      o->secondsGiven = true;
    } else if (a == "--warmup" && hasValue) {
      o->warmup = std::atof(argv[++i]);
    } else if (a == "--server-pid" && hasValue) {
      o->serverPid = std::atoi(argv[++i]);
    } else {
      return false;
    }
  }
  return o->fps >= 1.0 && o->seconds > 0.0 && o->warmup >= 0.0 &&
         (o->paint || o->mode == "DXGI" || o->mode == "DirectX" || o->mode == "GDI");
}

// Draws a new picture at the rate until the time is up, or for ever when it isn't given.
int Paint(const Options& o) {
  const bool forEver = !o.secondsGiven;
  cvbench::X11Painter painter;
  if (!painter.Ready()) {
    std::fprintf(stderr, "bench_x11_capture: no X display to draw on\n");
    return 1;
  }
  const auto period = std::chrono::nanoseconds(static_cast<int64_t>(1e9 / o.fps));
  const auto start = Clock::now();
  for (uint64_t n = 0; forEver || Clock::now() - start < std::chrono::duration<double>(o.seconds); ++n) {
    painter.Paint(n);
    std::this_thread::sleep_until(start + period * static_cast<int64_t>(n + 1));
  }
  return 0;
}

// The mode's name as "capture.current_mode" has it, up to its first space: one word for the figures' line.
std::string ModeWord(const wchar_t* text) {
  std::string s;
  for (; text && *text && *text != L' '; ++text) s += static_cast<char>(*text);
  return s.empty() ? "Error" : s;
}

void SleepSeconds(double s) { std::this_thread::sleep_for(std::chrono::duration<double>(s)); }

int Capture(const Options& o) {
  CapturePlatform platform = NativeCapturePlatform();
  const std::vector<MonitorInfo> monitors =
      platform.monitors ? platform.monitors->List() : std::vector<MonitorInfo>{};
  if (monitors.empty()) {
    std::fprintf(stderr, "bench_x11_capture: no X display to capture\n");
    return 1;
  }
  const TRect screen = monitors.front().rect;
  const std::wstring size =
      std::to_wstring(screen.right - screen.left) + L"x" + std::to_wstring(screen.bottom - screen.top);
  gClock.software = o.mode == "GDI";

  // The catalogue's defaults, as a host gets them: HDYC, the pointer and its highlight shown.
  XMLParse::XMLNodePtr root = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
  XMLParse::SetDefaults(*root);
  root->SetString(L"capture.mode", std::wstring(o.mode.begin(), o.mode.end()));
  root->SetString(L"capture.frame_size", size);
  root->SetDouble(L"capture.fps_limit", o.fps);
  TPropertyTree tree;
  tree.Set(root.Get());

  BenchHost host(root);
  TFrameSource source(&host);
  Deliveries deliveries;
  deliveries.source = &source;
  deliveries.list.reserve(static_cast<size_t>((o.seconds + o.warmup + 30.0) * o.fps * 2.0));

  int64_t reader = 0;
  source.SourceFrameGetEx_I(&reader, nullptr, 0, nullptr);
  std::atomic<bool> done{false};
  std::thread hostReader([&] {
    int64_t id = reader;
    int64_t last = CpuNs(CLOCK_THREAD_CPUTIME_ID);
    while (!done.load()) {
      ICVFrame_I* frame = nullptr;
      if (source.SourceFrameGetEx_I(&id, &frame, 2'000'000, nullptr) == S_OK && frame) frame->Release();
      const int64_t now = CpuNs(CLOCK_THREAD_CPUTIME_ID);
      gClock.readerNs.fetch_add(now - last, std::memory_order_relaxed);
      last = now;
    }
  });

  TRefPtr<TCaptureSCR> engine = MakeRef<TCaptureSCR>(TimedPlatform(std::move(platform)));
  HRESULT hr = engine->Init(tree);
  if (SUCCEEDED(hr)) hr = engine->Start(TAvProps{}, &deliveries, &Deliveries::Callback);
  const auto firstBy = Clock::now() + std::chrono::seconds(10);
  while (SUCCEEDED(hr) && deliveries.count.load(std::memory_order_acquire) == 0 && Clock::now() < firstBy)
    SleepSeconds(0.01);
  const bool flowing = SUCCEEDED(hr) && deliveries.count.load(std::memory_order_acquire) > 0;

  Snapshot a{}, b{};
  if (flowing) {
    SleepSeconds(o.warmup);
    a = Take(o.serverPid);
    SleepSeconds(o.seconds);
    b = Take(o.serverPid);
  }
  const std::string mode = ModeWord(CaptureModeText(engine->CaptureMode()));
  engine->Close();
  done = true;
  hostReader.join();
  source.Stop();
  if (!flowing) {
    std::fprintf(stderr, "bench_x11_capture: %s gave no frame (status 0x%08X)\n", o.mode.c_str(),
                 static_cast<unsigned>(hr));
    return 1;
  }

  // The deliveries within the window, and the intervals between them.
  int frames = 0;
  int repeats = 0;
  std::vector<double> intervalsMs;
  int64_t previous = -1;
  for (const Delivery& d : deliveries.list) {
    if (d.atNs < a.atNs || d.atNs > b.atNs) continue;
    ++frames;
    repeats += d.repeat;
    if (previous >= 0) intervalsMs.push_back(static_cast<double>(d.atNs - previous) / 1e6);
    previous = d.atNs;
  }
  if (frames < 2) {
    std::fprintf(stderr, "bench_x11_capture: %s delivered %d frames in the window\n", mode.c_str(), frames);
    return 1;
  }
  const double seconds = static_cast<double>(b.atNs - a.atNs) / 1e9;
  const Stats pacing = Summarise(intervalsMs);  // in milliseconds here
  const auto perFrame = [&](int64_t ns) { return static_cast<double>(ns) / 1e6 / frames; };
  const double grab = perFrame(b.stageNs[kGrab] - a.stageNs[kGrab] + b.shotNs - a.shotNs);
  char marks[32];
  if (gClock.software)
    std::snprintf(marks, sizeof marks, "-");
  else
    std::snprintf(marks, sizeof marks, "%.3f", perFrame(b.stageNs[kMarks] - a.stageNs[kMarks]));
  char server[32];
  if (a.serverTicks >= 0 && b.serverTicks >= 0)
    std::snprintf(server, sizeof server, "%.3f", perFrame((b.serverTicks - a.serverTicks) * 10'000'000));
  else
    std::snprintf(server, sizeof server, "-");
  std::printf(
      "mode=%s size=%dx%d rate=%g seconds=%.2f frames=%d new=%d fps=%.2f p50_ms=%.2f p99_ms=%.2f max_ms=%.2f "
      "grab_ms=%.3f marks_ms=%s pack_ms=%.3f delivery_ms=%.3f reader_ms=%.3f total_ms=%.3f server_ms=%s "
      "faults=%.0f\n",
      mode.c_str(), screen.right - screen.left, screen.bottom - screen.top, o.fps, seconds, frames,
      frames - repeats, frames / seconds, pacing.median_us, pacing.p99_us, pacing.max_us, grab, marks,
      perFrame(b.stageNs[kPack] - a.stageNs[kPack]),
      perFrame(b.stageNs[kDelivery] - a.stageNs[kDelivery]), perFrame(b.readerNs - a.readerNs),
      perFrame(b.processNs - a.processNs), server, static_cast<double>(b.faults - a.faults) / frames);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  if (!Parse(argc, argv, &o)) {
    std::fprintf(stderr,
                 "usage: bench_x11_capture --mode DXGI|DirectX|GDI [--fps N] [--seconds S] [--warmup S] "
                 "[--server-pid PID]\n"
                 "       bench_x11_capture --paint [--fps N] [--seconds S]\n");
    return 2;
  }
  return o.paint ? Paint(o) : Capture(o);
}
