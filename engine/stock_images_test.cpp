#include "engine/stock_images.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "framelib/frame_factory.h"
#include "media/colour_formats.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/cpu_gpu/gpu_test_support.h"
#include "platform/sim/capture_sim.h"

namespace {

using cvplat::gputest::GpuRig;

constexpr HRESULT kNotFound = static_cast<HRESULT>(0x80070716u);

void Set32(std::vector<uint8_t>& file, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) file[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

// A small BMP file laid out by hand, so that a test can break one field at a time. Its pixel bytes
// count up from 1, so that every byte tells where it came from.
std::vector<uint8_t> File(int32_t width, int32_t height, uint16_t bits, uint32_t sizeImage, size_t pixelBytes) {
  std::vector<uint8_t> f(54 + pixelBytes, 0);
  f[0] = 'B';
  f[1] = 'M';
  Set32(f, 2, static_cast<uint32_t>(f.size()));
  Set32(f, 10, 54);
  Set32(f, 14, 40);
  Set32(f, 18, static_cast<uint32_t>(width));
  Set32(f, 22, static_cast<uint32_t>(height));
  f[26] = 1;
  f[28] = static_cast<uint8_t>(bits);
  f[29] = static_cast<uint8_t>(bits >> 8);
  Set32(f, 34, sizeImage);
  for (size_t i = 0; i < pixelBytes; ++i) f[54 + i] = static_cast<uint8_t>(i + 1);
  return f;
}

HRESULT Parse(const std::vector<uint8_t>& file, TStockBitmap* bitmap) {
  return ParseStockBitmap(file.data(), file.size(), bitmap);
}

TEST(StockBitmap, AGoodFileGivesItsHeaderAndPixels) {
  // The pixels start where the file header says, and the size of the image may be left out (0).
  std::vector<uint8_t> file = File(3, -2, 32, 0, 28);
  Set32(file, 10, 58);
  TStockBitmap bitmap;
  ASSERT_EQ(Parse(file, &bitmap), S_OK);
  EXPECT_EQ(bitmap.width, 3);
  EXPECT_EQ(bitmap.height, -2);
  EXPECT_EQ(bitmap.bitCount, 32);
  EXPECT_EQ(std::memcmp(bitmap.header, file.data() + 14, 40), 0);
  EXPECT_EQ(bitmap.pixels, std::vector<uint8_t>(file.begin() + 58, file.end()));
}

TEST(StockBitmap, DamagedFilesAreRefused) {
  const std::vector<uint8_t> good = File(3, -2, 32, 24, 24);
  const auto with = [&](size_t at, uint32_t v, size_t at2 = 0, uint32_t v2 = 0) {
    std::vector<uint8_t> f = good;
    Set32(f, at, v);
    if (at2) Set32(f, at2, v2);
    return f;
  };
  const std::pair<const char*, std::vector<uint8_t>> cases[] = {
      {"shorter than both headers", std::vector<uint8_t>(good.begin(), good.begin() + 53)},
      {"not BM", [&] {
         std::vector<uint8_t> f = good;
         f[1] = 'A';
         return f;
       }()},
      {"pixels inside the headers", with(10, 53)},
      {"pixels at the file header's size", with(2, 54)},
      {"pixels past the data, below the file header's size", with(10, 100, 2, 1000)},
      {"a header of 12 bytes", with(14, 12)},
      {"a header of 108 bytes", with(14, 108)},
      {"an image size one byte past the end", with(34, 25)},
      {"a picture size past the end", File(3, -3, 32, 0, 24)},
      // 2^25 x 2^24 pixels of 2^15 bits are 2^64 bits, which must not wrap round to nothing.
      {"a picture size past any data", File(1 << 25, 1 << 24, 0x8000, 0, 24)},
  };
  TStockBitmap bitmap;
  for (const auto& [what, file] : cases) EXPECT_EQ(Parse(file, &bitmap), E_FAIL) << what;
  // Both offset rules at their edges: 54, one below the file header's size.
  EXPECT_EQ(Parse(with(2, 55, 34, 4), &bitmap), S_OK);
  EXPECT_EQ(ParseStockBitmap(nullptr, 100, &bitmap), E_INVALIDARG);
  EXPECT_EQ(ParseStockBitmap(good.data(), good.size(), nullptr), E_POINTER);
}

// ---- the pictures the build drew, as the module keeps them ----

struct Pixel {
  int b, g, r, a;
};
Pixel At(const TStockBitmap& bitmap, int x, int y) {
  const uint8_t* p = &bitmap.pixels[static_cast<size_t>(y * bitmap.width + x) * 4];
  return {p[0], p[1], p[2], p[3]};
}
// The pictures are symmetric about their centre, so the distance doesn't depend on the row order.
double Radius(int x, int y) { return std::hypot(x + 0.5 - 50.0, y + 0.5 - 50.0); }

// Through the module's own resources: the program's on Windows, the embedded table on Linux.
TStockBitmap Module(uint32_t id) {
  TStockBitmap bitmap;
  EXPECT_EQ(LoadStockBitmap(cvplat::CapturePlatform{}, id, &bitmap), S_OK) << id;
  EXPECT_EQ(bitmap.width, 100);
  EXPECT_EQ(bitmap.bitCount, 32);
  return bitmap;
}

TEST(StockImages, TheHighlightIsAGreyMaskFullToFortyFallingToNothingAtFifty) {
  const TStockBitmap disc = Module(kStockHighlight);
  ASSERT_EQ(disc.pixels.size(), 40000u);
  EXPECT_EQ(disc.height, 100) << "rows bottom-up";
  for (int y = 0; y < 100; ++y) {
    for (int x = 0; x < 100; ++x) {
      const Pixel p = At(disc, x, y);
      const double r = Radius(x, y);
      ASSERT_TRUE(p.r == p.b && p.g == p.b && p.a == 0) << x << "," << y;
      // About linear between the two radii: within 5% of the straight line.
      const double expected = r <= 40 ? 252 : r >= 50 ? 0 : 252 * (50 - r) / 10;
      ASSERT_NEAR(p.b, expected, r <= 40 || r >= 50 ? 0 : 13) << x << "," << y;
    }
  }
}

TEST(StockImages, TheClickRingsArePremultipliedRingsWithSmoothEdges) {
  for (const auto& [id, full] : {std::pair{kStockLeftClick, Pixel{16, 90, 255, 255}},
                                 std::pair{kStockRightClick, Pixel{53, 170, 58, 255}}}) {
    SCOPED_TRACE(id);
    const TStockBitmap ring = Module(id);
    ASSERT_EQ(ring.pixels.size(), 40000u);
    EXPECT_EQ(ring.height, -100) << "rows top-down";
    int innerEdge = 0, outerEdge = 0;
    for (int y = 0; y < 100; ++y) {
      for (int x = 0; x < 100; ++x) {
        const Pixel p = At(ring, x, y);
        const double r = Radius(x, y);
        ASSERT_LE(std::max({p.b, p.g, p.r}), p.a) << x << "," << y << " premultiplied";
        // A pixel reaches 0.71 past its centre: inside 36 and outside 50 it lies wholly off the ring
        // (37 to 49), from 38 to 48 wholly on it.
        if (r <= 36 || r >= 50) {
          ASSERT_EQ(p.a, 0) << x << "," << y << " transparent black";
        } else if (r >= 38 && r <= 48) {
          ASSERT_TRUE(p.b == full.b && p.g == full.g && p.r == full.r && p.a == 255) << x << "," << y;
        } else if (p.a > 0 && p.a < 255) {
          ++(r < 40 ? innerEdge : outerEdge);
        }
      }
    }
    // Anti-aliased: pixels of partial cover all round both edges.
    EXPECT_GT(innerEdge, 100);
    EXPECT_GT(outerEdge, 100);
  }
}

// ---- what the loops make of them ----

TEST(StockImages, TheTextureHoldsThePictureRowsAsStored) {
  GpuRig rig([](cvplat::IGpuDevice** device, UINT* level, cvplat::IGpuContext** context) {
    return cvplat::CreateCpuGpuDevice({}, device, level, context);
  });
  ASSERT_TRUE(rig.device);
  TStockBitmap bitmap;  // bottom-up rows: the texture keeps them in the file's order all the same
  ASSERT_EQ(Parse(File(3, 2, 32, 0, 24), &bitmap), S_OK);
  TRefPtr<cvplat::IGpuTexture2D> texture;
  ASSERT_EQ(StockTexture(rig.device.Get(), bitmap, texture.Receive()), S_OK);
  cvplat::GpuTexture2DDesc desc;
  texture->GetDesc(&desc);
  EXPECT_TRUE(desc.width == 3 && desc.height == 2 && desc.mipLevels == 1);
  EXPECT_EQ(desc.format, cvplat::GpuFormat::B8G8R8A8Unorm);
  EXPECT_EQ(desc.usage, cvplat::GpuUsage::Default);
  EXPECT_EQ(desc.bindFlags, cvplat::kGpuBindShaderResource);
  const cvplat::gputest::Picture read = rig.Read(texture.Get());
  ASSERT_EQ(read.pixels.size(), 6u);
  EXPECT_EQ(std::memcmp(read.pixels.data(), bitmap.pixels.data(), 24), 0);

  ASSERT_EQ(StockTexture(rig.device.Get(), Module(kStockRightClick), texture.Receive()), S_OK);
  texture->GetDesc(&desc);
  EXPECT_EQ(desc.height, 100u) << "the magnitude of a top-down height";

  // Pictures a B8G8R8A8 texture can't be filled from: 24 bits, a row short.
  TStockBitmap rgb;
  ASSERT_EQ(Parse(File(4, 2, 24, 0, 24), &rgb), S_OK);
  EXPECT_EQ(StockTexture(rig.device.Get(), rgb, texture.Receive()), E_FAIL);
  bitmap.pixels.resize(12);
  EXPECT_EQ(StockTexture(rig.device.Get(), bitmap, texture.Receive()), E_FAIL);
  EXPECT_FALSE(texture);
}

TEST(StockImages, TheFrameIsArgbForThirtyTwoBitsElseRgbAtTheMagnitudeOfTheHeight) {
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  // Rows of 3 pixels: 12 bytes in 32 bits, 9 in 24 bits padded to 12 by the file.
  for (const auto& [file, colour] : {std::pair{File(3, -2, 32, 0, 24), kColourARGB32},
                                     std::pair{File(3, 2, 24, 24, 24), kColourRGB24}}) {
    TStockBitmap bitmap;
    ASSERT_EQ(Parse(file, &bitmap), S_OK);
    ICVFrame_I* made = nullptr;
    ASSERT_EQ(StockFrame(factory.Get(), bitmap, &made), S_OK);
    TRefPtr<ICVFrame_I> frame = TRefPtr<ICVFrame_I>::Adopt(made);
    TAvProps props{};
    ASSERT_EQ(frame->FormatGet(&props, nullptr), S_OK);
    EXPECT_EQ(props.video.colourFormat, colour);
    EXPECT_TRUE(props.video.width == 3 && props.video.height == 2);
    EXPECT_DOUBLE_EQ(props.video.frameRate, 29.97);
    ASSERT_EQ(props.video.rowBytes, 12);
    uint8_t* pixels = nullptr;
    ASSERT_EQ(frame->PixelsGet(0, &pixels), S_OK);
    EXPECT_EQ(std::memcmp(pixels, bitmap.pixels.data(), 24), 0);
  }
  // 3 x 2 x 24 / 8 = 18 bytes of pixels, where the frame would copy two padded rows of 12.
  TStockBitmap shortRows;
  ASSERT_EQ(Parse(File(3, 2, 24, 0, 24), &shortRows), S_OK);
  ICVFrame_I* made = nullptr;
  EXPECT_EQ(StockFrame(factory.Get(), shortRows, &made), E_FAIL);
  EXPECT_EQ(made, nullptr);
}

// ---- the simulated desktop's resources before the module's ----

TEST(StockImages, TheSimulatedDesktopAnswersBeforeTheModule) {
  const std::shared_ptr<cvplat::SimDesktop> desktop = cvplat::SimDesktop::Create();
  const cvplat::CapturePlatform platform = desktop->Platform();
  TStockBitmap bitmap;
  desktop->SetResource(kStockLeftClick, File(3, -2, 32, 24, 24));
  ASSERT_EQ(LoadStockBitmap(platform, kStockLeftClick, &bitmap), S_OK);
  EXPECT_EQ(bitmap.width, 3);
  desktop->SetResource(kStockLeftClick, {'B', 'M', 0, 0});
  EXPECT_EQ(LoadStockBitmap(platform, kStockLeftClick, &bitmap), E_FAIL);
  desktop->SetResource(kStockLeftClick, {});
  EXPECT_EQ(LoadStockBitmap(platform, kStockLeftClick, &bitmap), E_FAIL) << "an empty file";

  desktop->RemoveResource(kStockRightClick);
  EXPECT_EQ(LoadStockBitmap(platform, kStockRightClick, &bitmap), kNotFound);
  EXPECT_EQ(LoadStockBitmap(platform, kStockHighlight, &bitmap), S_OK) << "the module's own";
  EXPECT_EQ(bitmap.width, 100);
  // The module's answer for an id it hasn't, the same on every system. Only 16 bits name a resource
  // on Windows: a larger id must not find 107.
  EXPECT_EQ(LoadStockBitmap(platform, 110, &bitmap), kNotFound);
  EXPECT_EQ(LoadStockBitmap(platform, 0x10000u + kStockHighlight, &bitmap), kNotFound);
  EXPECT_EQ(LoadStockBitmap(platform, kStockHighlight, nullptr), E_POINTER);
}

}  // namespace
