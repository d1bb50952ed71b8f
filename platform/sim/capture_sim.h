// A simulated desktop for the capture engine's tests: scripted monitors, windows and pointer, a picture
// whose every pixel is known from its position and a tick, and shots and duplications that fail on
// demand. One SimDesktop answers all the seams of platform/desktop.h; Platform() bundles them with a
// gpu device factory (the CPU twin unless a test gives its own, e.g. a GpuFaults factory).
//
// Counting: "the n-th call" counts from the script's start over every grabber or duplication made.
// Scripting and counting are safe from any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/desktop.h"

namespace cvplat {

// A pointer's shape as the simulated desktop draws it. `pixels` holds width x height values, top row
// first: for a colour pointer premultiplied ARGB (blue lowest), for a monochrome one a code per pixel.
struct SimPointerShape {
  // The codes of a monochrome pointer's pixels, the four that its AND and XOR planes can make.
  static constexpr uint32_t kBlack = 0;
  static constexpr uint32_t kWhite = 1;
  static constexpr uint32_t kTransparent = 2;
  static constexpr uint32_t kInvert = 3;

  int32_t width = 0;
  int32_t height = 0;
  int32_t hotX = 0;
  int32_t hotY = 0;
  bool colour = true;
  std::vector<uint32_t> pixels;

