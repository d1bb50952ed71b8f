// The process seam: which process this is, and whether another process has ended. A watched process is
// opened once with the one right to wait for its end, then polled without blocking until it is gone.
#pragma once

#include <cstdint>
#include <memory>

namespace cvplat {

using ProcessHandle = void*;  // null: the process could not be opened

class IProcessWatch {
 public:
  virtual ~IProcessWatch() = default;

  // The id of the process that runs this code.
  virtual uint32_t CurrentProcessId() = 0;
  // Opens `id` for waiting on its end; null when there is no such process or it may not be opened.
  virtual ProcessHandle OpenForWait(uint32_t id) = 0;
  // A wait with a zero timeout: true only while the process still runs. A null handle or a failed wait
  // answers false, so that a caller drops what it can no longer watch.
  virtual bool StillRunning(ProcessHandle process) = 0;
  // Null is allowed.
  virtual void Close(ProcessHandle process) = 0;
};

// The machine's processes: OpenProcess and a zero wait on Windows; a pidfd and poll on Linux, or a
// signal-0 probe on kernels without pidfd.
std::shared_ptr<IProcessWatch> CreateNativeProcessWatch();

}  // namespace cvplat
