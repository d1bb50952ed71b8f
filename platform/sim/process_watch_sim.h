// Scripted processes for tests of the process logic: a test says which ids live and when each ends; the
// watch answers as the machine would. Safe to script from one thread while another polls.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/process_watch.h"

namespace cvplat {

class SimProcessWatch : public IProcessWatch {
 public:
  // A process `id` that runs until EndProcess. An id already running stays so.
  virtual void StartProcess(uint32_t id) = 0;
  // The process ends: handles opened on it answer "ended"; new opens fail, as for an id no longer used.
  virtual void EndProcess(uint32_t id) = 0;
  // Handles opened and not yet closed.
  virtual int OpenHandles() const = 0;
  // Polls answered since the watch was made, over all handles.
  virtual int64_t Polls() const = 0;
};

// Its own id is `selfId`, which runs from the start.
std::shared_ptr<SimProcessWatch> CreateSimProcessWatch(uint32_t selfId = 4242);

}  // namespace cvplat
