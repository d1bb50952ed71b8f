#include "device/frame_source.h"

#include <mutex>
#include <vector>

#include "engine/capture_base.h"
#include "framelib/frame_factory.h"

namespace {

constexpr int64_t kMs = 10000;                     // 100 ns units in a millisecond
constexpr int64_t kDefaultReadTimeout = 1000 * kMs;  // what a negative timeout stands for
constexpr uint32_t kPullFrame = kFrameFlagCounterStamps;
constexpr uint32_t kPutWaitNoFirstReader = 4;

// Frame flags of a frame that opens a new run: the gap bit without the "not a new run" bits.
bool OpensNewRun(uint32_t frameFlags) { return (frameFlags & (kFrameFlagGap | kFrameFlagNotNewRun)) == kFrameFlagGap; }

}  // namespace

struct TFrameSource::TProps {
  int32_t putWait;
  int32_t outputType;
  int32_t cycles;
  int32_t waitTillGetMs;
};

TFrameSource::TFrameSource(ISourceHost* host)
    : host_(host),
      hasReadersEvent_(cvplat::CreateEventObject(true, false)),
      stopEvent_(cvplat::CreateEventObject(true, false)) {}

TFrameSource::~TFrameSource() {
  Stop();
  lastFrame_.Set(nullptr);
  cvplat::CloseKernelHandle(stopEvent_);
  cvplat::CloseKernelHandle(hasReadersEvent_);
}

void TFrameSource::Stop() {
  std::map<int64_t, std::unique_ptr<TLockedPtr<TReader>>> gone;  // released after the lock is left
  {
    std::unique_lock lock(readersLock_);
    SetStopped(true);
    gone.swap(readers_);
    defaultReaderId_ = 0;
    cvplat::ResetEventObject(hasReadersEvent_);
  }
}

TFrameSource::TProps TFrameSource::ReadProps(int32_t defaultPutWait) {
  TProps p{defaultPutWait, 0, 15, 200};
  if (XMLParse::XMLNodePtr root = host_->PropsRoot()) {
    p.putWait = root->GetInt(L"pull_mode.put_wait", defaultPutWait);
    p.outputType = root->GetInt(L"pull_mode.output_type", 0);
    p.cycles = root->GetInt(L"pull_mode.cycles_before_disconnect", 15);
    p.waitTillGetMs = root->GetInt(L"pull_mode.wait_till_get", 200);
  }
  return p;
}

TRefPtr<TReader> TFrameSource::Find(int64_t id) {
  std::shared_lock lock(readersLock_);
  auto it = readers_.find(id);
  return it == readers_.end() ? TRefPtr<TReader>() : it->second->Get();
}

int64_t TFrameSource::DefaultReaderId() {
  std::shared_lock lock(readersLock_);
  return defaultReaderId_;
}

bool TFrameSource::ReaderState(int64_t readerId, TReader::TState* state) {
  TRefPtr<TReader> reader = Find(readerId);
  if (!reader) return false;
  *state = reader->State();
  return true;
}

TRefPtr<TReader> TFrameSource::MakeReader(int64_t* id, const TReaderHints& hints, bool asDefault) {
  int32_t outputBuffers = 3;
  if (XMLParse::XMLNodePtr root = host_->PropsRoot()) outputBuffers = root->GetInt(L"output.buffers", 3);
  TRefPtr<TReader> reader =
      MakeRef<TReader>(ReaderCapacity(hints, outputBuffers), (hints.flags & kReaderHintSync) != 0);
  // The id is the reader's address, so that ids of living readers rarely collide; a taken one moves up.
  int64_t newId = static_cast<int64_t>(reinterpret_cast<intptr_t>(reader.Get()));
  std::unique_lock lock(readersLock_);
  if (asDefault && defaultReaderId_ != 0) {
    auto it = readers_.find(defaultReaderId_);
    if (it != readers_.end()) {
      // Another caller without an id made the default reader meanwhile: share it.
      *id = defaultReaderId_;
      return it->second->Get();
    }
  }
  while (newId == 0 || readers_.count(newId)) ++newId;
  readers_.emplace(newId, std::make_unique<TLockedPtr<TReader>>(reader.Get()));
  if (asDefault) defaultReaderId_ = newId;
  *id = newId;
  cvplat::SetEventObject(hasReadersEvent_);
  SetStopped(false);
  return reader;
}

void TFrameSource::SetStopped(bool stopped) {
  stopped_.store(stopped, std::memory_order_release);
  if (stopped)
    cvplat::SetEventObject(stopEvent_);
  else
    cvplat::ResetEventObject(stopEvent_);
}

HRESULT TFrameSource::SourceFrameGetEx_I(int64_t* readerId, ICVFrame_I** frame, int64_t timeout,
                                         const wchar_t* hints) {
  return Read(readerId, frame, timeout, ParseReaderHints(hints));
}

