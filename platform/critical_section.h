// A re-entrant lock that can tell which thread holds it: the critical section of the system on Windows,
// a recursive mutex with an owner word on Linux.
#pragma once

#include <cstdint>

namespace cvplat {

class CriticalSection {
 public:
  explicit CriticalSection(uint32_t spinCount = 0);
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void Enter();
  bool TryEnter();
  void Leave();
  // Identifier of the thread inside, 0 when free.
  uint32_t OwnerThread() const;

 private:
  alignas(16) unsigned char storage_[64];
};

// Holds a critical section for a scope.
class SectionLock {
 public:
  explicit SectionLock(CriticalSection& section) : section_(section) { section_.Enter(); }
  ~SectionLock() { section_.Leave(); }
  SectionLock(const SectionLock&) = delete;
  SectionLock& operator=(const SectionLock&) = delete;

 private:
  CriticalSection& section_;
};

}  // namespace cvplat
