// cvcapture: the command-line host of the capture component. It knows the component only through its
// public header and loads the module at run time.
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/demo_desktop.h"

#include "tools/cvcapture/cli_args.h"
#include "tools/cvcapture/com_ref.h"
#include "tools/cvcapture/commands.h"

#ifndef CV_BUILD_TYPE_TEXT
#if defined(NDEBUG)
#define CV_BUILD_TYPE_TEXT "release"
#else
#define CV_BUILD_TYPE_TEXT "debug"
#endif
#endif

namespace {

const char* PlatformText() {
#if defined(_WIN32) && defined(_WIN64)
  return "windows-x86_64";
#elif defined(_WIN32)
  return "windows-x86";
#elif defined(__x86_64__)
  return "linux-x86_64";
#elif defined(__aarch64__)
  return "linux-aarch64";
#else
  return "linux";
#endif
}

int PrintVersion() {
  std::printf("cvcapture %s\nplatform: %s\nbuild: %s, %s %s\n", CV_VERSION_TEXT, PlatformText(), CV_BUILD_TYPE_TEXT,
              __DATE__, __TIME__);
  return 0;
}

// The marks a capture can draw, all on for a private desktop, so that its recording shows them. They go
// in before the command's own settings, which still win.
constexpr std::pair<const wchar_t*, const wchar_t*> kDemoMarks[] = {
    {L"capture.show_mouse", L"show"},       {L"capture.highlight_mouse", L"show"},
    {L"capture.show_clicks", L"true"},      {L"capture.show_keypresses", L"true"},
    {L"timecode.print", L"true"},
};

// A capture on a machine without a display records a private one (started here, before the device, so
// that the device finds it); null when there is a display. `failed` says whether the command is over.
std::unique_ptr<cvplat::IDemoDesktop> DemoDesktopFor(const TCommand& command, bool* failed) {
  *failed = false;
  std::string why;
  if (command.kind != TCommandKind::Capture || !cvplat::NeedsDemoDesktop(&why)) return nullptr;
  std::string error;
  auto demo = cvplat::StartDemoDesktop(&error);
  if (!demo) {
    std::fprintf(stderr, "cvcapture: no display to record (%s), and no private one: %s\n", why.c_str(), error.c_str());
    *failed = true;
    return nullptr;
  }
  std::fprintf(stderr, "cvcapture: no display to record (%s): recording a private display %s with moving content of its own\n",
               why.c_str(), demo->DisplayName().c_str());
  return demo;
}

int ShowDemo(IUnknown* device, cvplat::IDemoDesktop& demo) {
  auto props = TRef<ICVProps>::Query(device, IID_ICVProps);
  if (!props) return ReportFailure("the object has no ICVProps", E_NOINTERFACE);
  std::string set;
  for (const auto& [name, value] : kDemoMarks) {
    if (HRESULT hr = props->PropsSet(name, value); FAILED(hr))
      return ReportFailure("setting " + ToUtf8(name) + " for the private display", hr);
    set.append(" ").append(ToUtf8(name)).append("=").append(ToUtf8(value));
  }
  std::fprintf(stderr, "cvcapture: for the private display, this capture sets%s\n", set.c_str());
  std::string error;
  if (!demo.StartContent(&error)) {
    std::fprintf(stderr, "cvcapture: %s\n", error.c_str());
    return 1;
  }
  return 0;
}

int RunWithDevice(const TCommand& command) {
  bool demoFailed = false;
  // Declared before the device, so that it goes after it: the server outlives every connection to it.
  const std::unique_ptr<cvplat::IDemoDesktop> demo = DemoDesktopFor(command, &demoFailed);
  if (demoFailed) return 1;
  TRef<IUnknown> device;
  std::string detail;
  const HRESULT hr = CreateCaptureDevice(device.Out(), &detail);
  if (FAILED(hr)) return ReportFailure(detail.empty() ? "cannot create the capture device" : detail, hr);
  if (demo) {
    if (int rc = ShowDemo(device.Get(), *demo)) return rc;
  }
  switch (command.kind) {
    case TCommandKind::Devices: return RunDevices(device.Get());
    case TCommandKind::Formats: return RunFormats(device.Get(), command);
    case TCommandKind::FormatSet: return RunFormatSet(device.Get(), command);
    case TCommandKind::Capture: return RunCapture(device.Get(), command);
    default: return RunProps(device.Get(), command);
  }
}

int Run(const std::vector<std::wstring>& args) {
  TCommand command;
  std::string error;
  if (!ParseCommand(args, &command, &error)) {
    std::fprintf(stderr, "cvcapture: %s (try cvcapture --help)\n", error.c_str());
    return 2;
  }
  if (command.kind == TCommandKind::Version) return PrintVersion();
  if (command.kind == TCommandKind::Help) {
    std::fputs(UsageText(), stdout);
    return 0;
  }
  const HRESULT entered = EnterComponentRuntime();
  if (FAILED(entered)) return ReportFailure("cannot enter the component runtime", entered);
  const int rc = RunWithDevice(command);
  LeaveComponentRuntime();
  std::fflush(stdout);
  return rc;
}

}  // namespace

#if defined(_WIN32)
int wmain(int argc, wchar_t** argv) {
  std::vector<std::wstring> args(argv + 1, argv + argc);
  return Run(args);
}
#else
int main(int argc, char** argv) {
  std::vector<std::wstring> args;
  for (int i = 1; i < argc; ++i) args.push_back(FromUtf8(argv[i]));
  return Run(args);
}
#endif
