#include "audio/audio_inserter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "media/audio_format.h"
#include "media/duration_snap.h"
#include "props/text_chars.h"

namespace {

constexpr int64_t kShortestFrame = 10000;  // a frame whose stop isn't 1 ms past its start has no duration
constexpr int32_t kMostFrameChannels = 32;
constexpr int32_t kMostAppendShift = 16;

// Bytes of one sample of one channel; 0 for a record that isn't a sound format.
int32_t SampleBytes(const TAudioProps& format) {
  return AudioIsValid(format) ? AudioBlockBytes(format) / format.channels : 0;
}

int64_t FrameSamples(const TAudioProps& format, int32_t bytesPerChannel) {
  const int32_t bytes = SampleBytes(format);
  return bytes ? bytesPerChannel / bytes : 0;
}

// The bit of the frame's audio mask that tells the sound has been joined.
void MarkJoined(TAudioProps& audio) {
  if (audio.channels >= 1 && audio.channels <= 32) audio.channelMask |= 1u << (audio.channels - 1);
}

}  // namespace

TAudioInserter::TAudioInserter(std::shared_ptr<cvplat::IAudioEndpoints> endpointList)
    : TCaptureWASAPI(std::move(endpointList)),
      samplesEvent(cvplat::CreateEventObject(true, false)),
      waitTimer(cvplat::CreateWaitableTimerObject(true)) {}

TAudioInserter::~TAudioInserter() {
  // The capture thread calls into this object: it goes before the buffer does.
  StopCapture(true);
  cvplat::CloseKernelHandle(waitTimer);
  cvplat::CloseKernelHandle(samplesEvent);
}

void TAudioInserter::ResetAudio() {
  cvplat::SectionLock capture(captureLock);
  cvplat::SectionLock insert(insertLock);
  audioBuffer.AudioReset(true);
  audioCalc.Reset();
}

int64_t TAudioInserter::StoredSamples() {
  cvplat::SectionLock insert(insertLock);
  return audioBuffer.AudioStoredSamples();
}

HRESULT TAudioInserter::OnAudioData(void* inserter, const TAudioProps& format, const uint8_t* data, uint32_t bytes) {
  if (inserter) static_cast<TAudioInserter*>(inserter)->PutPacket(format, data, bytes);
  return S_FALSE;
}

HRESULT TAudioInserter::PutPacket(const TAudioProps& format, const uint8_t* data, uint32_t bytes) {
  cvplat::SectionLock insert(insertLock);
  // Nothing is kept before the first frame has given the buffer its format.
  if (!audioBuffer.AudioReady()) return S_FALSE;
  audioBuffer.AudioPut(format, data, bytes, false, true);
  const TAudioProps& stored = audioBuffer.Format();
  const int64_t t = AudioTimeFromSamples(stored, audioBuffer.AudioStoredSamples());
  if (t > kBufferLimit) audioBuffer.AudioDrop(AudioSamplesFromTime(stored, t - kBufferLimit));
  // Only more than the wanted amount wakes the frame finishing, as the exact amount was there to see.
  if (wantedSamples > 0 && audioBuffer.AudioStoredSamples() > wantedSamples) {
    cvplat::SetEventObject(samplesEvent);
    wantedSamples = -1;
  }
  return S_FALSE;
}

