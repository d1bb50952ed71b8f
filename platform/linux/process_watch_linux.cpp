// Processes on Linux. A pidfd turns readable once its process has ended (a zombie included), so a poll
// with no timeout tells. Kernels before 5.3 have no pidfd: then kill(pid, 0) probes whether the id still
// names a process, which can't see a zombie as ended nor notice a reused id; good enough there.
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <new>

#include "platform/process_watch.h"

#ifndef SYS_pidfd_open
#define SYS_pidfd_open 434
#endif

namespace cvplat {
namespace {

struct WatchedProcess {
  pid_t pid;
  int fd;  // -1: probed by signal 0
};

WatchedProcess* Watched(ProcessHandle h) { return static_cast<WatchedProcess*>(h); }

bool ProbeAlive(pid_t pid) { return kill(pid, 0) == 0 || errno == EPERM; }

class LinuxProcessWatch final : public IProcessWatch {
 public:
  uint32_t CurrentProcessId() override { return static_cast<uint32_t>(getpid()); }

  ProcessHandle OpenForWait(uint32_t id) override {
    // Ids that kill() would read as a process group or as "every process".
    if (id == 0 || id > static_cast<uint32_t>(INT_MAX)) return nullptr;
    const pid_t pid = static_cast<pid_t>(id);
    int fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (fd < 0) {
      if (errno != ENOSYS) return nullptr;  // ESRCH: no such process
      if (!ProbeAlive(pid)) return nullptr;
    }
    auto* process = new (std::nothrow) WatchedProcess{pid, fd};
    if (!process && fd >= 0) close(fd);
    return process;
  }

  bool StillRunning(ProcessHandle handle) override {
    WatchedProcess* process = Watched(handle);
    if (!process) return false;
    if (process->fd < 0) return ProbeAlive(process->pid);
    pollfd p{process->fd, POLLIN, 0};
    for (;;) {
      const int n = poll(&p, 1, 0);
      if (n == 0) return true;
      if (n < 0 && errno == EINTR) continue;
      return false;  // readable (ended) or a failed poll
    }
  }

  void Close(ProcessHandle handle) override {
    WatchedProcess* process = Watched(handle);
    if (!process) return;
    if (process->fd >= 0) close(process->fd);
    delete process;
  }
};

}  // namespace

std::shared_ptr<IProcessWatch> CreateNativeProcessWatch() { return std::make_shared<LinuxProcessWatch>(); }

}  // namespace cvplat
