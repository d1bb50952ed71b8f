#include "media/module_lock.h"

#include <atomic>

namespace {

std::atomic<int32_t>& Count() {
  // A function-local object: nodes built by static initialisers of other files may lock early.
  static std::atomic<int32_t> count{0};
  return count;
}

}  // namespace

void ModuleLock() { Count().fetch_add(1, std::memory_order_relaxed); }

void ModuleUnlock() { Count().fetch_sub(1, std::memory_order_acq_rel); }

int32_t ModuleLockCount() { return Count().load(std::memory_order_acquire); }
