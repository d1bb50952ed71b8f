#include "engine/test_pattern.h"

#include <cstdlib>
#include <vector>

#include "media/colour_formats.h"

namespace {

struct Rgb {
  uint8_t r, g, b;
};

constexpr Rgb kBars[8] = {{191, 191, 191}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0},
                          {191, 0, 191},   {191, 0, 0},   {0, 0, 191},   {0, 0, 0}};
constexpr Rgb kWhite = {255, 255, 255};
constexpr Rgb kBlack = {0, 0, 0};

enum class Packing { None, Uyvy, Yuy2, Bgra };

Packing PackingOf(uint32_t colour) {
  switch (colour) {
    case kColourHDYC:
    case kColourUYVY:
      return Packing::Uyvy;
    case kColourYUY2:
      return Packing::Yuy2;
    case kColourRGB32:
    case kColourARGB32:
      return Packing::Bgra;
    default:
      return Packing::None;
  }
}

// Studio-range luma and chroma of the common definition for standard pictures.
uint8_t Luma(const Rgb& c) { return static_cast<uint8_t>(((66 * c.r + 129 * c.g + 25 * c.b + 128) >> 8) + 16); }
uint8_t ChromaU(int r, int g, int b) { return static_cast<uint8_t>(((-38 * r - 74 * g + 112 * b + 128) >> 8) + 128); }
uint8_t ChromaV(int r, int g, int b) { return static_cast<uint8_t>(((112 * r - 94 * g - 18 * b + 128) >> 8) + 128); }

struct Geometry {
  Packing packing = Packing::None;
  int32_t width = 0;
  int32_t height = 0;
  int32_t rowBytes = 0;
  bool bottomUp = false;
  int32_t bytesPerPixel = 0;

  // Memory row of picture line y.
  int64_t RowOffset(int32_t y) const {
    return static_cast<int64_t>(bottomUp ? height - 1 - y : y) * rowBytes;
  }
};

// 0 when usable, else the failure.
HRESULT GeometryOf(const TVideoProps& format, Geometry& g) {
  g.packing = PackingOf(format.colourFormat);
  if (g.packing == Packing::None) return E_NOTIMPL;
  g.width = format.width;
  g.height = std::abs(format.height);
  g.rowBytes = format.rowBytes;
  g.bottomUp = g.packing == Packing::Bgra && format.height > 0;
  g.bytesPerPixel = g.packing == Packing::Bgra ? 4 : 2;
  const int32_t counterRight = kPatternCounterLeft + kPatternCounterBits * kPatternCellSize;
  const int32_t counterBottom = kPatternCounterTop + kPatternCellSize;
  if (g.width < counterRight || g.height < counterBottom) return E_INVALIDARG;
  if (g.rowBytes < g.width * g.bytesPerPixel) return E_INVALIDARG;
  return S_OK;
}

// The colours of picture line y of frame n.
void RenderLine(std::vector<Rgb>& line, int32_t width, int32_t height, int32_t y, int64_t n) {
  const int64_t shift = (n % width) * kPatternBarStep;
  for (int32_t x = 0; x < width; ++x) {
    const int64_t bx = (x + shift) % width;
    line[x] = kBars[bx * 8 / width];
  }
  const int32_t block = height / 8 > 0 ? height / 8 : 1;
  const int32_t blockTop = height * 3 / 4;
  if (y >= blockTop && y < blockTop + block && width > block) {
    const int32_t left = static_cast<int32_t>((n * 8) % (width - block));
    for (int32_t x = left; x < left + block; ++x) line[x] = kWhite;
  }
  if (y >= kPatternCounterTop && y < kPatternCounterTop + kPatternCellSize) {
    for (int32_t bit = 0; bit < kPatternCounterBits; ++bit) {
      const bool on = (n >> (kPatternCounterBits - 1 - bit)) & 1;
      const int32_t left = kPatternCounterLeft + bit * kPatternCellSize;
      for (int32_t x = left; x < left + kPatternCellSize; ++x) line[x] = on ? kWhite : kBlack;
    }
  }
}

void PackLine(const std::vector<Rgb>& line, const Geometry& g, uint8_t* row) {
  if (g.packing == Packing::Bgra) {
    for (int32_t x = 0; x < g.width; ++x) {
      row[4 * x + 0] = line[x].b;
      row[4 * x + 1] = line[x].g;
      row[4 * x + 2] = line[x].r;
      row[4 * x + 3] = 255;
    }
    return;
  }
  // 4:2:2: one chroma pair per two pixels, from their mean; an odd last pixel is left out.
  for (int32_t x = 0; x + 1 < g.width; x += 2) {
    const Rgb& a = line[x];
    const Rgb& b = line[x + 1];
    const int r = (a.r + b.r) / 2, gr = (a.g + b.g) / 2, bl = (a.b + b.b) / 2;
    uint8_t* p = row + 2 * x;
    if (g.packing == Packing::Uyvy) {
      p[0] = ChromaU(r, gr, bl);
      p[1] = Luma(a);
      p[2] = ChromaV(r, gr, bl);
      p[3] = Luma(b);
    } else {
      p[0] = Luma(a);
      p[1] = ChromaU(r, gr, bl);
      p[2] = Luma(b);
      p[3] = ChromaV(r, gr, bl);
    }
  }
}

uint8_t LumaAt(const uint8_t* pixels, const Geometry& g, int32_t x, int32_t y) {
  const uint8_t* row = pixels + g.RowOffset(y);
  switch (g.packing) {
    case Packing::Bgra: {
      const uint8_t* p = row + 4 * x;
      return Luma({p[2], p[1], p[0]});
    }
    case Packing::Uyvy:
      return row[2 * x + 1];
    default:
      return row[2 * x];
  }
}

}  // namespace

HRESULT DrawTestPattern(uint8_t* pixels, const TVideoProps& format, int64_t n) {
  if (!pixels) return E_POINTER;
  Geometry g;
  if (HRESULT hr = GeometryOf(format, g); FAILED(hr)) return hr;
  if (n < 0) n = 0;
  std::vector<Rgb> line(static_cast<size_t>(g.width));
  for (int32_t y = 0; y < g.height; ++y) {
    RenderLine(line, g.width, g.height, y, n);
    PackLine(line, g, pixels + g.RowOffset(y));
  }
  return S_OK;
}

int32_t TestPatternCounter(const uint8_t* pixels, const TVideoProps& format) {
  Geometry g;
  if (!pixels || FAILED(GeometryOf(format, g))) return -1;
  int32_t value = 0;
  const int32_t y = kPatternCounterTop + kPatternCellSize / 2;
  for (int32_t bit = 0; bit < kPatternCounterBits; ++bit) {
    const int32_t x = kPatternCounterLeft + bit * kPatternCellSize + kPatternCellSize / 2;
    value = (value << 1) | (LumaAt(pixels, g, x, y) > 128 ? 1 : 0);
  }
  return value;
}
