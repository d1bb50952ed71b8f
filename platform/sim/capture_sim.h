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
#include <vector>

#include "platform/desktop.h"

namespace cvplat {

class SimDesktop : public ISystemVersion,
                   public IMonitors,
                   public IDesktopWindows,
                   public IPointerPosition,
                   public IDuplicationSource,
                   public std::enable_shared_from_this<SimDesktop> {
 public:
  // One monitor of 1920x1080 at the origin (handle 0x10001), version 10.0, no windows, a pointer at
  // (100, 100), a desktop that stands still at tick 0.
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

  // ---- counters ----
  int Shots();                 // grab calls, the failed ones included
  int LiveGrabbers();
  int DuplicateCalls();
  int LiveDuplications();
  int Acquires();              // AcquireNextFrame calls
  int ImagesHeld();            // images acquired and not yet released, over all duplications
  int ReleaseFrameCalls();
  uint32_t LastAcquireTimeout();  // the time-out of the last AcquireNextFrame, in milliseconds

  // ---- the seams ----
  bool AtLeast(uint32_t major, uint32_t minor) override;
  std::vector<MonitorInfo> List() override;
  bool ExtendedFrameBounds(uint64_t window, TRect* rect) override;
  bool WindowRect(uint64_t window, TRect* rect) override;
  uint64_t ForegroundWindow() override;
  bool Position(int32_t* x, int32_t* y) override;
  HRESULT Outputs(IGpuDevice* device, std::unique_ptr<IGpuOutputs>* outputs) override;
  std::unique_ptr<IScreenGrabber> MakeGrabber();

  struct State;

 private:
  SimDesktop();
  std::shared_ptr<State> state_;
};

}  // namespace cvplat
