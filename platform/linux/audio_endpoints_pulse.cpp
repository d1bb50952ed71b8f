// The sound endpoints over the sound server's native protocol. Sources other than monitors are the
// recording endpoints; sinks are the output endpoints, and the loopback of a sink records its monitor
// source. Ids are the server's names, friendly names its descriptions.
//
// One connection serves the list and every stream made from it, driven by the library's own thread.
// Every call waits for the server a bounded time: a server that has gone or hangs turns into failures
// (kAudioDeviceInvalidated on endpoints and streams), never into a caller that waits for ever. A lost
// connection is never revived; the next listing makes a new one, and what came from the old one stays
// invalid.
#include <pulse/pulseaudio.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <iterator>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/audio_endpoints.h"
#include "platform/linux/utf8_text.h"

namespace cvplat {
namespace {

// The server has no device periods of its own: these are the fragment times a stream asks for when its
// buffer time is 0, and the shortest one it asks for at all.
constexpr int64_t kDefaultPeriod = 100000;  // 10 ms, in 100 ns
constexpr int64_t kMinimumPeriod = 30000;   // 3 ms
// The longest buffer time taken, as the system's shared streams allow.
constexpr int64_t kLongestBuffer = 20000000;  // 2 s
constexpr uint32_t kConnectMs = 3000;
constexpr uint32_t kRequestMs = 3000;
// The audio layer's status for an audio service that isn't running.
constexpr HRESULT kServiceNotRunning = static_cast<HRESULT>(0x88890010u);

// ---- formats ----

// Speaker bits in the order of the system's channel masks, as the server names the positions.
constexpr pa_channel_position_t kSpeakerPositions[] = {
    PA_CHANNEL_POSITION_FRONT_LEFT,     PA_CHANNEL_POSITION_FRONT_RIGHT,
    PA_CHANNEL_POSITION_FRONT_CENTER,   PA_CHANNEL_POSITION_LFE,
    PA_CHANNEL_POSITION_REAR_LEFT,      PA_CHANNEL_POSITION_REAR_RIGHT,
    PA_CHANNEL_POSITION_FRONT_LEFT_OF_CENTER, PA_CHANNEL_POSITION_FRONT_RIGHT_OF_CENTER,
    PA_CHANNEL_POSITION_REAR_CENTER,    PA_CHANNEL_POSITION_SIDE_LEFT,
    PA_CHANNEL_POSITION_SIDE_RIGHT,     PA_CHANNEL_POSITION_TOP_CENTER,
    PA_CHANNEL_POSITION_TOP_FRONT_LEFT, PA_CHANNEL_POSITION_TOP_FRONT_CENTER,
    PA_CHANNEL_POSITION_TOP_FRONT_RIGHT, PA_CHANNEL_POSITION_TOP_REAR_LEFT,
    PA_CHANNEL_POSITION_TOP_REAR_CENTER, PA_CHANNEL_POSITION_TOP_REAR_RIGHT,
};
constexpr int kSpeakerCount = static_cast<int>(std::size(kSpeakerPositions));

int SpeakerBit(pa_channel_position_t position) {
  if (position == PA_CHANNEL_POSITION_MONO) position = PA_CHANNEL_POSITION_FRONT_CENTER;
  for (int bit = 0; bit < kSpeakerCount; ++bit)
    if (kSpeakerPositions[bit] == position) return bit;
  return -1;
}

// A mask only for a map whose channels come in the order of their bits, as the mask implies; 0 else.
uint32_t MaskFromMap(const pa_channel_map& map) {
  uint32_t mask = 0;
  int last = -1;
  for (int i = 0; i < map.channels; ++i) {
    const int bit = SpeakerBit(map.map[i]);
    if (bit <= last) return 0;
    mask |= 1u << bit;
    last = bit;
  }
  return mask;
}

// The source's samples as the server delivers them: 16-bit integers stay, every other sample format is
// handed over in floats, which the server converts to without loss of range.
WaveFormat WaveFromServerFormat(const pa_sample_spec& sample, const pa_channel_map& map) {
  WaveFormat wave;
  const bool pcm16 = sample.format == PA_SAMPLE_S16LE;
  wave.encoding = pcm16 ? WaveEncoding::kPcm : WaveEncoding::kFloat;
  wave.bitsPerSample = wave.validBits = pcm16 ? 16 : 32;
  wave.channels = sample.channels;
  wave.sampleRate = sample.rate;
  wave.channelMask = map.channels == sample.channels ? MaskFromMap(map) : 0;
  return wave;
}

// The server's record of `format` when a shared stream can take it: 16-bit integers or 32-bit floats at
// any rate and channel count the server resamples and remixes to. Without a mask the channels are the
// source's own when their count agrees, else the system's standard order.
bool ServerFormatFromWave(const WaveFormat& format, const pa_channel_map& sourceMap, pa_sample_spec* sample,
                  pa_channel_map* map) {
  const bool pcm16 = format.encoding == WaveEncoding::kPcm && format.bitsPerSample == 16 &&
                     (format.validBits == 0 || format.validBits == 16);
  const bool float32 = format.encoding == WaveEncoding::kFloat && format.bitsPerSample == 32 &&
                       (format.validBits == 0 || format.validBits == 32);
  if (!pcm16 && !float32) return false;
  sample->format = pcm16 ? PA_SAMPLE_S16LE : PA_SAMPLE_FLOAT32LE;
  sample->rate = format.sampleRate;
  sample->channels = static_cast<uint8_t>(std::min<uint32_t>(format.channels, 255));
  if (format.channels > PA_CHANNELS_MAX || !pa_sample_spec_valid(sample)) return false;

  if (format.channelMask != 0) {
    if (format.channelMask >> kSpeakerCount) return false;
    if (std::popcount(format.channelMask) != format.channels) return false;
    pa_channel_map_init(map);
    map->channels = sample->channels;
    int i = 0;
    for (int bit = 0; bit < kSpeakerCount; ++bit)
      if (format.channelMask & (1u << bit)) map->map[i++] = kSpeakerPositions[bit];
    if (format.channels == 1 && format.channelMask == 4) map->map[0] = PA_CHANNEL_POSITION_MONO;
  } else if (sourceMap.channels == sample->channels) {
    *map = sourceMap;
  } else if (!pa_channel_map_init_extend(map, sample->channels, PA_CHANNEL_MAP_WAVEEX)) {
    return false;
  }
  return pa_channel_map_valid(map) != 0;
}

// ---- the connection ----

class PulseLink {
 public:
  // A connection that is ready, or null when no server answered in time.
  static std::shared_ptr<PulseLink> Connect() {
    std::shared_ptr<PulseLink> link(new PulseLink());
    link->loop_ = pa_threaded_mainloop_new();
    if (!link->loop_) return nullptr;
    link->context_ = pa_context_new(pa_threaded_mainloop_get_api(link->loop_), "screen capture sound");
    if (!link->context_) return nullptr;
    pa_context_set_state_callback(link->context_, OnContextState, link.get());
    pa_context_set_subscribe_callback(link->context_, OnSubscription, link.get());
    // No spawning: a machine without a running server has no sound endpoints.
    if (pa_context_connect(link->context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) return nullptr;
    if (pa_threaded_mainloop_start(link->loop_) < 0) return nullptr;
    if (!link->WaitFor([&l = *link] { return l.ready_; }, kConnectMs)) return nullptr;
    // Removals of devices tell the endpoints that hold them that they are gone.
    link->Lock();
    pa_operation* op = pa_context_subscribe(
        link->context_, static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SOURCE),
        nullptr, nullptr);
    if (op) pa_operation_unref(op);
    link->Unlock();
    return link;
  }

