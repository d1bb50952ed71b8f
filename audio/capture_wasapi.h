// TCaptureWASAPI: the capture half of the device's sound. It names the machine's sound endpoints (a
// recording endpoint by its friendly name, an output endpoint by its name and " (Loopback)"), opens one
// by name with the format and buffer time the properties ask for, and runs a high-priority thread that
// takes the endpoint's packets and hands each one to a callback. The endpoints come through the seam of
// platform/audio_endpoints.h, so the same logic runs over WASAPI, the Linux sound server and the sim.
//
// Threads: opening and stopping run on any thread under captureLock, which is re-entrant. The capture
// thread takes no lock: it touches only the stream, the callback and noData, and the stream is released
// only after the thread has been joined. noData and captureFormat are read by the frame finishing.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "media/av_props.h"
#include "media/locked_ptr.h"
#include "media/worker_thread.h"
#include "platform/audio_endpoints.h"
#include "platform/critical_section.h"
#include "props/xml_node.h"

// The name the default output's loopback is listed under, and the mark that makes any name a loopback.
inline constexpr wchar_t kDefaultLoopbackName[] = L"PC Sounds (Loopback)";
inline constexpr wchar_t kLoopbackMark[] = L"(Loopback)";
inline constexpr wchar_t kLoopbackSuffix[] = L" (Loopback)";

// What AudioDeviceList adds to the map.
enum TAudioListMode : int32_t {
  eAudioListCapture = 1,          // every active recording endpoint
  eAudioListLoopback = 2,         // the default output's loopback, then every active output's
  eAudioListAll = 3,              // both, recording endpoints first
  eAudioListDefaultLoopback = 16  // only the default output's loopback
};

// A name that isn't in the device map.
inline constexpr HRESULT kAudioNameNotFound = static_cast<HRESULT>(0x80070002u);

// The device map: each name once, with the endpoint it stands for, in the order they were added. It is
// filled on the first open and kept for the owner's life, so an endpoint added later isn't found.
// Guarded by its owner's lock.
class TAudioWASAPI {
 public:
  int32_t DeviceCount() const { return static_cast<int32_t>(deviceNames.size()); }
  const std::wstring& DeviceName(int32_t index) const { return deviceNames[size_t(index)]; }
  const std::shared_ptr<cvplat::IAudioEndpoint>& Device(int32_t index) const { return devices[size_t(index)]; }
  // The index of a name, compared exactly; -1 when it isn't there.
  int32_t FindDevice(std::wstring_view name) const;
  // False (and nothing added) when the name is there already.
  bool AddDevice(std::wstring name, std::shared_ptr<cvplat::IAudioEndpoint> device);

 private:
  std::vector<std::wstring> deviceNames;
  std::vector<std::shared_ptr<cvplat::IAudioEndpoint>> devices;
};

// Adds the endpoints of `mode` to `map`: each under its friendly name (with " (Loopback)" for an
// output), a name that is taken already under "name (2)", "name (3)" and so on; an endpoint without a
// name is left out. The failure of the endpoint list ends the call with its status.
HRESULT AudioDeviceList(int32_t mode, cvplat::IAudioEndpoints* endpoints, TAudioWASAPI& map);
// The friendly name of an endpoint, with " (Loopback)" in mode eAudioListLoopback; S_FALSE and empty
// when it has none.
HRESULT AudioDeviceName(int32_t mode, cvplat::IAudioEndpoint& device, std::wstring* name);
// The options of capture.audio_device after "none": the default output's loopback when the machine has
// one, else nothing.
std::vector<std::wstring> AudioDeviceOptions(cvplat::IAudioEndpoints* endpoints);
// When `name` is "none" and audio is wanted, the option after "none" in the option list of
// capture.audio_device (the last option when the list is shorter) takes its place. True when replaced.
bool DefaultAudioDevice(XMLParse::CoXMLNode* tree, bool audioEnabled, std::wstring& name);

