// The sound endpoints over the system's audio layer: the device enumerator lists the active endpoints of
// each flow, an endpoint's audio client is its stream, and the stream's capture client hands out its
// packets. Ids are the system's endpoint ids, friendly names its own; statuses pass through unchanged.
//
// Apartments: the streams are driven from the capture thread, and the lists and opens from whatever
// thread the host calls on, some of which never entered COM. Every object of this file holds the
// process's multithreaded apartment alive (CoIncrementMTAUsage) while it lives, so that a thread in no
// apartment is in the implicit one and no last CoUninitialize elsewhere tears it down, and with it the
// system's module, under the interfaces held here. Every call but the packet calls also enters the
// multithreaded apartment for its own duration where the calling thread is in none, and leaves it again;
// a thread in a single-threaded apartment stays there, since the audio layer's objects are in process and
// free-threaded and so serve it directly.
#include <windows.h>
#include <initguid.h>
#include <mmreg.h>
#include <ks.h>
#include <ksmedia.h>
#include <mmdeviceapi.h>
#include <audioclient.h>
#include <functiondiscoverykeys_devpkey.h>
#include <propidl.h>

#include <memory>
#include <string>
#include <utility>

#include "platform/audio_endpoints.h"
#include "platform/auto_obj.h"

namespace cvplat {
namespace {

static_assert(kStreamLoopback == AUDCLNT_STREAMFLAGS_LOOPBACK &&
              kStreamEventCallback == AUDCLNT_STREAMFLAGS_EVENTCALLBACK);
static_assert(kPacketDiscontinuity == AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY &&
              kPacketSilent == AUDCLNT_BUFFERFLAGS_SILENT &&
              kPacketTimestampError == AUDCLNT_BUFFERFLAGS_TIMESTAMP_ERROR);
static_assert(kAudioBufferEmpty == AUDCLNT_S_BUFFER_EMPTY && kAudioNotInitialized == AUDCLNT_E_NOT_INITIALIZED &&
              kAudioWrongEndpointType == AUDCLNT_E_WRONG_ENDPOINT_TYPE &&
              kAudioUnsupportedFormat == AUDCLNT_E_UNSUPPORTED_FORMAT);
static_assert(static_cast<int>(AudioShareMode::kShared) == AUDCLNT_SHAREMODE_SHARED &&
              static_cast<int>(AudioShareMode::kExclusive) == AUDCLNT_SHAREMODE_EXCLUSIVE);

// ---- apartments ----

// The multithreaded apartment, kept while any holder lives. The two calls are looked up by name: not
// every import library of the system's COM module names them. A system without them (older than
// Windows 8) has only the calls' own apartments.
class ApartmentHold {
 public:
  static std::shared_ptr<ApartmentHold> Make() {
    auto hold = std::make_shared<ApartmentHold>();
    const HMODULE ole = GetModuleHandleW(L"ole32.dll");
    const auto increment = reinterpret_cast<HRESULT(WINAPI*)(CO_MTA_USAGE_COOKIE*)>(
        reinterpret_cast<void*>(ole ? GetProcAddress(ole, "CoIncrementMTAUsage") : nullptr));
    hold->decrement_ = reinterpret_cast<HRESULT(WINAPI*)(CO_MTA_USAGE_COOKIE)>(
        reinterpret_cast<void*>(ole ? GetProcAddress(ole, "CoDecrementMTAUsage") : nullptr));
    if (!increment || !hold->decrement_ || FAILED(increment(&hold->cookie_))) hold->cookie_ = nullptr;
    return hold;
  }
  ApartmentHold() = default;
  ~ApartmentHold() {
    if (cookie_) decrement_(cookie_);
  }
  ApartmentHold(const ApartmentHold&) = delete;
  ApartmentHold& operator=(const ApartmentHold&) = delete;

 private:
  HRESULT(WINAPI* decrement_)(CO_MTA_USAGE_COOKIE) = nullptr;
  CO_MTA_USAGE_COOKIE cookie_ = nullptr;
};

// The multithreaded apartment for one call, for a thread that is in none; undone on the way out.
class CallApartment {
 public:
  CallApartment() : hr_(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
  ~CallApartment() {
    if (SUCCEEDED(hr_)) CoUninitialize();
  }
  CallApartment(const CallApartment&) = delete;
  CallApartment& operator=(const CallApartment&) = delete;

 private:
  const HRESULT hr_;  // S_OK or S_FALSE: entered here; RPC_E_CHANGED_MODE: the thread's own apartment
};

template <class T>
void** OutSlot(TRefPtr<T>& p) {
  return reinterpret_cast<void**>(p.Receive());
}

// A block the system allocated for the caller, freed on every way out.
template <class T>
class TaskMemory {
 public:
  TaskMemory() = default;
  ~TaskMemory() { CoTaskMemFree(p_); }
  TaskMemory(const TaskMemory&) = delete;
  TaskMemory& operator=(const TaskMemory&) = delete;
  T** Receive() {
    CoTaskMemFree(std::exchange(p_, nullptr));
    return &p_;
  }
  T* Get() const { return p_; }

