// TAudioInserter: joins the captured sound to the video frames. Frames are the clock: each frame gets
// exactly the samples its duration asks for. The endpoint runs on a clock of its own, so the two drift
// apart; the buffer between them absorbs that within fixed limits, waiting a moment when it is short
// and throwing away samples when it holds too many. Drift is never resampled away.
//
// Threads: the capture thread puts packets in through OnAudioData; the engine's capture thread takes
// them out through JoinAudio. Both hold insertLock for each access to the buffer; JoinAudio holds
// captureLock throughout and leaves insertLock around its wait, whose event is only set under
// insertLock and only reset there before wantedSamples is written, so no wake-up is lost. Lock order:
// captureLock, then insertLock.
#pragma once

#include <cstdint>
#include <memory>

#include "CVDeviceSCR.h"
#include "audio/audio_buffer2.h"
#include "audio/audio_calc.h"
#include "audio/capture_wasapi.h"
#include "media/auto_obj.h"

// The counted base comes first, so that its release frees the object at the object's own address.
class TAudioInserter : public AutoObjBase<TAudioInserter, IUnknown>, public TCaptureWASAPI {
 public:
  static constexpr int64_t kBufferLimit = 10'000'000;  // 1 s: what is stored beyond it goes at the front
  static constexpr int64_t kLargestGap = 100'000;      // 10 ms between frames before the count starts afresh
  static constexpr int64_t kFrameWait = 15;            // what the frame finishing waits: 1.5 microseconds
  static constexpr uint32_t kWaitLimitMs = 300;        // the backstop of that wait

  explicit TAudioInserter(std::shared_ptr<cvplat::IAudioEndpoints> endpointList);
  ~TAudioInserter() override;

  // The data callback of the capture: converts a packet into the buffer and keeps the buffer within
  // its limit. Packets before the first frame has given the buffer its format are dropped. Returns 1.
  static HRESULT OnAudioData(void* inserter, const TAudioProps& format, const uint8_t* data, uint32_t bytes);

  // Gives `frame` the samples of its duration. `append` puts them behind sound the frame has already;
  // `channelList` must be null or empty; `wait` (100 ns) bounds the wait for samples that are due
  // (0: no wait, negative: 300 ms). S_OK with samples or on a run's first frame; 0x800705B4 when the
  // samples didn't come in time and 0x800710D2 when the endpoint has had no data for a while (the frame
  // then carries silence of its length); E_POINTER without a frame; E_INVALIDARG for a frame without a
  // usable duration.
  HRESULT JoinAudio(ICVFrame_I* frame, bool append, const wchar_t* channelList, int64_t wait);

  // Empties the buffer, forgetting its format, and the sample count's carry.
  void ResetAudio();
  int64_t StoredSamples();

 protected:
  void OnDeviceClosed() override { ResetAudio(); }

 private:
  HRESULT PutPacket(const TAudioProps& format, const uint8_t* data, uint32_t bytes);

  cvplat::CriticalSection insertLock;
  TAudioBuffer2 audioBuffer;
  int64_t wantedSamples = -1;  // stored samples the frame finishing waits for; not above 0: nobody waits
  cvplat::KHandle samplesEvent = nullptr;  // manual reset: set when wantedSamples are exceeded
  TAudioCalc audioCalc;
  cvplat::KHandle waitTimer = nullptr;  // manual reset: bounds the frame finishing's wait
};

// The engine's switch of its sound source: stops the capture and empties the buffer, then starts
// `name` with `request` as the wanted format, unless the name is missing, empty or "none". S_OK when
// started, S_FALSE when there was nothing to start (also without an inserter), or the open's failure.
HRESULT SwitchAudioDevice(TAudioInserter* inserter, const wchar_t* name, const TAudioProps& request,
                          XMLParse::CoXMLNode* tree);