HRESULT TAudioInserter::JoinAudio(ICVFrame_I* frame, bool append, const wchar_t* channelList, int64_t wait) {
  if (!frame) return E_POINTER;
  if (channelList && *channelList) return E_NOTIMPL;
  cvplat::SectionLock capture(captureLock);
  if (!AudioIsValid(captureFormat)) return CV_E_DEVICE_NOT_AVAILABLE;

  TAvProps props{};
  int32_t audioBytes = 0;
  if (HRESULT hr = frame->FormatGet(&props, &audioBytes); FAILED(hr)) return hr;
  const bool silentFrame = !VideoIsValid(props.video) && FrameSamples(props.audio, audioBytes) == 0;
  TFrameTime time{};
  if (HRESULT hr = frame->TimeGet(&time); FAILED(hr)) return hr;

  // The frame takes the buffer's sample type, 16-bit integers or floats, so that each of its channels
  // is a block copy of one of the buffer's.
  const int32_t captured = captureFormat.channels;
  TAudioProps targetFormat = AudioIsValid(props.audio) ? props.audio : captureFormat;
  targetFormat.channels = captured;
  targetFormat.channelMask = 0;
  if (targetFormat.bitsPerSample != 16) targetFormat.bitsPerSample = -32;

  std::vector<int32_t> targets(static_cast<size_t>(captured));
  for (int32_t i = 0; i < captured; ++i) targets[size_t(i)] = i;
  if (AudioIsValid(props.audio) && append) {
    // The captured channels go behind the frame's own, which the frame library moves by the map.
    const int32_t own = props.audio.channels;
    MarkJoined(props.audio);
    const int32_t shift = std::max(0, std::min(own, kMostAppendShift - captured));
    for (int32_t& e : targets) e += shift;
    std::vector<int32_t> map(static_cast<size_t>(own));
    for (int32_t i = 0; i < own; ++i) map[size_t(i)] = i;
    for (const int32_t e : targets) {
      while (int32_t(map.size()) < e) map.push_back(0);
      map.insert(map.begin() + e, 0);
    }
    while (map.size() > size_t(kMostFrameChannels)) {
      map.pop_back();
      props.audio.channelMask <<= 1;
    }
    props.audio.channels = int32_t(map.size());
    std::wstring text;
    for (size_t i = 0; i < map.size(); ++i) text += (i ? L", " : L"") + std::to_wstring(map[i]);
    frame->FormatSet(&props, text.c_str());
    frame->FormatGet(&props, &audioBytes);
  } else {
    props.audio = targetFormat;
    audioBytes = 0;  // a new sound format: whatever the frame held goes
  }

  int64_t need = FrameSamples(props.audio, audioBytes);
  if (need == 0) {
    if (time.endTime > time.startTime + kShortestFrame) {
      audioCalc.SamplesForTime(props.audio, time, &need, kLargestGap);
    } else if (props.video.frameRate > 0) {
      int64_t rounded = std::llround(double(kTimeUnitsPerSecond) / props.video.frameRate);
      const double duration = DurationSnap(rounded);
      audioCalc.SamplesForDuration(props.audio, duration, &need, false);
    } else {
      return E_INVALIDARG;
    }
    // Marked before the samples are laid out: a later FormatSet of a changed record would drop them.
    MarkJoined(props.audio);
    const int64_t bytes = need * SampleBytes(props.audio);
    if (bytes > INT32_MAX) return E_INVALIDARG;
    if (HRESULT hr = frame->AudioSet(&props.audio, int32_t(bytes), 0, 0); FAILED(hr)) return hr;
  }
  if (NoData()) return CV_E_DEVICE_NOT_AVAILABLE;

  bool joined = false;
  for (;;) {
    {
      cvplat::SectionLock insert(insertLock);
      if (!audioBuffer.AudioReady() && (!silentFrame || wait >= 0)) {
        // A run's first frame readies the buffer and goes out silent; the next one finds samples.
        audioBuffer.AudioFormatSet(targetFormat);
        joined = true;
        break;
      }
      audioBuffer.AudioFormatSet(targetFormat);
      const int64_t avail = audioBuffer.AudioStoredSamples();
      if (avail >= need) {
        const bool opensRun = (time.frameFlags & (kFrameFlagGap | kFrameFlagNotNewRun)) == kFrameFlagGap;
        if (opensRun && avail > need + need / 2) {
          audioBuffer.AudioDrop(avail - (need + need / 2));
        } else if (avail > 3 * need) {
          audioBuffer.AudioDrop(avail - (need + 3));
        }
        for (int32_t i = 0; i < captured; ++i) {
          int32_t size = 0;
          uint8_t* samples = nullptr;
          if (SUCCEEDED(frame->AudioChannelGet(targets[size_t(i)], kAudioChannelWrite, &size, &samples)) && samples)
            std::memcpy(samples, audioBuffer.Channels().ChannelPtr(i, 0), size_t(size));
        }
        audioBuffer.AudioDrop(need);
        joined = true;
        break;
      }
      cvplat::ResetEventObject(samplesEvent);
      wantedSamples = need;
    }
    if (wait == 0) break;
    if (wait > 0) cvplat::SetTimerRelative(waitTimer, wait);
    const cvplat::KHandle handles[] = {samplesEvent, waitTimer};
    const uint32_t limit = wait > 0 ? uint32_t(std::min<int64_t>(wait / 10000 + kWaitLimitMs, INT32_MAX)) : kWaitLimitMs;
    const uint32_t woke = cvplat::WaitForAny(wait > 0 ? 2 : 1, handles, limit);
    if (woke != cvplat::kWaitObject0 || NoData()) break;
  }

  if (joined) frame->AudioCommit();
  MarkJoined(props.audio);
  frame->FormatSet(&props, nullptr);
  if (joined) return S_OK;
  return NoData() ? CV_E_DEVICE_NOT_AVAILABLE : CV_E_TIMEOUT;
}

HRESULT SwitchAudioDevice(TAudioInserter* inserter, const wchar_t* name, const TAudioProps& request,
                          XMLParse::CoXMLNode* tree) {
  if (!inserter) return S_FALSE;
  inserter->StopCapture(false);
  inserter->ResetAudio();
  if (!name || !*name || cv_text::EqualsNoCase(name, L"none")) return S_FALSE;
  const HRESULT hr = inserter->StartCapture(name, request, tree, &TAudioInserter::OnAudioData, inserter);
  return FAILED(hr) ? hr : S_OK;
}
