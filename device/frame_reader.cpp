#include "device/frame_reader.h"

TReader::TReader(int32_t capacity, bool syncReader)
    : maxFrames_(capacity < 1 ? 1u : static_cast<uint32_t>(capacity)),
      syncReader_(syncReader),
      hasFramesEvent_(cvplat::CreateEventObject(true, false)),
      hasRoomEvent_(cvplat::CreateEventObject(true, true)) {}

TReader::~TReader() {
  queue_.clear();
  cvplat::CloseKernelHandle(hasFramesEvent_);
  cvplat::CloseKernelHandle(hasRoomEvent_);
}

void TReader::Offer(ICVFrame_I* frame) {
  TRefPtr<ICVFrame_I> dropped;  // released after the lock is left
  cvplat::SectionLock lock(readerLock_);
  if (closed_) return;
  queue_.emplace_back(frame);
  if (queue_.size() > maxFrames_) {
    dropped = std::move(queue_.front());
    queue_.pop_front();
    ++skipCount_;
  }
  SignalFrames(true);
  if (queue_.size() >= maxFrames_) SignalRoom(false);
}

bool TReader::Take(TakeMode mode, TRefPtr<ICVFrame_I>* frame, bool* gap) {
  std::deque<TRefPtr<ICVFrame_I>> flushed;  // released after the lock is left
  cvplat::SectionLock lock(readerLock_);
  // Only an empty queue fails, closed or not: a thread that held the reader across its close still gets
  // what was queued before it, and the close only ends the waits.
  if (queue_.empty()) return false;
  *gap = skipCount_ != 0;
  skipCount_ = 0;
  if (mode == TakeMode::NewestAndFlush) {
    if (queue_.size() > 1) *gap = true;
    *frame = std::move(queue_.back());
    flushed.swap(queue_);
  } else {
    *frame = std::move(queue_.front());
    queue_.pop_front();
  }
  if (queue_.empty()) SignalFrames(false);
  SignalRoom(true);
  return true;
}

TReader::TState TReader::State() {
  cvplat::SectionLock lock(readerLock_);
  return {static_cast<uint32_t>(queue_.size()), maxFrames_, skipCount_, syncReader_};
}

void TReader::Close() {
  cvplat::SectionLock lock(readerLock_);
  closed_ = true;
  SignalFrames(true);
  SignalRoom(true);
}

void TReader::SignalFrames(bool set) {
  if (framesSet_ == set) return;
  framesSet_ = set;
  if (set)
    cvplat::SetEventObject(hasFramesEvent_);
  else
    cvplat::ResetEventObject(hasFramesEvent_);
}

void TReader::SignalRoom(bool set) {
  if (roomSet_ == set) return;
  roomSet_ = set;
  if (set)
    cvplat::SetEventObject(hasRoomEvent_);
  else
    cvplat::ResetEventObject(hasRoomEvent_);
}
