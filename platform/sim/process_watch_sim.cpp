#include "platform/sim/process_watch_sim.h"

#include <map>
#include <mutex>

namespace cvplat {
namespace {

// A handle names one life of a process, so that an id started again after its end is another process.
struct SimHandle {
  uint32_t id;
  uint64_t life;
};

class SimProcessWatchImpl final : public SimProcessWatch {
 public:
  explicit SimProcessWatchImpl(uint32_t selfId) : selfId_(selfId) { StartProcess(selfId); }

  uint32_t CurrentProcessId() override { return selfId_; }

  ProcessHandle OpenForWait(uint32_t id) override {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = running_.find(id);
    if (it == running_.end()) return nullptr;
    ++openHandles_;
    return new SimHandle{id, it->second};
  }

  bool StillRunning(ProcessHandle process) override {
    std::lock_guard<std::mutex> lock(mutex_);
    ++polls_;
    auto* handle = static_cast<SimHandle*>(process);
    if (!handle) return false;
    auto it = running_.find(handle->id);
    return it != running_.end() && it->second == handle->life;
  }

  void Close(ProcessHandle process) override {
    if (!process) return;
    std::lock_guard<std::mutex> lock(mutex_);
    --openHandles_;
    delete static_cast<SimHandle*>(process);
  }

  void StartProcess(uint32_t id) override {
    std::lock_guard<std::mutex> lock(mutex_);
    running_.emplace(id, ++lives_);
  }

  void EndProcess(uint32_t id) override {
    std::lock_guard<std::mutex> lock(mutex_);
    running_.erase(id);
  }

  int OpenHandles() const override {
    std::lock_guard<std::mutex> lock(mutex_);
    return openHandles_;
  }

  int64_t Polls() const override {
    std::lock_guard<std::mutex> lock(mutex_);
    return polls_;
  }

 private:
  const uint32_t selfId_;
  mutable std::mutex mutex_;
  std::map<uint32_t, uint64_t> running_;  // id -> life
  uint64_t lives_ = 0;
  int openHandles_ = 0;
  int64_t polls_ = 0;
};

}  // namespace

std::shared_ptr<SimProcessWatch> CreateSimProcessWatch(uint32_t selfId) {
  return std::make_shared<SimProcessWatchImpl>(selfId);
}

}  // namespace cvplat
