// TReader: one consumer's bounded queue of frames with the two events that the consumer and the
// producer wait on. Counted, so that a thread that still uses a reader keeps it after its close.
#pragma once

#include <cstdint>
#include <deque>

#include "CVDeviceSCR.h"
#include "media/auto_obj.h"
#include "media/timed_wait.h"
#include "platform/critical_section.h"
#include "platform/kernel.h"

class TReader final : public AutoObjBase<TReader> {
 public:
  // What a read takes: the oldest frame, or the newest with the queue emptied.
  enum class TakeMode { Oldest = 1, NewestAndFlush = -1 };

  // The counters that the producer looks at when it decides whether to wait.
  struct TState {
    uint32_t length;
    uint32_t maxFrames;
    int32_t skipCount;
    bool syncReader;
  };

  TReader(int32_t capacity, bool syncReader);
  ~TReader() override;

  // Queues a new reference; a full queue loses its oldest frame.
  void Offer(ICVFrame_I* frame);
  // False with an empty queue, and only then: a closed reader hands out what it had queued.
  // `gap` tells whether frames were lost before this one.
  bool Take(TakeMode mode, TRefPtr<ICVFrame_I>* frame, bool* gap);
  TState State();
  // Wakes the producer and the consumer at once; no frame goes in after it.
  void Close();

  cvplat::KHandle HasFramesEvent() const { return hasFramesEvent_; }
  cvplat::KHandle HasRoomEvent() const { return hasRoomEvent_; }
  // The consumer's wait; only the thread reading this reader uses it.
  TTimedWait& ReaderWait() { return readerWait_; }

 private:
  cvplat::CriticalSection readerLock_;
  std::deque<TRefPtr<ICVFrame_I>> queue_;
  const uint32_t maxFrames_;
  int32_t skipCount_ = -1;  // not 0, so that the first frame counts as following a gap
  const bool syncReader_;
  bool closed_ = false;
  // The events' states as last set under readerLock: a delivery that changes nothing makes no system
  // call, which matters where each event operation is a round trip to another process.
  bool framesSet_ = false;
  bool roomSet_ = true;
  void SignalFrames(bool set);
  void SignalRoom(bool set);
  cvplat::KHandle hasFramesEvent_;
  cvplat::KHandle hasRoomEvent_;
  TTimedWait readerWait_;
};
