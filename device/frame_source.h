// TFrameSource: the hand-over between the one producer (the capture thread, through Source_PutFrame) and any
// number of host threads that read, each through a reader of its own. A slow reader loses its oldest
// frames and slows nobody down, unless it is synchronous and the pull-mode properties ask the producer
// to wait for it, and then only for a bounded number of frames. The first read starts the capture and
// the last reader to leave closes it, both through the host.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <shared_mutex>

#include "CVDeviceSCR.h"
#include "device/frame_reader.h"
#include "device/reader_hints.h"
#include "device/source_host.h"
#include "media/clock.h"
#include "media/locked_ptr.h"
#include "media/timed_wait.h"
#include "platform/kernel.h"

// Status of a delivery refused while the source is stopped.
inline constexpr HRESULT kSourceStopped = static_cast<HRESULT>(0x80040227);
inline constexpr HRESULT kDeviceNotAvailable = static_cast<HRESULT>(0x800710D2);
inline constexpr HRESULT kUnknownReader = static_cast<HRESULT>(0x80070490);
inline constexpr HRESULT kReadTimedOut = static_cast<HRESULT>(0x800705B4);

class TFrameSource {
 public:
  explicit TFrameSource(ISourceHost* host);
  ~TFrameSource();
  TFrameSource(const TFrameSource&) = delete;
  TFrameSource& operator=(const TFrameSource&) = delete;

  // ---- The host's read face ----
  // `readerId` null: the default reader; *readerId 0: a new reader whose id is written back. `frame`
  // null only makes the reader. `timeout` in 100 ns: 0 polls, negative waits up to a second.
  HRESULT SourceFrameGetEx_I(int64_t* readerId, ICVFrame_I** frame, int64_t timeout, const wchar_t* hints);
  HRESULT SourceFrameGet_I(ICVFrame_I** frame, int64_t timeout, const wchar_t* hints) {
    return SourceFrameGetEx_I(nullptr, frame, timeout, hints);
  }
  // The same read with a flags word: 0x01 synchronous, 0x20 flush, bits 8 to 15 the buffer count.
  HRESULT SourceFrameGetEx(int64_t* readerId, int64_t timeout, ICVFrame** frame, uint32_t flags);
  // As above for the default reader; every failure comes back as S_FALSE.
  HRESULT SourceFrameGet(int64_t timeout, ICVFrame** frame, uint32_t flags);
  HRESULT SourceReaderOpen(int64_t* readerId);
  HRESULT SourceReaderClose(int64_t readerId);
  HRESULT SourceLastFormatGet(TAvProps* props);

  // ---- The producer's face ----
  // Delivers a reference to every reader. S_OK delivered, S_FALSE no reader, kSourceStopped refused.
  // `maxWait` (100 ns, negative: none) bounds the producer's waits; on a capture thread, a stop of that
  // thread ends them too (CaptureStopSignal).
  HRESULT Source_PutFrame(ICVFrame_I* frame, int32_t defaultPutWait, int64_t maxWait, int32_t* readerCount,
                   int32_t* waitCount);

  // Sets the stop event, so that every waiting reader and the producer wake, and drops the readers.
  // The destructor does it too; a frame that opens a new run starts the source again.
  void Stop();

  // For tests and diagnostics: the counters of a reader, false when there is no such reader.
  bool ReaderState(int64_t readerId, TReader::TState* state);
  int64_t DefaultReaderId();

 private:
  struct TProps;
  TProps ReadProps(int32_t defaultPutWait);
  HRESULT Read(int64_t* readerId, ICVFrame_I** frame, int64_t timeout, const TReaderHints& hints);
  TRefPtr<TReader> Find(int64_t id);
  // Makes and inserts a reader; its id goes to *id (and to the default id when `asDefault`, where a
  // default reader that exists already is shared instead). The reader, which a close may have taken
  // out of the map again by the time the caller uses it.
  TRefPtr<TReader> MakeReader(int64_t* id, const TReaderHints& hints, bool asDefault);
  HRESULT TakeAndLabel(TReader* reader, TReader::TakeMode mode, int64_t waited, ICVFrame_I** frame);

  ISourceHost* const host_;
  cvplat::KHandle hasReadersEvent_;
  mutable std::shared_mutex readersLock_;
  std::map<int64_t, std::unique_ptr<TLockedPtr<TReader>>> readers_;
  int64_t defaultReaderId_ = 0;
  cvplat::KHandle stopEvent_;
  // Mirrors stopEvent (both change under readersLock) for the producer's check on each frame, which then needs no system call.
  std::atomic<bool> stopped_{false};
  void SetStopped(bool stopped);
  TClock putClock_;
  TLockedPtr<ICVFrame_I> lastFrame_;
  TTimedWait producerWait_;
};
