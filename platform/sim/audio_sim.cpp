#include "platform/sim/audio_sim.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <numbers>
#include <utility>

namespace cvplat {

namespace {

constexpr double kUnitsPerSecond = 10'000'000.0;
constexpr auto kLongestHold = std::chrono::seconds(10);

struct Window {
  int64_t from;
  int64_t to;
};

// The tone's phase at a sample, in cycles, reduced to whole cycles first so that hours of samples keep
// their precision.
double ToneCycles(double frequency, uint32_t rate, int64_t index) {
  return std::fmod(frequency * double(index) / double(rate), 1.0);
}

bool InWindows(const std::vector<Window>& windows, int64_t t) {
  return std::any_of(windows.begin(), windows.end(), [t](const Window& w) { return t >= w.from && t < w.to; });
}

bool Usable(const WaveFormat& f) {
  if (f.channels == 0 || f.sampleRate == 0) return false;
  if (f.encoding == WaveEncoding::kFloat) return f.bitsPerSample == 32;
  return f.encoding == WaveEncoding::kPcm && f.bitsPerSample % 8 == 0 && f.bitsPerSample >= 16 &&
         f.bitsPerSample <= 32 && f.validBits <= f.bitsPerSample;
}

struct StreamState;

struct EndpointState {
  std::wstring id;
  std::wstring name;
  AudioFlow flow = AudioFlow::kCapture;
  WaveFormat mix{};
  double frequency = 1000.0;
  double amplitude = 0.5;
  double drift = 0.0;
  int64_t defaultPeriod = 100000;
  int64_t minimumPeriod = 30000;
  std::vector<Window> silences;
  std::vector<Window> stalls;
  std::vector<WaveFormat> accepted;
  std::vector<std::pair<int64_t, HRESULT>> initializeFailures;
  HRESULT activateFailure = S_OK;
  bool refuse = false;
  bool gone = false;
  int holdAt = 0;
  bool held = false;
  SimAudioCounters counters;
};

struct StreamState {
  EndpointState* endpoint = nullptr;
  bool initialized = false;
  bool started = false;
  bool eventDriven = false;
  WaveFormat format{};
  KHandle event = nullptr;
  uint32_t packetFrames = 0;
  int64_t startTime = 0;
  int64_t startIndex = 0;  // the packet index at the last Start
  int64_t nextIndex = 0;   // the next packet to deliver
  int emptySincePacket = 0;
  bool discontinuity = false;
  bool holding = false;
  std::vector<uint8_t> data;
};

}  // namespace

struct SimAudio::State {
  std::mutex lock;
  std::condition_variable changed;
  int64_t now = 0;
  std::vector<std::unique_ptr<EndpointState>> endpoints;
  std::vector<StreamState*> streams;
  std::wstring defaultRender;
  HRESULT listFailure = S_OK;

  EndpointState* Find(const std::wstring& id) {
    for (auto& e : endpoints)
      if (e->id == id) return e.get();
    return nullptr;
  }
  // Changes an endpoint under the lock; an unknown id changes nothing.
  template <class Change>
  void Edit(const std::wstring& id, Change change) {
    std::lock_guard guard(lock);
    if (EndpointState* e = Find(id)) change(*e);
  }

