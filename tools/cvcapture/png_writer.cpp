#include "tools/cvcapture/png_writer.h"

#include <array>
#include <cstdio>

#include "tools/cvcapture/file_open.h"

namespace {

const std::array<uint32_t, 256>& CrcTable() {
  static const std::array<uint32_t, 256> table = [] {
    std::array<uint32_t, 256> t{};
    for (uint32_t n = 0; n < 256; ++n) {
      uint32_t c = n;
      for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      t[n] = c;
    }
    return t;
  }();
  return table;
}

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

}  // namespace

uint32_t Crc32(const uint8_t* data, size_t size, uint32_t crc) {
  const auto& table = CrcTable();
  crc = ~crc;
  for (size_t i = 0; i < size; ++i) crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

uint32_t Adler32(const uint8_t* data, size_t size, uint32_t adler) {
  constexpr uint32_t kMod = 65521;
  uint32_t a = adler & 0xFFFF;
  uint32_t b = adler >> 16;
  while (size > 0) {
    // 5552 bytes is the most that can be summed before the 32-bit sums must be reduced.
    const size_t run = size < 5552 ? size : 5552;
    for (size_t i = 0; i < run; ++i) {
      a += data[i];
      b += a;
    }
    a %= kMod;
    b %= kMod;
    data += run;
    size -= run;
  }
  return b << 16 | a;
}

std::vector<uint8_t> ZlibStored(const uint8_t* data, size_t size) {
  constexpr size_t kBlock = 65535;
  std::vector<uint8_t> out;
  out.reserve(size + (size / kBlock + 1) * 5 + 6);
  out.push_back(0x78);  // deflate, 32 KiB window
  out.push_back(0x01);  // no preset dictionary, fastest; (0x78 << 8 | 0x01) is a multiple of 31
  size_t at = 0;
  do {
    const size_t len = size - at < kBlock ? size - at : kBlock;
    const bool last = at + len == size;
    out.push_back(last ? 1 : 0);  // BFINAL, BTYPE 00 (stored)
    out.push_back(static_cast<uint8_t>(len));
    out.push_back(static_cast<uint8_t>(len >> 8));
    out.push_back(static_cast<uint8_t>(~len));
    out.push_back(static_cast<uint8_t>(~len >> 8));
    out.insert(out.end(), data + at, data + at + len);
    at += len;
  } while (at < size);
  PutBig32(out, Adler32(data, size));
  return out;
}

std::vector<uint8_t> EncodePngRgb(const uint8_t* rgb, int32_t width, int32_t height) {
  if (width <= 0 || height <= 0 || !rgb) return {};
  const size_t rowBytes = static_cast<size_t>(width) * 3;
  std::vector<uint8_t> raw;
  raw.reserve((rowBytes + 1) * static_cast<size_t>(height));
  for (int32_t y = 0; y < height; ++y) {
    raw.push_back(0);  // filter: none
    const uint8_t* row = rgb + rowBytes * static_cast<size_t>(y);
    raw.insert(raw.end(), row, row + rowBytes);
  }

  std::vector<uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  std::vector<uint8_t> header;
  PutBig32(header, static_cast<uint32_t>(width));
  PutBig32(header, static_cast<uint32_t>(height));
  header.insert(header.end(), {8, 2, 0, 0, 0});  // 8 bits, RGB, deflate, adaptive filters, no interlace
  PutChunk(png, "IHDR", header);
  PutChunk(png, "IDAT", ZlibStored(raw.data(), raw.size()));
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
