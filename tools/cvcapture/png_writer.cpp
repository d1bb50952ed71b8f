#include "tools/cvcapture/png_writer.h"

#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/cvcapture/file_open.h"

namespace {

void PutBig32(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

void PutChunk(std::vector<uint8_t>& out, const char* type, const std::vector<uint8_t>& data) {
  PutBig32(out, static_cast<uint32_t>(data.size()));
  const size_t typeAt = out.size();
  out.insert(out.end(), type, type + 4);
  out.insert(out.end(), data.begin(), data.end());
  PutBig32(out, Crc32(out.data() + typeAt, 4 + data.size()));
}

constexpr size_t kPixelBytes = 3;
constexpr int kFilterCount = 5;

uint8_t PaethPredictor(int a, int b, int c) {
  const int p = a + b - c;
  const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
  if (pa <= pb && pa <= pc) return static_cast<uint8_t>(a);
  return static_cast<uint8_t>(pb <= pc ? b : c);
}

// One line through one filter into `out`; returns the sum of the outputs read as signed bytes, the
// estimate of how well deflate will do with them. A template per filter keeps the choice out of the
// inner loop, which runs over every byte of the picture five times.
template <TPngFilter filter>
uint8_t Filtered(int value, int a, int b, int c) {
  int predicted = 0;
  if constexpr (filter == ePngSub) predicted = a;
  if constexpr (filter == ePngUp) predicted = b;
  if constexpr (filter == ePngAverage) predicted = (a + b) >> 1;
  if constexpr (filter == ePngPaeth) predicted = PaethPredictor(a, b, c);
  return static_cast<uint8_t>(value - predicted);
}

uint32_t Cost(uint8_t v) { return v < 128 ? v : 256u - v; }

template <TPngFilter filter>
uint64_t FilterLine(const uint8_t* line, const uint8_t* up, size_t bytes, uint8_t* out) {
  uint64_t cost = 0;
  // The first pixel has no left neighbour; split off, the rest of the line runs without a branch.
  const size_t head = bytes < kPixelBytes ? bytes : kPixelBytes;
  for (size_t x = 0; x < head; ++x) {
    out[x] = Filtered<filter>(line[x], 0, up[x], 0);
    cost += Cost(out[x]);
  }
  for (size_t x = head; x < bytes; ++x) {
    out[x] = Filtered<filter>(line[x], line[x - kPixelBytes], up[x], up[x - kPixelBytes]);
    cost += Cost(out[x]);
  }
  return cost;
}

using TFilterLine = uint64_t (*)(const uint8_t*, const uint8_t*, size_t, uint8_t*);
constexpr TFilterLine kFilters[kFilterCount] = {FilterLine<ePngNone>, FilterLine<ePngSub>, FilterLine<ePngUp>,
                                                FilterLine<ePngAverage>, FilterLine<ePngPaeth>};

}  // namespace

uint32_t Crc32(const uint8_t* data, size_t size, uint32_t crc) {
  return static_cast<uint32_t>(crc32_z(crc, data, size));
}

std::vector<uint8_t> FilterLinesRgb(const uint8_t* rgb, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0 || !rgb) return {};
  const size_t bytes = static_cast<size_t>(width) * kPixelBytes;
  std::vector<uint8_t> out((bytes + 1) * static_cast<size_t>(height));
  const std::vector<uint8_t> zeros(bytes, 0);
  std::vector<uint8_t> trial(bytes);
  for (size_t y = 0; y < static_cast<size_t>(height); ++y) {
    const uint8_t* line = rgb + y * bytes;
    const uint8_t* up = y ? line - bytes : zeros.data();
    uint8_t* best = out.data() + y * (bytes + 1);
    uint64_t bestCost = kFilters[ePngNone](line, up, bytes, best + 1);
    best[0] = ePngNone;
    for (int f = 1; f < kFilterCount && bestCost > 0; ++f) {
      const uint64_t cost = kFilters[f](line, up, bytes, trial.data());
      if (cost < bestCost) {
        bestCost = cost;
        best[0] = static_cast<uint8_t>(f);
        std::memcpy(best + 1, trial.data(), bytes);
      }
    }
  }
  return out;
}

std::vector<uint8_t> ZlibCompress(const uint8_t* data, size_t size) {
  z_stream z{};
  if (deflateInit(&z, Z_DEFAULT_COMPRESSION) != Z_OK) return {};
  std::vector<uint8_t> out(deflateBound(&z, static_cast<uLong>(size)));
  z.next_in = const_cast<Bytef*>(data);
  z.next_out = out.data();
  z.avail_out = static_cast<uInt>(out.size());
  // avail_in is 32 bits wide: larger inputs go in steps.
  size_t left = size;
  int result = Z_OK;
  while (result == Z_OK) {
    const size_t step = left < (uInt{1} << 30) ? left : (uInt{1} << 30);
    z.avail_in = static_cast<uInt>(step);
    left -= step;
    result = deflate(&z, left ? Z_NO_FLUSH : Z_FINISH);
    if (result == Z_OK && z.avail_out == 0) {
      const size_t used = out.size() - z.avail_out;
      out.resize(out.size() * 2);
      z.next_out = out.data() + used;
      z.avail_out = static_cast<uInt>(out.size() - used);
    }
    left += z.avail_in;
  }
  const size_t produced = out.size() - z.avail_out;
  deflateEnd(&z);
  if (result != Z_STREAM_END) return {};
  out.resize(produced);
  return out;
}

std::vector<uint8_t> EncodePngRgb(const uint8_t* rgb, int32_t width, int32_t height) {
  const std::vector<uint8_t> lines = FilterLinesRgb(rgb, width, height);
  if (lines.empty()) return {};
  std::vector<uint8_t> idat = ZlibCompress(lines.data(), lines.size());
  if (idat.empty()) return {};

  std::vector<uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  std::vector<uint8_t> header;
  PutBig32(header, static_cast<uint32_t>(width));
  PutBig32(header, static_cast<uint32_t>(height));
  header.insert(header.end(), {8, 2, 0, 0, 0});  // 8 bits, RGB, deflate, adaptive filters, no interlace
  PutChunk(png, "IHDR", header);
  PutChunk(png, "IDAT", idat);
  PutChunk(png, "IEND", {});
  return png;
}

bool WriteFileBytes(const std::filesystem::path& path, const std::vector<uint8_t>& bytes) {
  std::FILE* file = OpenFile(path, "wb");
  if (!file) return false;
  bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  ok = std::fclose(file) == 0 && ok;
  return ok;
}
