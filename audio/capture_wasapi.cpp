#include "audio/capture_wasapi.h"

#include <algorithm>
#include <optional>

#include "media/audio_format.h"
#include "props/attribute_info.h"
#include "props/catalogue.h"

using cvplat::AudioFlow;
using cvplat::IAudioEndpoint;
using cvplat::IAudioStream;
using cvplat::KHandle;
using cvplat::WaveEncoding;
using cvplat::WaveFormat;

namespace {

constexpr wchar_t kKeyExclusiveMode[] = L"audio.exclusive_mode";
constexpr wchar_t kKeyBufferMsec[] = L"ext_audio.wasapi_buffer_msec";
constexpr int64_t kOneMs = 10000;

// Adds `name`, or the first of "name (2)", "name (3)", ... that is free.
void AddUnique(TAudioWASAPI& map, const std::wstring& name, std::shared_ptr<IAudioEndpoint> device) {
  std::wstring candidate = name;
  for (int n = 2; map.FindDevice(candidate) >= 0; ++n) candidate = name + L" (" + std::to_wstring(n) + L")";
  map.AddDevice(std::move(candidate), std::move(device));
}

HRESULT ListFlow(int32_t mode, AudioFlow flow, cvplat::IAudioEndpoints& endpoints, TAudioWASAPI& map) {
  cvplat::AudioEndpointList list;
  if (HRESULT hr = endpoints.Endpoints(flow, &list); FAILED(hr)) return hr;
  for (auto& device : list) {
    std::wstring name;
    if (!device || AudioDeviceName(mode, *device, &name) != S_OK || name.empty()) continue;
    AddUnique(map, name, device);
  }
  return S_OK;
}

// The default output's loopback under its fixed name; an output that can't be had adds nothing.
void AddDefaultLoopback(cvplat::IAudioEndpoints& endpoints, TAudioWASAPI& map) {
  std::shared_ptr<IAudioEndpoint> device;
  if (SUCCEEDED(endpoints.DefaultRender(&device)) && device) AddUnique(map, kDefaultLoopbackName, device);
}

// Rows of an option list: a text with "|" splits at "|", any other at blanks, line ends, tabs, ";" and
// ","; runs of separators make no empty rows.
std::vector<std::wstring> SplitOptions(const std::wstring& values) {
  const wchar_t* separators = values.find(L'|') != std::wstring::npos ? L"|" : L" \n\r\t;,";
  std::vector<std::wstring> rows;
  size_t start = 0;
  while (start < values.size()) {
    const size_t end = std::min(values.find_first_of(separators, start), values.size());
    if (end > start) rows.push_back(values.substr(start, end - start));
    start = end + 1;
  }
  return rows;
}

// Sleeps on the thread's timer for `due` (100 ns), bounded by `limitMs`; without a timer, by the clock.
void Pause(KHandle timer, int64_t due, uint32_t limitMs) {
  if (timer && cvplat::SetTimerRelative(timer, due)) {
    cvplat::WaitForOne(timer, limitMs);
  } else {
    cvplat::SleepMs(static_cast<uint32_t>(std::max<int64_t>(1, due / kOneMs)));
  }
}

}  // namespace

// ---- the device map ----

int32_t TAudioWASAPI::FindDevice(std::wstring_view name) const {
  for (size_t i = 0; i < deviceNames.size(); ++i)
    if (deviceNames[i] == name) return static_cast<int32_t>(i);
  return -1;
}

bool TAudioWASAPI::AddDevice(std::wstring name, std::shared_ptr<IAudioEndpoint> device) {
  if (FindDevice(name) >= 0) return false;
  deviceNames.push_back(std::move(name));
  devices.push_back(std::move(device));
  return true;
}

// ---- free functions ----

HRESULT AudioDeviceName(int32_t mode, IAudioEndpoint& device, std::wstring* name) {
  if (!name) return E_POINTER;
  name->clear();
  const HRESULT hr = device.FriendlyName(name);
  if (hr != S_OK || name->empty()) {
    name->clear();
    return FAILED(hr) ? hr : S_FALSE;
  }
  if (mode == eAudioListLoopback) name->append(kLoopbackSuffix);
  return S_OK;
}

