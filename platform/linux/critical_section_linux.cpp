#include <pthread.h>

#include <atomic>
#include <new>

#include "platform/critical_section.h"
#include "platform/kernel.h"

namespace cvplat {
namespace {

struct State {
  pthread_mutex_t mutex;
  std::atomic<uint32_t> owner{0};
  int depth = 0;  // touched only by the owner
};
static_assert(sizeof(State) <= 64);

State& S(unsigned char* storage) { return *std::launder(reinterpret_cast<State*>(storage)); }
const State& S(const unsigned char* storage) { return *std::launder(reinterpret_cast<const State*>(storage)); }

}  // namespace

// The spin count is a Windows tuning knob; glibc's recursive mutex spins on its own terms.
CriticalSection::CriticalSection(uint32_t /*spinCount*/) {
  auto* s = new (storage_) State;
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&s->mutex, &attr);
  pthread_mutexattr_destroy(&attr);
}

CriticalSection::~CriticalSection() {
  State& s = S(storage_);
  pthread_mutex_destroy(&s.mutex);
  s.~State();
}

void CriticalSection::Enter() {
  State& s = S(storage_);
  pthread_mutex_lock(&s.mutex);
  if (s.depth++ == 0) s.owner.store(CurrentThreadId(), std::memory_order_relaxed);
}

bool CriticalSection::TryEnter() {
  State& s = S(storage_);
  if (pthread_mutex_trylock(&s.mutex) != 0) return false;
  if (s.depth++ == 0) s.owner.store(CurrentThreadId(), std::memory_order_relaxed);
  return true;
}

void CriticalSection::Leave() {
  State& s = S(storage_);
  if (--s.depth == 0) s.owner.store(0, std::memory_order_relaxed);
  pthread_mutex_unlock(&s.mutex);
}

uint32_t CriticalSection::OwnerThread() const { return S(storage_).owner.load(std::memory_order_relaxed); }

}  // namespace cvplat
