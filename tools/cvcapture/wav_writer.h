// RIFF WAVE output: the frames' planar samples interleaved, as 16-bit integers when they come as 16-bit
// integers and as 32-bit floats otherwise. The sizes in the header are written when the file closes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "CVDeviceSCR.h"

struct TWavFormat {
  int32_t channels = 0;
  int32_t sampleRate = 0;
  bool isFloat = false;  // 32-bit IEEE float, else 16-bit integer

  int32_t BytesPerSample() const { return isFloat ? 4 : 2; }
};

// The WAV layout that keeps a sound format's samples: false for a format that isn't usable.
bool WavFormatFor(const TAudioProps& audio, TWavFormat* format);
// The 44 header bytes of a file that holds `dataBytes` bytes of samples.
std::vector<uint8_t> WavHeader(const TWavFormat& format, uint32_t dataBytes);
// Interleaves `samples` samples of each channel plane, given in the sound format `audio` (16, 20 and 24
// bits in 2 or 3 bytes, 32-bit integers, -32 for floats), into the layout of `format`, appended to `out`.
void InterleaveSamples(const TAudioProps& audio, const uint8_t* const* planes, int32_t samples,
                       const TWavFormat& format, std::vector<uint8_t>* out);
// Bytes one sample of one channel takes in the sound format.
int32_t SourceSampleBytes(const TAudioProps& audio);

class TWavWriter {
 public:
  TWavWriter() = default;
  TWavWriter(const TWavWriter&) = delete;
  TWavWriter& operator=(const TWavWriter&) = delete;
  ~TWavWriter();

  bool Open(const std::filesystem::path& path, const TWavFormat& format);
  // Appends interleaved bytes in the file's layout.
  bool Write(const std::vector<uint8_t>& interleaved);
  // Writes the final sizes and closes.
  bool Close();

  bool IsOpen() const { return file_ != nullptr; }
  const TWavFormat& Format() const { return format_; }
  uint64_t DataBytes() const { return dataBytes_; }

 private:
  std::FILE* file_ = nullptr;
  TWavFormat format_;
  uint64_t dataBytes_ = 0;
};