  ~PulseLink() {
    if (loop_) pa_threaded_mainloop_stop(loop_);
    if (context_) {
      pa_context_set_state_callback(context_, nullptr, nullptr);
      pa_context_set_subscribe_callback(context_, nullptr, nullptr);
      pa_context_disconnect(context_);
      pa_context_unref(context_);
    }
    if (loop_) pa_threaded_mainloop_free(loop_);
  }

  PulseLink(const PulseLink&) = delete;
  PulseLink& operator=(const PulseLink&) = delete;

  pa_context* Context() const { return context_; }

  // The loop's lock: every call into the library and every callback runs under it.
  void Lock() { pa_threaded_mainloop_lock(loop_); }
  void Unlock() { pa_threaded_mainloop_unlock(loop_); }

  // What waiters look at changes only inside Update, which then wakes them. Callbacks may call it
  // under the loop's lock; waiters never take the loop's lock while they wait.
  template <class F>
  void Update(F&& change) {
    {
      std::lock_guard lock(mutex_);
      change();
    }
    changed_.notify_all();
  }
  template <class F>
  auto Read(F&& read) {
    std::lock_guard lock(mutex_);
    return read();
  }
  // Waits until `done()` holds, the connection is lost, or `ms` ran out; the final `done()`.
  template <class P>
  bool WaitFor(P done, uint32_t ms) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(ms), [&] { return dead_ || done(); });
    return done();
  }

