// The desktop as the screen capture engine sees it: the system's version, the monitors, the windows it
// may follow, the pointer's position, shots of a rectangle and the duplication of a whole output. The
// engine's logic is written once over these seams; GDI, DXGI and the window manager stand behind them
// on Windows, X11 on Linux, and platform/sim/ scripts them for tests.
//
// Threads: every call may come from any thread. The monitor, window and pointer queries are made on the
// capture thread on each pass, and the window list also on host threads. A grabber and a duplication
// each belong to one thread at a time (the shot thread, the capture thread).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/audio_endpoints.h"
#include "platform/com_types.h"
#include "platform/cursor.h"
#include "platform/gpu.h"
#include "platform/key_input.h"
#include "platform/rect.h"

namespace cvplat {

// ---- system ----

struct ISystemVersion {
  virtual ~ISystemVersion() = default;
  // Whether the system is version major.minor, service pack 0, or later. On Linux always true: every
  // capture mode is worth trying there.
  virtual bool AtLeast(uint32_t major, uint32_t minor) = 0;
};

// ---- monitors ----

struct MonitorInfo {
  uint64_t handle = 0;  // the system's identity of the monitor; what an output of the gpu names
  TRect rect{};         // in desktop pixels
};

struct IMonitors {
  virtual ~IMonitors() = default;
  // The monitors in the system's stable order, the primary one not necessarily first. Empty when the
  // system can't tell (no display).
  virtual std::vector<MonitorInfo> List() = 0;
};

// ---- windows and the pointer ----

struct IDesktopWindows {
  virtual ~IDesktopWindows() = default;
  // The rectangle of a window without the invisible part of its frame (a shadow, a resize border);
  // false where the system can't give it.
  virtual bool ExtendedFrameBounds(uint64_t window, TRect* rect) = 0;
  // The rectangle of a window as the window manager places it, invisible frame included.
  virtual bool WindowRect(uint64_t window, TRect* rect) = 0;
  // The window that has the keyboard focus; 0 when there is none.
  virtual uint64_t ForegroundWindow() = 0;
};

struct IPointerPosition {
  virtual ~IPointerPosition() = default;
  // The pointer's position on the desktop, without the hot spot; false when no pointer is showing.
  virtual bool Position(int32_t* x, int32_t* y) = 0;
};

// ---- screen shots ----

// One thread's way of reading the desktop. It may cache system objects between shots (device
// contexts, shared memory segments); ReleaseCached drops them so the next shot makes them anew.
struct IScreenGrabber {
  virtual ~IScreenGrabber() = default;
  // Copies `rect` of the desktop, without the pointer, into `pixels`: 32-bit pixels with blue in the
  // lowest byte, top row first, rows `pitch` bytes apart. A part of `rect` on no monitor comes out
  // black. E_INVALIDARG for an empty rectangle or a null buffer; E_FAIL when the desktop can't be read.
  virtual HRESULT GrabToMemory(const TRect& rect, uint8_t* pixels, int32_t pitch) = 0;
  // The same into a new texture of `device` of the rectangle's size: B8G8R8A8, default usage, shader
  // resource and render target, GDI compatible, as the DirectX mode's shot texture. The texture is
  // made through `device`, so a refusal of the device is the result.
  virtual HRESULT GrabToTexture(IGpuDevice* device, const TRect& rect, IGpuTexture2D** texture) = 0;
  virtual void ReleaseCached() = 0;
};

// ---- duplication of an output ----

inline constexpr HRESULT kDuplicationAccessLost = static_cast<HRESULT>(0x887A0026u);
inline constexpr HRESULT kDuplicationWaitTimeout = static_cast<HRESULT>(0x887A0027u);
inline constexpr HRESULT kDuplicationNotFound = static_cast<HRESULT>(0x887A0002u);  // no such output

struct DuplicationFrameInfo {
  int64_t lastPresentTime = 0;      // 0: the picture hasn't changed since the last image
  int64_t lastMouseUpdateTime = 0;  // 0: the pointer hasn't moved or changed shape either
};

struct IDuplication {
  virtual ~IDuplication() = default;
  // Waits up to `timeoutMs` for the next image of the whole output. S_OK: `*image` holds the output's
  // picture, a texture of the device the duplication was made with, valid until ReleaseFrame; `info`
  // tells whether anything changed. kDuplicationAccessLost: the duplication must be made anew. Any
  // other failure (kDuplicationWaitTimeout among them): no image, `info` cleared.
  virtual HRESULT AcquireNextFrame(uint32_t timeoutMs, DuplicationFrameInfo* info, IGpuTexture2D** image) = 0;
  // Gives the image back; must come before the next AcquireNextFrame. Fails when none is held.
  virtual HRESULT ReleaseFrame() = 0;
};

struct OutputInfo {
  uint64_t monitor = 0;              // the handle of the monitor in IMonitors::List
  TRect desktopCoordinates{};        // where the output lies on the desktop
};

// The outputs of the adapter behind one gpu device.
struct IGpuOutputs {
  virtual ~IGpuOutputs() = default;
  // Output number `index` (from 0); kDuplicationNotFound past the last, which ends the list.
  virtual HRESULT Output(uint32_t index, OutputInfo* info) = 0;
  // A duplication of output `index` on the device; a failure where the output or the system can't.
  virtual HRESULT Duplicate(uint32_t index, std::unique_ptr<IDuplication>* duplication) = 0;
};

struct IDuplicationSource {
  virtual ~IDuplicationSource() = default;
  // The adapter of `device` with its outputs; a failure where the device has no adapter to ask.
  virtual HRESULT Outputs(IGpuDevice* device, std::unique_ptr<IGpuOutputs>* outputs) = 0;
};

// ---- everything together ----

struct CapturePlatform {
  std::shared_ptr<ISystemVersion> system;
  std::shared_ptr<IMonitors> monitors;
  std::shared_ptr<IDesktopWindows> windows;
  std::shared_ptr<IPointerPosition> pointer;
  // A grabber for a shot thread; each thread makes its own.
  std::function<std::unique_ptr<IScreenGrabber>()> makeGrabber;
  std::shared_ptr<IDuplicationSource> duplication;
  GpuDeviceFactory gpu;
  // How many times faster than real time the capture's frames are paced: 1 on a real machine; a
  // simulated one may run minutes of capture in seconds, with the same stamps.
  double paceRate = 1.0;
  // The pointer's picture and the keys, for the overlays; null where the machine can't tell, and then
  // nothing is drawn.
  std::shared_ptr<ICursor> cursor;
  std::shared_ptr<IKeyInput> keys;
  // The millisecond clock the overlays' deadlines run on; wraps at 2^32. Null: the system's tick.
  std::function<uint32_t()> tickMs;
  // A file among the module's resources by id, of the type "CUSTOM" (the overlays' stock images):
  // its bytes, or the system's error when it can't be found.
  std::function<HRESULT(uint32_t id, std::vector<uint8_t>* bytes)> resource;
  // The sound endpoints whose sound is joined to the frames; null where the machine has none.
  std::shared_ptr<IAudioEndpoints> audio;
};

// What the machine has. The Windows and X11 backends fill the seams one by one; a seam the machine
// can't answer yet answers "nothing there" (no monitors, shots that fail, no duplication), so "auto"
// comes out in a mode without a picture and no thread waits for one without a bound.
CapturePlatform NativeCapturePlatform();

}  // namespace cvplat