HRESULT TFrameSource::Read(int64_t* readerId, ICVFrame_I** frame, int64_t timeout, const TReaderHints& hints) {
  if (frame) *frame = nullptr;
  const bool useDefault = readerId == nullptr;
  // 0 closes the default reader: no copy of its id is taken that another thread's close could outdate.
  if (hints.removeReader) return SourceReaderClose(useDefault ? 0 : *readerId);
  const TReader::TakeMode mode =
      (hints.flags & kReaderHintFlush) ? TReader::TakeMode::NewestAndFlush : TReader::TakeMode::Oldest;

  int64_t id = 0;
  TRefPtr<TReader> reader;
  if (useDefault) {
    // The default id and its reader are read together. Gone or never made: the default is made anew
    // (or shared, should another caller make it first).
    std::shared_lock lock(readersLock_);
    auto it = readers_.find(defaultReaderId_);
    if (defaultReaderId_ != 0 && it != readers_.end()) {
      id = defaultReaderId_;
      reader = it->second->Get();
    }
  } else if ((id = *readerId) != 0) {
    reader = Find(id);
    if (!reader) {
      std::unique_lock lock(readersLock_);
      if (id != defaultReaderId_) return kUnknownReader;
      defaultReaderId_ = 0;
    }
  }
  if (!reader) {
    reader = MakeReader(&id, hints, useDefault);
    if (!useDefault) *readerId = id;
  }
  if (!frame) return S_OK;

  // No lock of the source is held here: the host takes the device's lock.
  const HRESULT opened = host_->OpenForRead();
  if (FAILED(opened)) return opened;

  if (timeout < 0) timeout = kDefaultReadTimeout;
  const cvplat::KHandle handles[2] = {reader->HasFramesEvent(), stopEvent_};
  int64_t waited = 0;
  const uint32_t r = reader->ReaderWait().WaitAny(2, handles, timeout, &waited);
  if (r == 1) return E_ABORT;
  if (r == TTimedWait::kTimedOut) return kReadTimedOut;
  if (r != 0) return E_FAIL;
  return TakeAndLabel(reader.Get(), mode, waited, frame);
}

HRESULT TFrameSource::TakeAndLabel(TReader* reader, TReader::TakeMode mode, int64_t waited, ICVFrame_I** frame) {
  TRefPtr<ICVFrame_I> taken;
  bool gap = false;
  // An empty queue after the wake: the reader was closed while the call waited (the close sets the
  // frames event). Frames queued before a close are still taken.
  if (!reader->Take(mode, &taken, &gap)) return E_ABORT;
  // Readers get a copy of their own, made on their thread, so that none sees another's changes.
  ICVFrame_I* clone = nullptr;
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  HRESULT hr = factory->FrameClone(taken.Get(), &clone, kFrameCloneOwned, 0);
  if (FAILED(hr) || !clone) {
    if (clone) clone->Release();
    return FAILED(hr) ? hr : E_OUTOFMEMORY;
  }
  clone->LabelSet(L"AFPT", 0, putClock_.Time());
  clone->LabelSet(L"WAIT", 0, waited);
  if (gap) {
    TFrameTime t{};
    if (SUCCEEDED(clone->TimeGet(&t)) && !(t.frameFlags & kFrameFlagGap)) {
      t.frameFlags |= kFrameFlagGap;
      clone->TimeSet(&t);
    }
  }
  *frame = clone;
  return S_OK;
}

HRESULT TFrameSource::SourceFrameGetEx(int64_t* readerId, int64_t timeout, ICVFrame** frame, uint32_t flags) {
  TReaderHints hints;
  hints.flags = flags & ~0xFF00u;
  const int32_t buffers = static_cast<int32_t>((flags >> 8) & 0xFF);
  hints.buffers = buffers > 0 ? buffers : -1;
  if (frame) *frame = nullptr;
  ICVFrame_I* inner = nullptr;
  const HRESULT hr = Read(readerId, frame ? &inner : nullptr, timeout, hints);
  if (FAILED(hr) || !inner) return hr;
  void* outer = nullptr;
  const HRESULT q = inner->QueryInterface(IID_ICVFrame, &outer);
  inner->Release();
  if (FAILED(q)) return q;
  *frame = static_cast<ICVFrame*>(outer);
  return S_OK;
}

HRESULT TFrameSource::SourceFrameGet(int64_t timeout, ICVFrame** frame, uint32_t flags) {
  const HRESULT hr = SourceFrameGetEx(nullptr, timeout, frame, flags);
  return FAILED(hr) ? S_FALSE : hr;
}

