// ICVExternalImpl: ties the life of a source to client processes. A host attaches the ids of its
// clients and gets an event that is set whenever none of them is alive any more. A thread polls the
// processes every 200 ms while any is watched, and ends with the last one. IUnknown comes from the
// object class.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "CVDeviceSCR.h"
#include "media/worker_thread.h"
#include "platform/critical_section.h"
#include "platform/kernel.h"
#include "platform/process_watch.h"

class ICVExternalImpl : public ICVExternal {
 public:
  // `processes` is the device platform's process seam; it may not be null.
  explicit ICVExternalImpl(std::shared_ptr<cvplat::IProcessWatch> processes);
  // Stops the watch thread before anything it uses goes; the loop calls nothing of the owner.
  virtual ~ICVExternalImpl();
  ICVExternalImpl(const ICVExternalImpl&) = delete;
  ICVExternalImpl& operator=(const ICVExternalImpl&) = delete;

  HRESULT STDMETHODCALLTYPE ProcessIdGet(uint32_t* processId) override;
  HRESULT STDMETHODCALLTYPE ProcessAttach(uint32_t processId) override;
  HRESULT STDMETHODCALLTYPE ProcessDetach(uint32_t processId) override;
  HRESULT STDMETHODCALLTYPE ProcessCheck(int64_t* allGoneEvent) override;

  // Whether a watch thread is alive; for tests of its life.
  bool WatchThreadAlive() { return watchThread.Query() != TWorkerThread::kNoThread; }

 private:
  struct TWatchedProcess {
    cvplat::ProcessHandle process;
    int32_t count;
  };

  static uint32_t CV_THREADCALL WatchThreadMain(void* self);
  void WatchLoop();
  void EnsureEventLocked();
  void EraseLocked(std::map<uint32_t, TWatchedProcess>::iterator it);

  const std::shared_ptr<cvplat::IProcessWatch> processes_;
  cvplat::CriticalSection watchLock;
  std::map<uint32_t, TWatchedProcess> watchedProcesses;
  cvplat::KHandle allGoneEvent = nullptr;
  bool stopWatching = false;
  // Set under watchLock by a loop that found the map empty and is on its way out: the thread still
  // looks alive, but it will never poll again, so the next attach starts another.
  bool watchLoopEnding = false;
  TWorkerThread watchThread;
};
