#include "tools/cvcapture/wav_writer.h"

#include <cstring>

#include "tools/cvcapture/file_open.h"

namespace {

void Put16(std::vector<uint8_t>& out, uint32_t value) {
  out.push_back(static_cast<uint8_t>(value));
  out.push_back(static_cast<uint8_t>(value >> 8));
}

void Put32(std::vector<uint8_t>& out, uint32_t value) {
  Put16(out, value & 0xFFFF);
  Put16(out, value >> 16);
}

void PutTag(std::vector<uint8_t>& out, const char* tag) { out.insert(out.end(), tag, tag + 4); }

// One source sample as a float in [-1, 1).
float SampleAsFloat(const uint8_t* p, int32_t bits) {
  switch (bits) {
    case -32: {
      float f;
      std::memcpy(&f, p, 4);
      return f;
    }
    case 16:
      return static_cast<float>(static_cast<int16_t>(p[0] | p[1] << 8)) / 32768.0f;
    case 20:
    case 24: {
      // Both sit in three bytes; 20-bit samples fill the top bits of the three, as the container's
      // value range stays that of 24 bits.
      int32_t v = static_cast<int32_t>(static_cast<uint32_t>(p[0]) << 8 | static_cast<uint32_t>(p[1]) << 16 |
                                       static_cast<uint32_t>(p[2]) << 24);
      return static_cast<float>(v / 256) / 8388608.0f;
    }
    case 32: {
      int32_t v;
      std::memcpy(&v, p, 4);
      return static_cast<float>(static_cast<double>(v) / 2147483648.0);
    }
    default:
      return 0.0f;
  }
}

}  // namespace

int32_t SourceSampleBytes(const TAudioProps& audio) {
  const int32_t bits = audio.bitsPerSample < 0 ? -audio.bitsPerSample : audio.bitsPerSample;
  return (bits + 7) / 8;
}

bool WavFormatFor(const TAudioProps& audio, TWavFormat* format) {
  const int32_t bits = audio.bitsPerSample;
  if (audio.channels <= 0 || audio.channels > 32 || audio.sampleRate <= 0) return false;
  if (bits != 16 && bits != 20 && bits != 24 && bits != 32 && bits != -32) return false;
  format->channels = audio.channels;
  format->sampleRate = audio.sampleRate;
  format->isFloat = bits != 16;
  return true;
}

std::vector<uint8_t> WavHeader(const TWavFormat& format, uint32_t dataBytes) {
  const uint32_t blockAlign = static_cast<uint32_t>(format.channels * format.BytesPerSample());
  std::vector<uint8_t> out;
  out.reserve(44);
  PutTag(out, "RIFF");
  Put32(out, 36 + dataBytes);
  PutTag(out, "WAVE");
  PutTag(out, "fmt ");
  Put32(out, 16);
  Put16(out, format.isFloat ? 3 : 1);  // IEEE float : integer PCM
  Put16(out, static_cast<uint32_t>(format.channels));
  Put32(out, static_cast<uint32_t>(format.sampleRate));
  Put32(out, static_cast<uint32_t>(format.sampleRate) * blockAlign);
  Put16(out, blockAlign);
  Put16(out, static_cast<uint32_t>(format.BytesPerSample() * 8));
  PutTag(out, "data");
  Put32(out, dataBytes);
  return out;
}

void InterleaveSamples(const TAudioProps& audio, const uint8_t* const* planes, int32_t samples,
                       const TWavFormat& format, std::vector<uint8_t>* out) {
  const int32_t step = SourceSampleBytes(audio);
  const size_t start = out->size();
  out->resize(start + static_cast<size_t>(samples) * static_cast<size_t>(format.channels) *
                          static_cast<size_t>(format.BytesPerSample()));
  uint8_t* dst = out->data() + start;
  for (int32_t i = 0; i < samples; ++i) {
    for (int32_t c = 0; c < format.channels; ++c) {
      const uint8_t* src = planes[c] + static_cast<size_t>(i) * static_cast<size_t>(step);
      if (format.isFloat) {
        const float f = SampleAsFloat(src, audio.bitsPerSample);
        std::memcpy(dst, &f, 4);
        dst += 4;
      } else {
        dst[0] = src[0];
        dst[1] = src[1];
        dst += 2;
      }
    }
  }
}

TWavWriter::~TWavWriter() { Close(); }

bool TWavWriter::Open(const std::filesystem::path& path, const TWavFormat& format) {
  Close();
  file_ = OpenFile(path, "wb");
  if (!file_) return false;
  format_ = format;
  dataBytes_ = 0;
  const std::vector<uint8_t> header = WavHeader(format_, 0);
  return std::fwrite(header.data(), 1, header.size(), file_) == header.size();
}

bool TWavWriter::Write(const std::vector<uint8_t>& interleaved) {
  if (!file_) return false;
  if (std::fwrite(interleaved.data(), 1, interleaved.size(), file_) != interleaved.size()) return false;
  dataBytes_ += interleaved.size();
  return true;
}

bool TWavWriter::Close() {
  if (!file_) return true;
  // A RIFF size is 32 bits: a longer recording keeps its samples but says it holds the most it can.
  const uint64_t limit = 0xFFFFFFFFull - 36;
  const uint32_t data = static_cast<uint32_t>(dataBytes_ < limit ? dataBytes_ : limit);
  const std::vector<uint8_t> header = WavHeader(format_, data);
  bool ok = std::fseek(file_, 0, SEEK_SET) == 0 && std::fwrite(header.data(), 1, header.size(), file_) == header.size();
  ok = std::fclose(file_) == 0 && ok;
  file_ = nullptr;
  return ok;
}