 private:
  T* p_ = nullptr;
};

// ---- formats ----

// The system's record of a format, plain or extensible, onto the seam's; false for what the seam has no
// words for (compressed formats, floats other than 32 bits, inconsistent records).
bool WaveFromNative(const WAVEFORMATEX& native, WaveFormat* wave) {
  WORD tag = native.wFormatTag;
  uint16_t validBits = native.wBitsPerSample;
  uint32_t mask = 0;
  if (tag == WAVE_FORMAT_EXTENSIBLE) {
    if (native.cbSize < sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX)) return false;
    const auto& extensible = reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(native);
    if (IsEqualGUID(extensible.SubFormat, KSDATAFORMAT_SUBTYPE_PCM))
      tag = WAVE_FORMAT_PCM;
    else if (IsEqualGUID(extensible.SubFormat, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT))
      tag = WAVE_FORMAT_IEEE_FLOAT;
    else
      return false;
    if (extensible.Samples.wValidBitsPerSample != 0) validBits = extensible.Samples.wValidBitsPerSample;
    mask = extensible.dwChannelMask;
  }
  if (tag != WAVE_FORMAT_PCM && tag != WAVE_FORMAT_IEEE_FLOAT) return false;
  if (tag == WAVE_FORMAT_IEEE_FLOAT && native.wBitsPerSample != 32) return false;
  if (native.nChannels == 0 || native.wBitsPerSample == 0 || validBits > native.wBitsPerSample) return false;
  wave->encoding = tag == WAVE_FORMAT_PCM ? WaveEncoding::kPcm : WaveEncoding::kFloat;
  wave->channels = native.nChannels;
  wave->sampleRate = native.nSamplesPerSec;
  wave->bitsPerSample = native.wBitsPerSample;
  wave->validBits = validBits;
  wave->channelMask = mask;
  return true;
}

// The seam's format as the system's record: the plain one where it says everything (up to two channels
// in whole 8- or 16-bit integers or 32-bit floats, no speaker positions), else the extensible one with
// its sub-format, valid bits and channel mask. False for a format no record can hold.
bool NativeFromWave(const WaveFormat& wave, WAVEFORMATEXTENSIBLE* native) {
  const uint16_t bits = wave.bitsPerSample;
  const uint16_t validBits = wave.validBits != 0 ? wave.validBits : bits;
  const bool pcm = wave.encoding == WaveEncoding::kPcm;
  if (!pcm && wave.encoding != WaveEncoding::kFloat) return false;
  if (!pcm && (bits != 32 || validBits != 32)) return false;
  if (wave.channels == 0 || wave.sampleRate == 0 || bits == 0 || bits % 8 != 0 || validBits > bits) return false;
  const uint32_t blockAlign = uint32_t{wave.channels} * (bits / 8);
  if (blockAlign > 0xFFFF || uint64_t{blockAlign} * wave.sampleRate > 0xFFFFFFFFu) return false;

  const bool extensible = wave.channels > 2 || validBits != bits || wave.channelMask != 0 || (pcm && bits > 16);
  *native = WAVEFORMATEXTENSIBLE{};
  WAVEFORMATEX& format = native->Format;
  format.wFormatTag = extensible ? WAVE_FORMAT_EXTENSIBLE : pcm ? WAVE_FORMAT_PCM : WAVE_FORMAT_IEEE_FLOAT;
  format.nChannels = wave.channels;
  format.nSamplesPerSec = wave.sampleRate;
  format.wBitsPerSample = bits;
  format.nBlockAlign = static_cast<WORD>(blockAlign);
  format.nAvgBytesPerSec = blockAlign * wave.sampleRate;
  if (extensible) {
    format.cbSize = sizeof(WAVEFORMATEXTENSIBLE) - sizeof(WAVEFORMATEX);
    native->Samples.wValidBitsPerSample = validBits;
    native->dwChannelMask = wave.channelMask;
    native->SubFormat = pcm ? KSDATAFORMAT_SUBTYPE_PCM : KSDATAFORMAT_SUBTYPE_IEEE_FLOAT;
  }
  return true;
}

// ---- the system's objects ----

HRESULT MakeEnumerator(TRefPtr<IMMDeviceEnumerator>* enumerator) {
  return CoCreateInstance(CLSID_MMDeviceEnumerator, nullptr, CLSCTX_INPROC_SERVER, IID_IMMDeviceEnumerator,
                          OutSlot(*enumerator));
}

// An endpoint that left the system, or was disabled or unplugged, is gone for those who hold it.
bool DeviceGone(IMMDevice* device) {
  DWORD state = 0;
  return FAILED(device->GetState(&state)) || state != DEVICE_STATE_ACTIVE;
}

HRESULT ActivateClient(IMMDevice* device, TRefPtr<IAudioClient>* client) {
  return device->Activate(IID_IAudioClient, CLSCTX_INPROC_SERVER, nullptr, OutSlot(*client));
}

// ---- streams ----

class WasapiStream final : public IAudioStream {
 public:
  WasapiStream(std::shared_ptr<ApartmentHold> hold, TRefPtr<IMMDevice> device, AudioFlow flow,
               TRefPtr<IAudioClient> client)
      : hold_(std::move(hold)), device_(std::move(device)), flow_(flow), client_(std::move(client)) {}

