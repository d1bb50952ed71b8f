#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "primitives/primitives.h"

namespace {

std::vector<int16_t> ToInt16(const std::vector<float>& x, int32_t rounding, int32_t scale) {
  std::vector<int16_t> y(x.size(), 0x5555);
  EXPECT_EQ(Float32ToInt16(x.data(), y.data(), int32_t(x.size()), rounding, scale), kPrimOk);
  return y;
}

std::vector<int16_t> ShiftTo16(const std::vector<int32_t>& x, int32_t scale) {
  std::vector<int16_t> y(x.size(), 0x5555);
  EXPECT_EQ(Int32ToInt16(x.data(), y.data(), int32_t(x.size()), scale), kPrimOk);
  return y;
}

TEST(SampleEntries, NullPointersComeBeforeSizes) {
  float f[2] = {};
  int16_t s[2] = {};
  int32_t i[2] = {};
  uint8_t b[6] = {};
  EXPECT_EQ(Float32ToInt16(nullptr, s, 0, 1, 0), kPrimNullPointer);
  EXPECT_EQ(Float32ToInt16(f, s, 0, 1, 0), kPrimSizeTooSmall);
  EXPECT_EQ(Float32ToInt16(f, s, 2, 7, 0), kPrimOutOfRange);
  EXPECT_EQ(Int16ToFloat32(s, nullptr, -1, 15), kPrimNullPointer);
  EXPECT_EQ(Int16ToFloat32(s, f, -1, 15), kPrimSizeTooSmall);
  EXPECT_EQ(Int32ToFloat32(nullptr, f, 2, 31), kPrimNullPointer);
  EXPECT_EQ(Int32ToFloat32(i, f, 0, 31), kPrimSizeTooSmall);
  EXPECT_EQ(Int32ToInt16(i, nullptr, 2, 8), kPrimNullPointer);
  EXPECT_EQ(Int32ToInt16(i, s, 0, 8), kPrimSizeTooSmall);
  EXPECT_EQ(Int24ToInt32(nullptr, i, 2), kPrimNullPointer);
  EXPECT_EQ(Int24ToInt32(b, i, 0), kPrimSizeTooSmall);
  EXPECT_EQ(AddInt16(nullptr, s, 2), kPrimNullPointer);
  EXPECT_EQ(AddInt16(s, s, 0), kPrimSizeTooSmall);
  EXPECT_EQ(AddFloat32(f, nullptr, 2), kPrimNullPointer);
  EXPECT_EQ(AddFloat32(f, f, 0), kPrimSizeTooSmall);
}

TEST(Float32ToInt16, RoundsHalvesToEvenAndSaturates) {
  EXPECT_EQ(ToInt16({0.5f, 1.5f, 2.5f, -0.5f, -1.5f, -2.5f, 2.4999998f, 2.5000002f}, kRoundNearestEven, 0),
            (std::vector<int16_t>{0, 2, 2, 0, -2, -2, 2, 3}));
  EXPECT_EQ(ToInt16({32766.5f, 32767.4f, 40000.0f, -32767.5f, -32768.6f, -1e30f}, kRoundNearestEven, 0),
            (std::vector<int16_t>{32766, 32767, 32767, -32768, -32768, -32768}));
  const float inf = std::numeric_limits<float>::infinity();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(ToInt16({inf, -inf, nan, -nan}, kRoundNearestEven, 0), (std::vector<int16_t>{32767, -32768, 0, 0}));
}

TEST(Float32ToInt16, ScaleIsAPowerOfTwoAndOtherRoundings) {
  // The system's setting: x times 2^15.
  EXPECT_EQ(ToInt16({1.0f, -1.0f, 0.5f, 0.5f / 32768.0f, 1.5f / 32768.0f}, kRoundNearestEven, -15),
            (std::vector<int16_t>{32767, -32768, 16384, 0, 2}));
  EXPECT_EQ(ToInt16({5.0f, 6.0f, -6.0f}, kRoundNearestEven, 2), (std::vector<int16_t>{1, 2, -2}));
  EXPECT_EQ(ToInt16({1e-30f, -1e30f}, kRoundNearestEven, 1000), (std::vector<int16_t>{0, 0}));
  EXPECT_EQ(ToInt16({1e-30f, -1e-30f}, kRoundNearestEven, -1000), (std::vector<int16_t>{32767, -32768}));
  EXPECT_EQ(ToInt16({2.5f, -2.5f, 2.7f, -2.7f}, kRoundTowardZero, 0), (std::vector<int16_t>{2, -2, 2, -2}));
  EXPECT_EQ(ToInt16({2.5f, -2.5f, 1.5f, -0.5f}, kRoundNearestAway, 0), (std::vector<int16_t>{3, -3, 2, -1}));
}

TEST(IntToFloat, PowerOfTwoScalesWithTheirClamps) {
  const std::vector<int16_t> s{-32768, -1, 0, 1, 32767};
  std::vector<float> y(s.size());
  ASSERT_EQ(Int16ToFloat32(s.data(), y.data(), 5, 15), kPrimOk);
  EXPECT_EQ(y, (std::vector<float>{-1.0f, -1.0f / 32768, 0.0f, 1.0f / 32768, 32767.0f / 32768}));
  ASSERT_EQ(Int16ToFloat32(s.data(), y.data(), 5, 500), kPrimOk);  // as 126
  EXPECT_EQ(y[3], std::ldexp(1.0f, -126));
  ASSERT_EQ(Int16ToFloat32(s.data(), y.data(), 5, -500), kPrimOk);  // as -112
  EXPECT_EQ(y[3], std::ldexp(1.0f, 112));
  EXPECT_EQ(y[0], -std::ldexp(1.0f, 127));

  const std::vector<int32_t> i{INT32_MIN, -3, 0, 16777217, INT32_MAX};
  std::vector<float> z(i.size());
  ASSERT_EQ(Int32ToFloat32(i.data(), z.data(), 5, 31), kPrimOk);
  EXPECT_EQ(z[0], -1.0f);
  EXPECT_EQ(z[1], -3.0f * std::ldexp(1.0f, -31));
  EXPECT_EQ(z[3], 16777216.0f * std::ldexp(1.0f, -31));  // rounded to 24 bits, ties to even
  EXPECT_EQ(z[4], 1.0f);
  ASSERT_EQ(Int32ToFloat32(i.data(), z.data(), 5, -200), kPrimOk);  // as -96
  EXPECT_EQ(z[1], -3.0f * std::ldexp(1.0f, 96));
  ASSERT_EQ(Int32ToFloat32(i.data(), z.data(), 5, 200), kPrimOk);  // as 126
  EXPECT_EQ(z[1], -3.0f * std::ldexp(1.0f, -126));
}

TEST(Int32ToInt16, ShiftsRoundTiesToEvenAndSaturate) {
  EXPECT_EQ(ShiftTo16({5, 7, -5, -7, 6, -6, 3}, 1), (std::vector<int16_t>{2, 4, -2, -4, 3, -3, 2}));
  // The system's 24-in-32 and 32-bit cases.
  EXPECT_EQ(ShiftTo16({0x180, 0x280, 0x281, -0x180, 0x7FFFFF, -0x800000}, 8),
            (std::vector<int16_t>{2, 2, 3, -2, 32767, -32768}));
  EXPECT_EQ(ShiftTo16({INT32_MAX, INT32_MIN, 0x8000, 0x18000, 0x7FFF7FFF}, 16),
            (std::vector<int16_t>{32767, -32768, 0, 2, 32767}));
  EXPECT_EQ(ShiftTo16({40000, -40000, 123}, 0), (std::vector<int16_t>{32767, -32768, 123}));
  EXPECT_EQ(ShiftTo16({3, -3, 20000, 0, 1}, -2), (std::vector<int16_t>{12, -12, 32767, 0, 4}));
  EXPECT_EQ(ShiftTo16({1, -1, 0}, -40), (std::vector<int16_t>{32767, -32768, 0}));
  EXPECT_EQ(ShiftTo16({INT32_MIN, INT32_MAX}, 31), (std::vector<int16_t>{-1, 1}));
  EXPECT_EQ(ShiftTo16({INT32_MIN, INT32_MAX}, 32), (std::vector<int16_t>{0, 0}));
}

TEST(Int24ToInt32, SignExtendsLittleEndianTriples) {
  const std::vector<uint8_t> src{0xFF, 0xFF, 0x7F, 0x00, 0x00, 0x80, 0xFF, 0xFF, 0xFF, 0x01, 0x02, 0x03};
  std::vector<int32_t> y(4);
  ASSERT_EQ(Int24ToInt32(src.data(), y.data(), 4), kPrimOk);
  EXPECT_EQ(y, (std::vector<int32_t>{8388607, -8388608, -1, 0x030201}));
}

TEST(FloatPlanes, Int16FramesSpreadOverPlanesAndSpanMinusOneToOne) {
  const std::vector<int16_t> src{-32768, 0, 32767, 1, -1, 100};  // two frames of three channels
  std::vector<float> a(2), b(2), c(2);
  float* planes[3] = {a.data(), b.data(), c.data()};
  ASSERT_EQ(Int16ToFloatPlanes(src.data(), planes, 3, 2), kPrimOk);
  EXPECT_NEAR(a[0], -1.0f, 1e-7);
  EXPECT_NEAR(c[0], 1.0f, 1e-7);
  EXPECT_FLOAT_EQ(b[0], 1.5259022e-5f);
  EXPECT_FLOAT_EQ(a[1], (1 + 0.5) / 32767.5);
  EXPECT_FLOAT_EQ(b[1], (-1 + 0.5) / 32767.5);
  EXPECT_FLOAT_EQ(c[1], (100 + 0.5) / 32767.5);

  float* withHole[3] = {a.data(), nullptr, c.data()};
  EXPECT_EQ(Int16ToFloatPlanes(src.data(), withHole, 3, 0), kPrimNullPointer);
  EXPECT_EQ(Int16ToFloatPlanes(src.data(), nullptr, 3, 2), kPrimNullPointer);
  EXPECT_EQ(Int16ToFloatPlanes(src.data(), planes, 0, 2), kPrimSizeTooSmall);
  EXPECT_EQ(Int16ToFloatPlanes(src.data(), planes, 3, 0), kPrimSizeTooSmall);
}

TEST(FloatPlanes, Int24FramesSpanMinusOneToOne) {
  const std::vector<uint8_t> src{0x00, 0x00, 0x80, 0xFF, 0xFF, 0x7F, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF};
  std::vector<float> l(2), r(2);
  float* planes[2] = {l.data(), r.data()};
  ASSERT_EQ(Int24ToFloatPlanes(src.data(), planes, 2, 2), kPrimOk);
  EXPECT_NEAR(l[0], -1.0f, 1e-7);
  EXPECT_NEAR(r[0], 1.0f, 1e-7);
  EXPECT_FLOAT_EQ(l[1], 0.5f / 8388607.5f);
  EXPECT_FLOAT_EQ(r[1], -0.5f / 8388607.5f);
  EXPECT_EQ(Int24ToFloatPlanes(src.data(), planes, 2, 0), kPrimSizeTooSmall);
}

TEST(Adders, SaturateIntegersAndAddFloats) {
  const std::vector<int16_t> a{30000, -30000, 5, -32768};
  std::vector<int16_t> b{30000, -30000, -7, -1};
  ASSERT_EQ(AddInt16(a.data(), b.data(), 4), kPrimOk);
  EXPECT_EQ(b, (std::vector<int16_t>{32767, -32768, -2, -32768}));
  const std::vector<float> x{0.25f, -1.0f, 3.0f};
  std::vector<float> y{0.5f, 1.0f, 1e30f};
  ASSERT_EQ(AddFloat32(x.data(), y.data(), 3), kPrimOk);
  EXPECT_EQ(y, (std::vector<float>{0.75f, 0.0f, 1e30f}));
}

}  // namespace
