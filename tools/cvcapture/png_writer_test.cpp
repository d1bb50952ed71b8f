#include "tools/cvcapture/png_writer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

uint32_t Be32(const std::vector<uint8_t>& b, size_t at) {
  return static_cast<uint32_t>(b[at]) << 24 | b[at + 1] << 16 | b[at + 2] << 8 | b[at + 3];
}

// Inflates a zlib stream made of stored blocks only, checking every field on the way; false on any
// mismatch. Enough to read back what the writer makes.
bool InflateStored(const std::vector<uint8_t>& z, std::vector<uint8_t>* out) {
  if (z.size() < 6 || (z[0] & 0x0F) != 8 || ((z[0] << 8) | z[1]) % 31 != 0) return false;
  size_t at = 2;
  for (;;) {
    if (at + 5 > z.size()) return false;
    const uint8_t head = z[at];
    if ((head >> 1) != 0) return false;  // not a stored block
    const unsigned len = z[at + 1] | z[at + 2] << 8;
    const unsigned nlen = z[at + 3] | z[at + 4] << 8;
    if ((len ^ 0xFFFF) != nlen || at + 5 + len > z.size()) return false;
    out->insert(out->end(), z.begin() + static_cast<long>(at) + 5, z.begin() + static_cast<long>(at + 5 + len));
    at += 5 + len;
    if (head & 1) break;
  }
  return at + 4 == z.size() && Be32(z, at) == Adler32(out->data(), out->size());
}

TEST(Png, ChecksumsOfKnownTexts) {
  const std::string digits = "123456789";
  EXPECT_EQ(Crc32(reinterpret_cast<const uint8_t*>(digits.data()), digits.size()), 0xCBF43926u);
  const std::string wiki = "Wikipedia";
  EXPECT_EQ(Adler32(reinterpret_cast<const uint8_t*>(wiki.data()), wiki.size()), 0x11E60398u);
  EXPECT_EQ(Adler32(nullptr, 0), 1u);
  // A long run checks the deferred modulo: 100000 bytes of 0xFF.
  std::vector<uint8_t> ones(100000, 0xFF);
  uint32_t a = 1, b = 0;
  for (uint8_t v : ones) {
    a = (a + v) % 65521;
    b = (b + a) % 65521;
  }
  EXPECT_EQ(Adler32(ones.data(), ones.size()), b << 16 | a);
  // Running checksums continue where they stopped.
  EXPECT_EQ(Crc32(reinterpret_cast<const uint8_t*>("6789"), 4, Crc32(reinterpret_cast<const uint8_t*>("12345"), 5)),
            0xCBF43926u);
}

TEST(Png, ZlibStreamSplitsIntoStoredBlocksThatInflateBack) {
  for (size_t size : {size_t{0}, size_t{1}, size_t{65535}, size_t{65536}, size_t{200000}}) {
    std::vector<uint8_t> data(size);
    for (size_t i = 0; i < size; ++i) data[i] = static_cast<uint8_t>(i * 7 + i / 251);
    std::vector<uint8_t> back;
    ASSERT_TRUE(InflateStored(ZlibStored(data.data(), size), &back)) << size;
    EXPECT_EQ(back, data) << size;
  }
}

TEST(Png, FileHasSignatureChunksWithCrcsAndThePixels) {
  const uint8_t rgb[] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 10, 20, 30, 40, 50, 60, 70, 80, 90};  // 3x2
  const std::vector<uint8_t> png = EncodePngRgb(rgb, 3, 2);
  ASSERT_GT(png.size(), 8u);
  EXPECT_EQ(std::memcmp(png.data(), "\x89PNG\r\n\x1A\n", 8), 0);

  size_t at = 8;
  std::vector<std::string> types;
  std::vector<uint8_t> idat;
  while (at + 12 <= png.size()) {
    const uint32_t len = Be32(png, at);
    const std::string type(png.begin() + static_cast<long>(at) + 4, png.begin() + static_cast<long>(at) + 8);
    types.push_back(type);
    ASSERT_LE(at + 12 + len, png.size());
    EXPECT_EQ(Be32(png, at + 8 + len), Crc32(png.data() + at + 4, 4 + len)) << type;
    if (type == "IHDR") {
      ASSERT_EQ(len, 13u);
      EXPECT_EQ(Be32(png, at + 8), 3u);
      EXPECT_EQ(Be32(png, at + 12), 2u);
      EXPECT_EQ(png[at + 16], 8) << "bit depth";
      EXPECT_EQ(png[at + 17], 2) << "RGB";
      EXPECT_EQ(png[at + 20], 0) << "not interlaced";
    }
    if (type == "IDAT") idat.insert(idat.end(), png.begin() + static_cast<long>(at) + 8, png.begin() + static_cast<long>(at + 8 + len));
    at += 12 + len;
  }
  EXPECT_EQ(at, png.size());
  EXPECT_EQ(types, (std::vector<std::string>{"IHDR", "IDAT", "IEND"}));
  std::vector<uint8_t> raw;
  ASSERT_TRUE(InflateStored(idat, &raw));
  std::vector<uint8_t> expected = {0};
  expected.insert(expected.end(), rgb, rgb + 9);
  expected.push_back(0);
  expected.insert(expected.end(), rgb + 9, rgb + 18);
  EXPECT_EQ(raw, expected) << "each line: filter byte 0, then its pixels";

  EXPECT_TRUE(EncodePngRgb(rgb, 0, 2).empty());
}

}  // namespace