  ~WasapiStream() override {
    capture_.Reset();
    if (client_) client_->Stop();
    client_.Reset();
  }

  HRESULT MixFormat(WaveFormat* format) override {
    if (!format) return E_POINTER;
    CallApartment apartment;
    TaskMemory<WAVEFORMATEX> mix;
    if (HRESULT hr = client_->GetMixFormat(mix.Receive()); FAILED(hr)) return hr;
    if (!mix.Get() || !WaveFromNative(*mix.Get(), format)) return kAudioUnsupportedFormat;
    return S_OK;
  }

  HRESULT IsFormatSupported(AudioShareMode mode, const WaveFormat& format, WaveFormat* closest) override {
    CallApartment apartment;
    WAVEFORMATEXTENSIBLE native;
    if (!NativeFromWave(format, &native)) return kAudioUnsupportedFormat;
    // Exclusive mode never offers a closest format and takes no slot for one.
    TaskMemory<WAVEFORMATEX> nearest;
    const bool shared = mode == AudioShareMode::kShared;
    const HRESULT hr = client_->IsFormatSupported(static_cast<AUDCLNT_SHAREMODE>(mode), &native.Format,
                                                  shared ? nearest.Receive() : nullptr);
    if (hr != S_FALSE) return hr;
    WaveFormat offered;
    if (!nearest.Get() || !WaveFromNative(*nearest.Get(), &offered)) return kAudioUnsupportedFormat;
    if (closest) *closest = offered;
    return S_FALSE;
  }

  HRESULT DevicePeriod(int64_t* defaultPeriod, int64_t* minimumPeriod) override {
    CallApartment apartment;
    REFERENCE_TIME standard = 0;
    REFERENCE_TIME shortest = 0;
    if (HRESULT hr = client_->GetDevicePeriod(&standard, &shortest); FAILED(hr)) return hr;
    if (defaultPeriod) *defaultPeriod = standard;
    if (minimumPeriod) *minimumPeriod = shortest;
    return S_OK;
  }

  HRESULT Initialize(AudioShareMode mode, uint32_t streamFlags, int64_t bufferDuration, int64_t periodicity,
                     const WaveFormat& format) override {
    CallApartment apartment;
    if (capture_) return kAudioAlreadyInitialized;
    // Only reading is offered: an output endpoint is read through its loopback, a recording one directly.
    // The system would refuse the capture client of either mismatch later; this says so at once.
    if (((streamFlags & kStreamLoopback) != 0) != (flow_ == AudioFlow::kRender)) return kAudioWrongEndpointType;
    WAVEFORMATEXTENSIBLE native;
    if (!NativeFromWave(format, &native)) return kAudioUnsupportedFormat;

    HRESULT hr = client_->Initialize(static_cast<AUDCLNT_SHAREMODE>(mode), streamFlags, bufferDuration, periodicity,
                                     &native.Format, nullptr);
    // A loopback that the system initialises but serves no capture client for (so Wine) fails here,
    // where the caller can still choose another way.
    if (SUCCEEDED(hr)) hr = client_->GetService(IID_IAudioCaptureClient, OutSlot(capture_));
    if (SUCCEEDED(hr) && !capture_) hr = E_POINTER;
    if (SUCCEEDED(hr)) return S_OK;
    capture_.Reset();
    // The system's client may keep part of a failed initialisation (a refused buffer time wants a new
    // one, by the system's own rule): a fresh one takes its place, so that the next attempt starts clean.
    if (hr != kAudioAlreadyInitialized) {
      TRefPtr<IAudioClient> fresh;
      if (SUCCEEDED(ActivateClient(device_.Get(), &fresh)) && fresh) client_ = std::move(fresh);
    }
    return hr;
  }

