#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "primitives/primitives.h"

namespace {

// A picture of `width` x `height` 4-byte pixels with `pad` bytes behind each row, whose pixel (x, y)
// holds y * 1000 + x, in a buffer that starts `offset` bytes into its storage so that rows are not
// 4-byte aligned when offset isn't.
struct Picture {
  int32_t width, height, step;
  std::vector<unsigned char> storage;
  unsigned char* first;

  Picture(int32_t w, int32_t h, int32_t pad, int32_t offset = 0)
      : width(w), height(h), step(w * 4 + pad), storage(size_t(step) * h + offset, 0xEE), first(storage.data() + offset) {
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) Set(x, y, uint32_t(y * 1000 + x));
  }
  uint32_t At(int32_t x, int32_t y) const {
    uint32_t v;
    std::memcpy(&v, first + size_t(y) * step + size_t(x) * 4, 4);
    return v;
  }
  void Set(int32_t x, int32_t y, uint32_t v) { std::memcpy(first + size_t(y) * step + size_t(x) * 4, &v, 4); }
  bool PaddingUntouched() const {
    for (int32_t y = 0; y < height; ++y)
      for (int32_t i = width * 4; i < step; ++i)
        if (first[size_t(y) * step + i] != 0xEE) return false;
    return true;
  }
};

uint32_t Original(int32_t x, int32_t y) { return uint32_t(y * 1000 + x); }

void ExpectMirrored(const Picture& p, int32_t axis) {
  for (int32_t y = 0; y < p.height; ++y) {
    for (int32_t x = 0; x < p.width; ++x) {
      const int32_t sx = axis == kMirrorTopBottom ? x : p.width - 1 - x;
      const int32_t sy = axis == kMirrorLeftRight ? y : p.height - 1 - y;
      ASSERT_EQ(p.At(x, y), Original(sx, sy)) << "axis " << axis << " at " << x << "," << y;
    }
  }
  EXPECT_TRUE(p.PaddingUntouched());
}

TEST(Mirror32s, RefusesBadArgumentsInOrderAndLeavesThePictureAlone) {
  Picture p(4, 3, 0);
  const std::vector<unsigned char> before = p.storage;
  EXPECT_EQ(Mirror32s(nullptr, p.step, 0, 3, 9), kPrimNullPointer);  // null before sizes
  EXPECT_EQ(Mirror32s(p.first, p.step, 0, 3, 9), kPrimSizeTooSmall);  // sizes before the axis
  EXPECT_EQ(Mirror32s(p.first, p.step, 4, 0, 0), kPrimSizeTooSmall);
  EXPECT_EQ(Mirror32s(p.first, p.step, 4, 3, 3), kPrimBadMirrorAxis);
  EXPECT_EQ(Mirror32s(p.first, p.step, 4, 3, -1), kPrimBadMirrorAxis);
  EXPECT_EQ(Mirror32s(p.first, p.step, 4, 1, kMirrorTopBottom), kPrimSizeTooSmall);
  EXPECT_EQ(Mirror32s(p.first, p.step, 1, 3, kMirrorLeftRight), kPrimSizeTooSmall);
  EXPECT_EQ(Mirror32s(p.first, p.step, 1, 3, kMirrorBoth), kPrimSizeTooSmall);
  EXPECT_EQ(Mirror32s(p.first, p.step, 4, 1, kMirrorBoth), kPrimSizeTooSmall);
  EXPECT_EQ(p.storage, before);
  // The axis that doesn't move rows accepts a single row, and the other a single column.
  EXPECT_EQ(Mirror32s(p.first, p.step, 4, 1, kMirrorLeftRight), kPrimOk);
  EXPECT_EQ(Mirror32s(p.first, p.step, 1, 3, kMirrorTopBottom), kPrimOk);
}

TEST(Mirror32s, EachAxisOnEvenAndOddSizesKeepsThePadding) {
  for (int32_t axis : {kMirrorTopBottom, kMirrorLeftRight, kMirrorBoth}) {
    for (auto [w, h] : {std::pair{5, 3}, std::pair{4, 4}, std::pair{2, 2}, std::pair{7, 6}, std::pair{1921, 5}}) {
      if (axis != kMirrorTopBottom && w < 2) continue;
      Picture p(w, h, 12);
      ASSERT_EQ(Mirror32s(p.first, p.step, w, h, axis), kPrimOk);
      ExpectMirrored(p, axis);
    }
  }
}

TEST(Mirror32s, TwiceGivesTheOriginalBack) {
  for (int32_t axis : {kMirrorTopBottom, kMirrorLeftRight, kMirrorBoth}) {
    Picture p(9, 7, 4);
    const std::vector<unsigned char> before = p.storage;
    ASSERT_EQ(Mirror32s(p.first, p.step, 9, 7, axis), kPrimOk);
    ASSERT_NE(p.storage, before);
    ASSERT_EQ(Mirror32s(p.first, p.step, 9, 7, axis), kPrimOk);
    EXPECT_EQ(p.storage, before) << axis;
  }
}

TEST(Mirror32s, NegativeStepAndUnalignedRows) {
  // Bottom-up storage: the first row of the rectangle is the last one in memory.
  Picture p(6, 5, 8, 1);
  unsigned char* last = p.first + size_t(p.step) * 4;
  ASSERT_EQ(Mirror32s(last, -p.step, 6, 5, kMirrorBoth), kPrimOk);
  ExpectMirrored(p, kMirrorBoth);
  Picture q(6, 5, 3, 3);
  ASSERT_EQ(Mirror32s(q.first + size_t(q.step) * 4, -q.step, 6, 5, kMirrorTopBottom), kPrimOk);
  ExpectMirrored(q, kMirrorTopBottom);
}

TEST(Copy8u, CopiesAndRefusesEmptyOrNull) {
  const std::vector<uint8_t> src{1, 2, 3, 4, 5, 6, 7};
  std::vector<uint8_t> dst(8, 0);
  EXPECT_EQ(Copy8u(nullptr, dst.data(), 0), kPrimNullPointer);
  EXPECT_EQ(Copy8u(src.data(), nullptr, 7), kPrimNullPointer);
  EXPECT_EQ(Copy8u(src.data(), dst.data(), 0), kPrimSizeTooSmall);
  EXPECT_EQ(Copy8u(src.data(), dst.data(), -3), kPrimSizeTooSmall);
  EXPECT_EQ(dst, std::vector<uint8_t>(8, 0));
  ASSERT_EQ(Copy8u(src.data(), dst.data(), 7), kPrimOk);
  EXPECT_EQ(dst, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 0}));
}

}  // namespace
