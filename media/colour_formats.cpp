#include "media/colour_formats.h"

#include <cstdlib>
#include <iterator>

namespace {

constexpr TColourInfo kColours[] = {
    {kColourHDYC, L"HDYC", 16, TColourGroup::Packed},   {kColourUYVY, L"UYVY", 16, TColourGroup::Packed},
    {kColourYVYU, L"YVYU", 16, TColourGroup::Packed},   {kColourYUY2, L"YUY2", 16, TColourGroup::Packed},
    {kColourV210, L"v210", 20, TColourGroup::Packed},   {kColourR210, L"r210", 32, TColourGroup::RGB},
    {kColourARGB32, L"ARGB32", 32, TColourGroup::RGB},  {kColourRGB32, L"RGB32", 32, TColourGroup::RGB},
    {kColourRGB24, L"RGB24", 24, TColourGroup::RGB},    {kColourRGB555, L"RGB555", 16, TColourGroup::RGB},
    {kColourRGB565, L"RGB565", 16, TColourGroup::RGB},  {kColourRGB8, L"RGB8", 8, TColourGroup::RGB},
    {kColourNV12, L"NV12", 16, TColourGroup::Planar},   {kColourI420, L"I420", 12, TColourGroup::Planar},
    {kColourYV12, L"YV12", 12, TColourGroup::Planar},   {kColourY422, L"Y422", 16, TColourGroup::Planar},
    {kColourY444, L"Y444", 24, TColourGroup::Planar},   {kColourIYU2, L"IYU2", 24, TColourGroup::Other},
    {kColourYVU9, L"YVU9", 9, TColourGroup::Other},
};

constexpr uint32_t kSupported[] = {kColourHDYC,  kColourUYVY, kColourYVYU, kColourYUY2,
                                   kColourARGB32, kColourRGB32, kColourRGB24, kColourRGB8,
                                   kColourNV12,   kColourV210, kColourR210};

}  // namespace

const TColourInfo* ColourInfo(uint32_t code) {
  for (const TColourInfo& c : kColours) {
    if (c.code == code) return &c;
  }
  return nullptr;
}

TColourGroup ColourGroup(uint32_t code) {
  const TColourInfo* info = ColourInfo(code);
  return info ? info->group : TColourGroup::Unknown;
}

bool ColourIsSupported(uint32_t code) {
  for (uint32_t c : kSupported) {
    if (c == code) return true;
  }
  return false;
}

namespace {

// 64-bit line sizes: a hostile width must not wrap into a plausible line size.
int64_t LineBytes(uint32_t code, int64_t w) {
  if (code == kColourV210) return (w + 47) / 48 * 128;  // 48 pixels in 128 bytes
  if (code == kColourR210) return (w + 63) / 64 * 256;
  if (ColourGroup(code) == TColourGroup::Planar) return w;
  if (!ColourIsSupported(code)) return 0;
  return (ColourInfo(code)->bitsPerPixel * w / 8 + 3) & ~int64_t{3};
}

}  // namespace

int32_t ColourRowBytes(uint32_t code, int32_t width) {
  const int64_t bytes = LineBytes(code, width);
  return bytes >= INT32_MIN && bytes <= INT32_MAX ? static_cast<int32_t>(bytes) : 0;
}

int64_t ColourImageBytes(uint32_t code, int32_t rowBytes, int32_t lines) {
  const int64_t bytes = int64_t{rowBytes} * std::llabs(lines);
  return ColourGroup(code) == TColourGroup::Planar ? bytes * 3 / 2 : bytes;
}
