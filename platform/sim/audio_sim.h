// Simulated sound endpoints for the audio capture's tests: recording and output endpoints by name, each
// playing a tone whose clock may run fast or slow against the simulation's clock, with silence, stalls,
// an endpoint that leaves the system, formats and buffer times refused on demand, and counters.
//
// Time: the simulation's clock stands still until a test advances it, so ten simulated minutes take
// only as long as the code under test needs to consume them, and every run sees the same packets at the
// same simulated moments. A started stream delivers one packet per default period of its endpoint's
// clock; with a drift d a period of the endpoint lasts 1 / (1 + d) of a nominal one. An event-driven
// stream's event is set whenever the clock passes the end of a period of the endpoint (also one whose
// packet is lost to a stall), and again when a packet is released while another one waits.
//
// Scripting, counting and the streams are safe from any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/audio_endpoints.h"

namespace cvplat {

inline constexpr int64_t kSimForever = INT64_MAX;

struct SimAudioCounters {
  int activations = 0;
  int liveStreams = 0;
  std::vector<int64_t> initializeTimes;  // the buffer time of every Initialize call, in call order
  int starts = 0;
  int stops = 0;                         // Stop calls that stopped a running stream
  int packets = 0;                       // packets released
  int64_t frames = 0;                    // frames in them
  int lostPackets = 0;                   // packets that fell into a stall
  int emptyPolls = 0;                    // NextPacketSize calls that found nothing (or failed)
  WaveFormat format{};                   // the format of the last successful Initialize
  uint32_t streamFlags = 0;              //   and its flags
  AudioShareMode mode = AudioShareMode::kShared;
};

class SimAudio : public IAudioEndpoints, public std::enable_shared_from_this<SimAudio> {
 public:
  // No endpoints; the clock reads 0.
  static std::shared_ptr<SimAudio> Create();

  // The sample of channel `channel` at sample index `index` of a tone: amplitude / (channel + 1) x
  // sin(2 pi frequency index / rate). Channels differ so that a mix-up shows.
  static double ToneAt(double frequency, double amplitude, uint32_t rate, int32_t channel, int64_t index);

  // ---- scripting ----
  // A new endpoint; its id is returned. `name` may be empty (an endpoint without a name). The tone
  // defaults to 1 kHz at half scale. The first output endpoint added is the default one.
  std::wstring AddEndpoint(AudioFlow flow, const std::wstring& name, const WaveFormat& mix);
  void SetTone(const std::wstring& id, double frequency, double amplitude);
  // The endpoint's clock runs (1 + fraction) times as fast as the simulation's: 0.005 is 0.5 % fast.
  void SetDrift(const std::wstring& id, double fraction);
  // Default and shortest period in 100 ns (by default 100000 and 30000). Packets last one default period.
  void SetPeriods(const std::wstring& id, int64_t defaultPeriod, int64_t minimumPeriod);
  // Packets whose period ends in [from, to) of the simulation's clock are silent: zero bytes and the
  // silent flag.
  void AddSilence(const std::wstring& id, int64_t from, int64_t to);
  // Packets whose period ends in [from, to) are never delivered; the first one after them carries the
  // discontinuity flag. `to` may be kSimForever: a loopback with nothing playing, a microphone that stops.
  void AddStall(const std::wstring& id, int64_t from, int64_t to);
  // The endpoint leaves the system now: it leaves the lists, and every call on it and on its streams
  // answers kAudioDeviceInvalidated. The events of its streams are set once, as a last wake-up.
  void Vanish(const std::wstring& id);
  // IsFormatSupported and Initialize refuse every format (kAudioUnsupportedFormat).
  void RefuseFormats(const std::wstring& id, bool refuse);
  // Besides the mix format (shared) and the mix format in 16-bit integers (exclusive), take `format`
  // as it is in both modes.
  void AcceptFormat(const std::wstring& id, const WaveFormat& format);
  // Initialize with the buffer time `bufferDuration` fails with `status` (a negative value).
  void FailInitialize(const std::wstring& id, int64_t bufferDuration, HRESULT status);
  // Activate fails with `status`; S_OK undoes it.
  void FailActivate(const std::wstring& id, HRESULT status);
  // The default output endpoint; an empty id: none.
  void SetDefaultRender(const std::wstring& id);
  // The list of endpoints can't be had (Endpoints fails with `status`); S_OK undoes it.
  void FailList(HRESULT status);

  // ---- the clock ----
  int64_t Now();
  // Moves the clock on by `duration` (100 ns) and wakes the streams whose periods end on the way.
  void Advance(int64_t duration);
  // Waits until no started stream has a packet ready or held; false when `timeoutMs` ran out first.
  bool WaitDrained(uint32_t timeoutMs);
  // Waits until a stream of the endpoint runs: its packets are counted from the clock's reading at its
  // start, so a test that moves the clock for a thread's stream waits for this first.
  bool WaitStarted(const std::wstring& id, uint32_t timeoutMs);

  // ---- holding the capture thread ----
  // The `n`-th empty NextPacketSize of the endpoint's streams since their last packet (n from 1) holds
  // its caller until ReleaseHeld, or 10 s at most, so that a test can look at the state in between.
  void HoldEmptyPoll(const std::wstring& id, int n);
  // True once a caller is held; false when `timeoutMs` ran out first.
  bool WaitHeld(const std::wstring& id, uint32_t timeoutMs);
  // Lets a held caller go; `nextHold` (above 0) sets the next hold in the same step.
  void ReleaseHeld(const std::wstring& id, int nextHold = 0);

  // ---- counters ----
  SimAudioCounters Counters(const std::wstring& id);

  // ---- the seam ----
  HRESULT Endpoints(AudioFlow flow, AudioEndpointList* endpoints) override;
  HRESULT DefaultRender(std::shared_ptr<IAudioEndpoint>* endpoint) override;

  struct State;

 private:
  SimAudio();
  std::shared_ptr<State> state_;
};

}  // namespace cvplat
