// TCaptureBase: what the device knows of an engine. The device drives every engine through these
// operations on its host threads; the engine makes frames on a thread of its own and hands them back
// through the frame callback given at Start.
//
// States (the comparisons rely on the order): 0 closed, 1 open (tree bound, no thread), 3 running,
// -1 failed (the thread ended by failure or a refused frame; it may still be leaving). 2 is unused.
//
// Locking: Init, Start, Stop, Close, NameGet and a restart run under engineLock, which is re-entrant.
// The capture thread never takes engineLock, since Stop holds it while it joins the thread; it writes
// the state only with -1, without the lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "CVDeviceSCR.h"
#include "media/auto_obj.h"
#include "media/av_props.h"
#include "media/locked_ptr.h"
#include "media/worker_thread.h"
#include "platform/com_types.h"
#include "platform/critical_section.h"
#include "platform/kernel.h"
#include "props/xml_node.h"

// The frame callback, called on the engine's thread. A frame: `counter` is the number of frames
// delivered since Start (from 0), `text` null; a negative result ends the capture. A failure: `frame`
// null, `counter` the failing status widened to 64 bits, `text` a message; the state is already -1.
using TFrameCallback = HRESULT (*)(void* context, ICVFrame_I* frame, int64_t counter, const wchar_t* text);

using TPropertyTree = TLockedPtr<XMLParse::CoXMLNode>;

// The stop signal of the capture thread that runs on the calling thread; null on any other thread.
// The frame callback runs code that isn't the engine's on that thread, and Stop joins the thread with
// no limit: a wait in that code that has no limit of its own (the frame source's wait for a first
// reader) adds this signal to its handles, so that a stop always reaches it.
cvplat::KHandle CaptureStopSignal();

// Makes `signal` the calling thread's stop signal while the scope lives; a capture thread's body opens
// one around everything it does.
class TCaptureStopScope {
 public:
  explicit TCaptureStopScope(cvplat::KHandle signal);
  ~TCaptureStopScope();
  TCaptureStopScope(const TCaptureStopScope&) = delete;
  TCaptureStopScope& operator=(const TCaptureStopScope&) = delete;

 private:
  cvplat::KHandle previous_;
};

enum TEngineState : int32_t {
  eEngineFailed = -1,
  eEngineClosed = 0,
  eEngineOpen = 1,
  eEngineRunning = 3,
};

// The operations in slot order, so that any engine can stand behind one pointer.
struct ICaptureEngine : IUnknown {
  virtual ~ICaptureEngine() = default;

  // A copy of the engine's name into `*name` (the caller frees it); returns `name`.
  virtual BSTR* NameGet(BSTR* name) = 0;
  virtual int32_t IsBusy() = 0;
  virtual bool AudioFormatAccept(const TAudioProps& format) = 0;
  virtual bool VideoFormatAccept(const TVideoProps& format) = 0;
  // True when the engine filled the list itself; false lets the format store use its stock list.
  virtual bool AudioFormatList(std::vector<TAudioProps>* list) = 0;
  virtual bool Reserved(void* first, void* second) = 0;
  // Told after a property of the tree has changed; the tree already holds `value`.
  virtual HRESULT OnPropertyChanged(const wchar_t* name, const wchar_t* value) = 0;
  // The text of the attribute `name` of the tree; null when there is none. The caller frees it.
  virtual BSTR PropertyText(const wchar_t* name) = 0;
  virtual HRESULT Init(const TPropertyTree& tree) = 0;
  virtual HRESULT Start(const TAvProps& format, void* context, TFrameCallback callback) = 0;
  virtual HRESULT Stop() = 0;
  virtual HRESULT Close() = 0;
  virtual int32_t State() = 0;
  // A copy of the format the engine now produces into `*format`; returns `format`.
  virtual TAvProps* FormatCopy(TAvProps* format) = 0;
  virtual bool VideoFormatList(std::vector<TVideoProps>* list) = 0;

 protected:
  ICaptureEngine() = default;
};

template <class T, class Root = ICaptureEngine>
class TCaptureBase : public AutoObjBase<T, Root> {
 public:
  BSTR* NameGet(BSTR* name) override {
    if (!name) return name;
    Locked lock(engineLock);
    *name = SysAllocString(engineName ? engineName : L"");
    return name;
  }
  bool AudioFormatAccept(const TAudioProps&) override { return true; }
  bool VideoFormatAccept(const TVideoProps&) override { return true; }
  bool AudioFormatList(std::vector<TAudioProps>*) override { return false; }
  bool Reserved(void*, void*) override { return false; }
  int32_t State() override { return engineState.load(std::memory_order_acquire); }
  TAvProps* FormatCopy(TAvProps* format) override {
    if (!format) return format;
    Locked lock(engineLock);
    *format = activeFormat;
    return format;
  }
  bool VideoFormatList(std::vector<TVideoProps>*) override { return false; }

  // Set by the device table.
  void NameSet(const wchar_t* name) {
    Locked lock(engineLock);
    SysReAllocString(&engineName, name ? name : L"");
  }

 protected:
  TCaptureBase() = default;
  ~TCaptureBase() override {
    SysFreeString(engineName);
    cvplat::CloseKernelHandle(captureStopEvent);
  }

  // engineLock held for a scope.
  using Locked = cvplat::SectionLock;

  // Init as every engine does it: binds the tree; 1 when the engine was open already (the tree is
  // replaced all the same), E_FAIL for an empty tree.
  HRESULT BindTree(const TPropertyTree& tree) {
    TRefPtr<XMLParse::CoXMLNode> node = tree.Get();
    if (!node) return E_FAIL;
    Locked lock(engineLock);
    propertyTree.Set(node.Get());
    if (engineState.load(std::memory_order_relaxed) >= eEngineOpen) return S_FALSE;
    engineState.store(eEngineOpen, std::memory_order_release);
    return S_OK;
  }

  void SetState(int32_t state) { engineState.store(state, std::memory_order_release); }

  // The capture thread's stop signal: set before the thread is told to stop, cleared before a new one
  // starts, both under engineLock. The thread's body registers it with TCaptureStopScope.
  void SignalCaptureStop() { cvplat::SetEventObject(captureStopEvent); }
  // Joins a capture thread, running or leaving. The signal comes first: the thread may sit in a wait of
  // the frame callback, or of a shot, that only the signal ends.
  void StopCaptureThread(TWorkerThread& thread) {
    SignalCaptureStop();
    thread.Stop(cvplat::kInfinite);
  }
  void ClearCaptureStop() { cvplat::ResetEventObject(captureStopEvent); }

  // The attribute's text from the bound tree, as a counted string; null without tree or attribute.
  BSTR TreeText(const wchar_t* name) const {
    if (!name) return nullptr;
    TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
    if (!tree) return nullptr;
    bool found = false;
    const std::wstring text = tree->GetString(name, {}, &found);
    return found ? SysAllocStringLen(text.data(), static_cast<UINT>(text.size())) : nullptr;
  }

  cvplat::CriticalSection engineLock;
  BSTR engineName = nullptr;
  TPropertyTree propertyTree;
  // A plain word in the contract; atomic here so that the capture thread's -1 and the host's reads
  // don't race.
  std::atomic<int32_t> engineState{eEngineClosed};
  TAvProps activeFormat{};
  TFrameCallback frameCallback = nullptr;
  void* frameCallbackContext = nullptr;  // not counted: the device outlives the engine's thread
  const cvplat::KHandle captureStopEvent = cvplat::CreateEventObject(true, false);
};
