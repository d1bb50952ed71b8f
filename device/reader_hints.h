// The hints text that a host passes with a read: a free text of words, compared without regard to case.
//   "remove_reader"       (the whole text) closes the reader
//   "... flush_reader ..." this read takes the newest frame and empties the queue
//   "... sync_reader ..."  a reader made by this read is synchronous
//   "... buffers = 5 ..."  queue capacity of a reader made by this read (quotes and blanks allowed)
#pragma once

#include <cstdint>

inline constexpr uint32_t kReaderHintSync = 0x01;
inline constexpr uint32_t kReaderHintFlush = 0x20;

struct TReaderHints {
  uint32_t flags = 0;
  int32_t buffers = -1;  // -1: not given (a count of 0 or less counts as not given)
  bool removeReader = false;
};

// Never fails: any text, however long or strange, gives hints. A null text is the empty text.
TReaderHints ParseReaderHints(const wchar_t* text);

// Queue capacity of a reader made with these hints: the buffer count if given, else 1 for a
// synchronous reader, else the device's "output.buffers". Never below 1.
int32_t ReaderCapacity(const TReaderHints& hints, int32_t outputBuffers);
