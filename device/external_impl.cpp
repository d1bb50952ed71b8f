#include "device/external_impl.h"

#include <cstdint>
#include <utility>

namespace {

constexpr uint32_t kWatchPeriodMs = 200;

}  // namespace

ICVExternalImpl::ICVExternalImpl(std::shared_ptr<cvplat::IProcessWatch> processes)
    : processes_(std::move(processes)) {}

ICVExternalImpl::~ICVExternalImpl() {
  {
    cvplat::SectionLock lock(watchLock);
    stopWatching = true;
  }
  // Not under watchLock: the loop takes it for each check.
  watchThread.Stop(cvplat::kInfinite);
  cvplat::SectionLock lock(watchLock);
  for (auto& entry : watchedProcesses) processes_->Close(entry.second.process);
  watchedProcesses.clear();
  cvplat::CloseKernelHandle(allGoneEvent);
  allGoneEvent = nullptr;
}

HRESULT ICVExternalImpl::ProcessIdGet(uint32_t* processId) {
  if (!processId) return E_POINTER;
  *processId = processes_->CurrentProcessId();
  return S_OK;
}

void ICVExternalImpl::EnsureEventLocked() {
  // Signalled from its making: nothing is watched yet.
  if (!allGoneEvent) allGoneEvent = cvplat::CreateEventObject(true, true);
}

void ICVExternalImpl::EraseLocked(std::map<uint32_t, TWatchedProcess>::iterator it) {
  processes_->Close(it->second.process);
  watchedProcesses.erase(it);
}

HRESULT ICVExternalImpl::ProcessAttach(uint32_t processId) {
  cvplat::SectionLock lock(watchLock);
  EnsureEventLocked();
  if (allGoneEvent) cvplat::ResetEventObject(allGoneEvent);

  HRESULT hr = S_OK;
  auto it = watchedProcesses.find(processId);
  if (it != watchedProcesses.end()) {
    ++it->second.count;
    hr = S_FALSE;
  } else {
    // A process that can't be opened goes in all the same, with a null handle: the next check drops it,
    // and the host sees that through the event.
    watchedProcesses.emplace(processId, TWatchedProcess{processes_->OpenForWait(processId), 1});
  }

  if (watchLoopEnding || watchThread.Query() == TWorkerThread::kNoThread) {
    // Start joins a loop that is leaving; that loop takes watchLock no more, so this can't deadlock.
    watchLoopEnding = false;
    watchThread.Start(this, &ICVExternalImpl::WatchThreadMain);
  }
  return hr;
}

HRESULT ICVExternalImpl::ProcessDetach(uint32_t processId) {
  cvplat::SectionLock lock(watchLock);
  auto it = watchedProcesses.find(processId);
  if (it == watchedProcesses.end()) return CV_E_NOT_FOUND;
  if (--it->second.count < 1) EraseLocked(it);
  if (watchedProcesses.empty() && allGoneEvent) cvplat::SetEventObject(allGoneEvent);
  return S_OK;
}

HRESULT ICVExternalImpl::ProcessCheck(int64_t* allGone) {
  cvplat::SectionLock lock(watchLock);
  for (auto it = watchedProcesses.begin(); it != watchedProcesses.end();) {
    if (stopWatching || !processes_->StillRunning(it->second.process)) {
      auto gone = it++;
      EraseLocked(gone);
    } else {
      ++it;
    }
  }
  EnsureEventLocked();
  // Handles are addresses; widened with their sign, as a 32-bit host expects.
  if (allGone) *allGone = static_cast<int64_t>(reinterpret_cast<intptr_t>(allGoneEvent));
  if (!watchedProcesses.empty()) return S_OK;
  if (allGoneEvent) cvplat::SetEventObject(allGoneEvent);
  return S_FALSE;
}

uint32_t CV_THREADCALL ICVExternalImpl::WatchThreadMain(void* self) {
  TApartmentScope apartment;
  static_cast<ICVExternalImpl*>(self)->WatchLoop();
  return 0;
}

void ICVExternalImpl::WatchLoop() {
  for (;;) {
    if (!watchThread.IsRunning()) return;
    cvplat::WaitForOne(watchThread.WakeEvent(), kWatchPeriodMs);
    if (!watchThread.IsRunning()) return;
    // The check and the decision to leave are one step under watchLock, so that an attach in between
    // either finds processes for this loop or knows that it must start another. The call is bound here,
    // not through the table: the owner's destructor rewrites the table pointer while this thread runs.
    cvplat::SectionLock lock(watchLock);
    if (ICVExternalImpl::ProcessCheck(nullptr) == S_FALSE) {
      watchLoopEnding = true;
      return;
    }
  }
}