  bool Alive() {
    return Read([this] { return !dead_; });
  }
  bool Removed(AudioFlow flow, uint32_t index) {
    return Read([&] { return dead_ || (flow == AudioFlow::kRender ? goneSinks_ : goneSources_).count(index) != 0; });
  }

  // Begins an operation under the loop's lock and waits until `done` (set through Update by its
  // callback) or `ms` ran out; a pending operation is cancelled, so that its callback never runs
  // after this returns.
  bool Run(const std::function<pa_operation*()>& begin, const bool& done, uint32_t ms = kRequestMs) {
    Lock();
    pa_operation* op = Alive() ? begin() : nullptr;
    Unlock();
    if (!op) return false;
    const bool finished = WaitFor([&done] { return done; }, ms);
    Lock();
    if (pa_operation_get_state(op) == PA_OPERATION_RUNNING) pa_operation_cancel(op);
    pa_operation_unref(op);
    Unlock();
    return finished;
  }

 private:
  PulseLink() = default;

  static void OnContextState(pa_context* context, void* self) {
    auto* link = static_cast<PulseLink*>(self);
    const pa_context_state_t state = pa_context_get_state(context);
    link->Update([&] {
      if (state == PA_CONTEXT_READY) link->ready_ = true;
      if (!PA_CONTEXT_IS_GOOD(state)) link->dead_ = true;
    });
  }

  static void OnSubscription(pa_context*, pa_subscription_event_type_t type, uint32_t index, void* self) {
    if ((type & PA_SUBSCRIPTION_EVENT_TYPE_MASK) != PA_SUBSCRIPTION_EVENT_REMOVE) return;
    auto* link = static_cast<PulseLink*>(self);
    const unsigned facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    link->Update([&] {
      if (facility == PA_SUBSCRIPTION_EVENT_SINK) link->goneSinks_.insert(index);
      if (facility == PA_SUBSCRIPTION_EVENT_SOURCE) link->goneSources_.insert(index);
    });
  }

  pa_threaded_mainloop* loop_ = nullptr;
  pa_context* context_ = nullptr;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ready_ = false;
  bool dead_ = false;
  std::set<uint32_t> goneSinks_;
  std::set<uint32_t> goneSources_;
};

// ---- requests ----

struct DeviceInfo {
  uint32_t index = PA_INVALID_INDEX;
  std::string name;
  std::string description;
  std::string monitor;  // of a sink: the source that records what it plays
  bool isMonitor = false;
  pa_sample_spec sample{};
  pa_channel_map map{};
};

// Filled by the callbacks of one listing; `done` is set through the link's Update.
struct DeviceQuery {
  explicit DeviceQuery(PulseLink* l) : link(l) {}
  PulseLink* link;
  std::vector<DeviceInfo> items;
  bool done = false;
};

// One entry of a source or sink listing: the fields both kinds share, or the end of the list.
template <class Info>
DeviceInfo* AddDevice(const Info* info, int eol, void* user) {
  auto* query = static_cast<DeviceQuery*>(user);
  if (eol != 0 || !info) {
    query->link->Update([query] { query->done = true; });
    return nullptr;
  }
  DeviceInfo& d = query->items.emplace_back();
  d.index = info->index;
  d.name = info->name ? info->name : "";
  d.description = info->description ? info->description : "";
  d.sample = info->sample_spec;
  d.map = info->channel_map;
  return &d;
}

void OnSource(pa_context*, const pa_source_info* info, int eol, void* user) {
  if (DeviceInfo* d = AddDevice(info, eol, user)) d->isMonitor = info->monitor_of_sink != PA_INVALID_INDEX;
}

