// The resampler as a signal processor: frequency, noise and gain of a sine after a rate change, and a
// stream of packets handled the way the audio buffers do it.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "primitives/primitives.h"
#include "primitives/sine_analysis.h"

namespace {

constexpr float kNorm = 0.98f;

struct Resampler {
  ResamplerState* s = nullptr;
  int32_t status;
  Resampler(int32_t in, int32_t out) : status(ResamplerInit32(&s, in, out, 64, 0.95f, 9.0f, 2)) {}
  ~Resampler() {
    if (s) ResamplerFree32(s);
  }
};

// Resamples a steady sine (it runs through the history on both sides too, so nothing starts or stops
// inside the window) and measures the output.
cvtest::SineFit SineThrough(int32_t inRate, int32_t outRate, double hz, double seconds, double* zeroCrossingHz) {
  Resampler r(inRate, outRate);
  EXPECT_EQ(r.status, kPrimOk);
  const int32_t half = 32;
  const int32_t length = int32_t(seconds * inRate);
  const std::vector<float> in = cvtest::MakeSine(hz / inRate, 0.5, size_t(length + 2 * half + 1));
  std::vector<float> out(size_t(double(length) * outRate / inRate) + 8);
  double time = half;
  int32_t count = 0;
  EXPECT_EQ(Resample32(r.s, in.data(), length, out.data(), kNorm, &time, &count), kPrimOk);
  out.resize(size_t(count));
  *zeroCrossingHz = cvtest::ZeroCrossingFrequency(out.data(), out.size()) * outRate;
  return cvtest::FitSine(out.data(), out.size(), hz / outRate);
}

// Bounds are the measured figures (x86-64, gcc and mingw-w64; the plain and SSE2 kernels agree bit for
// bit) less 3 dB, room for another libm's sin in the filter design. Measured with a 1 s, 1 kHz sine at
// half scale: 44100 -> 48000 104.5 dB, 48000 -> 44100 118.1 dB, 32000 -> 48000 110.4 dB. What is left is
// the leakage of the images through the Kaiser stopband and float rounding in the sums. A broken phase
// row, an advance off by one sample or a mistaken window costs tens of dB.
constexpr double kMinSnrUpDb = 101.0;
constexpr double kMinSnrDownDb = 115.0;
constexpr double kMinSnrTwoToThreeDb = 107.0;

TEST(ResamplerSignal, OneKilohertzFrom44100To48000KeepsItsFrequencyAndIsClean) {
  double zeroCrossingHz = 0;
  const cvtest::SineFit fit = SineThrough(44100, 48000, 1000.0, 1.0, &zeroCrossingHz);
  EXPECT_NEAR(zeroCrossingHz, 1000.0, 0.01);
  EXPECT_NEAR(fit.frequency * 48000, 1000.0, 1e-4);
  EXPECT_NEAR(fit.amplitude, 0.5 * kNorm, 0.5 * kNorm * 1e-3) << "passband gain is `norm`";
  EXPECT_NEAR(fit.offset, 0.0, 1e-6);
  EXPECT_GE(fit.snrDb, kMinSnrUpDb);
  RecordProperty("snr_db_44100_48000", std::to_string(fit.snrDb));
}

TEST(ResamplerSignal, OneKilohertzFrom48000To44100KeepsItsFrequencyAndIsClean) {
  double zeroCrossingHz = 0;
  const cvtest::SineFit fit = SineThrough(48000, 44100, 1000.0, 1.0, &zeroCrossingHz);
  EXPECT_NEAR(zeroCrossingHz, 1000.0, 0.01);
  EXPECT_NEAR(fit.frequency * 44100, 1000.0, 1e-4);
  EXPECT_NEAR(fit.amplitude, 0.5 * kNorm, 0.5 * kNorm * 1e-3);
  EXPECT_GE(fit.snrDb, kMinSnrDownDb);
  RecordProperty("snr_db_48000_44100", std::to_string(fit.snrDb));
}

TEST(ResamplerSignal, AboveTheNewNyquistFrequencyIsStopped) {
  // 23.5 kHz fits 48000 but not 44100: downward, it must be filtered out rather than folded to 20.6 kHz.
  Resampler r(48000, 44100);
  ASSERT_EQ(r.status, kPrimOk);
  const std::vector<float> in = cvtest::MakeSine(23500.0 / 48000, 0.5, 48000 + 65);
  std::vector<float> out(44200);
  double time = 32;
  int32_t count = 0;
  ASSERT_EQ(Resample32(r.s, in.data(), 48000, out.data(), kNorm, &time, &count), kPrimOk);
  double power = 0;
  for (int32_t i = 0; i < count; ++i) power += double(out[i]) * out[i];
  // Measured: -91.2 dB below the input's level (a roll-off of 0.95 puts the cut-off at 20.9 kHz).
  const double db = 10 * std::log10(power / count / 0.125);
  EXPECT_LT(db, -85.0);
}

// Packets go in the way the audio buffers feed them: a history block that starts with `half` cleared
// samples, each call from the carried time up to the lookahead, and the tail moved to the front after.
class PacketStream {
 public:
  PacketStream(const ResamplerState* s, int32_t half) : s_(s), half_(half), block_(size_t(half), 0.0f), time_(half) {}

