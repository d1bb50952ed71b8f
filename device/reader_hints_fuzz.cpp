// Any bytes as hints text, read both as 16-bit and as 32-bit units: parsing must end, and no hints may
// give a reader a capacity below 1.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "device/reader_hints.h"

namespace {

void Check(const std::vector<wchar_t>& text) {
  const TReaderHints h = ParseReaderHints(text.data());
  for (int32_t outputBuffers : {-5, 0, 1, 3}) {
    if (ReaderCapacity(h, outputBuffers) < 1) std::abort();
  }
  if (h.buffers == 0 || h.buffers < -1) std::abort();
  if (h.removeReader && (h.flags != 0 || h.buffers != -1)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<wchar_t> units;
  for (size_t i = 0; i + 1 < size; i += 2) units.push_back(static_cast<wchar_t>(data[i] | (data[i + 1] << 8)));
  units.push_back(0);
  Check(units);
  units.clear();
  for (size_t i = 0; i + 3 < size; i += 4) {
    uint32_t u;
    std::memcpy(&u, data + i, 4);
    units.push_back(static_cast<wchar_t>(u & 0x10FFFF));
  }
  units.push_back(0);
  Check(units);
  return 0;
}
