#include "tools/cvcapture/png_writer.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

uint32_t Be32(const std::vector<uint8_t>& b, size_t at) {
  return static_cast<uint32_t>(b[at]) << 24 | b[at + 1] << 16 | b[at + 2] << 8 | b[at + 3];
}

bool Inflate(const std::vector<uint8_t>& z, size_t expectedSize, std::vector<uint8_t>* out) {
  out->assign(expectedSize + 1, 0);  // one spare byte: a longer stream must not fit
  uLongf size = static_cast<uLongf>(out->size());
  if (uncompress(out->data(), &size, z.data(), static_cast<uLong>(z.size())) != Z_OK) return false;
  out->resize(size);
  return size == expectedSize;
}

// The predictor of filter type 4, as the PNG format defines it.
uint8_t Paeth(int a, int b, int c) {
  const int p = a + b - c;
  const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
  if (pa <= pb && pa <= pc) return static_cast<uint8_t>(a);
  return static_cast<uint8_t>(pb <= pc ? b : c);
}

struct TDecoded {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> rgb;
  std::vector<uint8_t> filters;  // per line
};

// Reads a file of the writer back as any decoder would: chunks with their CRCs, the header, all IDAT
// data through zlib, and the five line filters undone. Fails the test on anything malformed.
void Decode(const std::vector<uint8_t>& png, TDecoded* d) {
  ASSERT_GT(png.size(), 8u);
  ASSERT_EQ(std::memcmp(png.data(), "\x89PNG\r\n\x1A\n", 8), 0);
  size_t at = 8;
  std::vector<std::string> types;
  std::vector<uint8_t> idat;
  while (at + 12 <= png.size()) {
    const uint32_t len = Be32(png, at);
    const std::string type(png.begin() + static_cast<long>(at) + 4, png.begin() + static_cast<long>(at) + 8);
    types.push_back(type);
    ASSERT_LE(at + 12 + len, png.size());
    ASSERT_EQ(Be32(png, at + 8 + len), Crc32(png.data() + at + 4, 4 + len)) << type;
    if (type == "IHDR") {
      ASSERT_EQ(len, 13u);
      d->width = static_cast<int32_t>(Be32(png, at + 8));
      d->height = static_cast<int32_t>(Be32(png, at + 12));
      ASSERT_EQ(png[at + 16], 8) << "bit depth";
      ASSERT_EQ(png[at + 17], 2) << "RGB";
      ASSERT_EQ(png[at + 18], 0) << "deflate";
      ASSERT_EQ(png[at + 19], 0) << "adaptive filters";
      ASSERT_EQ(png[at + 20], 0) << "not interlaced";
    }
    if (type == "IDAT") idat.insert(idat.end(), png.begin() + static_cast<long>(at) + 8, png.begin() + static_cast<long>(at + 8 + len));
    at += 12 + len;
  }
  ASSERT_EQ(at, png.size());
  ASSERT_EQ(types.front(), "IHDR");
  ASSERT_EQ(types.back(), "IEND");

  const size_t stride = static_cast<size_t>(d->width) * 3;
  std::vector<uint8_t> raw;
  ASSERT_TRUE(Inflate(idat, (stride + 1) * static_cast<size_t>(d->height), &raw));
  d->rgb.assign(stride * static_cast<size_t>(d->height), 0);
  const std::vector<uint8_t> zeros(stride, 0);
  for (size_t y = 0; y < static_cast<size_t>(d->height); ++y) {
    const uint8_t* in = raw.data() + y * (stride + 1);
    uint8_t* line = d->rgb.data() + y * stride;
    const uint8_t* up = y ? line - stride : zeros.data();
    d->filters.push_back(in[0]);
    for (size_t x = 0; x < stride; ++x) {
      const int a = x >= 3 ? line[x - 3] : 0, b = up[x], c = x >= 3 ? up[x - 3] : 0;
      int predicted = 0;
      switch (in[0]) {
        case 0: break;
        case 1: predicted = a; break;
        case 2: predicted = b; break;
        case 3: predicted = (a + b) / 2; break;
        case 4: predicted = Paeth(a, b, c); break;
        default: FAIL() << "filter type " << int{in[0]} << " on line " << y;
      }
      line[x] = static_cast<uint8_t>(in[1 + x] + predicted);
    }
  }
}

// Something like a desktop: a gradient backdrop, a flat window with dark "text" strokes, and a band
// of noise standing for a photo, so that lines of every kind meet the filters.
std::vector<uint8_t> ScreenLike(int32_t w, int32_t h) {
  std::vector<uint8_t> rgb(static_cast<size_t>(w) * static_cast<size_t>(h) * 3);
  uint32_t seed = 12345;
  for (int32_t y = 0; y < h; ++y) {
    for (int32_t x = 0; x < w; ++x) {
      uint8_t* p = rgb.data() + (static_cast<size_t>(y) * static_cast<size_t>(w) + static_cast<size_t>(x)) * 3;
      p[0] = static_cast<uint8_t>(x * 255 / w);
      p[1] = static_cast<uint8_t>(y * 255 / h);
      p[2] = static_cast<uint8_t>((x + y) / 4);
      if (x > w / 8 && x < w / 2 && y > h / 8 && y < h * 3 / 4) {
        const bool stroke = (y / 3) % 4 == 0 && (x / 5) % 3 != 0;
        p[0] = p[1] = p[2] = stroke ? 20 : 240;
      }
      if (y > h * 3 / 4 && x > w / 2) {
        seed = seed * 1103515245u + 12345u;
        p[0] = static_cast<uint8_t>(seed >> 16);
        p[1] = static_cast<uint8_t>(seed >> 20);
        p[2] = static_cast<uint8_t>(seed >> 24);
      }
    }
  }
  return rgb;
}

