// The three stock pictures of the overlays (the highlight disc's mask and the two click rings), kept as
// BMP files among the module's resources, and what the two loops make of them: textures for the
// hardware loop, frames of the frame library for the software loop.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "CVDeviceSCR.h"
#include "platform/auto_obj.h"
#include "platform/desktop.h"
#include "platform/gpu.h"

inline constexpr uint32_t kStockHighlight = 107;
inline constexpr uint32_t kStockLeftClick = 108;
inline constexpr uint32_t kStockRightClick = 109;
// The order in which both loops load and keep the three: left ring, right ring, disc.
inline constexpr uint32_t kStockOrder[3] = {kStockLeftClick, kStockRightClick, kStockHighlight};

// A BMP file taken apart: its info header as it stands in the file, and a copy of its pixel bytes.
struct TStockBitmap {
  uint8_t header[40] = {};
  int32_t width = 0;
  int32_t height = 0;  // as in the file: positive for rows bottom-up, negative for top-down
  uint16_t bitCount = 0;
  std::vector<uint8_t> pixels;
};

// Checks a BMP file and copies it out. E_INVALIDARG for no data, E_POINTER for no output, E_FAIL for a
// damaged file, E_OUTOFMEMORY.
HRESULT ParseStockBitmap(const uint8_t* data, size_t size, TStockBitmap* bitmap);
// Finds the resource `id` (through `platform.resource`, else the module's own) and parses it; the
// system's error when there is no such resource.
HRESULT LoadStockBitmap(const cvplat::CapturePlatform& platform, uint32_t id, TStockBitmap* bitmap);

// A B8G8R8A8 texture of the picture's rows as they are stored, shader resource, default usage.
HRESULT StockTexture(cvplat::IGpuDevice* device, const TStockBitmap& bitmap, cvplat::IGpuTexture2D** texture);
// A frame of the picture: ARGB32 for 32 bits a pixel, else RGB24, at 29.97 frames a second.
HRESULT StockFrame(ICVFactory* factory, const TStockBitmap& bitmap, ICVFrame_I** frame);

// All three, in kStockOrder, as textures of `device` or as frames. The first failure is the result; what
// was made before it stays in the array.
HRESULT LoadStockTextures(const cvplat::CapturePlatform& platform, cvplat::IGpuDevice* device,
                          TRefPtr<cvplat::IGpuTexture2D> (&textures)[3]);
HRESULT LoadStockFrames(const cvplat::CapturePlatform& platform, ICVFactory* factory,
                        TRefPtr<ICVFrame_I> (&frames)[3]);
