#include <errno.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include "platform/process_spawn_test_support.h"

extern char** environ;

namespace cvplat {

TestChildProcess::TestChildProcess() {
  char arg0[] = "sleep";
  char arg1[] = "60";
  char* argv[] = {arg0, arg1, nullptr};
  pid_t pid = 0;
  if (posix_spawnp(&pid, "sleep", nullptr, nullptr, argv, environ) == 0) id_ = static_cast<uint32_t>(pid);
}

TestChildProcess::~TestChildProcess() { End(); }

bool TestChildProcess::End() {
  if (id_ == 0 || ended_) return ended_;
  const pid_t pid = static_cast<pid_t>(id_);
  kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) break;
  }
  ended_ = true;
  return true;
}

}  // namespace cvplat