  // Packets a stream's endpoint has finished since its start.
  static int64_t PeriodsBetween(const StreamState& s, int64_t from, int64_t to) {
    if (to <= from || s.packetFrames == 0) return 0;
    const double rate = s.format.sampleRate * (1.0 + s.endpoint->drift);
    return static_cast<int64_t>(std::floor(double(to - from) * rate / (double(s.packetFrames) * kUnitsPerSecond)));
  }
  int64_t ReadyEnd(const StreamState& s) const {
    return s.started ? s.startIndex + PeriodsBetween(s, s.startTime, now) : s.nextIndex;
  }
  // The moment the period of packet `index` ends, on the simulation's clock.
  static int64_t PacketEnd(const StreamState& s, int64_t index) {
    const double rate = s.format.sampleRate * (1.0 + s.endpoint->drift);
    const double periods = double(index - s.startIndex + 1);
    return s.startTime + static_cast<int64_t>(std::ceil(periods * s.packetFrames * kUnitsPerSecond / rate));
  }
  // Passes over the ready packets that a stall swallowed; true when a packet is ready after them.
  bool SkipLost(StreamState& s) {
    const int64_t end = ReadyEnd(s);
    while (s.nextIndex < end && InWindows(s.endpoint->stalls, PacketEnd(s, s.nextIndex))) {
      ++s.nextIndex;
      ++s.endpoint->counters.lostPackets;
      s.discontinuity = true;
    }
    return s.nextIndex < end;
  }
  void Fill(StreamState& s, bool silent) {
    const WaveFormat& f = s.format;
    const size_t sampleBytes = f.bitsPerSample / 8u;
    s.data.assign(size_t(s.packetFrames) * f.channels * sampleBytes, 0);
    if (silent) return;
    const EndpointState& e = *s.endpoint;
    const int64_t first = s.nextIndex * s.packetFrames;
    const uint32_t valid = f.validBits ? f.validBits : f.bitsPerSample;
    const double scale = std::ldexp(1.0, int(valid) - 1) - 1.0;
    uint8_t* out = s.data.data();
    // A phasor turned by one sample's angle per step, seeded exactly at each packet: a sine per sample
    // would cost more than the code under test.
    const double step = 2.0 * std::numbers::pi * e.frequency / f.sampleRate;
    const double phase = 2.0 * std::numbers::pi * ToneCycles(e.frequency, f.sampleRate, first);
    const double turnCos = std::cos(step);
    const double turnSin = std::sin(step);
    double re = std::cos(phase);
    double im = std::sin(phase);
    for (uint32_t j = 0; j < s.packetFrames; ++j) {
      for (int32_t c = 0; c < f.channels; ++c, out += sampleBytes) {
        const double v = e.amplitude / (c + 1) * im;
        if (f.encoding == WaveEncoding::kFloat) {
          const float x = static_cast<float>(v);
          std::memcpy(out, &x, 4);
        } else {
          const uint32_t x = static_cast<uint32_t>(std::lround(v * scale)) << (f.bitsPerSample - valid);
          for (size_t b = 0; b < sampleBytes; ++b) out[b] = uint8_t(x >> (8 * b));
        }
      }
      const double turned = re * turnCos - im * turnSin;
      im = im * turnCos + re * turnSin;
      re = turned;
    }
  }
};

namespace {

bool Taken(const EndpointState& e, AudioShareMode mode, const WaveFormat& f) {
  if (e.refuse || !Usable(f)) return false;
  if (std::find(e.accepted.begin(), e.accepted.end(), f) != e.accepted.end()) return true;
  if (mode == AudioShareMode::kShared) return f == e.mix;
  WaveFormat pcm16 = e.mix;
  pcm16.encoding = WaveEncoding::kPcm;
  pcm16.bitsPerSample = pcm16.validBits = 16;
  return f == pcm16;
}

class SimStream final : public IAudioStream {
 public:
  SimStream(std::shared_ptr<SimAudio::State> state, EndpointState* endpoint) : state_(std::move(state)) {
    s_.endpoint = endpoint;
    state_->streams.push_back(&s_);
    ++endpoint->counters.liveStreams;
  }
  ~SimStream() override {
    std::lock_guard lock(state_->lock);
    auto& v = state_->streams;
    v.erase(std::remove(v.begin(), v.end(), &s_), v.end());
    --s_.endpoint->counters.liveStreams;
    state_->changed.notify_all();
  }

  HRESULT MixFormat(WaveFormat* format) override {
    if (!format) return E_POINTER;
    std::lock_guard lock(state_->lock);
    if (s_.endpoint->gone) return kAudioDeviceInvalidated;
    *format = s_.endpoint->mix;
    return S_OK;
  }

  HRESULT IsFormatSupported(AudioShareMode mode, const WaveFormat& format, WaveFormat* closest) override {
    std::lock_guard lock(state_->lock);
    const EndpointState& e = *s_.endpoint;
    if (e.gone) return kAudioDeviceInvalidated;
    if (Taken(e, mode, format)) return S_OK;
    if (e.refuse || mode == AudioShareMode::kExclusive) return kAudioUnsupportedFormat;
    if (closest) *closest = e.mix;
    return S_FALSE;
  }

  HRESULT DevicePeriod(int64_t* defaultPeriod, int64_t* minimumPeriod) override {
    std::lock_guard lock(state_->lock);
    if (s_.endpoint->gone) return kAudioDeviceInvalidated;
    if (defaultPeriod) *defaultPeriod = s_.endpoint->defaultPeriod;
    if (minimumPeriod) *minimumPeriod = s_.endpoint->minimumPeriod;
    return S_OK;
  }