HRESULT TFrameSource::SourceReaderOpen(int64_t* readerId) {
  if (!readerId) return E_POINTER;
  Read(readerId, nullptr, 0, TReaderHints{});
  lastFrame_.Set(nullptr);
  const HRESULT opened = host_->OpenForRead();
  return FAILED(opened) ? opened : S_OK;
}

HRESULT TFrameSource::SourceReaderClose(int64_t readerId) {
  TRefPtr<TReader> reader;
  bool empty;
  {
    std::unique_lock lock(readersLock_);
    const bool wasDefault = readerId == 0 || readerId == defaultReaderId_;
    if (readerId == 0) readerId = defaultReaderId_;
    auto it = readers_.find(readerId);
    if (it == readers_.end()) return kUnknownReader;
    reader = it->second->Get();
    if (reader) reader->Close();
    readers_.erase(it);
    empty = readers_.empty();
    if (empty) cvplat::ResetEventObject(hasReadersEvent_);
    if (wasDefault) defaultReaderId_ = 0;
  }
  reader.Reset();
  return empty ? host_->LastReaderLeft() : S_FALSE;
}

HRESULT TFrameSource::SourceLastFormatGet(TAvProps* props) {
  if (!props) return E_POINTER;
  TRefPtr<ICVFrame_I> last = lastFrame_.Get();
  if (!last) return kDeviceNotAvailable;
  return last->FormatGet(props, nullptr);
}

HRESULT TFrameSource::Source_PutFrame(ICVFrame_I* frame, int32_t defaultPutWait, int64_t maxWait, int32_t* readerCount,
                               int32_t* waitCount) {
  if (waitCount) *waitCount = 0;
  if (!frame) return E_POINTER;
  TFrameTime time{};
  frame->TimeGet(&time);
  if (OpensNewRun(time.frameFlags)) {
    if (stopped_.load(std::memory_order_acquire)) {
      std::unique_lock lock(readersLock_);  // the flag and the event change together
      SetStopped(false);
    }
  } else if (stopped_.load(std::memory_order_acquire)) {
    return kSourceStopped;
  }

  TProps p = ReadProps(defaultPutWait);
  const bool pullFrame = (time.frameFlags & kPullFrame) != 0;
  if (pullFrame && p.outputType > 1) p.putWait |= 2;

  if (!pullFrame || p.putWait > 1) {
    const int32_t cycles = p.cycles;
    if (cycles > 0 || p.putWait > 0) {
      TRefPtr<TReader> waitFor;
      bool waitForFirst = false;
      {
        std::shared_lock lock(readersLock_);
        for (auto& [id, entry] : readers_) {
          TRefPtr<TReader> r = entry->Get();
          if (!r) continue;
          const TReader::TState s = r->State();
          if (s.length >= s.maxFrames && s.syncReader && s.skipCount < cycles) {
            waitFor = std::move(r);
            break;
          }
        }
        waitForFirst = readers_.empty() && p.putWait > 0 && !pullFrame;
      }
      if (waitCount) *waitCount = (waitFor || waitForFirst) ? 1 : 0;
      // On the capture thread its stop signal ends either wait too: the engine's Stop joins this thread
      // with no limit, and the wait for a first reader has none when maxWait is negative.
      const cvplat::KHandle captureStop = CaptureStopSignal();
      const uint32_t handleCount = captureStop ? 3 : 2;
      if (waitFor) {
        const int64_t duration = time.endTime - time.startTime;
        int64_t t = (2 * duration + (duration >= 0 ? 1 : -1)) / 3;  // rounded two thirds of a frame
        if (p.putWait > 0) t += static_cast<int64_t>(p.waitTillGetMs) * kMs;
        if (maxWait >= 0 && maxWait < t) t = maxWait;
        if (t < 0) t = 0;
        const cvplat::KHandle handles[3] = {waitFor->HasRoomEvent(), stopEvent_, captureStop};
        producerWait_.WaitAny(handleCount, handles, t);
      } else if (waitForFirst && !(p.putWait & kPutWaitNoFirstReader)) {
        const cvplat::KHandle handles[3] = {stopEvent_, hasReadersEvent_, captureStop};
        producerWait_.WaitAny(handleCount, handles, maxWait < 0 ? -1 : maxWait);
      }
    }
  }

  TRefPtr<ICVFrame_I> previous;  // released after the lock is left
  size_t count;
  {
    std::unique_lock lock(readersLock_);
    putClock_.Set(0);
    for (auto& [id, entry] : readers_) {
      if (TRefPtr<TReader> r = entry->Get()) r->Offer(frame);
    }
    TRefPtr<ICVFrame_I> held = lastFrame_.Get();
    if (held.Get() != frame) previous = lastFrame_.Exchange(frame);
    count = readers_.size();
  }
  if (readerCount) *readerCount = static_cast<int32_t>(count);
  return count == 0 ? S_FALSE : S_OK;
}