  HRESULT SetEventHandle(KHandle event) override {
    CallApartment apartment;
    const HRESULT hr = client_->SetEventHandle(static_cast<HANDLE>(event));
    if (SUCCEEDED(hr)) event_ = event;
    return hr;
  }

  HRESULT Start() override {
    CallApartment apartment;
    return client_->Start();
  }

  HRESULT Stop() override {
    CallApartment apartment;
    const HRESULT hr = client_->Stop();
    // What was captured and not taken is dropped, as the system does not: a new start begins with what
    // the endpoint gives then. A packet still held keeps its data until it is given back.
    if (hr == S_OK) client_->Reset();
    return hr;
  }

  HRESULT NextPacketSize(uint32_t* frames) override {
    if (!frames) return E_POINTER;
    *frames = 0;
    if (!capture_) return kAudioNotInitialized;
    UINT32 next = 0;
    const HRESULT hr = capture_->GetNextPacketSize(&next);
    if (SUCCEEDED(hr)) *frames = next;
    return hr;
  }

  HRESULT GetBuffer(AudioPacket* packet) override {
    if (!packet) return E_POINTER;
    *packet = AudioPacket{};
    if (!capture_) return kAudioNotInitialized;
    BYTE* data = nullptr;
    UINT32 frames = 0;
    DWORD flags = 0;
    const HRESULT hr = capture_->GetBuffer(&data, &frames, &flags, nullptr, nullptr);
    if (hr != S_OK) return hr;  // kAudioBufferEmpty (a success) or a failure: no packet either way
    packet->data = data;
    packet->frames = frames;
    packet->flags = flags;
    return S_OK;
  }

  HRESULT ReleaseBuffer(uint32_t frames) override {
    if (!capture_) return kAudioNotInitialized;
    const HRESULT hr = capture_->ReleaseBuffer(frames);
    // The system signals once a period, however many packets wait (Wine queues several at a time): a
    // reader woken for one packet is woken again while another waits, so it never falls behind.
    UINT32 next = 0;
    if (SUCCEEDED(hr) && event_ && SUCCEEDED(capture_->GetNextPacketSize(&next)) && next > 0)
      SetEventObject(event_);
    return hr;
  }

 private:
  // Declared first, so it goes last: the interfaces below are released inside the apartment.
  const std::shared_ptr<ApartmentHold> hold_;
  const TRefPtr<IMMDevice> device_;
  const AudioFlow flow_;
  TRefPtr<IAudioClient> client_;
  KHandle event_ = nullptr;  // the caller's, set by SetEventHandle
  TRefPtr<IAudioCaptureClient> capture_;  // set once initialised
};

// ---- endpoints ----

class WasapiEndpoint final : public IAudioEndpoint {
 public:
  WasapiEndpoint(std::shared_ptr<ApartmentHold> hold, TRefPtr<IMMDevice> device, AudioFlow listed)
      : hold_(std::move(hold)),
        device_(std::move(device)),
        flow_(FlowOf(device_.Get(), listed)),
        id_(IdOf(device_.Get())) {}

  std::wstring Id() override { return id_; }
  AudioFlow Flow() override { return flow_; }

  HRESULT FriendlyName(std::wstring* name) override {
    if (!name) return E_POINTER;
    name->clear();
    CallApartment apartment;
    if (DeviceGone(device_.Get())) return kAudioDeviceInvalidated;
    TRefPtr<IPropertyStore> store;
    if (HRESULT hr = device_->OpenPropertyStore(STGM_READ, store.Receive()); FAILED(hr)) return hr;
    PROPVARIANT value;
    PropVariantInit(&value);
    const HRESULT hr = store->GetValue(PKEY_Device_FriendlyName, &value);
    if (SUCCEEDED(hr)) {
      if (value.vt == VT_LPWSTR && value.pwszVal)
        *name = value.pwszVal;
      else if (value.vt == VT_BSTR && value.bstrVal)
        name->assign(value.bstrVal, SysStringLen(value.bstrVal));
    }
    PropVariantClear(&value);
    if (FAILED(hr)) return hr;
    return name->empty() ? S_FALSE : S_OK;
  }

