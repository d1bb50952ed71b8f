#include "primitives/sine_analysis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

TEST(SineAnalysis, FindsFrequencyAndMeasuresKnownNoise) {
  const double f = 1000.0 / 48000 + 3e-7;
  std::vector<float> x = cvtest::MakeSine(f, 0.5, 48000);
  // Uniform noise of +-a has power a^2 / 3: 1e-4 against a sine of power 0.125 is 10 log10(0.125 * 3e8).
  uint32_t seed = 12345;
  const double a = 1e-4;
  for (float& v : x) {
    seed = seed * 1664525u + 1013904223u;
    v += float(a * (double(seed) / 2147483648.0 - 1.0));
  }
  EXPECT_NEAR(cvtest::ZeroCrossingFrequency(x.data(), x.size()), f, 1e-8);
  const cvtest::SineFit fit = cvtest::FitSine(x.data(), x.size(), 1000.0 / 48000);
  EXPECT_NEAR(fit.frequency, f, 1e-10);
  EXPECT_NEAR(fit.amplitude, 0.5, 1e-5);
  EXPECT_NEAR(fit.snrDb, 10 * std::log10(0.125 * 3 / (a * a)), 0.3);
}

TEST(SineAnalysis, ADistortedSineScoresLow) {
  std::vector<float> x = cvtest::MakeSine(0.01, 1.0, 10000);
  for (float& v : x) v = std::fmax(-0.8f, std::fmin(0.8f, v));  // clipping
  EXPECT_LT(cvtest::FitSine(x.data(), x.size(), 0.01).snrDb, 30.0);
  EXPECT_EQ(cvtest::ZeroCrossingFrequency(x.data(), 50), 0.0) << "no two rising crossings in half a cycle";
}

}  // namespace