  HRESULT Initialize(AudioShareMode mode, uint32_t streamFlags, int64_t bufferDuration, int64_t,
                     const WaveFormat& format) override {
    std::lock_guard lock(state_->lock);
    EndpointState& e = *s_.endpoint;
    if (e.gone) return kAudioDeviceInvalidated;
    e.counters.initializeTimes.push_back(bufferDuration);
    if (s_.initialized) return kAudioAlreadyInitialized;
    if ((streamFlags & kStreamLoopback) && e.flow != AudioFlow::kRender) return kAudioWrongEndpointType;
    for (const auto& [time, status] : e.initializeFailures)
      if (time == bufferDuration) return status;
    if (bufferDuration < 0) return E_INVALIDARG;
    if (!Taken(e, mode, format)) return kAudioUnsupportedFormat;
    s_.initialized = true;
    s_.format = format;
    s_.eventDriven = (streamFlags & kStreamEventCallback) != 0;
    const double frames = double(e.defaultPeriod) * format.sampleRate / kUnitsPerSecond;
    s_.packetFrames = static_cast<uint32_t>(std::max(1.0, std::round(frames)));
    e.counters.format = format;
    e.counters.streamFlags = streamFlags;
    e.counters.mode = mode;
    return S_OK;
  }

  HRESULT SetEventHandle(KHandle event) override {
    std::lock_guard lock(state_->lock);
    if (s_.endpoint->gone) return kAudioDeviceInvalidated;
    if (!s_.initialized) return kAudioNotInitialized;
    if (!s_.eventDriven) return kAudioEventHandleNotExpected;
    if (!event) return E_INVALIDARG;
    s_.event = event;
    return S_OK;
  }

  HRESULT Start() override {
    std::lock_guard lock(state_->lock);
    if (s_.endpoint->gone) return kAudioDeviceInvalidated;
    if (!s_.initialized) return kAudioNotInitialized;
    if (s_.started) return kAudioNotStopped;
    if (s_.eventDriven && !s_.event) return kAudioEventHandleNotSet;
    s_.started = true;
    s_.startTime = state_->now;
    s_.startIndex = s_.nextIndex;
    s_.emptySincePacket = 0;
    ++s_.endpoint->counters.starts;
    state_->changed.notify_all();
    return S_OK;
  }

  HRESULT Stop() override {
    std::lock_guard lock(state_->lock);
    if (s_.endpoint->gone) return kAudioDeviceInvalidated;
    if (!s_.initialized) return kAudioNotInitialized;
    if (!s_.started) return S_FALSE;
    // What was ready and not taken is dropped: a new start begins with the packets that follow it.
    s_.nextIndex = state_->ReadyEnd(s_);
    s_.started = false;
    s_.holding = false;
    ++s_.endpoint->counters.stops;
    state_->changed.notify_all();
    return S_OK;
  }

  HRESULT NextPacketSize(uint32_t* frames) override {
    if (!frames) return E_POINTER;
    *frames = 0;
    std::unique_lock lock(state_->lock);
    EndpointState& e = *s_.endpoint;
    HRESULT hr = S_OK;
    if (e.gone) {
      hr = kAudioDeviceInvalidated;
    } else if (!s_.initialized) {
      hr = kAudioNotInitialized;
    } else if (state_->SkipLost(s_)) {
      s_.emptySincePacket = 0;
      *frames = s_.packetFrames;
      return S_OK;
    }
    ++e.counters.emptyPolls;
    if (++s_.emptySincePacket == e.holdAt) {
      e.holdAt = 0;
      e.held = true;
      state_->changed.notify_all();
      state_->changed.wait_for(lock, kLongestHold, [&e] { return !e.held; });
      e.held = false;
    }
    return hr;
  }

  HRESULT GetBuffer(AudioPacket* packet) override {
    if (!packet) return E_POINTER;
    *packet = AudioPacket{};
    std::lock_guard lock(state_->lock);
    if (s_.endpoint->gone) return kAudioDeviceInvalidated;
    if (!s_.initialized) return kAudioNotInitialized;
    if (s_.holding) return kAudioOutOfOrder;
    if (!state_->SkipLost(s_)) return kAudioBufferEmpty;
    const bool silent = InWindows(s_.endpoint->silences, SimAudio::State::PacketEnd(s_, s_.nextIndex));
    state_->Fill(s_, silent);
    s_.holding = true;
    packet->data = s_.data.data();
    packet->frames = s_.packetFrames;
    packet->flags = (silent ? kPacketSilent : 0u) | (s_.discontinuity ? kPacketDiscontinuity : 0u);
    s_.discontinuity = false;
    return S_OK;
  }

