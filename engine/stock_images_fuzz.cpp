// Fuzz target of the stock image loader: arbitrary bytes as a resource. Besides crashes and sanitizer
// reports it checks what the loops rely on: an accepted file's pixels lie wholly inside the data right
// at the file's offset, and neither the texture nor the frame made from it reads past those pixels.
#include <cstdint>
#include <cstring>

#include "engine/stock_images.h"
#include "framelib/frame_factory.h"
#include "platform/auto_obj.h"
#include "platform/cpu_gpu/cpu_gpu.h"

namespace {

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

uint32_t Read32(const uint8_t* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TStockBitmap bitmap;
  const HRESULT hr = ParseStockBitmap(data, size, &bitmap);
  Require(hr == S_OK || hr == E_FAIL);
  if (hr != S_OK) return 0;

  Require(size >= 54 && data[0] == 'B' && data[1] == 'M');
  const uint32_t offset = Read32(data + 10);
  Require(offset >= 54 && offset < Read32(data + 2) && offset <= size);
  Require(bitmap.pixels.size() <= size - offset);
  Require(std::memcmp(bitmap.header, data + 14, 40) == 0);
  Require(bitmap.pixels.empty() || std::memcmp(bitmap.pixels.data(), data + offset, bitmap.pixels.size()) == 0);
  Require(bitmap.width == static_cast<int32_t>(Read32(data + 18)));
  Require(bitmap.height == static_cast<int32_t>(Read32(data + 22)));

  // Both are bounded by the input: a picture is only made from pixels that are all there.
  static cvplat::IGpuDevice* device = [] {
    cvplat::IGpuDevice* made = nullptr;
    cvplat::CreateCpuGpuDevice({}, &made, nullptr, nullptr);
    return made;
  }();
  static ICVFactory* factory = GetFrameFactory();
  cvplat::IGpuTexture2D* texture = nullptr;
  if (SUCCEEDED(StockTexture(device, bitmap, &texture))) texture->Release();
  ICVFrame_I* frame = nullptr;
  if (SUCCEEDED(StockFrame(factory, bitmap, &frame))) frame->Release();
  return 0;
}
