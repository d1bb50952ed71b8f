#include <windows.h>

#include "platform/process_spawn_test_support.h"

namespace cvplat {

TestChildProcess::TestChildProcess() {
  // Held suspended, the shell runs until the test ends it, however slow the machine.
  wchar_t command[] = L"cmd.exe /c exit";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION info{};
  if (!CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, CREATE_NO_WINDOW | CREATE_SUSPENDED, nullptr, nullptr, &startup,
                      &info)) {
    return;
  }
  CloseHandle(info.hThread);
  process_ = info.hProcess;
  id_ = info.dwProcessId;
}

TestChildProcess::~TestChildProcess() {
  End();
  if (process_) CloseHandle(process_);
}

bool TestChildProcess::End() {
  if (!process_ || ended_) return ended_;
  TerminateProcess(process_, 1);
  ended_ = WaitForSingleObject(process_, 10000) == WAIT_OBJECT_0;
  return ended_;
}

}  // namespace cvplat