  // Returns the number of outputs of this packet, appending them to `out`.
  int32_t Put(const float* packet, int32_t count, std::vector<float>* out) {
    block_.insert(block_.end(), packet, packet + count);
    const int64_t lastRead = int64_t(block_.size());
    const int32_t length = int32_t(lastRead - int64_t(time_) - half_);
    if (length < 1) return 0;
    std::vector<float> produced(size_t(length) * 4 + 8);
    int32_t made = 0;
    EXPECT_EQ(Resample32(s_, block_.data(), length, produced.data(), kNorm, &time_, &made), kPrimOk);
    out->insert(out->end(), produced.begin(), produced.begin() + made);
    const int64_t drop = int64_t(time_) - half_;
    block_.erase(block_.begin(), block_.begin() + drop);
    time_ -= double(drop);
    return made;
  }

 private:
  const ResamplerState* s_;
  int32_t half_;
  std::vector<float> block_;
  double time_;
};

TEST(ResamplerSignal, TwoToThreeOverPacketsGivesExactCountsWithoutGaps) {
  Resampler r(32000, 48000);
  ASSERT_EQ(r.status, kPrimOk);
  const int32_t packet = 320, packets = 50;
  const std::vector<float> in = cvtest::MakeSine(1000.0 / 32000, 0.5, size_t(packet * packets));
  PacketStream stream(r.s, 32);
  std::vector<float> streamed;
  for (int32_t k = 0; k < packets; ++k) {
    const int32_t made = stream.Put(in.data() + k * packet, packet, &streamed);
    // The filter looks 32 input samples ahead: 48 outputs wait in the first packet, none after.
    ASSERT_EQ(made, k == 0 ? 480 - 48 : 480) << "packet " << k;
  }
  ASSERT_EQ(streamed.size(), size_t(480 * packets - 48));

  // The same input in one call: the packets must have added nothing and lost nothing.
  std::vector<float> joined(32, 0.0f);
  joined.insert(joined.end(), in.begin(), in.end());
  std::vector<float> once(streamed.size() + 8);
  double time = 32;
  int32_t count = 0;
  ASSERT_EQ(Resample32(r.s, joined.data(), int32_t(in.size()) - 32, once.data(), kNorm, &time, &count), kPrimOk);
  ASSERT_EQ(size_t(count), streamed.size());
  for (int32_t i = 0; i < count; ++i) ASSERT_EQ(streamed[size_t(i)], once[size_t(i)]) << i;

  // And the tone is whole once the cleared history has left the window.
  const size_t settled = 96;
  const cvtest::SineFit fit = cvtest::FitSine(streamed.data() + settled, streamed.size() - settled, 1000.0 / 48000);
  EXPECT_NEAR(fit.frequency * 48000, 1000.0, 1e-3);
  EXPECT_GE(fit.snrDb, kMinSnrTwoToThreeDb);
}

TEST(ResamplerSignal, Packets441At44100GiveTenMillisecondsAt48000Each) {
  Resampler r(44100, 48000);
  ASSERT_EQ(r.status, kPrimOk);
  const std::vector<float> in = cvtest::MakeSine(1000.0 / 44100, 0.5, 441 * 20);
  PacketStream stream(r.s, 32);
  std::vector<float> out;
  int32_t total = 0;
  for (int32_t k = 0; k < 20; ++k) {
    const int32_t made = stream.Put(in.data() + k * 441, 441, &out);
    if (k > 0) {
      EXPECT_EQ(made, 480) << "packet " << k;
    }
    total += made;
  }
  // Output positions from 32 up to the 32 input samples of lookahead before the end.
  EXPECT_EQ(total, int32_t(std::ceil((441.0 * 20 - 32) * 160 / 147)));
  EXPECT_EQ(total, 480 * 20 - 34);
}

TEST(ResamplerSignal, ConstantPassesAtTheGainOfNorm) {
  for (auto [in, out] : {std::pair{44100, 48000}, std::pair{48000, 44100}, std::pair{96000, 8000}}) {
    Resampler r(in, out);
    ASSERT_EQ(r.status, kPrimOk);
    std::vector<float> x(2000, 0.5f), y(4000);
    double time = 32;
    int32_t count = 0;
    ASSERT_EQ(Resample32(r.s, x.data(), 1900, y.data(), kNorm, &time, &count), kPrimOk);
    ASSERT_GT(count, 100);
    for (int32_t i = 0; i < count; ++i) ASSERT_NEAR(y[i], 0.5f * kNorm, 5e-4) << in << "->" << out << " " << i;
  }
}

}  // namespace