void OnSink(pa_context*, const pa_sink_info* info, int eol, void* user) {
  if (DeviceInfo* d = AddDevice(info, eol, user)) d->monitor = info->monitor_source_name ? info->monitor_source_name : "";
}

struct ServerQuery {
  explicit ServerQuery(PulseLink* l) : link(l) {}
  PulseLink* link;
  std::string defaultSink;
  bool done = false;
};

void OnServer(pa_context*, const pa_server_info* info, void* user) {
  auto* query = static_cast<ServerQuery*>(user);
  if (info && info->default_sink_name) query->defaultSink = info->default_sink_name;
  query->link->Update([query] { query->done = true; });
}

struct Completion {
  PulseLink* link;
  bool done = false;
};

void OnStreamDone(pa_stream*, int, void* user) {
  auto* completion = static_cast<Completion*>(user);
  completion->link->Update([completion] { completion->done = true; });
}

// ---- streams ----

class PulseStream final : public IAudioStream {
 public:
  PulseStream(std::shared_ptr<PulseLink> link, AudioFlow flow, const DeviceInfo& device)
      : link_(std::move(link)),
        flow_(flow),
        deviceIndex_(device.index),
        source_(flow == AudioFlow::kRender ? device.monitor : device.name),
        sourceMap_(device.map),
        mix_(WaveFromServerFormat(device.sample, device.map)) {}

  ~PulseStream() override {
    if (!stream_) return;
    link_->Lock();
    pa_stream_set_state_callback(stream_, nullptr, nullptr);
    pa_stream_set_read_callback(stream_, nullptr, nullptr);
    pa_stream_disconnect(stream_);
    pa_stream_unref(stream_);
    link_->Unlock();
  }

  HRESULT MixFormat(WaveFormat* format) override {
    if (!format) return E_POINTER;
    if (Gone()) return kAudioDeviceInvalidated;
    *format = mix_;
    return S_OK;
  }

  HRESULT IsFormatSupported(AudioShareMode mode, const WaveFormat& format, WaveFormat* closest) override {
    if (Gone()) return kAudioDeviceInvalidated;
    // The server shares every device; nothing is ever had for one stream alone.
    if (mode == AudioShareMode::kExclusive) return kAudioExclusiveModeNotAllowed;
    pa_sample_spec sample;
    pa_channel_map map;
    if (ServerFormatFromWave(format, sourceMap_, &sample, &map)) return S_OK;
    if (closest) *closest = mix_;
    return S_FALSE;
  }

  HRESULT DevicePeriod(int64_t* defaultPeriod, int64_t* minimumPeriod) override {
    if (Gone()) return kAudioDeviceInvalidated;
    if (defaultPeriod) *defaultPeriod = kDefaultPeriod;
    if (minimumPeriod) *minimumPeriod = kMinimumPeriod;
    return S_OK;
  }

  HRESULT Initialize(AudioShareMode mode, uint32_t streamFlags, int64_t bufferDuration, int64_t periodicity,
                     const WaveFormat& format) override {
    if (Gone()) return kAudioDeviceInvalidated;
    if (stream_) return kAudioAlreadyInitialized;
    if (mode == AudioShareMode::kExclusive) return kAudioExclusiveModeNotAllowed;
    // Only reading is offered: an output endpoint is read through its loopback, a recording one directly.
    const bool loopback = (streamFlags & kStreamLoopback) != 0;
    if (loopback != (flow_ == AudioFlow::kRender)) return kAudioWrongEndpointType;
    if (bufferDuration < 0 || periodicity < 0) return E_INVALIDARG;
    if (bufferDuration > kLongestBuffer) return kAudioBufferSizeError;
    pa_sample_spec sample;
    pa_channel_map map;
    if (!ServerFormatFromWave(format, sourceMap_, &sample, &map)) return kAudioUnsupportedFormat;

    // The buffer time becomes the fragment the server sends at once, and so the latency it sets the
    // source to.
    const int64_t period = bufferDuration == 0 ? kDefaultPeriod : std::max(bufferDuration, kMinimumPeriod);
    pa_buffer_attr attr;
    attr.maxlength = static_cast<uint32_t>(-1);
    attr.tlength = attr.prebuf = attr.minreq = static_cast<uint32_t>(-1);
    attr.fragsize = static_cast<uint32_t>(pa_usec_to_bytes(static_cast<pa_usec_t>(period / 10), &sample));
    // Not moved elsewhere when the source leaves: the stream fails, and so reports the endpoint gone.
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);