  // An arrow of 12 x 19 in black and white whose edges are soft in alpha; hot spot (0, 0).
  static SimPointerShape ColourArrow();
  // The text pointer as the system's is: a monochrome I-beam of 9 x 16 all of inverting pixels, so it
  // shows only by what lies below it; hot spot (4, 8).
  static SimPointerShape MonochromeIBeam();
  // A monochrome arrow of 12 x 19, black outline and white inside; hot spot (0, 0).
  static SimPointerShape MonochromeArrow();
};

class SimDesktop : public ISystemVersion,
                   public IMonitors,
                   public IDesktopWindows,
                   public IPointerPosition,
                   public IDuplicationSource,
                   public ICursor,
                   public IKeyInput,
                   public std::enable_shared_from_this<SimDesktop> {
 public:
  // One monitor of 1920x1080 at the origin (handle 0x10001), version 10.0, no windows, a pointer at
  // (100, 100) in the shape ColourArrow with handle 1, no key down, a desktop that stands still at tick 0,
  // the overlays' clock at 1000 ms.
  static std::shared_ptr<SimDesktop> Create();

  // The desktop's pixel at (x, y) at `tick`: blue lowest, alpha 255. Red carries the tick, so a frame
  // tells which tick it shows: red = (x + tick) & 0xFF, green = y & 0xFF, blue = (x / 256 + 16 x (y / 256)
  // + 85 x (tick / 256)) & 0xFF, the divisions rounding down (also left of and above the origin). Off every
  // monitor the desktop is opaque black.
  static uint32_t PixelAt(int32_t x, int32_t y, uint32_t tick);
  // The pixel the desktop shows now at (x, y): PixelAt on a monitor, opaque black elsewhere.
  uint32_t DesktopPixel(int32_t x, int32_t y);

  CapturePlatform Platform(GpuDeviceFactory gpu = {});

  // ---- scripting ----
  void SetVersion(uint32_t major, uint32_t minor);
  void SetMonitors(std::vector<MonitorInfo> monitors);
  // A window: `frame` is what ExtendedFrameBounds gives (when `hasFrame`), `rect` what WindowRect gives
  // (when `hasRect`). Setting a handle again replaces it.
  void SetWindow(uint64_t handle, TRect frame, TRect rect, bool hasFrame = true, bool hasRect = true);
  void RemoveWindow(uint64_t handle);
  void SetForeground(uint64_t handle);  // 0: none
  // Where the pointer's hot spot is and whether it shows, for both IPointerPosition and ICursor.
  void SetPointer(bool showing, int32_t x, int32_t y);
  // The module's files as Platform()'s `resource` answers them: the bytes set here, the system's "not
  // found" for an id removed here, the module's own files (FindModuleResource) for any other id.
  void SetResource(uint32_t id, std::vector<uint8_t> bytes);
  void RemoveResource(uint32_t id);
  // A changing desktop advances its tick by one with each shot and each acquired image; a still one
  // keeps it. SetTick moves it by hand.
  void SetChanging(bool changing);
  void SetTick(uint32_t tick);
  uint32_t Tick();

  // Shots number `nth` (1 is the first) up to `nth + times - 1` fail with `result`; `times` below 1:
  // every shot from the n-th on.
  void FailShots(int nth, int times = 1, HRESULT result = E_FAIL);

  // The adapter can't be had (Outputs fails with `result`); S_OK undoes it.
  void FailOutputs(HRESULT result);
  // The monitors whose outputs the adapter has, by handle; by default every monitor's.
  void SetAdapterMonitors(std::vector<uint64_t> monitors);
  // Duplicate calls number `nth` .. `nth + times - 1` fail (times below 1: from the n-th on).
  void FailDuplicate(int nth, int times = 1, HRESULT result = E_NOTIMPL);
  // After `after` more calls of AcquireNextFrame, the next `times` calls, over all duplications, answer
  // `result` (a failure: kDuplicationAccessLost, kDuplicationWaitTimeout or any other) with no image.
  void FailAcquire(HRESULT result, int times, int after = 0);
  // ReleaseFrame calls number `nth` .. `nth + times - 1` fail with `result`; a held image stays held, so
  // the next AcquireNextFrame of that duplication fails until it is destroyed.
  void FailReleaseFrame(int nth, int times = 1, HRESULT result = E_FAIL);
  // On a still desktop, AcquireNextFrame answers with an image whose info is all 0 ("nothing new")
  // instead of the time-out that a still output gives after its wait.
  void SetStillGivesImage(bool image);
  // Let the next acquire on a still desktop report a pointer update only (lastMouseUpdateTime set).
  void MovePointerOnly();
  // As the system's duplication does: AcquireNextFrame while an image is held and ReleaseFrame with
  // none held fail with 0x887A0001 (an invalid call); a duplication whose output moved, changed size or
  // left the adapter (SetMonitors, SetAdapterMonitors) answers kDuplicationAccessLost from then on; one
  // destroyed while it holds an image gives the image back. The first acquire of a duplication brings
  // an image even on a still desktop. Images are B8G8R8A8 textures of the output's size, made on the
  // duplication's device; a refusal of the device is the acquire's result.

  // ---- the pointer's shape ----
  // The pointer takes the shape `shape` under `handle` (not 0); a handle set again gets the new shape.
  // Shapes set earlier stay known to Shape and Render under their handles.
  void SetPointerShape(uint64_t handle, SimPointerShape shape);
  // While set, Render fails with E_FAIL, or Shape answers false.
  void FailRender(bool fail);
  void FailShape(bool fail);

  // ---- keys ----
  // Virtual key `vk` (below 256) goes down and stays down until ReleaseKey. A side modifier (0xA0 ..
  // 0xA5, left and right Shift, Ctrl, Alt) holds its general key (0x10, 0x11, 0x12) as well, for as long
  // as either side is down.
  void PressKey(uint32_t vk);
  void ReleaseKey(uint32_t vk);
  // Down and up again between two polls: the next KeyDown(vk) says true, once. A press and release
  // without a poll between them does the same.
  void TapKey(uint32_t vk);
  // By default 0x10 "Shift", 0x11 "Ctrl", 0x12 "Alt" (the side keys named as their general one), the
  // letters and digits by themselves, "Space", "Enter", "Esc", "Tab", "F1" .. "F12"; every other key,
  // the mouse buttons among them, has none. An empty `name` takes a key's name away.
  void SetKeyName(uint32_t vk, std::wstring name);

  // ---- the overlays' clock, in milliseconds; wraps at 2^32 ----
  void SetClockMs(uint32_t ms);
  void AdvanceClockMs(uint32_t ms);
  uint32_t ClockMs();

  // ---- counters ----
  int Shots();                 // grab calls, the failed ones included
  int LiveGrabbers();
  int DuplicateCalls();
  int LiveDuplications();
  int Acquires();              // AcquireNextFrame calls
  int ImagesHeld();            // images acquired and not yet released, over all duplications
  int ReleaseFrameCalls();
  uint32_t LastAcquireTimeout();  // the time-out of the last AcquireNextFrame, in milliseconds
  int RenderCalls();              // the failed ones included
  int ShapeCalls();
  int KeyPolls();                 // KeyDown calls

  // ---- the seams ----
  bool AtLeast(uint32_t major, uint32_t minor) override;
  std::vector<MonitorInfo> List() override;
  bool ExtendedFrameBounds(uint64_t window, TRect* rect) override;
  bool WindowRect(uint64_t window, TRect* rect) override;
  uint64_t ForegroundWindow() override;
  bool Position(int32_t* x, int32_t* y) override;
  HRESULT Outputs(IGpuDevice* device, std::unique_ptr<IGpuOutputs>* outputs) override;
  std::unique_ptr<IScreenGrabber> MakeGrabber();
  bool Query(CursorState* state) override;
  bool Shape(uint64_t handle, CursorShape* shape) override;
  // Draws at most the part of the pointer that fits the surface. A colour pointer blends over the
  // surface as the system blends it, every byte alpha included: out = src + dst x (255 - src alpha) /
  // 255, rounded. A monochrome one keeps surface & 0x00FFFFFF where transparent, gives 0 where black,
  // 0x00FFFFFF where white and (surface & 0x00FFFFFF) ^ 0x00FFFFFF where inverting. E_FAIL for a handle
  // never set; E_INVALIDARG for no surface.
  HRESULT Render(uint64_t handle, int32_t width, int32_t height, uint32_t* pixels) override;
  bool KeyDown(uint32_t vk) override;
  std::wstring KeyName(uint32_t vk) override;

  struct State;

 private:
  SimDesktop();
  std::shared_ptr<State> state_;
};

}  // namespace cvplat
