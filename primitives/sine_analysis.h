// Measures a sine that came out of a signal path: its frequency and how far the samples stray from a
// pure sine of that frequency. For tests and benchmarks of the rate change; not part of the library.
#pragma once

#include <cstddef>
#include <vector>

namespace cvtest {

struct SineFit {
  double frequency = 0;  // cycles per sample
  double amplitude = 0;
  double offset = 0;     // the constant part
  double snrDb = 0;      // power of the fitted sine over the power of what is left
};

// A sine of `frequency` cycles per sample and amplitude `amplitude`, `count` samples long.
std::vector<float> MakeSine(double frequency, double amplitude, size_t count);

// Frequency from the first and last rising zero crossing, each placed by linear interpolation between
// its two samples. 0 when fewer than two crossings are there.
double ZeroCrossingFrequency(const float* x, size_t count);

// Least-squares fit of a sine and a constant, with the frequency searched within one DFT bin of `guess`
// for the least residual.
SineFit FitSine(const float* x, size_t count, double guess);

}  // namespace cvtest