    link_->Lock();
    stream_ = pa_stream_new(link_->Context(), "capture", &sample, &map);
    int error = PA_ERR_INVALID;
    if (stream_) {
      pa_stream_set_state_callback(stream_, OnState, this);
      pa_stream_set_read_callback(stream_, OnReadable, this);
      eventDriven_ = (streamFlags & kStreamEventCallback) != 0;
      if (pa_stream_connect_record(stream_, source_.c_str(), &attr, flags) < 0)
        error = pa_context_errno(link_->Context());
      else
        error = PA_OK;
    }
    link_->Unlock();

    bool ready = false;
    if (error == PA_OK) {
      link_->WaitFor([this] { return streamState_ != PA_STREAM_CREATING && streamState_ != PA_STREAM_UNCONNECTED; },
                     kConnectMs);
      ready = link_->Read([this] { return streamState_ == PA_STREAM_READY; });
      link_->Lock();
      if (!ready) error = pa_context_errno(link_->Context());
      link_->Unlock();
    }
    if (!ready) {
      DropStream();
      if (error == PA_ERR_INVALID || error == PA_ERR_NOTSUPPORTED) return kAudioUnsupportedFormat;
      return kAudioDeviceInvalidated;
    }
    frameBytes_ = static_cast<uint32_t>(pa_frame_size(&sample));
    return S_OK;
  }

  HRESULT SetEventHandle(KHandle event) override {
    if (Gone()) return kAudioDeviceInvalidated;
    if (!stream_) return kAudioNotInitialized;
    if (!eventDriven_) return kAudioEventHandleNotExpected;
    if (!event) return E_INVALIDARG;
    link_->Lock();
    event_ = event;
    link_->Unlock();
    return S_OK;
  }

  HRESULT Start() override {
    if (Gone()) return kAudioDeviceInvalidated;
    if (!stream_) return kAudioNotInitialized;
    if (started_) return kAudioNotStopped;
    if (eventDriven_ && !event_) return kAudioEventHandleNotSet;
    Completion uncorked{link_.get()};
    link_->Lock();
    started_ = true;
    link_->Unlock();
    if (!link_->Run([&] { return pa_stream_cork(stream_, 0, OnStreamDone, &uncorked); }, uncorked.done)) {
      SetStarted(false);
      return kAudioDeviceInvalidated;
    }
    return S_OK;
  }

  HRESULT Stop() override {
    if (!stream_) return Gone() ? kAudioDeviceInvalidated : kAudioNotInitialized;
    if (!started_) return S_FALSE;
    SetStarted(false);
    // What was ready and not taken is dropped: a new start begins with what the source gives then.
    havePacket_ = holding_ = false;
    if (Gone()) return kAudioDeviceInvalidated;
    Completion corked{link_.get()};
    Completion flushed{link_.get()};
    if (!link_->Run([&] { return pa_stream_cork(stream_, 1, OnStreamDone, &corked); }, corked.done) ||
        !link_->Run([&] { return pa_stream_flush(stream_, OnStreamDone, &flushed); }, flushed.done))
      return Gone() ? kAudioDeviceInvalidated : S_OK;
    link_->Lock();
    const void* data = nullptr;
    size_t bytes = 0;
    while (pa_stream_readable_size(stream_) > 0 && pa_stream_peek(stream_, &data, &bytes) == 0 && bytes > 0)
      pa_stream_drop(stream_);
    link_->Unlock();
    return S_OK;
  }

  HRESULT NextPacketSize(uint32_t* frames) override {
    if (!frames) return E_POINTER;
    *frames = 0;
    if (Gone()) return kAudioDeviceInvalidated;
    if (!stream_) return kAudioNotInitialized;
    if (!havePacket_) Fetch();
    *frames = havePacket_ ? packetFrames_ : 0;
    return S_OK;
  }

  HRESULT GetBuffer(AudioPacket* packet) override {
    if (!packet) return E_POINTER;
    *packet = AudioPacket{};
    if (Gone()) return kAudioDeviceInvalidated;
    if (!stream_) return kAudioNotInitialized;
    if (holding_) return kAudioOutOfOrder;
    if (!havePacket_) Fetch();
    if (!havePacket_) return kAudioBufferEmpty;
    holding_ = true;
    packet->data = packet_.data();
    packet->frames = packetFrames_;
    packet->flags = packetFlags_;
    return S_OK;
  }

  HRESULT ReleaseBuffer(uint32_t frames) override {
    if (Gone()) {
      holding_ = false;
      return kAudioDeviceInvalidated;
    }
    if (!holding_) return kAudioOutOfOrder;
    if (frames != 0 && frames != packetFrames_) return kAudioInvalidSize;
    holding_ = false;
    if (frames == 0) return S_OK;
    havePacket_ = false;
    // The server signals once for what came at once; a reader woken for one packet comes back for the next.
    if (eventDriven_ && event_) {
      link_->Lock();
      const bool more = pa_stream_readable_size(stream_) > 0;
      link_->Unlock();
      if (more) SetEventObject(event_);
    }
    return S_OK;
  }

 private:
  bool Gone() {
    if (!stream_) return link_->Removed(flow_, deviceIndex_);
    return link_->Read([this] { return !PA_STREAM_IS_GOOD(streamState_); }) || !link_->Alive();
  }

  void SetStarted(bool started) {
    link_->Lock();
    started_ = started;
    link_->Unlock();
  }

  // Takes the next fragment off the server's queue into a packet of this stream's own, so that what the
  // reader holds stays valid whatever happens to the connection meanwhile. A hole in the stream becomes
  // a silent packet that tells of the gap.
  void Fetch() {
    link_->Lock();
    const void* data = nullptr;
    size_t bytes = 0;
    if (pa_stream_peek(stream_, &data, &bytes) == 0 && bytes > 0) {
      const uint32_t frames = static_cast<uint32_t>(bytes / frameBytes_);
      packet_.resize(size_t{frames} * frameBytes_);
      if (data)
        std::memcpy(packet_.data(), data, packet_.size());
      else
        std::fill(packet_.begin(), packet_.end(), uint8_t{0});
      packetFrames_ = frames;
      packetFlags_ = data ? 0u : (kPacketSilent | kPacketDiscontinuity);
      havePacket_ = frames > 0;
      pa_stream_drop(stream_);
    }
    link_->Unlock();
  }

  void DropStream() {
    link_->Lock();
    if (stream_) {
      pa_stream_set_state_callback(stream_, nullptr, nullptr);
      pa_stream_set_read_callback(stream_, nullptr, nullptr);
      pa_stream_disconnect(stream_);
      pa_stream_unref(stream_);
      stream_ = nullptr;
    }
    link_->Unlock();
  }

  static void OnState(pa_stream* stream, void* self) {
    auto* s = static_cast<PulseStream*>(self);
    const pa_stream_state_t state = pa_stream_get_state(stream);
    s->link_->Update([&] { s->streamState_ = state; });
    // A last wake-up, so that a reader waiting for packets learns that none will come.
    if (!PA_STREAM_IS_GOOD(state) && s->event_) SetEventObject(s->event_);
  }

  static void OnReadable(pa_stream*, size_t, void* self) {
    auto* s = static_cast<PulseStream*>(self);
    if (s->started_ && s->event_) SetEventObject(s->event_);
  }

  const std::shared_ptr<PulseLink> link_;
  const AudioFlow flow_;
  const uint32_t deviceIndex_;
  const std::string source_;
  const pa_channel_map sourceMap_;
  const WaveFormat mix_;

  // Set by the owner, under the loop's lock where the callbacks read them.
  pa_stream* stream_ = nullptr;
  bool eventDriven_ = false;
  KHandle event_ = nullptr;
  bool started_ = false;
  // Under the link's Update.
  pa_stream_state_t streamState_ = PA_STREAM_UNCONNECTED;
  // The owner's alone.
  uint32_t frameBytes_ = 1;
  std::vector<uint8_t> packet_;
  uint32_t packetFrames_ = 0;
  uint32_t packetFlags_ = 0;
  bool havePacket_ = false;
  bool holding_ = false;
};

