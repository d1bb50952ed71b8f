// For tests only: a real child process that lives until the test ends it, so that the process watch can
// be tried on the machine's own processes.
#pragma once

#include <cstdint>

namespace cvplat {

class TestChildProcess {
 public:
  // Starts a child that runs until End (or at most about a minute); Id() is 0 if that failed.
  TestChildProcess();
  // Ends the child if it still runs, and releases what the test held of it.
  ~TestChildProcess();
  TestChildProcess(const TestChildProcess&) = delete;
  TestChildProcess& operator=(const TestChildProcess&) = delete;

  uint32_t Id() const { return id_; }
  // Kills the child and waits for its end; the id then names no process (it is reaped on Linux).
  bool End();

 private:
  uint32_t id_ = 0;
  void* process_ = nullptr;  // the child's handle on Windows
  bool ended_ = false;
};

}  // namespace cvplat
