#include <windows.h>

#include <new>

#include "platform/critical_section.h"

namespace cvplat {
namespace {

static_assert(sizeof(CRITICAL_SECTION) <= 64);
CRITICAL_SECTION* Cs(unsigned char* storage) { return std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage)); }

}  // namespace

CriticalSection::CriticalSection(uint32_t spinCount) {
  // Cannot fail on Vista and later.
  InitializeCriticalSectionAndSpinCount(new (storage_) CRITICAL_SECTION, spinCount);
}

CriticalSection::~CriticalSection() { DeleteCriticalSection(Cs(storage_)); }

void CriticalSection::Enter() { EnterCriticalSection(Cs(storage_)); }
bool CriticalSection::TryEnter() { return TryEnterCriticalSection(Cs(storage_)) != 0; }
void CriticalSection::Leave() { LeaveCriticalSection(Cs(storage_)); }

uint32_t CriticalSection::OwnerThread() const {
  auto* cs = std::launder(reinterpret_cast<const CRITICAL_SECTION*>(storage_));
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(cs->OwningThread));
}

}  // namespace cvplat