HRESULT AudioDeviceList(int32_t mode, cvplat::IAudioEndpoints* endpoints, TAudioWASAPI& map) {
  // A machine without the seam is a machine whose audio service can't be reached.
  if (!endpoints) return CV_E_DEVICE_NOT_AVAILABLE;
  switch (mode) {
    case eAudioListCapture:
      return ListFlow(mode, AudioFlow::kCapture, *endpoints, map);
    case eAudioListLoopback:
      AddDefaultLoopback(*endpoints, map);
      return ListFlow(mode, AudioFlow::kRender, *endpoints, map);
    case eAudioListAll:
      if (HRESULT hr = AudioDeviceList(eAudioListCapture, endpoints, map); FAILED(hr)) return hr;
      return AudioDeviceList(eAudioListLoopback, endpoints, map);
    case eAudioListDefaultLoopback:
      AddDefaultLoopback(*endpoints, map);
      return S_OK;
    default:
      return E_INVALIDARG;
  }
}

std::vector<std::wstring> AudioDeviceOptions(cvplat::IAudioEndpoints* endpoints) {
  TAudioWASAPI map;
  std::vector<std::wstring> names;
  if (FAILED(AudioDeviceList(eAudioListDefaultLoopback, endpoints, map))) return names;
  for (int32_t i = 0; i < map.DeviceCount(); ++i) names.push_back(map.DeviceName(i));
  return names;
}

bool DefaultAudioDevice(XMLParse::CoXMLNode* tree, bool audioEnabled, std::wstring& name) {
  if (!tree || !audioEnabled || name != L"none") return false;
  std::optional<std::wstring> values;
  if (!XMLParse::ReadInfoField(*tree, XMLParse::kKeyAudioDevice, XMLParse::eInfoValues, values) || !values)
    return false;
  const std::vector<std::wstring> options = SplitOptions(*values);
  if (options.empty()) return false;
  name = options[std::min<size_t>(1, options.size() - 1)];
  return true;
}

TAudioProps AudioPropsFromWave(const WaveFormat& wave) {
  TAudioProps props{};
  props.channels = wave.channels;
  props.sampleRate = static_cast<int32_t>(wave.sampleRate);
  props.bitsPerSample = wave.bitsPerSample;
  if (wave.encoding == WaveEncoding::kFloat) props.bitsPerSample = -props.bitsPerSample;
  return props;
}

WaveFormat WaveFromAudioProps(const TAudioProps& props, int64_t mask) {
  if (!AudioIsValid(props)) return WaveFormat{};
  const int32_t bits = props.bitsPerSample < 0 ? -props.bitsPerSample : props.bitsPerSample;
  WaveFormat wave;
  wave.encoding = props.bitsPerSample < 1 ? WaveEncoding::kFloat : WaveEncoding::kPcm;
  wave.channels = static_cast<uint16_t>(props.channels);
  wave.sampleRate = static_cast<uint32_t>(props.sampleRate);
  wave.bitsPerSample = static_cast<uint16_t>((bits + 7) & ~7);  // 20 bits travel in 3 bytes
  wave.validBits = static_cast<uint16_t>(bits);
  wave.channelMask = mask == -1 ? static_cast<uint32_t>((uint64_t{1} << props.channels) - 1) : uint32_t(mask);
  return wave;
}

// ---- TCaptureWASAPI ----

TCaptureWASAPI::TCaptureWASAPI(std::shared_ptr<cvplat::IAudioEndpoints> endpointList)
    : endpoints(std::move(endpointList)) {}

TCaptureWASAPI::~TCaptureWASAPI() { StopCapture(true); }

TAudioProps TCaptureWASAPI::CaptureFormat() {
  cvplat::SectionLock lock(captureLock);
  return captureFormat;
}

