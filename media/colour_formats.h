// Pixel format codes and the memory each needs. A code is a little-endian four-character code, or the
// first word of a published media subtype for the RGB formats, which have no four letters of their own.
#pragma once

#include <cstdint>

inline constexpr uint32_t kColourHDYC = 0x43594448;
inline constexpr uint32_t kColourUYVY = 0x59565955;
inline constexpr uint32_t kColourYVYU = 0x55595659;
inline constexpr uint32_t kColourYUY2 = 0x32595559;
inline constexpr uint32_t kColourV210 = 0x30313276;
inline constexpr uint32_t kColourR210 = 0x30313272;
inline constexpr uint32_t kColourARGB32 = 0x773C9AC0;
inline constexpr uint32_t kColourRGB32 = 0xE436EB7E;
inline constexpr uint32_t kColourRGB24 = 0xE436EB7D;
inline constexpr uint32_t kColourRGB555 = 0xE436EB7C;
inline constexpr uint32_t kColourRGB565 = 0xE436EB7B;
inline constexpr uint32_t kColourRGB8 = 0xE436EB7A;
inline constexpr uint32_t kColourNV12 = 0x3231564E;
inline constexpr uint32_t kColourI420 = 0x30323449;
inline constexpr uint32_t kColourYV12 = 0x32315659;
inline constexpr uint32_t kColourY422 = 0x32323459;
inline constexpr uint32_t kColourY444 = 0x34343459;
inline constexpr uint32_t kColourIYU2 = 0x32555949;
inline constexpr uint32_t kColourYVU9 = 0x39555659;

enum class TColourGroup { Unknown, Packed, RGB, Planar, Other };

struct TColourInfo {
  uint32_t code;
  const wchar_t* name;
  int bitsPerPixel;
  TColourGroup group;
};

// The entry of a known code, or null.
const TColourInfo* ColourInfo(uint32_t code);
// Unknown for a code outside the table (0 included).
TColourGroup ColourGroup(uint32_t code);
inline bool ColourIsRGB(uint32_t code) { return ColourGroup(code) == TColourGroup::RGB; }
// The set a frame can actually be produced in; also what an output format may name.
bool ColourIsSupported(uint32_t code);
// Bytes per line: 0 for a code whose lines the system cannot lay out. Planar codes give the luma line.
int32_t ColourRowBytes(uint32_t code, int32_t width);
// Bytes a whole picture takes: planar codes carry their chroma planes below the luma lines.
int64_t ColourImageBytes(uint32_t code, int32_t rowBytes, int32_t lines);
