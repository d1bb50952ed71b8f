// capture: reads frames through one reader of its own and writes them out as they arrive.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

#include "tools/cvcapture/capture_outputs.h"
#include "tools/cvcapture/capture_stats.h"
#include "tools/cvcapture/com_ref.h"
#include "tools/cvcapture/commands.h"

namespace {

constexpr int64_t kReadTimeout = 2 * kTimeUnitsPerSecond;
constexpr int kMaxIdleReads = 5;  // reads in a row without a frame before the capture gives up
constexpr double kProgressEvery = 0.25;
// The reader's queue: room for a few frames while a file write stalls, so a slow disk doesn't drop them.
constexpr const wchar_t* kReaderHints = L"buffers=8";

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double ReadRateProperty(ICVProps* props) {
  TModuleString text;
  if (!props || props->PropsGet(L"capture.fps_limit", text.Out()) != S_OK) return 30.0;
  const double rate = std::strtod(text.Utf8().c_str(), nullptr);
  return rate >= 2.0 && rate <= 60.0 ? rate : 30.0;
}

// A frame that repeats the picture before it says so in its value "dup", or in a label of that name.
bool IsDuplicate(ICVFrame_I* frame) {
  int64_t value = 0;
  if (auto values = TRef<ICVNamedValues>::Query(frame, IID_ICVNamedValues))
    if (values->ValueGet(L"dup", &value) == S_OK && value != 0) return true;
  if (auto host = TRef<ICVFrame>::Query(frame, IID_ICVFrame))
    if (host->LabelGet(L"dup", &value) == S_OK && value != 0) return true;
  return false;
}

bool PictureOf(ICVFrame_I* frame, int64_t* size, uint8_t** bytes) {
  *size = 0;
  *bytes = nullptr;
  auto host = TRef<ICVFrame>::Query(frame, IID_ICVFrame);
  return host && host->BytesGet(size, bytes) == S_OK && *bytes && *size > 0;
}

// Hands the frame's planar samples to the outputs.
bool AddSound(ICVFrame_I* frame, const TAudioProps& audio, int32_t audioBytes, TCaptureOutputs& outputs) {
  if (audio.channels <= 0 || audio.channels > 32 || audioBytes <= 0) {
    outputs.AddFrameWithoutSound();
    return true;
  }
  const uint8_t* planes[32] = {};
  int32_t bytes = audioBytes;
  for (int32_t c = 0; c < audio.channels; ++c) {
    uint8_t* samples = nullptr;
    int32_t channelBytes = 0;
    if (FAILED(frame->AudioChannelGet(c, kAudioChannelRead, &channelBytes, &samples)) || !samples) return true;
    planes[c] = samples;
    if (channelBytes < bytes) bytes = channelBytes;
  }
  return outputs.AddSound(audio, planes, bytes);
}

// "default" turns the device's sound on and leaves the choice to it: its first offered endpoint.
HRESULT ChooseSound(IUnknown* object, ICVProps* props, const std::wstring& name) {
  if (!props) return E_NOINTERFACE;
  if (name != L"default") return props->PropsSet(L"capture.audio_device", name.c_str());
  auto device = TRef<ICVDevice>::Query(object, IID_ICVDevice);
  if (!device) return E_NOINTERFACE;
  if (HRESULT hr = device->DeviceSelect(kDeviceKindAudio, 0, nullptr); FAILED(hr)) return hr;
  return props->PropsSet(L"capture.audio_device", L"none");
}

// The video's bytes go out unchanged (no line-end translation on Windows), and a reader that goes away
// ends the capture with a failed write rather than a signal.
bool StandardOutputForVideo() {
#if defined(_WIN32)
  return _setmode(_fileno(stdout), _O_BINARY) != -1;
#else
  std::signal(SIGPIPE, SIG_IGN);
  return true;
#endif
}

void PrintProgress(const TCaptureStats& stats, const TCaptureOutputs& outputs) {
  std::string line = FiguresLine(stats.Figures(), stats.AchievedFps());
  if (outputs.HasAudio()) {
    char level[48];
    std::snprintf(level, sizeof level, "  audio peak %.3f", outputs.AudioPeak());
    line += level;
  }
  std::fprintf(stderr, "\r%s   ", line.c_str());
  std::fflush(stderr);
}

void PrintSummary(const TCaptureStats& stats, const TCaptureOutputs& outputs, double seconds,
                  const std::string& mode) {
  char wall[48];
  std::snprintf(wall, sizeof wall, " in %.2f s", seconds);
  PrintLine("captured " + FiguresLine(stats.Figures(), stats.AchievedFps()) + wall);
  if (!mode.empty()) PrintLine("mode: " + mode);
  if (outputs.HasVideo())
    PrintLine("video: " +
              (outputs.Streaming() ? std::string("standard output") : ToUtf8(outputs.File("video.y4m").wstring())) +
              "  " + std::to_string(outputs.VideoFrames()) + " frames  " + outputs.VideoHeader());
  else
    PrintLine("video: none");
  if (outputs.SkippedPictures() > 0)
    PrintLine("pictures left out (size or layout changed): " + std::to_string(outputs.SkippedPictures()));
  if (outputs.HasAudio()) {
    char peak[32];
    std::snprintf(peak, sizeof peak, "%.3f", outputs.AudioPeak());
    PrintLine("audio: " + ToUtf8(outputs.File("audio.wav").wstring()) + "  " + std::to_string(outputs.AudioSamples()) +
              " samples  " + std::to_string(outputs.AudioFormat().channels) + " ch " +
              std::to_string(outputs.AudioFormat().sampleRate) + " Hz  peak " + peak);
    // What each frame carried: its share of the rate, and frames left silent by a late or stalled source.
    char perFrame[160];
    std::snprintf(perFrame, sizeof perFrame,
                  "audio per frame: %.1f samples (%d..%d) on %lld frames, %lld without sound",
                  static_cast<double>(outputs.AudioSamples()) / static_cast<double>(outputs.FramesWithSound()),
                  outputs.FewestSamplesPerFrame(), outputs.MostSamplesPerFrame(),
                  static_cast<long long>(outputs.FramesWithSound()),
                  static_cast<long long>(outputs.FramesWithoutSound()));
    PrintLine(perFrame);
  } else {
    PrintLine(outputs.Streaming() ? "audio: not written (the video is on standard output)" : "audio: none");
  }
}

}  // namespace