std::wstring TCaptureWASAPI::OpenName() {
  cvplat::SectionLock lock(captureLock);
  return deviceName;
}

bool TCaptureWASAPI::IsLoopback() {
  cvplat::SectionLock lock(captureLock);
  return loopback;
}

HRESULT TCaptureWASAPI::StartCapture(const wchar_t* name, const TAudioProps& request, XMLParse::CoXMLNode* tree,
                                     TAudioDataCallback callback, void* context) {
  cvplat::SectionLock lock(captureLock);
  if (HRESULT hr = OpenDevice(name, request, tree); FAILED(hr)) return hr;
  propertyNode.Set(tree);
  onAudioContext.store(context, std::memory_order_relaxed);
  onAudioData.store(callback, std::memory_order_release);
  if (captureThread.Query() != TWorkerThread::kRunning) return captureThread.Start(this, &CaptureThreadMain);
  return S_OK;
}

HRESULT TCaptureWASAPI::OpenDevice(const wchar_t* name, const TAudioProps& request, XMLParse::CoXMLNode* tree) {
  cvplat::SectionLock lock(captureLock);
  const std::wstring wanted = name ? std::wstring(name) : deviceName;
  if (wanted.empty()) return E_INVALIDARG;
  if (DeviceCount() == 0) {
    if (HRESULT hr = AudioDeviceList(eAudioListAll, endpoints.get(), *this); FAILED(hr)) return hr;
  }
  if (wanted == deviceName && audioClient) {
    propertyNode.Set(tree);
    return S_OK;
  }
  CloseDevice();
  OnDeviceClosed();
  const HRESULT hr = OpenEndpoint(wanted, request, tree);
  return FAILED(hr) ? hr : S_OK;
}

HRESULT TCaptureWASAPI::OpenEndpoint(const std::wstring& name, const TAudioProps& request,
                                     XMLParse::CoXMLNode* tree) {
  cvplat::SectionLock lock(captureLock);
  loopback = false;
  const int32_t index = FindDevice(name);
  if (index < 0) return kAudioNameNotFound;
  const std::shared_ptr<IAudioEndpoint> device = Device(index);
  loopback = name.find(kLoopbackMark) != std::wstring::npos;
  propertyNode.Set(tree);

  // A failed open leaves no stream behind: a stream that isn't running would otherwise pass for the
  // open device at the next open of the name that was open before.
  std::unique_ptr<IAudioStream> client;
  if (HRESULT hr = device->Activate(&client); FAILED(hr)) return hr;
  if (!client) return E_POINTER;

  WaveFormat wave;
  if (HRESULT hr = client->MixFormat(&wave); FAILED(hr)) return hr;
  TAudioProps format = AudioPropsFromWave(wave);
  if (request.sampleRate > 0) format.sampleRate = request.sampleRate;
  if (request.bitsPerSample != 0) format.bitsPerSample = request.bitsPerSample;
  if (request.channels > 0) format.channels = request.channels;
  wave = WaveFromAudioProps(format, -1);

  const bool exclusive = tree && tree->GetBool(kKeyExclusiveMode, false);
  const cvplat::AudioShareMode mode = exclusive ? cvplat::AudioShareMode::kExclusive : cvplat::AudioShareMode::kShared;
  WaveFormat closest;
  const HRESULT supported = client->IsFormatSupported(mode, wave, &closest);
  if (FAILED(supported)) return supported;
  if (supported == S_FALSE) wave = closest;

  int64_t defaultPeriod = 0;
  int64_t minimumPeriod = 0;
  if (HRESULT hr = client->DevicePeriod(&defaultPeriod, &minimumPeriod); FAILED(hr)) return hr;
  const int64_t bufferTime = tree ? int64_t{tree->GetInt(kKeyBufferMsec, 0)} * kOneMs : 0;

  // Each buffer time in turn until one is taken; a negative entry ends the list.
  const uint32_t flags = loopback ? cvplat::kStreamLoopback : cvplat::kStreamEventCallback;
  HRESULT hr = E_FAIL;
  for (const int64_t time : {bufferTime, minimumPeriod, kFallbackBufferTime, defaultPeriod}) {
    if (time < 0) break;
    hr = client->Initialize(mode, flags, time, time, wave);
    if (SUCCEEDED(hr)) break;
  }
  if (FAILED(hr)) return hr;

  audioClient = std::move(client);
  captureFormat = AudioPropsFromWave(wave);
  deviceName = name;
  noData.store(false, std::memory_order_release);
  return S_OK;
}