  HRESULT Activate(std::unique_ptr<IAudioStream>* stream) override {
    if (!stream) return E_POINTER;
    stream->reset();
    CallApartment apartment;
    if (DeviceGone(device_.Get())) return kAudioDeviceInvalidated;
    TRefPtr<IAudioClient> client;
    if (HRESULT hr = ActivateClient(device_.Get(), &client); FAILED(hr)) return hr;
    if (!client) return E_POINTER;
    *stream = std::make_unique<WasapiStream>(hold_, device_, flow_, std::move(client));
    return S_OK;
  }

 private:
  // The endpoint's own word on its flow; the listing's where it has none.
  static AudioFlow FlowOf(IMMDevice* device, AudioFlow listed) {
    TRefPtr<IMMEndpoint> endpoint;
    EDataFlow flow = eAll;
    if (FAILED(device->QueryInterface(IID_IMMEndpoint, OutSlot(endpoint))) || !endpoint ||
        FAILED(endpoint->GetDataFlow(&flow)))
      return listed;
    return flow == eRender ? AudioFlow::kRender : flow == eCapture ? AudioFlow::kCapture : listed;
  }

  static std::wstring IdOf(IMMDevice* device) {
    TaskMemory<WCHAR> id;
    if (FAILED(device->GetId(id.Receive())) || !id.Get()) return {};
    return id.Get();
  }

  const std::shared_ptr<ApartmentHold> hold_;
  const TRefPtr<IMMDevice> device_;
  const AudioFlow flow_;
  const std::wstring id_;
};

class WasapiEndpoints final : public IAudioEndpoints {
 public:
  WasapiEndpoints() : hold_(ApartmentHold::Make()) {}

  HRESULT Endpoints(AudioFlow flow, AudioEndpointList* endpoints) override {
    if (!endpoints) return E_POINTER;
    endpoints->clear();
    CallApartment apartment;
    // A new enumerator each time: it costs little, and one made in another thread's apartment is never used.
    TRefPtr<IMMDeviceEnumerator> enumerator;
    if (HRESULT hr = MakeEnumerator(&enumerator); FAILED(hr)) return hr;
    TRefPtr<IMMDeviceCollection> collection;
    if (HRESULT hr = enumerator->EnumAudioEndpoints(flow == AudioFlow::kRender ? eRender : eCapture,
                                                    DEVICE_STATE_ACTIVE, collection.Receive());
        FAILED(hr))
      return hr;
    UINT count = 0;
    if (HRESULT hr = collection->GetCount(&count); FAILED(hr)) return hr;
    AudioEndpointList list;
    for (UINT i = 0; i < count; ++i) {
      TRefPtr<IMMDevice> device;
      // One that went away since the listing was made is left out.
      if (FAILED(collection->Item(i, device.Receive())) || !device) continue;
      list.push_back(std::make_shared<WasapiEndpoint>(hold_, std::move(device), flow));
    }
    *endpoints = std::move(list);
    return S_OK;
  }

  HRESULT DefaultRender(std::shared_ptr<IAudioEndpoint>* endpoint) override {
    if (!endpoint) return E_POINTER;
    endpoint->reset();
    CallApartment apartment;
    TRefPtr<IMMDeviceEnumerator> enumerator;
    if (HRESULT hr = MakeEnumerator(&enumerator); FAILED(hr)) return hr;
    TRefPtr<IMMDevice> device;
    // No output at all: the system's E_NOTFOUND, which is CV_E_NOT_FOUND.
    if (HRESULT hr = enumerator->GetDefaultAudioEndpoint(eRender, eMultimedia, device.Receive()); FAILED(hr)) return hr;
    if (!device) return CV_E_NOT_FOUND;
    *endpoint = std::make_shared<WasapiEndpoint>(hold_, std::move(device), AudioFlow::kRender);
    return S_OK;
  }

 private:
  const std::shared_ptr<ApartmentHold> hold_;
};

}  // namespace

std::shared_ptr<IAudioEndpoints> NativeAudioEndpoints() { return std::make_shared<WasapiEndpoints>(); }

}  // namespace cvplat
