// PNG output of 8-bit RGB pictures: no compression library, the image data goes into a zlib stream of
// stored deflate blocks, so the file is as large as the pixels, plus a filter byte per line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

uint32_t Crc32(const uint8_t* data, size_t size, uint32_t crc = 0);
uint32_t Adler32(const uint8_t* data, size_t size, uint32_t adler = 1);

// A zlib stream (header, stored blocks of at most 65535 bytes, Adler-32) holding `data`.
std::vector<uint8_t> ZlibStored(const uint8_t* data, size_t size);

// The whole PNG file of a width x height picture of R, G, B bytes, top-down; empty for an empty size.
std::vector<uint8_t> EncodePngRgb(const uint8_t* rgb, int32_t width, int32_t height);

bool WriteFileBytes(const std::filesystem::path& path, const std::vector<uint8_t>& bytes);
