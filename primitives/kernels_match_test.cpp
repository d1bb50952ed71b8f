// The SSE2 kernels against the plain ones, bit for bit, on odd lengths and on buffers that end at a
// guard page, so that a kernel reading or writing past the end faults.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "platform/guarded_memory.h"
#include "primitives/primitives.h"

namespace {

const int32_t kLengths[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 63, 255, 1001, 4097};

// Runs `body` once on the plain path and once on whatever the library picks, restoring the switch.
template <typename Body>
void BothPaths(Body body) {
  const int32_t before = PrimitivesForceScalar(1);
  EXPECT_EQ(PrimitivesLevel(), 0);
  body(0);
  PrimitivesForceScalar(0);
  body(1);
  PrimitivesForceScalar(before);
}

uint32_t g_seed = 1;
uint32_t Next() { return g_seed = g_seed * 1664525u + 1013904223u; }

// Floats that probe each branch: ties, saturation, NaN, infinities, tiny and ordinary values.
float Probe(size_t i) {
  static const float special[] = {0.5f / 32768, 1.5f / 32768, -2.5f / 32768, 1.0f, -1.0f, 0.99999f, -1.00002f,
                                  std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                                  -std::numeric_limits<float>::infinity(), 1e-40f, -0.0f, 3e9f, -3e9f};
  if (i % 3 == 0) return special[(i / 3) % (sizeof(special) / sizeof(special[0]))];
  return float(int32_t(Next())) / 2147483648.0f * 1.2f;
}

TEST(KernelsMatch, SimdIsUsedUnlessForcedOff) {
  const int32_t before = PrimitivesForceScalar(1);
  EXPECT_EQ(PrimitivesLevel(), 0);
  EXPECT_EQ(PrimitivesForceScalar(0), 1);
#if defined(__SSE2__)
  EXPECT_EQ(PrimitivesLevel(), 1);
#endif
  PrimitivesForceScalar(before);
}

TEST(KernelsMatch, Float32ToInt16AtEveryLengthAndRoundingMode) {
  for (int32_t n : kLengths) {
    cvplat::GuardedArray<float> src{size_t(n)};
    cvplat::GuardedArray<int16_t> dst{size_t(n)};
    ASSERT_TRUE(src.data() && dst.data());
    for (int32_t i = 0; i < n; ++i) src[size_t(i)] = Probe(size_t(i));
    for (int32_t scale : {-15, 0, -20, 3, -130, 127}) {
      std::vector<int16_t> results[2];
      for (int mode : {FE_TONEAREST, FE_TOWARDZERO, FE_UPWARD}) {
        BothPaths([&](int path) {
          std::fesetround(mode);
          ASSERT_EQ(Float32ToInt16(src.data(), dst.data(), n, kRoundNearestEven, scale), kPrimOk);
          std::fesetround(FE_TONEAREST);
          std::vector<int16_t> got(dst.data(), dst.data() + n);
          if (results[path].empty()) results[path] = got;
          ASSERT_EQ(got, results[path]) << "the host's rounding mode leaked in, path " << path;
        });
      }
      ASSERT_EQ(results[1], results[0]) << "n=" << n << " scale=" << scale;
    }
  }
}

TEST(KernelsMatch, Int16ToFloatPlanesAtEveryLengthAndChannelCount) {
  for (int32_t channels : {1, 2, 3}) {
    for (int32_t n : kLengths) {
      cvplat::GuardedArray<int16_t> src(size_t(n) * channels);
      for (size_t i = 0; i < src.size(); ++i) src[i] = i % 5 == 0 ? int16_t(i % 2 ? -32768 : 32767) : int16_t(Next());
      std::vector<std::unique_ptr<cvplat::GuardedArray<float>>> planes;
      std::vector<float*> ptrs;
      for (int32_t c = 0; c < channels; ++c) {
        planes.push_back(std::make_unique<cvplat::GuardedArray<float>>(size_t(n)));
        ptrs.push_back(planes.back()->data());
      }
      std::vector<float> results[2];
      BothPaths([&](int path) {
        ASSERT_EQ(Int16ToFloatPlanes(src.data(), ptrs.data(), channels, n), kPrimOk);
        for (float* p : ptrs) results[path].insert(results[path].end(), p, p + n);
      });
      ASSERT_EQ(std::memcmp(results[0].data(), results[1].data(), results[0].size() * sizeof(float)), 0)
          << "channels=" << channels << " n=" << n;
    }
  }
}

}  // namespace
