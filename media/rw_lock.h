// Reader/writer locks for the property tree and the format store, whose operations call one another:
// unlike the system's reader/writer lock, a thread that holds the write side may take either side again.
// Readers pass each other without touching a kernel object.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/critical_section.h"

class CRWSynchroLiteBase {
 public:
  virtual ~CRWSynchroLiteBase() = default;
  // True when taken; with wait false a try. `outTag` gets the tag of the last writer.
  virtual bool ReadLock(bool wait = true, uintptr_t* outTag = nullptr) = 0;
  virtual void ReadUnlock() = 0;
  virtual bool WriteLock(bool wait = true, uintptr_t tag = 0, uintptr_t* outTag = nullptr) = 0;
  virtual void WriteUnlock() = 0;
  // The thread inside the inner critical section (a writer), 0 when none.
  virtual uint32_t OwnerThread() const = 0;
};

class CRWSynchroLiteRW final : public CRWSynchroLiteBase {
 public:
  CRWSynchroLiteRW() : section_(1024) {}
  bool ReadLock(bool wait = true, uintptr_t* outTag = nullptr) override;
  void ReadUnlock() override;
  bool WriteLock(bool wait = true, uintptr_t tag = 0, uintptr_t* outTag = nullptr) override;
  void WriteUnlock() override;
  uint32_t OwnerThread() const override { return section_.OwnerThread(); }

  // Above 0 the number of readers, below 0 the write depth, 0 free.
  int32_t State() const { return lockState_.load(std::memory_order_acquire); }
  int32_t WritersWaiting() const { return writersWaiting_.load(std::memory_order_relaxed); }

 private:
  cvplat::CriticalSection section_;
  std::atomic<int32_t> lockState_{0};
  std::atomic<int32_t> writersWaiting_{0};
  std::atomic<uintptr_t> lastTag_{0};
};

// Both sides are the same re-entrant critical section: for objects that need no parallel readers.
class CRWSynchroLiteCS final : public CRWSynchroLiteBase {
 public:
  CRWSynchroLiteCS() : section_(1024) {}
  bool ReadLock(bool wait = true, uintptr_t* outTag = nullptr) override;
  void ReadUnlock() override { section_.Leave(); }
  bool WriteLock(bool wait = true, uintptr_t tag = 0, uintptr_t* outTag = nullptr) override;
  void WriteUnlock() override { section_.Leave(); }
  uint32_t OwnerThread() const override { return section_.OwnerThread(); }

 private:
  cvplat::CriticalSection section_;
};

// Holds one side of a lock for a scope.
class CRWSynchroLiteGuard {
 public:
  enum class Side { Read, Write };

  CRWSynchroLiteGuard(CRWSynchroLiteBase& lock, Side side, bool wait = true, uintptr_t tag = 0)
      : lock_(&lock), side_(side) {
    locked_ = side == Side::Read ? lock.ReadLock(wait) : lock.WriteLock(wait, tag);
  }
  ~CRWSynchroLiteGuard() { Unlock(); }
  CRWSynchroLiteGuard(const CRWSynchroLiteGuard&) = delete;
  CRWSynchroLiteGuard& operator=(const CRWSynchroLiteGuard&) = delete;

  bool Locked() const { return locked_; }
  void Unlock() {
    if (!locked_) return;
    locked_ = false;
    if (side_ == Side::Read)
      lock_->ReadUnlock();
    else
      lock_->WriteUnlock();
  }

 private:
  CRWSynchroLiteBase* lock_;
  Side side_;
  bool locked_ = false;
};