void TCaptureWASAPI::CloseDevice() {
  cvplat::SectionLock lock(captureLock);
  captureThread.Stop(cvplat::kInfinite);
  if (audioClient) {
    audioClient->Stop();
    audioClient.reset();
  }
}

void TCaptureWASAPI::StopCapture(bool clearName) {
  cvplat::SectionLock lock(captureLock);
  CloseDevice();
  if (clearName) deviceName.clear();
}

// ---- the capture thread ----

uint32_t CV_THREADCALL TCaptureWASAPI::CaptureThreadMain(void* self) {
  static_cast<TCaptureWASAPI*>(self)->RunCapture();
  return 0;
}

void TCaptureWASAPI::RunCapture() {
  TApartmentScope apartment;
  cvplat::BeginTimerResolution1ms();
  cvplat::RaiseCurrentThreadPriority();

  // Opened before the thread started and released only after it is joined.
  IAudioStream& stream = *audioClient;
  const bool selfPaced = loopback;
  const TAudioProps format = captureFormat;
  const KHandle wake = captureThread.WakeEvent();
  stream.SetEventHandle(wake);  // a loopback has no events and refuses it
  const HRESULT started = stream.Start();
  // A loopback is never woken by its stream: it starts itself and paces itself from then on. A stream
  // that didn't start won't wake the thread either; polling it is how its silence comes to be told.
  if (selfPaced || FAILED(started)) cvplat::SetEventObject(wake);
  const KHandle timer = cvplat::CreateWaitableTimerObject(true);
  const int quietPolls = selfPaced ? kLoopbackQuietPolls : kDeviceQuietPolls;
  int emptyPolls = 0;

  while (captureThread.IsRunning()) {
    cvplat::WaitForOne(wake, cvplat::kInfinite);
    if (!captureThread.IsRunning()) break;
    uint32_t frames = 0;
    if (FAILED(stream.NextPacketSize(&frames))) frames = 0;
    if (frames > 0) {
      noData.store(false, std::memory_order_release);
      emptyPolls = 0;
      cvplat::AudioPacket packet;
      const bool got = SUCCEEDED(stream.GetBuffer(&packet)) && packet.frames > 0;
      if (got) {
        // The flags tell of silence and gaps; every packet counts as plain data all the same.
        const TAudioDataCallback callback = onAudioData.load(std::memory_order_acquire);
        void* context = onAudioContext.load(std::memory_order_relaxed);
        if (callback && packet.data)
          callback(context, format, packet.data, static_cast<uint32_t>(AudioBytesFromSamples(format, packet.frames)));
        stream.ReleaseBuffer(packet.frames);
      }
      if (selfPaced) {
        // Back 1 ms before the next packet is due. A packet announced but not had waits 1 ms, so that
        // a stream that keeps failing isn't asked again at once.
        const int64_t d = got ? AudioTimeFromSamples(format, packet.frames) : 2 * kOneMs;
        if (d > kOneMs) Pause(timer, d - kOneMs, static_cast<uint32_t>(2 * ((d - kOneMs) / kOneMs) + 1000));
        cvplat::SetEventObject(wake);
      }
    } else {
      Pause(timer, kOneMs, 1002);
      cvplat::SetEventObject(wake);
      if (emptyPolls <= quietPolls) ++emptyPolls;
      if (emptyPolls > quietPolls) noData.store(true, std::memory_order_release);
    }
  }

  stream.Stop();
  cvplat::CloseKernelHandle(timer);
  cvplat::EndTimerResolution1ms();
}