// ---- endpoints ----

class PulseEndpoint final : public IAudioEndpoint {
 public:
  PulseEndpoint(std::shared_ptr<PulseLink> link, AudioFlow flow, DeviceInfo device)
      : link_(std::move(link)), flow_(flow), device_(std::move(device)) {}

  std::wstring Id() override { return WideFromUtf8(device_.name); }
  AudioFlow Flow() override { return flow_; }

  HRESULT FriendlyName(std::wstring* name) override {
    if (!name) return E_POINTER;
    name->clear();
    if (link_->Removed(flow_, device_.index)) return kAudioDeviceInvalidated;
    *name = WideFromUtf8(device_.description);
    return name->empty() ? S_FALSE : S_OK;
  }

  HRESULT Activate(std::unique_ptr<IAudioStream>* stream) override {
    if (!stream) return E_POINTER;
    stream->reset();
    if (link_->Removed(flow_, device_.index)) return kAudioDeviceInvalidated;
    // The device as it is now: its format may have changed since it was listed.
    DeviceQuery query{link_.get()};
    pa_context* context = link_->Context();
    const uint32_t index = device_.index;
    const bool answered = link_->Run(
        [&]() -> pa_operation* {
          return flow_ == AudioFlow::kRender ? pa_context_get_sink_info_by_index(context, index, OnSink, &query)
                                             : pa_context_get_source_info_by_index(context, index, OnSource, &query);
        },
        query.done);
    if (!answered || query.items.empty() || query.items.front().name != device_.name) return kAudioDeviceInvalidated;
    *stream = std::make_unique<PulseStream>(link_, flow_, query.items.front());
    return S_OK;
  }

