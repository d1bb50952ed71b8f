#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "platform/guarded_memory.h"
#include "primitives/primitives.h"
#include "primitives/resampler_state.h"

namespace {

constexpr float kRollOff = 0.95f;
constexpr float kAlpha = 9.0f;
constexpr int32_t kHint = 2;
constexpr float kNorm = 0.98f;

// A state that frees itself.
struct Resampler {
  ResamplerState* s = nullptr;
  int32_t status;
  Resampler(int32_t in, int32_t out, int32_t length = 64, float rollOff = kRollOff)
      : status(ResamplerInit32(&s, in, out, length, rollOff, kAlpha, kHint)) {}
  ~Resampler() {
    if (s) ResamplerFree32(s);
  }
};

TEST(ResamplerInit, RefusesBadArgumentsInOrder) {
  ResamplerState* s = reinterpret_cast<ResamplerState*>(0x1);
  EXPECT_EQ(ResamplerInit32(nullptr, 0, 0, 0, 0.0f, 0.0f, kHint), kPrimNullPointer);
  EXPECT_EQ(ResamplerInit32(&s, 0, 48000, 64, 0.0f, kAlpha, kHint), kPrimSizeTooSmall);
  EXPECT_EQ(ResamplerInit32(&s, 44100, 0, 64, kRollOff, kAlpha, kHint), kPrimSizeTooSmall);
  EXPECT_EQ(ResamplerInit16(&s, 44100, 48000, 0, kRollOff, kAlpha, kHint), kPrimSizeTooSmall);
  EXPECT_EQ(ResamplerInit32(&s, 44100, 48000, 64, 0.0f, kAlpha, kHint), kPrimOutOfRange);
  EXPECT_EQ(ResamplerInit32(&s, 44100, 48000, 64, 1.01f, kAlpha, kHint), kPrimOutOfRange);
  EXPECT_EQ(ResamplerInit32(&s, 44100, 48000, 64, std::numeric_limits<float>::quiet_NaN(), kAlpha, kHint),
            kPrimOutOfRange);
  EXPECT_EQ(ResamplerInit32(&s, 44100, 48000, 64, kRollOff, 0.99f, kHint), kPrimOutOfRange);
  // Coprime rates with a long window: the rows alone would pass 2 GB.
  EXPECT_EQ(ResamplerInit32(&s, 1, 2147483647, 64, kRollOff, kAlpha, kHint), kPrimOutOfRange);
  EXPECT_EQ(ResamplerInit32(&s, 44100, 44100 * 48, 1 << 24, kRollOff, kAlpha, kHint), kPrimOutOfRange);
  EXPECT_EQ(s, reinterpret_cast<ResamplerState*>(0x1)) << "a failed init wrote its out argument";
  EXPECT_EQ(ResamplerFree32(nullptr), kPrimNullPointer);
  EXPECT_EQ(ResamplerFree16(nullptr), kPrimNullPointer);
}

TEST(ResamplerInit, ReducesTheRatesByTheirCommonFactors) {
  struct Case {
    int32_t in, out, m, l;
  } cases[] = {{44100, 48000, 147, 160}, {48000, 44100, 160, 147}, {8000, 8000, 1, 1},
               {32000, 48000, 2, 3},     {7919, 7907, 7919, 7907},  {96000, 22050, 640, 147}};
  for (const Case& c : cases) {
    Resampler r(c.in, c.out);
    ASSERT_EQ(r.status, kPrimOk);
    EXPECT_EQ(r.s->inStep, c.m) << c.in << "->" << c.out;
    EXPECT_EQ(r.s->outStep, c.l) << c.in << "->" << c.out;
    EXPECT_EQ(r.s->gain, 1.0f);
    EXPECT_EQ(r.s->flags, cvprim::kCoefficientsFloat);
  }
  Resampler r(44100, 48000, 61);  // rounded up to a multiple of 4
  EXPECT_EQ(r.s->taps, 64);
  EXPECT_EQ(r.s->half, 32);
  ResamplerState* s16 = nullptr;
  ASSERT_EQ(ResamplerInit16(&s16, 44100, 48000, 64, kRollOff, kAlpha, 0), kPrimOk);
  EXPECT_EQ(s16->inStep, 147);
  EXPECT_EQ(ResamplerFree16(s16), kPrimOk);
}

TEST(ResamplerDesign, BesselSeriesAndPrototypeSize) {
  EXPECT_EQ(cvprim::BesselI0(0.0), 1.0);
  EXPECT_NEAR(cvprim::BesselI0(1.0), 1.2660658777520082, 1e-15);
  EXPECT_NEAR(cvprim::BesselI0(9.0), 1093.5883545113747, 1e-9);
  EXPECT_NEAR(cvprim::BesselI0(-3.0), 4.880792585865024, 1e-13);
  EXPECT_EQ(cvprim::PrototypeLastIndex(64, 160, 147), 32 * 160 + 1);
  EXPECT_EQ(cvprim::PrototypeLastIndex(64, 147, 160), 32 * 147 + 1);  // 58.8 isn't exact in float
  EXPECT_EQ(cvprim::PrototypeLastIndex(4, 1, 1), 3);
}

// Row p, tap t weighs input sample s at distance |(t - H + 1) L - p| / L from the output position.
TEST(ResamplerDesign, PhaseRowsMirrorEachOtherAndPassDcAtUnitGain) {
  for (auto [in, out] : {std::pair{44100, 48000}, std::pair{48000, 44100}, std::pair{2, 3}, std::pair{5, 1}}) {
    Resampler r(in, out);
    ASSERT_EQ(r.status, kPrimOk);
    const int32_t l = r.s->outStep, taps = r.s->taps;
    const float* row0 = r.s->phases[0];
    for (int32_t t = 0; t <= taps; ++t) ASSERT_EQ(row0[t], row0[taps - t]) << t;
    EXPECT_GT(row0[taps / 2], row0[taps / 2 - 1]);
    for (int32_t p = 1; p < l; ++p)
      for (int32_t t = 0; t < taps; ++t) ASSERT_EQ(r.s->phases[p][t], r.s->phases[l - p][taps - 1 - t]) << p << "," << t;
    // Every phase passes a constant with nearly the gain that the rate ratio gives it.
    const double dc = std::min(1.0, double(r.s->outStep) / r.s->inStep);
    for (int32_t p = 0; p < l; ++p) {
      const double sum = std::accumulate(r.s->phases[p], r.s->phases[p] + taps + (p == 0), 0.0);
      ASSERT_NEAR(sum * dc, 1.0, 2e-3) << in << "->" << out << " phase " << p;
    }
    if (r.s->outStep >= r.s->inStep) {
      EXPECT_NEAR(std::accumulate(row0, row0 + taps + 1, 0.0), 1.0, 1e-6) << "upward, row 0 is normalised exactly";
    }
  }
}

TEST(ResamplerDesign, AdvanceFollowsTheReadPositionOfEveryPhase) {
  for (auto [in, out] : {std::pair{44100, 48000}, std::pair{48000, 44100}, std::pair{2, 3}, std::pair{3, 1}}) {
    Resampler r(in, out);
    ASSERT_EQ(r.status, kPrimOk);
    const int64_t l = r.s->outStep, m = r.s->inStep;
    auto readPos = [&](int64_t n) { return (n + l - 1) / l; };  // ceil(n / L), without the -H
    int64_t sum = 0;
    for (int64_t n = 0; n < l * m; n += m) {
      ASSERT_EQ(readPos(n + m) - readPos(n), r.s->advance[n % l]) << in << "->" << out << " n=" << n;
      sum += r.s->advance[n % l];
    }
    EXPECT_EQ(sum, m);  // one cycle of L outputs moves M input samples
  }
}

TEST(Resample, RefusesBadArguments) {
  Resampler r(44100, 48000);
  std::vector<float> in(200, 0.0f), out(300);
  double time = 32;
  int32_t count = -1;
  EXPECT_EQ(Resample32(nullptr, in.data(), 100, out.data(), kNorm, &time, &count), kPrimNullPointer);
  EXPECT_EQ(Resample32(r.s, nullptr, 100, out.data(), kNorm, &time, &count), kPrimNullPointer);
  EXPECT_EQ(Resample32(r.s, in.data(), 100, nullptr, kNorm, &time, &count), kPrimNullPointer);
  EXPECT_EQ(Resample32(r.s, in.data(), 100, out.data(), kNorm, nullptr, &count), kPrimNullPointer);
  EXPECT_EQ(Resample32(r.s, in.data(), 0, out.data(), kNorm, nullptr, &count), kPrimNullPointer);
  EXPECT_EQ(Resample32(r.s, in.data(), 100, out.data(), kNorm, &time, nullptr), kPrimNullPointer);
  EXPECT_EQ(Resample32(r.s, in.data(), 0, out.data(), kNorm, &time, &count), kPrimSizeTooSmall);
  std::vector<int16_t> in16(200), out16(300);
  EXPECT_EQ(Resample16(r.s, in16.data(), -1, out16.data(), kNorm, &time, &count), kPrimSizeTooSmall);
  time = -1.0;
  EXPECT_EQ(Resample32(r.s, in.data(), 100, out.data(), kNorm, &time, &count), kPrimOutOfRange);
  time = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(Resample32(r.s, in.data(), 100, out.data(), kNorm, &time, &count), kPrimOutOfRange);
  EXPECT_EQ(count, -1);
}

// Equal rates and a roll-off of 1 make row 0 a single 1 at the centre: a delay-free copy times `norm`.
TEST(Resample, EqualRatesWithFullBandPassCopyFromTheTimeOn) {
  Resampler r(48000, 48000, 64, 1.0f);
  ASSERT_EQ(r.status, kPrimOk);
  std::vector<float> in(200);
  for (size_t i = 0; i < in.size(); ++i) in[i] = float(i % 17) - 8.25f;
  std::vector<float> out(200, 0.0f);
  double time = 32.0;
  int32_t count = 0;
  ASSERT_EQ(Resample32(r.s, in.data(), 100, out.data(), 1.0f, &time, &count), kPrimOk);
  ASSERT_EQ(count, 100);
  EXPECT_EQ(time, 132.0);
  for (int32_t k = 0; k < count; ++k) ASSERT_NEAR(out[k], in[32 + k], 1e-6) << k;
}

TEST(Resample16, RoundsHalvesAwayFromZeroAndSaturates) {
  ResamplerState* s = nullptr;
  ASSERT_EQ(ResamplerInit16(&s, 8000, 8000, 8, 1.0f, kAlpha, kHint), kPrimOk);
  std::vector<int16_t> in(4 + 8 + 4, 0);
  const int16_t values[8] = {3, -3, 5, -5, 1, -1, 20000, -20000};
  std::copy(values, values + 8, in.begin() + 4);
  std::vector<int16_t> out(8, 0x5555);
  double time = 4.0;
  int32_t count = 0;
  ASSERT_EQ(Resample16(s, in.data(), 8, out.data(), 0.5f, &time, &count), kPrimOk);
  ASSERT_EQ(count, 8);
  EXPECT_EQ(out, (std::vector<int16_t>{2, -2, 3, -3, 1, -1, 10000, -10000}));
  time = 4.0;
  ASSERT_EQ(Resample16(s, in.data(), 8, out.data(), 2.0f, &time, &count), kPrimOk);
  EXPECT_EQ(out, (std::vector<int16_t>{6, -6, 10, -10, 2, -2, 32767, -32768}));
  EXPECT_EQ(ResamplerFree16(s), kPrimOk);
}

// One call over a block against a call that stops part way and one that goes on from the carried time.
TEST(Resample, TwoCallsWithTheCarriedTimeGiveTheSamplesOfOneCall) {
  for (auto [in, out] : {std::pair{44100, 48000}, std::pair{48000, 44100}, std::pair{2, 3}}) {
    Resampler r(in, out);
    ASSERT_EQ(r.status, kPrimOk);
    const int32_t h = r.s->half, total = 1000;
    std::vector<float> x(size_t(h + total + h + 1));
    for (size_t i = 0; i < x.size(); ++i) x[i] = float(std::sin(0.05 * double(i)) + 0.3 * std::sin(1.3 * double(i)));
    std::vector<float> whole(2000), parts(2000);
    double t1 = h;
    int32_t n1 = 0;
    ASSERT_EQ(Resample32(r.s, x.data(), total, whole.data(), kNorm, &t1, &n1), kPrimOk);

    for (int32_t first : {1, 333, 441, 990}) {
      double t2 = h;
      int32_t a = 0, b = 0;
      ASSERT_EQ(Resample32(r.s, x.data(), first, parts.data(), kNorm, &t2, &a), kPrimOk);
      const int32_t rest = h + total - int32_t(t2);
      ASSERT_GE(rest, 1);
      ASSERT_EQ(Resample32(r.s, x.data(), rest, parts.data() + a, kNorm, &t2, &b), kPrimOk);
      ASSERT_EQ(a + b, n1) << in << "->" << out << " split at " << first;
      // The time is rebuilt from the position of each call: it may differ in its last bits.
      EXPECT_NEAR(t2, t1, 1e-9);
      for (int32_t k = 0; k < n1; ++k) ASSERT_EQ(parts[k], whole[k]) << k;
    }
  }
}

// The last sample read is at t + length + H - 1: with t = H a block of length + 2H ends exactly there,
// right before a guard page.
TEST(Resample, ReadsNothingPastTheLookaheadOfTheBlock) {
  for (auto [in, out] : {std::pair{44100, 48000}, std::pair{48000, 44100}, std::pair{8000, 48000}, std::pair{3, 1}}) {
    Resampler r(in, out);
    ResamplerState* s16 = nullptr;
    ASSERT_EQ(ResamplerInit16(&s16, in, out, 64, kRollOff, kAlpha, kHint), kPrimOk);
    for (int32_t length : {1, 3, 7, 147, 441, 1001}) {
      cvplat::GuardedArray<float> src{size_t(length + 64)};
      cvplat::GuardedArray<int16_t> src16{size_t(length + 64)};
      ASSERT_TRUE(src.data() && src16.data());
      for (size_t i = 0; i < src.size(); ++i) {
        src[i] = 0.25f;
        src16[i] = 8000;
      }
      std::vector<float> dst(size_t(length) * 6 + 8);
      std::vector<int16_t> dst16(dst.size());
      double time = 32.0, time16 = 32.0;
      int32_t count = 0, count16 = 0;
      ASSERT_EQ(Resample32(r.s, src.data(), length, dst.data(), kNorm, &time, &count), kPrimOk);
      ASSERT_EQ(Resample16(s16, src16.data(), length, dst16.data(), kNorm, &time16, &count16), kPrimOk);
      EXPECT_EQ(count, count16);
      EXPECT_EQ(count, int32_t(std::ceil(double(length) * r.s->outStep / r.s->inStep))) << in << "->" << out;
      EXPECT_EQ(time, time16);
    }
    ResamplerFree16(s16);
  }
}

}  // namespace
