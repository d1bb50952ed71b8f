#include "primitives/sine_analysis.h"

#include <cmath>

namespace cvtest {

namespace {

constexpr double kTwoPi = 6.283185307179586476925;

struct LinearFit {
  double a = 0, b = 0, c = 0;  // x ~ a cos + b sin + c
  double residual = 0;         // sum of squares
};

// Solves the 3x3 normal equations of x ~ a cos(wi) + b sin(wi) + c by Cramer's rule.
LinearFit FitAt(const float* x, size_t count, double frequency) {
  double cc = 0, ss = 0, cs = 0, c1 = 0, s1 = 0, xc = 0, xs = 0, x1 = 0;
  const double w = kTwoPi * frequency;
  for (size_t i = 0; i < count; ++i) {
    const double c = std::cos(w * double(i)), s = std::sin(w * double(i)), v = x[i];
    cc += c * c; ss += s * s; cs += c * s; c1 += c; s1 += s;
    xc += v * c; xs += v * s; x1 += v;
  }
  const double n = double(count);
  const double m[3][3] = {{cc, cs, c1}, {cs, ss, s1}, {c1, s1, n}};
  const double r[3] = {xc, xs, x1};
  auto det = [](const double a[3][3]) {
    return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) - a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
  };
  const double d = det(m);
  double sol[3];
  for (int k = 0; k < 3; ++k) {
    double t[3][3];
    for (int i = 0; i < 3; ++i)
      for (int j = 0; j < 3; ++j) t[i][j] = j == k ? r[i] : m[i][j];
    sol[k] = det(t) / d;
  }
  LinearFit fit{sol[0], sol[1], sol[2], 0};
  for (size_t i = 0; i < count; ++i) {
    const double e = x[i] - (fit.a * std::cos(w * double(i)) + fit.b * std::sin(w * double(i)) + fit.c);
    fit.residual += e * e;
  }
  return fit;
}

}  // namespace

std::vector<float> MakeSine(double frequency, double amplitude, size_t count) {
  std::vector<float> x(count);
  for (size_t i = 0; i < count; ++i) x[i] = float(amplitude * std::sin(kTwoPi * frequency * double(i)));
  return x;
}

double ZeroCrossingFrequency(const float* x, size_t count) {
  double first = -1, last = -1;
  size_t crossings = 0;
  for (size_t i = 1; i < count; ++i) {
    if (x[i - 1] < 0.0f && x[i] >= 0.0f) {
      const double at = double(i - 1) + double(-x[i - 1]) / (double(x[i]) - double(x[i - 1]));
      if (crossings == 0) first = at;
      last = at;
      ++crossings;
    }
  }
  return crossings < 2 ? 0.0 : double(crossings - 1) / (last - first);
}

SineFit FitSine(const float* x, size_t count, double guess) {
  // Golden-section search for the least residual; it is unimodal within a bin of the true frequency.
  const double ratio = 0.6180339887498949;
  double lo = guess - 1.0 / double(count), hi = guess + 1.0 / double(count);
  double f1 = hi - ratio * (hi - lo), f2 = lo + ratio * (hi - lo);
  double r1 = FitAt(x, count, f1).residual, r2 = FitAt(x, count, f2).residual;
  for (int i = 0; i < 48; ++i) {
    if (r1 < r2) {
      hi = f2; f2 = f1; r2 = r1;
      f1 = hi - ratio * (hi - lo);
      r1 = FitAt(x, count, f1).residual;
    } else {
      lo = f1; f1 = f2; r1 = r2;
      f2 = lo + ratio * (hi - lo);
      r2 = FitAt(x, count, f2).residual;
    }
  }
  SineFit out;
  out.frequency = 0.5 * (lo + hi);
  const LinearFit fit = FitAt(x, count, out.frequency);
  out.amplitude = std::sqrt(fit.a * fit.a + fit.b * fit.b);
  out.offset = fit.c;
  const double signal = out.amplitude * out.amplitude / 2.0;
  const double noise = fit.residual / double(count);
  out.snrDb = noise > 0 ? 10.0 * std::log10(signal / noise) : 400.0;
  return out;
}

}  // namespace cvtest