 private:
  const std::shared_ptr<PulseLink> link_;
  const AudioFlow flow_;
  const DeviceInfo device_;
};

class PulseEndpoints final : public IAudioEndpoints {
 public:
  HRESULT Endpoints(AudioFlow flow, AudioEndpointList* endpoints) override {
    if (!endpoints) return E_POINTER;
    endpoints->clear();
    const std::shared_ptr<PulseLink> link = Link();
    if (!link) return kServiceNotRunning;
    DeviceQuery query{link.get()};
    pa_context* context = link->Context();
    const bool answered = link->Run(
        [&] {
          return flow == AudioFlow::kRender ? pa_context_get_sink_info_list(context, OnSink, &query)
                                            : pa_context_get_source_info_list(context, OnSource, &query);
        },
        query.done);
    if (!answered) return kServiceNotRunning;
    for (DeviceInfo& d : query.items) {
      if (d.isMonitor) continue;  // a monitor is reached as the loopback of its sink
      endpoints->push_back(std::make_shared<PulseEndpoint>(link, flow, std::move(d)));
    }
    return S_OK;
  }

  HRESULT DefaultRender(std::shared_ptr<IAudioEndpoint>* endpoint) override {
    if (!endpoint) return E_POINTER;
    endpoint->reset();
    const std::shared_ptr<PulseLink> link = Link();
    if (!link) return kServiceNotRunning;
    pa_context* context = link->Context();
    ServerQuery server{link.get()};
    if (!link->Run([&] { return pa_context_get_server_info(context, OnServer, &server); }, server.done))
      return kServiceNotRunning;
    if (server.defaultSink.empty()) return CV_E_NOT_FOUND;
    DeviceQuery query{link.get()};
    if (!link->Run([&] { return pa_context_get_sink_info_by_name(context, server.defaultSink.c_str(), OnSink, &query); },
                   query.done))
      return kServiceNotRunning;
    if (query.items.empty()) return CV_E_NOT_FOUND;
    *endpoint = std::make_shared<PulseEndpoint>(link, AudioFlow::kRender, std::move(query.items.front()));
    return S_OK;
  }

 private:
  // The connection, made again once the last one was lost.
  std::shared_ptr<PulseLink> Link() {
    std::lock_guard lock(mutex_);
    if (!link_ || !link_->Alive()) link_ = PulseLink::Connect();
    return link_;
  }

  std::mutex mutex_;
  std::shared_ptr<PulseLink> link_;
};

}  // namespace

std::shared_ptr<IAudioEndpoints> NativeAudioEndpoints() { return std::make_shared<PulseEndpoints>(); }

}  // namespace cvplat
