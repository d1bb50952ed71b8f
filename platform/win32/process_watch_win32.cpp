// Processes on Windows: a handle with SYNCHRONIZE alone is all a wait for the end needs.
#include <windows.h>

#include "platform/process_watch.h"

namespace cvplat {
namespace {

class Win32ProcessWatch final : public IProcessWatch {
 public:
  uint32_t CurrentProcessId() override { return GetCurrentProcessId(); }

  ProcessHandle OpenForWait(uint32_t id) override { return OpenProcess(SYNCHRONIZE, FALSE, id); }

  bool StillRunning(ProcessHandle process) override {
    return process && WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
  }

  void Close(ProcessHandle process) override {
    if (process) CloseHandle(process);
  }
};

}  // namespace

std::shared_ptr<IProcessWatch> CreateNativeProcessWatch() { return std::make_shared<Win32ProcessWatch>(); }

}  // namespace cvplat
