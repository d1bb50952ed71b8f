// Linux has no bitmap objects of a graphics interface: the handles here name pictures in this process's
// memory, so that pictures travel as bitmaps like on Windows (the pointer's among them). A handle is
// never used twice, so one that was deleted names nothing, as any made-up number does.
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <vector>

#include "platform/bitmap.h"

namespace cvplat {
namespace {

struct Bitmap {
  int32_t width;
  int32_t height;
  std::vector<uint32_t> pixels;  // top line first
};

// Bitmaps larger than this are refused, as a graphics interface would refuse them: 16K x 16K.
constexpr int64_t kMaxPixels = int64_t{1} << 28;

struct Table {
  std::mutex lock;
  std::map<uint64_t, Bitmap> bitmaps;
  uint64_t last = 0;
};

Table& Bitmaps() {
  static Table table;
  return table;
}

}  // namespace

HRESULT BitmapSize(uint64_t bitmap, int32_t* width, int32_t* height) {
  if (!width || !height) return E_POINTER;
  *width = 0;
  *height = 0;
  Table& table = Bitmaps();
  std::lock_guard<std::mutex> guard(table.lock);
  const auto found = table.bitmaps.find(bitmap);
  if (found == table.bitmaps.end()) return E_INVALIDARG;
  *width = found->second.width;
  *height = found->second.height;
  return S_OK;
}

HRESULT ReadBitmapPixels(uint64_t bitmap, int32_t width, int32_t height, void* pixels) {
  if (!pixels) return E_POINTER;
  Table& table = Bitmaps();
  std::lock_guard<std::mutex> guard(table.lock);
  const auto found = table.bitmaps.find(bitmap);
  if (found == table.bitmaps.end()) return E_INVALIDARG;
  const Bitmap& b = found->second;
  if (width != b.width || height != b.height) return E_INVALIDARG;
  std::memcpy(pixels, b.pixels.data(), b.pixels.size() * sizeof(uint32_t));
  return S_OK;
}

uint64_t CreateBitmap32(int32_t width, int32_t height, const uint32_t* pixels) {
  if (width <= 0 || height <= 0 || int64_t{width} * height > kMaxPixels) return 0;
  const size_t count = size_t(width) * size_t(height);
  Bitmap made{width, height, {}};
  try {
    made.pixels.resize(count);  // zero, as a new bitmap of the system starts black
  } catch (const std::bad_alloc&) {
    return 0;
  }
  if (pixels) std::memcpy(made.pixels.data(), pixels, count * sizeof(uint32_t));
  Table& table = Bitmaps();
  std::lock_guard<std::mutex> guard(table.lock);
  const uint64_t handle = ++table.last;
  table.bitmaps.emplace(handle, std::move(made));
  return handle;
}

void DeleteBitmap(uint64_t bitmap) {
  Table& table = Bitmaps();
  std::lock_guard<std::mutex> guard(table.lock);
  table.bitmaps.erase(bitmap);
}

}  // namespace cvplat
