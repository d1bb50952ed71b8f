// PNG output of 8-bit RGB pictures, compressed with zlib. Each line gets the PNG filter whose output
// has the least sum of absolute values (bytes read as signed), the choice that suits screen content:
// flat areas and repeated lines filter to runs of zeros, gradients to runs of small steps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

uint32_t Crc32(const uint8_t* data, size_t size, uint32_t crc = 0);

// The PNG filter types of one line.
enum TPngFilter : uint8_t { ePngNone = 0, ePngSub = 1, ePngUp = 2, ePngAverage = 3, ePngPaeth = 4 };

// The filtered image data of a width x height picture of R, G, B bytes, top-down: per line the filter
// type byte, then the filtered line; the input of the zlib stream.
std::vector<uint8_t> FilterLinesRgb(const uint8_t* rgb, int32_t width, int32_t height);

// A zlib stream holding `data`; empty when zlib fails (out of memory).
std::vector<uint8_t> ZlibCompress(const uint8_t* data, size_t size);

// The whole PNG file of a width x height picture of R, G, B bytes, top-down; empty for an empty size or
// when compression fails.
std::vector<uint8_t> EncodePngRgb(const uint8_t* rgb, int32_t width, int32_t height);

bool WriteFileBytes(const std::filesystem::path& path, const std::vector<uint8_t>& bytes);