TEST(Png, CrcOfAKnownTextAndItsContinuation) {
  const std::string digits = "123456789";
  EXPECT_EQ(Crc32(reinterpret_cast<const uint8_t*>(digits.data()), digits.size()), 0xCBF43926u);
  EXPECT_EQ(Crc32(reinterpret_cast<const uint8_t*>("6789"), 4, Crc32(reinterpret_cast<const uint8_t*>("12345"), 5)),
            0xCBF43926u);
}

TEST(Png, ZlibStreamInflatesBack) {
  for (size_t size : {size_t{0}, size_t{1}, size_t{65536}, size_t{200000}}) {
    std::vector<uint8_t> data(size);
    for (size_t i = 0; i < size; ++i) data[i] = static_cast<uint8_t>(i * 7 + i / 251);
    const std::vector<uint8_t> z = ZlibCompress(data.data(), size);
    ASSERT_FALSE(z.empty()) << size;
    std::vector<uint8_t> back;
    ASSERT_TRUE(Inflate(z, size, &back)) << size;
    EXPECT_EQ(back, data) << size;
  }
}

TEST(Png, EachLineTakesTheFilterWithTheSmallestOutput) {
  // 4 grey pixels a line; the sums are of the filtered bytes read as signed.
  const uint8_t rgb[] = {
      7,  7,  7,  7,  7,  7,  7,  7,  7,  7,  7,  7,   // Sub 21 (ties Paeth), None and Up 84
      0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,   // None 0: ties go to the lower type
      10, 10, 10, 20, 20, 20, 30, 30, 30, 40, 40, 40,  // Sub 120 (ties Paeth), Average 210, None 300
      10, 10, 10, 20, 20, 20, 30, 30, 30, 40, 40, 40,  // Up 0
      0,  0,  0,  10, 10, 10, 20, 20, 20, 30, 30, 30,  // Average 15, Paeth 30, Sub 90, Up 120
  };
  const std::vector<uint8_t> lines = FilterLinesRgb(rgb, 4, 5);
  ASSERT_EQ(lines.size(), 5u * 13u);
  EXPECT_EQ(lines[0], ePngSub);
  EXPECT_EQ(lines[13], ePngNone);
  EXPECT_EQ(lines[26], ePngSub);
  EXPECT_EQ(lines[39], ePngUp);
  EXPECT_EQ(lines[52], ePngAverage);
  EXPECT_EQ(std::vector<uint8_t>(lines.begin() + 27, lines.begin() + 39),
            (std::vector<uint8_t>{10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10, 10}));
  EXPECT_EQ(std::vector<uint8_t>(lines.begin() + 40, lines.begin() + 52), std::vector<uint8_t>(12, 0));
}

TEST(Png, FileDecodesToThePixels) {
  const uint8_t tiny[] = {255, 0, 0, 0, 255, 0, 0, 0, 255, 10, 20, 30, 40, 50, 60, 70, 80, 90};  // 3x2
  TDecoded d;
  ASSERT_NO_FATAL_FAILURE(Decode(EncodePngRgb(tiny, 3, 2), &d));
  EXPECT_EQ(d.width, 3);
  EXPECT_EQ(d.height, 2);
  EXPECT_EQ(d.rgb, std::vector<uint8_t>(tiny, tiny + sizeof tiny));

  for (int32_t w : {1, 2, 333}) {
    const int32_t h = w == 333 ? 211 : 5;
    const std::vector<uint8_t> rgb = ScreenLike(w, h);
    const std::vector<uint8_t> png = EncodePngRgb(rgb.data(), w, h);
    TDecoded big;
    ASSERT_NO_FATAL_FAILURE(Decode(png, &big)) << w;
    EXPECT_EQ(big.width, w);
    EXPECT_EQ(big.height, h);
    EXPECT_TRUE(big.rgb == rgb) << "pixels differ at width " << w;
    if (w == 333) {
      EXPECT_LT(png.size(), rgb.size() / 2) << "flat areas and gradients compress";
      bool used[5] = {};
      for (uint8_t f : big.filters) used[f] = true;
      EXPECT_TRUE(used[ePngSub] && used[ePngUp]) << "a desktop's lines take different filters";
    }
  }

  EXPECT_TRUE(EncodePngRgb(tiny, 0, 2).empty());
  EXPECT_TRUE(EncodePngRgb(nullptr, 3, 2).empty());
}

}  // namespace
