// The sound endpoints as the audio capture sees them: recording endpoints, and output endpoints whose
// loopback yields what the machine plays; the default output; a stream on an endpoint with its mix
// format, format negotiation, initialisation, start and stop, and the packets it delivers. WASAPI stands
// behind it on Windows, the sound server on Linux (its sources, and the monitor of each sink as that
// sink's loopback), and platform/sim/ scripts it for tests.
//
// Ownership: a platform hands out one std::shared_ptr<IAudioEndpoints>. Endpoint objects are shared;
// whoever keeps one may activate it later, and a stream keeps what it needs of its endpoint, so either
// may outlive the list that gave it. An endpoint that leaves the system is not taken out of the hands
// that hold it: its calls answer kAudioDeviceInvalidated from then on.
//
// Threads: IAudioEndpoints and IAudioEndpoint may be called from any thread. A stream belongs to one
// thread at a time; its owner opens it on one thread and hands it to a capture thread, and takes it
// back only after joining that thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/com_types.h"
#include "platform/kernel.h"

namespace cvplat {

// ---- statuses of the audio client, as the system's audio layer gives them ----
inline constexpr HRESULT kAudioNotInitialized = static_cast<HRESULT>(0x88890001u);
inline constexpr HRESULT kAudioAlreadyInitialized = static_cast<HRESULT>(0x88890002u);
inline constexpr HRESULT kAudioWrongEndpointType = static_cast<HRESULT>(0x88890003u);
inline constexpr HRESULT kAudioDeviceInvalidated = static_cast<HRESULT>(0x88890004u);
inline constexpr HRESULT kAudioNotStopped = static_cast<HRESULT>(0x88890005u);
inline constexpr HRESULT kAudioOutOfOrder = static_cast<HRESULT>(0x88890007u);
inline constexpr HRESULT kAudioUnsupportedFormat = static_cast<HRESULT>(0x88890008u);
inline constexpr HRESULT kAudioInvalidSize = static_cast<HRESULT>(0x88890009u);
inline constexpr HRESULT kAudioDeviceInUse = static_cast<HRESULT>(0x8889000Au);
inline constexpr HRESULT kAudioExclusiveModeNotAllowed = static_cast<HRESULT>(0x8889000Eu);
inline constexpr HRESULT kAudioEventHandleNotExpected = static_cast<HRESULT>(0x88890011u);
inline constexpr HRESULT kAudioEventHandleNotSet = static_cast<HRESULT>(0x88890014u);
inline constexpr HRESULT kAudioBufferSizeError = static_cast<HRESULT>(0x88890016u);
inline constexpr HRESULT kAudioBufferSizeNotAligned = static_cast<HRESULT>(0x88890019u);
// A success: GetBuffer found no packet.
inline constexpr HRESULT kAudioBufferEmpty = static_cast<HRESULT>(0x08890001u);

// ---- formats ----

enum class WaveEncoding : uint16_t {
  kNone = 0,   // the record of no format
  kPcm = 1,    // signed integers, little-endian
  kFloat = 3,  // 32-bit IEEE floats, -1..1
};

// A sample format on the wire: interleaved frames of `channels` samples of `bitsPerSample` each (the
// container), of which the top `validBits` carry the signal. The native layer maps its own records
// (plain and extensible) onto this one and back.
struct WaveFormat {
  WaveEncoding encoding = WaveEncoding::kNone;
  uint16_t channels = 0;
  uint32_t sampleRate = 0;
  uint16_t bitsPerSample = 0;
  uint16_t validBits = 0;
  uint32_t channelMask = 0;  // speaker positions, one bit each; 0 unset

  bool operator==(const WaveFormat&) const = default;
};

// ---- streams ----

enum class AudioShareMode : int32_t { kShared = 0, kExclusive = 1 };

// Stream flags of Initialize.
inline constexpr uint32_t kStreamLoopback = 0x20000;       // capture what an output endpoint plays
inline constexpr uint32_t kStreamEventCallback = 0x40000;  // the stream signals the event of SetEventHandle

// Flags of a packet.
inline constexpr uint32_t kPacketDiscontinuity = 0x1;  // samples were lost before this packet
inline constexpr uint32_t kPacketSilent = 0x2;         // the packet is silence, whatever its bytes say
inline constexpr uint32_t kPacketTimestampError = 0x4;

struct AudioPacket {
  const uint8_t* data = nullptr;  // interleaved frames; valid until ReleaseBuffer
  uint32_t frames = 0;
  uint32_t flags = 0;
};

// One stream on an endpoint. Life: made by Activate; MixFormat, IsFormatSupported and DevicePeriod at
// any time; Initialize once; SetEventHandle; then Start, packets, Stop, as often as wanted. Releasing
// the object stops the stream.
class IAudioStream {
 public:
  virtual ~IAudioStream() = default;