  HRESULT ReleaseBuffer(uint32_t frames) override {
    std::lock_guard lock(state_->lock);
    EndpointState& e = *s_.endpoint;
    if (e.gone) return kAudioDeviceInvalidated;
    if (!s_.holding) return kAudioOutOfOrder;
    if (frames != 0 && frames != s_.packetFrames) return kAudioInvalidSize;
    s_.holding = false;
    if (frames != 0) {
      ++s_.nextIndex;
      ++e.counters.packets;
      e.counters.frames += frames;
      // Another packet is waiting: a stream signals once per packet, so the reader comes back for it.
      if (s_.eventDriven && s_.event && state_->SkipLost(s_)) SetEventObject(s_.event);
    }
    state_->changed.notify_all();
    return S_OK;
  }

 private:
  std::shared_ptr<SimAudio::State> state_;
  StreamState s_;
};

class SimEndpoint final : public IAudioEndpoint {
 public:
  SimEndpoint(std::shared_ptr<SimAudio::State> state, EndpointState* endpoint)
      : state_(std::move(state)), e_(endpoint) {}

  std::wstring Id() override { return e_->id; }
  AudioFlow Flow() override { return e_->flow; }
  HRESULT FriendlyName(std::wstring* name) override {
    if (!name) return E_POINTER;
    std::lock_guard lock(state_->lock);
    name->clear();
    if (e_->gone) return kAudioDeviceInvalidated;
    *name = e_->name;
    return name->empty() ? S_FALSE : S_OK;
  }
  HRESULT Activate(std::unique_ptr<IAudioStream>* stream) override {
    if (!stream) return E_POINTER;
    stream->reset();
    std::lock_guard lock(state_->lock);
    if (e_->gone) return kAudioDeviceInvalidated;
    if (FAILED(e_->activateFailure)) return e_->activateFailure;
    ++e_->counters.activations;
    *stream = std::make_unique<SimStream>(state_, e_);
    return S_OK;
  }

 private:
  std::shared_ptr<SimAudio::State> state_;
  EndpointState* e_;  // endpoints live as long as the state
};

}  // namespace

SimAudio::SimAudio() : state_(std::make_shared<State>()) {}

std::shared_ptr<SimAudio> SimAudio::Create() { return std::shared_ptr<SimAudio>(new SimAudio()); }

double SimAudio::ToneAt(double frequency, double amplitude, uint32_t rate, int32_t channel, int64_t index) {
  return amplitude / (channel + 1) * std::sin(2.0 * std::numbers::pi * ToneCycles(frequency, rate, index));
}

std::wstring SimAudio::AddEndpoint(AudioFlow flow, const std::wstring& name, const WaveFormat& mix) {
  std::lock_guard lock(state_->lock);
  auto e = std::make_unique<EndpointState>();
  e->id = std::wstring(L"sim:") + (flow == AudioFlow::kCapture ? L"capture:" : L"render:") +
          std::to_wstring(state_->endpoints.size() + 1);
  e->name = name;
  e->flow = flow;
  e->mix = mix;
  if (flow == AudioFlow::kRender && state_->defaultRender.empty()) state_->defaultRender = e->id;
  state_->endpoints.push_back(std::move(e));
  return state_->endpoints.back()->id;
}

void SimAudio::SetTone(const std::wstring& id, double frequency, double amplitude) {
  state_->Edit(id, [&](EndpointState& e) {
    e.frequency = frequency;
    e.amplitude = amplitude;
  });
}
void SimAudio::SetDrift(const std::wstring& id, double fraction) {
  state_->Edit(id, [&](EndpointState& e) { e.drift = fraction; });
}
void SimAudio::SetPeriods(const std::wstring& id, int64_t defaultPeriod, int64_t minimumPeriod) {
  state_->Edit(id, [&](EndpointState& e) {
    e.defaultPeriod = defaultPeriod;
    e.minimumPeriod = minimumPeriod;
  });
}
void SimAudio::AddSilence(const std::wstring& id, int64_t from, int64_t to) {
  state_->Edit(id, [&](EndpointState& e) { e.silences.push_back({from, to}); });
}
void SimAudio::AddStall(const std::wstring& id, int64_t from, int64_t to) {
  state_->Edit(id, [&](EndpointState& e) { e.stalls.push_back({from, to}); });
}
void SimAudio::RefuseFormats(const std::wstring& id, bool refuse) {
  state_->Edit(id, [&](EndpointState& e) { e.refuse = refuse; });
}
void SimAudio::AcceptFormat(const std::wstring& id, const WaveFormat& format) {
  state_->Edit(id, [&](EndpointState& e) { e.accepted.push_back(format); });
}
void SimAudio::FailInitialize(const std::wstring& id, int64_t bufferDuration, HRESULT status) {
  state_->Edit(id, [&](EndpointState& e) { e.initializeFailures.emplace_back(bufferDuration, status); });
}
void SimAudio::FailActivate(const std::wstring& id, HRESULT status) {
  state_->Edit(id, [&](EndpointState& e) { e.activateFailure = status; });
}
void SimAudio::HoldEmptyPoll(const std::wstring& id, int n) {
  state_->Edit(id, [&](EndpointState& e) { e.holdAt = n; });
}

void SimAudio::Vanish(const std::wstring& id) {
  std::lock_guard lock(state_->lock);
  EndpointState* e = state_->Find(id);
  if (!e) return;
  e->gone = true;
  for (StreamState* s : state_->streams)
    if (s->endpoint == e && s->event) SetEventObject(s->event);
  state_->changed.notify_all();
}

void SimAudio::SetDefaultRender(const std::wstring& id) {
  std::lock_guard lock(state_->lock);
  state_->defaultRender = id;
}

void SimAudio::FailList(HRESULT status) {
  std::lock_guard lock(state_->lock);
  state_->listFailure = status;
}

int64_t SimAudio::Now() {
  std::lock_guard lock(state_->lock);
  return state_->now;
}

void SimAudio::Advance(int64_t duration) {
  std::lock_guard lock(state_->lock);
  const int64_t before = state_->now;
  state_->now += std::max<int64_t>(duration, 0);
  for (StreamState* s : state_->streams) {
    if (!s->started || !s->eventDriven || !s->event || s->endpoint->gone) continue;
    if (State::PeriodsBetween(*s, s->startTime, state_->now) > State::PeriodsBetween(*s, s->startTime, before))
      SetEventObject(s->event);
  }
  state_->changed.notify_all();
}

bool SimAudio::WaitDrained(uint32_t timeoutMs) {
  std::unique_lock lock(state_->lock);
  return state_->changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] {
    for (StreamState* s : state_->streams) {
      if (!s->started || s->endpoint->gone) continue;
      if (s->holding || state_->SkipLost(*s)) return false;
    }
    return true;
  });
}