int RunCapture(IUnknown* object, const TCommand& c) {
  auto source = TRef<ICVSource_I>::Query(object, IID_ICVSource_I);
  auto props = TRef<ICVProps>::Query(object, IID_ICVProps);
  if (!source) return ReportFailure("the object has no ICVSource_I", E_NOINTERFACE);
  if (c.hasProps) {
    if (!props) return ReportFailure("the object has no ICVProps", E_NOINTERFACE);
    const HRESULT hr = props->PropsSet(nullptr, c.props.c_str());
    if (FAILED(hr)) return ReportFailure("applying --props", hr);
  }
  for (const auto& [name, value] : c.settings) {
    if (!props) return ReportFailure("the object has no ICVProps", E_NOINTERFACE);
    if (HRESULT hr = props->PropsSet(name.c_str(), value.c_str()); FAILED(hr))
      return ReportFailure("setting " + ToUtf8(name) + " to " + ToUtf8(value), hr);
  }
  if (!c.audio.empty()) {
    if (HRESULT hr = ChooseSound(object, props.Get(), c.audio); FAILED(hr))
      return ReportFailure("choosing the sound", hr);
  }
  const std::filesystem::path folder(c.toStdout ? L"." : c.outDir);
  if (c.toStdout) {
    if (!StandardOutputForVideo()) return ReportFailure("making standard output binary", E_FAIL);
    MessagesToStandardError();
  } else {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
      std::fprintf(stderr, "cvcapture: cannot make the folder %s: %s\n", ToUtf8(c.outDir).c_str(),
                   error.message().c_str());
      return 1;
    }
  }

  TCaptureOutputs outputs(folder, ReadRateProperty(props.Get()));
  if (c.toStdout) outputs.StreamVideoTo(stdout);
  TCaptureStats stats;
  TRef<ICVFrame_I> last;
  TAvProps lastFormat{};
  int64_t readerId = 0;
  int idleReads = 0;
  HRESULT failure = S_OK;
  std::string failedStep;
  const Clock::time_point start = Clock::now();
  double nextProgress = 0;
  double seconds = 0;
  double firstFrameAt = -1;  // --seconds counts from the first frame: the start of the capture is no footage
  auto more = [&] {
    if (c.seconds > 0) return firstFrameAt < 0 || seconds - firstFrameAt < c.seconds;
    return stats.Figures().frames < c.frames;
  };

  while (more()) {
    TRef<ICVFrame_I> frame;
    const HRESULT hr = source->SourceFrameGetEx_I(&readerId, frame.Out(), kReadTimeout,
                                                        readerId == 0 ? kReaderHints : nullptr);
    seconds = SecondsSince(start);
    if (FAILED(hr) && hr != CV_E_TIMEOUT) {
      failure = hr;
      failedStep = "reading a frame";
      break;
    }
    if (!frame) {
      if (++idleReads >= kMaxIdleReads) {
        failure = CV_E_TIMEOUT;
        failedStep = "no frame came";
        break;
      }
      continue;
    }
    idleReads = 0;
    if (firstFrameAt < 0) firstFrameAt = seconds;
    TAvProps format{};
    TFrameTime time{};
    int32_t audioBytes = 0;
    frame->FormatGet(&format, &audioBytes);
    if (FAILED(frame->TimeGet(&time))) time.startTime = kNoTime;
    stats.OnFrame(time, format.video.frameRate, IsDuplicate(frame.Get()), seconds);
    int64_t size = 0;
    uint8_t* bytes = nullptr;
    const bool written = (!PictureOf(frame.Get(), &size, &bytes) || outputs.AddPicture(format.video, bytes, size)) &&
                         AddSound(frame.Get(), format.audio, audioBytes, outputs);
    if (!written) {
      failure = E_FAIL;
      failedStep = "writing to " + ToUtf8(c.outDir);
      break;
    }
    last = std::move(frame);
    lastFormat = format;
    if (seconds >= nextProgress) {
      PrintProgress(stats, outputs);
      nextProgress = seconds + kProgressEvery;
    }
  }
  seconds = SecondsSince(start);
  PrintProgress(stats, outputs);
  std::fputc('\n', stderr);

  // The mode the device chose, while its reader still holds it open.
  std::string mode;
  TModuleString modeText;
  if (props && props->PropsGet(L"capture.current_mode", modeText.Out()) == S_OK) mode = modeText.Utf8();
  if (readerId != 0) source->SourceReaderClose(readerId);
  int64_t size = 0;
  uint8_t* bytes = nullptr;
  bool filesOk = true;
  if (last && PictureOf(last.Get(), &size, &bytes)) filesOk = outputs.WriteLastPicture(lastFormat.video, bytes, size);
  last.Reset();
  filesOk = outputs.Finish() && filesOk;

  PrintSummary(stats, outputs, seconds, mode);
  if (failure != S_OK) return ReportFailure(failedStep, failure);
  if (!filesOk) return ReportFailure("writing to " + ToUtf8(c.outDir), E_FAIL);
  return 0;
}
