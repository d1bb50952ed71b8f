#include "engine/stock_images.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "framelib/picture_layout.h"
#include "media/av_props.h"
#include "media/colour_formats.h"
#include "platform/module_resources.h"

namespace {

constexpr size_t kFileHeaderBytes = 14;
constexpr size_t kInfoHeaderBytes = 40;
constexpr double kStockFrameRate = 29.97;

// The file's numbers are little-endian whatever the machine, and need not be aligned.
uint32_t Read32(const uint8_t* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}
uint16_t Read16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }

uint64_t Lines(const TStockBitmap& bitmap) {
  return bitmap.height < 0 ? uint64_t{0} - static_cast<uint64_t>(int64_t{bitmap.height})
                           : static_cast<uint64_t>(bitmap.height);
}

}  // namespace

HRESULT ParseStockBitmap(const uint8_t* data, size_t size, TStockBitmap* bitmap) {
  if (!data) return E_INVALIDARG;
  if (!bitmap) return E_POINTER;
  if (size < kFileHeaderBytes + kInfoHeaderBytes) return E_FAIL;
  if (data[0] != 'B' || data[1] != 'M') return E_FAIL;
  const uint32_t fileSize = Read32(data + 2);
  const uint32_t offset = Read32(data + 10);
  if (offset < kFileHeaderBytes + kInfoHeaderBytes || offset >= fileSize) return E_FAIL;
  const uint8_t* info = data + kFileHeaderBytes;
  if (Read32(info) != kInfoHeaderBytes) return E_FAIL;

  TStockBitmap parsed;
  std::memcpy(parsed.header, info, kInfoHeaderBytes);
  parsed.width = static_cast<int32_t>(Read32(info + 4));
  parsed.height = static_cast<int32_t>(Read32(info + 8));
  parsed.bitCount = Read16(info + 14);
  // A file may leave the size of its pixels out; it then follows from the picture's size. Either way
  // the pixels must lie wholly inside the data, whatever the file header claims.
  uint64_t pixelBytes = Read32(info + 20);
  if (pixelBytes == 0) {
    const uint64_t width = parsed.width < 0 ? uint64_t{0} - static_cast<uint64_t>(int64_t{parsed.width})
                                            : static_cast<uint64_t>(parsed.width);
    const uint64_t pixels = width * Lines(parsed);  // at most 2^62
    // Past 2^64 bits it can't fit any data.
    if (parsed.bitCount != 0 && pixels > UINT64_MAX / parsed.bitCount) return E_FAIL;
    pixelBytes = pixels * parsed.bitCount / 8;
  }
  if (offset > size || pixelBytes > size - offset) return E_FAIL;
  try {
    parsed.pixels.assign(data + offset, data + offset + pixelBytes);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  *bitmap = std::move(parsed);
  return S_OK;
}

HRESULT LoadStockBitmap(const cvplat::CapturePlatform& platform, uint32_t id, TStockBitmap* bitmap) {
  if (!bitmap) return E_POINTER;
  std::vector<uint8_t> bytes;
  HRESULT hr;
  try {
    hr = platform.resource ? platform.resource(id, &bytes) : cvplat::FindModuleResource(id, &bytes);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  if (FAILED(hr)) return hr;
  if (bytes.empty()) return E_FAIL;  // an empty file is a damaged one, not a missing argument
  return ParseStockBitmap(bytes.data(), bytes.size(), bitmap);
}

HRESULT StockTexture(cvplat::IGpuDevice* device, const TStockBitmap& bitmap, cvplat::IGpuTexture2D** texture) {
  if (!texture) return E_POINTER;
  *texture = nullptr;
  if (!device) return E_POINTER;
  // The texture reads 4 x width bytes a row straight from the file's pixels: only a 32-bit picture
  // that has all its rows can give them.
  const uint64_t lines = Lines(bitmap);
  if (bitmap.width <= 0 || lines == 0 || bitmap.bitCount != 32) return E_FAIL;
  const uint64_t pitch = uint64_t{4} * static_cast<uint64_t>(bitmap.width);
  if (pitch > 0xFFFFFFFFu || lines > bitmap.pixels.size() / pitch) return E_FAIL;

  cvplat::GpuTexture2DDesc desc;
  desc.width = static_cast<UINT>(bitmap.width);
  desc.height = static_cast<UINT>(lines);
  desc.mipLevels = 1;
  desc.arraySize = 1;
  desc.format = cvplat::GpuFormat::B8G8R8A8Unorm;
  desc.sampleDesc = {1, 0};
  desc.usage = cvplat::GpuUsage::Default;
  desc.bindFlags = cvplat::kGpuBindShaderResource;
  const cvplat::GpuSubresourceData initial{bitmap.pixels.data(), static_cast<UINT>(pitch), 0};
  return device->CreateTexture2D(&desc, &initial, texture);
}

HRESULT StockFrame(ICVFactory* factory, const TStockBitmap& bitmap, ICVFrame_I** frame) {
  if (!frame) return E_POINTER;
  *frame = nullptr;
  if (!factory) return E_POINTER;
  const uint64_t lines = Lines(bitmap);
  if (bitmap.width <= 0 || lines == 0 || lines > 0x7FFFFFFF) return E_FAIL;
  // Rows of a BMP file start on 4-byte boundaries.
  const uint64_t stride = (static_cast<uint64_t>(bitmap.width) * bitmap.bitCount + 31) / 32 * 4;
  if (stride > 0x7FFFFFFF) return E_FAIL;

  TVideoProps props{};
  props.colourFormat = bitmap.bitCount == 32 ? kColourARGB32 : kColourRGB24;
  props.width = bitmap.width;
  props.height = static_cast<int32_t>(lines);
  props.rowBytes = static_cast<int32_t>(stride);
  props.scan = 3;
  props.frameRate = kStockFrameRate;
  // The factory copies a whole picture of the format from the pixels: they must hold that much.
  TPictureLayout layout{};
  if (PictureLayoutOf(props, &layout) != TPictureKind::Picture) return E_FAIL;
  if (layout.imageBytes < 0 || static_cast<uint64_t>(layout.imageBytes) > bitmap.pixels.size()) return E_FAIL;
  return factory->FrameCreate(&props, reinterpret_cast<uintptr_t>(bitmap.pixels.data()), 0, 0, 0, frame, nullptr);
}

HRESULT LoadStockTextures(const cvplat::CapturePlatform& platform, cvplat::IGpuDevice* device,
                          TRefPtr<cvplat::IGpuTexture2D> (&textures)[3]) {
  for (int i = 0; i < 3; ++i) {
    TStockBitmap bitmap;
    if (HRESULT hr = LoadStockBitmap(platform, kStockOrder[i], &bitmap); FAILED(hr)) return hr;
    if (HRESULT hr = StockTexture(device, bitmap, textures[i].Receive()); FAILED(hr)) return hr;
  }
  return S_OK;
}

HRESULT LoadStockFrames(const cvplat::CapturePlatform& platform, ICVFactory* factory,
                        TRefPtr<ICVFrame_I> (&frames)[3]) {
  for (int i = 0; i < 3; ++i) {
    TStockBitmap bitmap;
    if (HRESULT hr = LoadStockBitmap(platform, kStockOrder[i], &bitmap); FAILED(hr)) return hr;
    if (HRESULT hr = StockFrame(factory, bitmap, frames[i].Receive()); FAILED(hr)) return hr;
  }
  return S_OK;
}