bool SimAudio::WaitStarted(const std::wstring& id, uint32_t timeoutMs) {
  std::unique_lock lock(state_->lock);
  EndpointState* e = state_->Find(id);
  if (!e) return false;
  return state_->changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this, e] {
    return std::any_of(state_->streams.begin(), state_->streams.end(),
                       [e](const StreamState* s) { return s->endpoint == e && s->started; });
  });
}

bool SimAudio::WaitHeld(const std::wstring& id, uint32_t timeoutMs) {
  std::unique_lock lock(state_->lock);
  EndpointState* e = state_->Find(id);
  if (!e) return false;
  return state_->changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [e] { return e->held; });
}

void SimAudio::ReleaseHeld(const std::wstring& id, int nextHold) {
  std::lock_guard lock(state_->lock);
  if (EndpointState* e = state_->Find(id)) {
    e->held = false;
    e->holdAt = nextHold;
  }
  state_->changed.notify_all();
}

SimAudioCounters SimAudio::Counters(const std::wstring& id) {
  std::lock_guard lock(state_->lock);
  EndpointState* e = state_->Find(id);
  return e ? e->counters : SimAudioCounters{};
}

HRESULT SimAudio::Endpoints(AudioFlow flow, AudioEndpointList* endpoints) {
  if (!endpoints) return E_POINTER;
  endpoints->clear();
  std::lock_guard lock(state_->lock);
  if (FAILED(state_->listFailure)) return state_->listFailure;
  for (auto& e : state_->endpoints)
    if (e->flow == flow && !e->gone) endpoints->push_back(std::make_shared<SimEndpoint>(state_, e.get()));
  return S_OK;
}

HRESULT SimAudio::DefaultRender(std::shared_ptr<IAudioEndpoint>* endpoint) {
  if (!endpoint) return E_POINTER;
  endpoint->reset();
  std::lock_guard lock(state_->lock);
  if (FAILED(state_->listFailure)) return state_->listFailure;
  EndpointState* e = state_->Find(state_->defaultRender);
  if (!e || e->gone || e->flow != AudioFlow::kRender) return CV_E_NOT_FOUND;
  *endpoint = std::make_shared<SimEndpoint>(state_, e);
  return S_OK;
}

}  // namespace cvplat
