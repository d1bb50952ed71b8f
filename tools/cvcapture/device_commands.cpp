// devices, formats and format set.
#include <cstdio>

#include "tools/cvcapture/com_ref.h"
#include "tools/cvcapture/commands.h"
#include "tools/cvcapture/format_text.h"
#include "tools/cvcapture/status_text.h"

namespace {

constexpr const wchar_t* kAudioDeviceKey = L"capture.audio_device";
const char* const kFormatKindNames[] = {"input", "output", "adjust", "effective"};

std::string BusyText(int32_t busy) { return busy == -1 ? "selected" : busy != 0 ? "busy" : "free"; }

int ListDevices(ICVDevice* device, int32_t kind, const char* title) {
  int32_t count = 0;
  HRESULT hr = device->DeviceCount(kind, &count);
  if (FAILED(hr)) return ReportFailure(std::string("DeviceCount of the ") + title, hr);
  // The sound rows carry no busy flag: the selected one is asked for.
  int32_t current = -1;
  device->DeviceCurrent(kind, &current, nullptr);
  PrintLine(std::string(title) + " (" + std::to_string(count) + "):");
  for (int32_t i = 0; i < count; ++i) {
    TModuleString name;
    int32_t busy = 0;
    hr = device->DeviceDescribe(kind, i, name.Out(), &busy);
    if (FAILED(hr)) return ReportFailure("DeviceDescribe " + std::to_string(i), hr);
    if (i == current) busy = -1;
    PrintLine("  " + std::to_string(i) + "  " + name.Utf8() + "  [" + BusyText(busy) + "]");
  }
  return 0;
}

// The sound endpoints the device offers, as the options of capture.audio_device; the chosen one starred.
int ListSoundEndpoints(ICVProps* props) {
  if (!props) return ReportFailure("the object has no ICVProps", E_NOINTERFACE);
  int32_t count = 0;
  HRESULT hr = props->PropsOptionsCount(kAudioDeviceKey, &count);
  if (FAILED(hr)) return ReportFailure("listing the sound endpoints", hr);
  TModuleString chosen;
  props->PropsGet(kAudioDeviceKey, chosen.Out());
  PrintLine("sound endpoints (capture.audio_device) (" + std::to_string(count) + "):");
  for (int32_t i = 0; i < count; ++i) {
    TModuleString option;
    hr = props->PropsOptionsGetByIndex(kAudioDeviceKey, i, option.Out(), nullptr);
    if (FAILED(hr)) return ReportFailure("sound endpoint " + std::to_string(i), hr);
    PrintLine(std::string(option.Utf8() == chosen.Utf8() ? "* " : "  ") + std::to_string(i) + "  " + option.Utf8());
  }
  return 0;
}

}  // namespace

int ReportFailure(const std::string& what, HRESULT status) {
  std::fprintf(stderr, "cvcapture: %s: %s\n", what.c_str(), StatusText(status).c_str());
  return 1;
}

namespace {
std::FILE* messages = stdout;
}  // namespace

void MessagesToStandardError() { messages = stderr; }

void PrintLine(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), messages);
  std::fputc('\n', messages);
}

int RunDevices(IUnknown* object) {
  auto device = TRef<ICVDevice>::Query(object, IID_ICVDevice);
  if (!device) return ReportFailure("the object has no ICVDevice", E_NOINTERFACE);
  if (int rc = ListDevices(device.Get(), kDeviceKindVideo, "video devices")) return rc;
  if (int rc = ListDevices(device.Get(), kDeviceKindAudio, "audio")) return rc;
  return ListSoundEndpoints(TRef<ICVProps>::Query(object, IID_ICVProps).Get());
}

int RunFormats(IUnknown* object, const TCommand& c) {
  auto format = TRef<ICVFormat>::Query(object, IID_ICVFormat);
  if (!format) return ReportFailure("the object has no ICVFormat", E_NOINTERFACE);
  const bool video = c.media == TMediaKind::Video;
  const std::string what = std::string(video ? "video" : "audio") + " formats (" + kFormatKindNames[c.formatKind] + ")";
  int32_t count = 0;
  HRESULT hr = video ? format->VideoFormatCount(c.formatKind, &count) : format->AudioFormatCount(c.formatKind, &count);
  if (FAILED(hr)) return ReportFailure("counting " + what, hr);
  int32_t current = -1;
  TModuleString currentName;
  TVideoProps currentVideo{};
  TAudioProps currentAudio{};
  hr = video ? format->VideoFormatGet(c.formatKind, &currentVideo, &current, currentName.Out())
             : format->AudioFormatGet(c.formatKind, &currentAudio, &current, currentName.Out());
  if (FAILED(hr)) return ReportFailure("reading the current " + what, hr);
  PrintLine(what + ": " + std::to_string(count));
  for (int32_t i = 0; i < count; ++i) {
    TModuleString name;
    TVideoProps v{};
    TAudioProps a{};
    hr = video ? format->VideoFormatGetByIndex(c.formatKind, i, &v, name.Out())
               : format->AudioFormatGetByIndex(c.formatKind, i, &a, name.Out());
    if (FAILED(hr)) return ReportFailure("format " + std::to_string(i), hr);
    PrintLine(std::string(i == current ? "* " : "  ") + std::to_string(i) + "  " + name.Utf8() + "  " +
              (video ? VideoText(v) : AudioText(a)));
  }
  PrintLine("current: " + (current >= 0 ? std::to_string(current) : std::string("none in the list")) + "  " +
            currentName.Utf8() + "  " + (video ? VideoText(currentVideo) : AudioText(currentAudio)));
  return 0;
}

int RunFormatSet(IUnknown* object, const TCommand& c) {
  auto format = TRef<ICVFormat>::Query(object, IID_ICVFormat);
  if (!format) return ReportFailure("the object has no ICVFormat", E_NOINTERFACE);
  const bool video = c.media == TMediaKind::Video;
  TVideoProps v{};
  TAudioProps a{};
  TModuleString name;
  HRESULT hr = video ? format->VideoFormatGetByIndex(c.formatKind, c.index, &v, name.Out())
                     : format->AudioFormatGetByIndex(c.formatKind, c.index, &a, name.Out());
  if (FAILED(hr)) return ReportFailure("format " + std::to_string(c.index), hr);
  hr = video ? format->VideoFormatSet(c.formatKind, &v) : format->AudioFormatSet(c.formatKind, &a);
  if (FAILED(hr)) return ReportFailure("setting " + name.Utf8(), hr);
  PrintLine(std::string(kFormatKindNames[c.formatKind]) + " " + (video ? "video" : "audio") + " format set: " +
            name.Utf8() + "  " + (video ? VideoText(v) : AudioText(a)) + (hr == S_FALSE ? " (unchanged)" : ""));
  return 0;
}
