// The 4:2:2 pack against a float32 evaluation of the HDYC program over every input, and every SIMD row
// kernel against the plain one, bit for bit, on odd lengths and on rows that end at a guard page.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "platform/guarded_memory.h"
#include "primitives/pixel_rows.h"
#include "primitives/primitives.h"

namespace {

// ---- the program in float32, as the GPU runs it: channel bytes read as c / 255, every product and sum
// rounded to float on its own, left to right; the result saturated and stored as round(x * 255).

float Unorm(int c) { return float(c) / 255.0f; }

int StoreUnorm(float v) {
  v = v < 0.0f ? 0.0f : v > 1.0f ? 1.0f : v;
  return int(std::floor(double(v * 255.0f) + 0.5));
}

float LumaPartRG(int r, int g) { return 0.257f * Unorm(r) + 0.504f * Unorm(g); }
int LumaF(float partRG, int b) { return StoreUnorm(partRG + 0.098f * Unorm(b) + 0.0625f); }
float Mean(int c1, int c2) { return (Unorm(c1) + Unorm(c2)) * 0.5f; }

uint32_t g_seed = 7;
uint8_t NextByte() {
  g_seed = g_seed * 1664525u + 1013904223u;
  return uint8_t(g_seed >> 24);
}

// All 2^24 colours through the library's kernels (whatever the processor runs), luma against float32.
TEST(PixelPack, LumaEqualsTheFloatProgramForEveryColour) {
  std::vector<uint8_t> row(256 * 4), out(256 * 2);
  int64_t differences = 0;
  for (int r = 0; r < 256; ++r) {
    for (int g = 0; g < 256; ++g) {
      for (int b = 0; b < 256; ++b) {
        row[4 * b] = uint8_t(b), row[4 * b + 1] = uint8_t(g), row[4 * b + 2] = uint8_t(r), row[4 * b + 3] = 0;
      }
      PixelRowToYuv422(row.data(), out.data(), 256, kYuv422CbYCrY);
      const float part = LumaPartRG(r, g);
      for (int b = 0; b < 256; ++b) differences += out[2 * b + 1] != LumaF(part, b);
    }
  }
  EXPECT_EQ(differences, 0);
}

// Chroma depends on the three channel sums of a pair, 511^3 of them. Wherever the exact value lies
// between two rounding points the kernel must equal float32. Where it lies exactly halfway, float32's
// own rounding noise decides (it even depends on which two pixels make the sum), and the kernel rounds
// up; those may differ by one, and only those.
// The unoptimised (sanitizer) build takes every eighth red sum: it is there for memory errors, and its
// kernels run slowly; the optimised builds go through all of them.
#if defined(NDEBUG)
constexpr int kRedSumStep = 1;
#else
constexpr int kRedSumStep = 8;
#endif

TEST(PixelPack, ChromaEqualsTheFloatProgramForEveryPairSum) {
  constexpr int kSums = 511;
  std::vector<uint8_t> first(kSums * 4), second(kSums * 4), out(kSums * 4);
  int64_t halfway = 0, halfwayDiffering = 0, otherDiffering = 0;
  for (int sr = 0; sr < kSums; sr += kRedSumStep) {
    for (int sg = 0; sg < kSums; ++sg) {
      for (int sb = 0; sb < kSums; ++sb) {
        uint8_t* a = &first[size_t(4 * sb)];
        uint8_t* b = &second[size_t(4 * sb)];
        a[0] = uint8_t((sb + 1) / 2), b[0] = uint8_t(sb / 2);
        a[1] = uint8_t((sg + 1) / 2), b[1] = uint8_t(sg / 2);
        a[2] = uint8_t((sr + 1) / 2), b[2] = uint8_t(sr / 2);
      }
      PixelPairsToYuv422(first.data(), second.data(), out.data(), kSums, kYuv422CbYCrY);
      const float mr = Mean((sr + 1) / 2, sr / 2), mg = Mean((sg + 1) / 2, sg / 2);
      const float cbPart = -0.148f * mr - 0.291f * mg, crPart = 0.439f * mr - 0.368f * mg;
      // 2000 times the exact value times 255, kept modulo 2000 as sb grows: halfway at 1000.
      int32_t cbRest = ((-148 * sr - 291 * sg + 255000) % 2000 + 2000) % 2000;
      int32_t crRest = ((439 * sr - 368 * sg + 255000) % 2000 + 2000) % 2000;
      for (int sb = 0; sb < kSums; ++sb, cbRest = (cbRest + 439) % 2000, crRest = (crRest + 2000 - 71) % 2000) {
        const float mb = Mean((sb + 1) / 2, sb / 2);
        const int want[2] = {StoreUnorm(cbPart + 0.439f * mb + 0.5f), StoreUnorm(crPart - 0.071f * mb + 0.5f)};
        const int got[2] = {out[size_t(4 * sb)], out[size_t(4 * sb + 2)]};
        const bool half[2] = {cbRest == 1000, crRest == 1000};
        for (int c = 0; c < 2; ++c) {
          if (got[c] == want[c]) {
            halfway += half[c];
          } else if (half[c] && got[c] == want[c] + 1) {
            ++halfway;
            ++halfwayDiffering;
          } else {
            ++otherDiffering;
          }
        }
      }
    }
  }
  EXPECT_EQ(otherDiffering, 0);
  EXPECT_LT(halfway, int64_t{kSums} * kSums * kSums * 2 / 1000 / kRedSumStep);  // about one in 2000
  RecordProperty("halfway", std::to_string(halfway));
  RecordProperty("halfway_differing_by_one", std::to_string(halfwayDiffering));
}

// ---- SIMD against plain

const int32_t kWidths[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 23, 31, 32, 33, 47, 63, 64, 65, 255, 1001};

// Runs `body` on the plain path and on whatever the library picks, and expects the same bytes.
template <typename Body>
void ExpectSameOnBothPaths(Body body, const char* what, int32_t n) {
  std::vector<uint8_t> results[2];
  const int32_t before = PrimitivesForceScalar(1);
  results[0] = body();
  PrimitivesForceScalar(0);
  results[1] = body();
  PrimitivesForceScalar(before);
  EXPECT_EQ(results[0], results[1]) << what << " n=" << n;
}

void Fill(const cvplat::GuardedArray<uint8_t>& a) {
  for (size_t i = 0; i < a.size(); ++i) a[i] = NextByte();
}

std::vector<uint8_t> Bytes(const cvplat::GuardedArray<uint8_t>& a) { return {a.data(), a.data() + a.size()}; }

TEST(PixelRowsMatch, PackAtEveryWidthAndOrder) {
  for (int32_t n : kWidths) {
    cvplat::GuardedArray<uint8_t> src(size_t(n) * 4), first(size_t(n) * 4), second(size_t(n) * 4);
    cvplat::GuardedArray<uint8_t> row(size_t(n + 1) / 2 * 4), pairs(size_t(n) * 4);
    ASSERT_TRUE(src.data() && first.data() && second.data() && row.data() && pairs.data());
    Fill(src), Fill(first), Fill(second);
    for (int32_t order : {kYuv422CbYCrY, kYuv422YCbYCr}) {
      ExpectSameOnBothPaths([&] { PixelRowToYuv422(src.data(), row.data(), n, order); return Bytes(row); }, "row", n);
      ExpectSameOnBothPaths(
          [&] { PixelPairsToYuv422(first.data(), second.data(), pairs.data(), n, order); return Bytes(pairs); },
          "pairs", n);
    }
  }
}

TEST(PixelRowsMatch, OpaqueBlendAndLinearAtEveryWidth) {
  for (int32_t n : kWidths) {
    cvplat::GuardedArray<uint8_t> a(size_t(n) * 4), b(size_t(n) * 4), out(size_t(n) * 4);
    ASSERT_TRUE(a.data() && b.data() && out.data());
    Fill(a), Fill(b);
    ExpectSameOnBothPaths([&] { PixelRowOpaque32(a.data(), out.data(), n); return Bytes(out); }, "opaque", n);
    ExpectSameOnBothPaths([&] { PixelRowHalve(a.data(), out.data(), n / 2); return Bytes(out); }, "halve", n);
    for (int32_t weight : {0, 1, 77, 128, 255, 256})
      ExpectSameOnBothPaths([&] { PixelRowBlend(a.data(), b.data(), out.data(), n * 4, weight); return Bytes(out); },
                            "blend", n);
    // Pairs anywhere in a source row of n + 1 pixels, and pairs stepping through it as a resize does
    // (with some weights of 256, which the byte-weight kernels can't take); the last pair ends at the
    // guard page.
    cvplat::GuardedArray<uint8_t> wide(size_t(n + 1) * 4);
    Fill(wide);
    std::vector<int32_t> x(static_cast<size_t>(n));
    std::vector<uint32_t> w(static_cast<size_t>(n));
    for (int32_t layout = 0; layout < 3; ++layout) {
      for (int32_t i = 0; i < n; ++i) {
        const int32_t stepping = layout == 1 ? i * 3 / 2 : i * 3 / 4;  // 1.5 and 0.75 source pixels apart
        x[size_t(i)] = layout == 0 ? int32_t(NextByte() * 256 + NextByte()) % n : std::min(stepping, n - 1);
        const uint32_t f = layout == 2 && i % 11 == 5 ? (i % 2 ? 256u : 0u) : 1u + NextByte() % 255u;
        w[size_t(i)] = (256 - f) | f << 16;
      }
      x[size_t(n - 1)] = n - 1;
      ExpectSameOnBothPaths(
          [&] { PixelRowLinear(wide.data(), n + 1, out.data(), n, x.data(), w.data()); return Bytes(out); }, "linear", n);
    }
  }
}

}  // namespace