// Channels, rate and bits of a wave format; negative bits for floats; mask 0.
TAudioProps AudioPropsFromWave(const cvplat::WaveFormat& wave);
// The wave format of a sound record; all zero for an invalid one. `mask` -1 covers every channel.
cvplat::WaveFormat WaveFromAudioProps(const TAudioProps& props, int64_t mask);

// Called on the capture thread with each packet, interleaved in `format`. Its result is ignored.
using TAudioDataCallback = HRESULT (*)(void* context, const TAudioProps& format, const uint8_t* data,
                                       uint32_t bytes);

class TCaptureWASAPI : public TAudioWASAPI {
 public:
  // Empty polls after which a loopback, or a recording endpoint, counts as having no data.
  static constexpr int kLoopbackQuietPolls = 32;
  static constexpr int kDeviceQuietPolls = 128;
  static constexpr int64_t kFallbackBufferTime = 100000;  // 10 ms

  // `endpoints` may be null: every open then fails as a list that can't be had.
  explicit TCaptureWASAPI(std::shared_ptr<cvplat::IAudioEndpoints> endpoints);
  // Stops the capture; a derived class whose callback the thread may be running stops it first.
  virtual ~TCaptureWASAPI();
  TCaptureWASAPI(const TCaptureWASAPI&) = delete;
  TCaptureWASAPI& operator=(const TCaptureWASAPI&) = delete;

  // Opens `name` (null: the open device) and starts the capture thread if it isn't running. `tree`
  // (may be null) is where the exclusive mode and the buffer time are read.
  HRESULT StartCapture(const wchar_t* name, const TAudioProps& request, XMLParse::CoXMLNode* tree,
                       TAudioDataCallback callback, void* context);
  // Brings `name` (null: the stored name) into the open state, without starting the thread. The name
  // that is open already only takes the tree. E_INVALIDARG when no name is known, kAudioNameNotFound for
  // a name not in the map, or the status of the step of the open that failed.
  HRESULT OpenDevice(const wchar_t* name, const TAudioProps& request, XMLParse::CoXMLNode* tree);
  // The endpoint part of the open: the format (the mix format, overridden by the request's rate, bits
  // and channels where set, or the closest the endpoint offers) and the buffer time, which falls back
  // to the shortest period, 10 ms and the default period in turn.
  HRESULT OpenEndpoint(const std::wstring& name, const TAudioProps& request, XMLParse::CoXMLNode* tree);
  // Stops the thread (it always comes back) and closes the stream; `clearName` forgets the name too.
  void StopCapture(bool clearName);

  bool NoData() const { return noData.load(std::memory_order_acquire); }
  bool Capturing() { return captureThread.Query() == TWorkerThread::kRunning; }
  TAudioProps CaptureFormat();
  std::wstring OpenName();
  bool IsLoopback();

 protected:
  // Told by OpenDevice when it has closed the device it had open: the derived class drops what it has
  // buffered of it. Runs under captureLock.
  virtual void OnDeviceClosed() {}
  // Stops the thread and releases the stream, under captureLock.
  void CloseDevice();

  cvplat::CriticalSection captureLock;
  TLockedPtr<XMLParse::CoXMLNode> propertyNode;
  std::unique_ptr<cvplat::IAudioStream> audioClient;
  std::wstring deviceName;
  TAudioProps captureFormat{};
  bool loopback = false;
  std::atomic<bool> noData{false};

 private:
  static uint32_t CV_THREADCALL CaptureThreadMain(void* self);
  void RunCapture();

  const std::shared_ptr<cvplat::IAudioEndpoints> endpoints;
  TWorkerThread captureThread;
  // The context is written before the callback and read after it, so that a callback that is seen
  // comes with its own context.
  std::atomic<void*> onAudioContext{nullptr};
  std::atomic<TAudioDataCallback> onAudioData{nullptr};
};
