// The whole conversion on the plain path against the SIMD path, byte for byte, over sizes that take every
// filter in each axis, every layout, both row orders and pictures that end at a guard page; and every
// byte of the target written.
#include "primitives/pixel_convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "platform/guarded_memory.h"
#include "primitives/primitives.h"

namespace {

struct Size {
  int32_t w, h;
};

uint32_t g_seed = 11;
uint8_t NextByte() {
  g_seed = g_seed * 1664525u + 1013904223u;
  return uint8_t(g_seed >> 24);
}

// A picture whose last row in memory ends at a guard page; `bottomUp` passes its last row as the top.
struct Plane {
  cvplat::GuardedArray<uint8_t> bytes;
  int32_t rowBytes;
  bool bottomUp;
  Plane(int32_t rowBytes_, int32_t rows, bool bottomUp_)
      : bytes(size_t(rowBytes_) * size_t(rows)), rowBytes(rowBytes_), bottomUp(bottomUp_) {}
  uint8_t* Top() const { return bytes.data() + (bottomUp ? bytes.size() - size_t(rowBytes) : 0); }
  int32_t Step() const { return bottomUp ? -rowBytes : rowBytes; }
};

TEST(PixelConvertMatch, EveryFilterLayoutAndOrder) {
  // Against each target: equal sizes, enlargements, reductions below 2, by exactly 2 and above 2.
  const Size sources[] = {{1, 1}, {3, 2}, {7, 5}, {16, 9}, {33, 17}, {70, 44}};
  const Size targets[] = {{1, 1}, {5, 3}, {7, 5}, {16, 9}, {35, 22}, {81, 47}};
  int32_t runs = 0;
  for (const Size s : sources) {
    for (const Size t : targets) {
      for (int32_t srcLayout : {kPixelSourceBgra, kPixelSourceBgrx, kPixelSourceBgr}) {
        for (int32_t dstLayout : {kPixelTargetBgra, kPixelTargetBgrx, kPixelTargetCbYCrY, kPixelTargetYCbYCr}) {
          const bool inset = (runs++ % 2) == 1;
          const bool packed = dstLayout >= kPixelTargetCbYCrY;
          Plane src(s.w * (srcLayout == kPixelSourceBgr ? 3 : 4) + (inset ? 5 : 0), s.h, inset);
          for (size_t i = 0; i < src.bytes.size(); ++i) src.bytes[i] = NextByte();
          Plane dst(packed ? (t.w + 1) / 2 * 4 : t.w * 4, t.h, !inset);
          const TPixelSource from{src.Top(), src.Step(), s.w, s.h, srcLayout};
          const TPixelTarget to{dst.Top(), dst.Step(), t.w, t.h, dstLayout};
          TPixelRect fromRect{0, 0, s.w, s.h}, toRect{0, 0, t.w, t.h};
          if (inset) {
            fromRect = {s.w / 5, s.h / 6, std::max(1, s.w - s.w / 5 - s.w / 7), std::max(1, s.h - s.h / 6 - s.h / 4)};
            toRect = {t.w / 4, t.h / 5, std::max(1, t.w - t.w / 4 - t.w / 6), std::max(1, t.h - t.h / 5 - t.h / 3)};
          }
          // Each path starts from a different fill, so a byte left unwritten can't match.
          std::vector<uint8_t> results[2];
          for (int path = 0; path < 2; ++path) {
            const int32_t before = PrimitivesForceScalar(path == 0);
            std::fill(dst.bytes.data(), dst.bytes.data() + dst.bytes.size(), uint8_t(path ? 0x11 : 0xEE));
            ASSERT_EQ(PixelScaleConvert(&from, &fromRect, &to, &toRect), kPrimOk);
            PrimitivesForceScalar(before);
            results[path].assign(dst.bytes.data(), dst.bytes.data() + dst.bytes.size());
          }
          ASSERT_EQ(results[0], results[1]) << s.w << "x" << s.h << " -> " << t.w << "x" << t.h << " layouts "
                                            << srcLayout << "/" << dstLayout << (inset ? " inset" : "");
        }
      }
    }
  }
}

TEST(PixelConvert, RefusesBadArguments) {
  uint8_t pixels[64] = {};
  const TPixelSource src{pixels, 16, 4, 4, kPixelSourceBgra}, narrow{pixels, 12, 4, 4, kPixelSourceBgra};
  const TPixelTarget dst{pixels, 16, 4, 4, kPixelTargetBgra}, badLayout{pixels, 16, 4, 4, 9};
  const TPixelRect all{0, 0, 4, 4}, empty{0, 0, 0, 4}, outside{1, 0, 4, 4}, negative{-1, 0, 2, 2};
  EXPECT_EQ(PixelScaleConvert(nullptr, &all, &dst, &all), kPrimNullPointer);
  EXPECT_EQ(PixelScaleConvert(&src, &empty, &dst, &all), kPrimSizeTooSmall);
  EXPECT_EQ(PixelScaleConvert(&src, &outside, &dst, &all), kPrimOutOfRange);
  EXPECT_EQ(PixelScaleConvert(&src, &all, &dst, &negative), kPrimOutOfRange);
  EXPECT_EQ(PixelScaleConvert(&narrow, &all, &dst, &all), kPrimOutOfRange);
  EXPECT_EQ(PixelScaleConvert(&src, &all, &badLayout, &all), kPrimOutOfRange);
}

}  // namespace
