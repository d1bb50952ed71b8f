// cvcapture: the command-line host of the capture component. It knows the component only through its
// public header and loads the module at run time.
#include <cstdio>
#include <string>
#include <vector>

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

int RunWithDevice(const TCommand& command) {
  TRef<IUnknown> device;
  std::string detail;
  const HRESULT hr = CreateCaptureDevice(device.Out(), &detail);
  if (FAILED(hr)) return ReportFailure(detail.empty() ? "cannot create the capture device" : detail, hr);
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