  // The format the endpoint mixes in, which shared mode always takes.
  virtual HRESULT MixFormat(WaveFormat* format) = 0;
  // S_OK when `format` is taken as it is; S_FALSE with the closest format in `*closest` (shared mode);
  // kAudioUnsupportedFormat when there is none. `closest` may be null.
  virtual HRESULT IsFormatSupported(AudioShareMode mode, const WaveFormat& format, WaveFormat* closest) = 0;
  // The endpoint's default and shortest periods, in 100 ns.
  virtual HRESULT DevicePeriod(int64_t* defaultPeriod, int64_t* minimumPeriod) = 0;
  // Fixes the mode, flags, buffer and period (100 ns) and format. Failures are distinct: a refused
  // buffer time (kAudioBufferSizeError, kAudioBufferSizeNotAligned), a refused format
  // (kAudioUnsupportedFormat), loopback of a recording endpoint (kAudioWrongEndpointType), an endpoint
  // held by another exclusive stream (kAudioDeviceInUse) or closed to exclusive streams
  // (kAudioExclusiveModeNotAllowed), a second call (kAudioAlreadyInitialized), a gone endpoint.
  virtual HRESULT Initialize(AudioShareMode mode, uint32_t streamFlags, int64_t bufferDuration, int64_t periodicity,
                             const WaveFormat& format) = 0;
  // The event that an event-driven stream signals when a packet is ready, and again when a packet is
  // given back while another one waits, so one packet per wake-up keeps up. The caller owns the event and
  // keeps it open until this stream is released. kAudioEventHandleNotExpected for a stream initialised
  // without kStreamEventCallback.
  virtual HRESULT SetEventHandle(KHandle event) = 0;
  virtual HRESULT Start() = 0;
  // S_FALSE when the stream wasn't running.
  virtual HRESULT Stop() = 0;
  // Frames in the next packet; 0 when none is ready.
  virtual HRESULT NextPacketSize(uint32_t* frames) = 0;
  // The next packet, held until ReleaseBuffer; kAudioBufferEmpty with 0 frames when none is ready, and
  // kAudioOutOfOrder while a packet is held.
  virtual HRESULT GetBuffer(AudioPacket* packet) = 0;
  // Gives the held packet back: `frames` is its full size, or 0 to keep it for the next GetBuffer.
  virtual HRESULT ReleaseBuffer(uint32_t frames) = 0;
};

// ---- endpoints ----

enum class AudioFlow : uint8_t {
  kCapture = 0,  // recording: microphones, line in
  kRender = 1,   // output: captured through its loopback
};

class IAudioEndpoint {
 public:
  virtual ~IAudioEndpoint() = default;

  // The system's identity of the endpoint: stable while it exists, and across restarts where the
  // system keeps it.
  virtual std::wstring Id() = 0;
  virtual AudioFlow Flow() = 0;
  // The name a user knows the endpoint by; S_FALSE with an empty name when it has none.
  virtual HRESULT FriendlyName(std::wstring* name) = 0;
  // A new stream on the endpoint, not initialised. kAudioDeviceInvalidated once the endpoint is gone.
  virtual HRESULT Activate(std::unique_ptr<IAudioStream>* stream) = 0;
};

using AudioEndpointList = std::vector<std::shared_ptr<IAudioEndpoint>>;

class IAudioEndpoints {
 public:
  virtual ~IAudioEndpoints() = default;

  // The active endpoints of one flow, in the system's stable order. A failure means the system's audio
  // service can't be reached; the list is then empty.
  virtual HRESULT Endpoints(AudioFlow flow, AudioEndpointList* endpoints) = 0;
  // The output endpoint the system plays its media sound on; CV_E_NOT_FOUND when there is none.
  virtual HRESULT DefaultRender(std::shared_ptr<IAudioEndpoint>* endpoint) = 0;
};

// The machine's own endpoints (the sound server on Linux); their listing fails while no service answers.
std::shared_ptr<IAudioEndpoints> NativeAudioEndpoints();

}  // namespace cvplat
