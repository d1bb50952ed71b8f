// The filter design behind a resampler state: a windowed-sinc low-pass prototype at L times the input
// rate, split into L phase rows, and the table of read advances per phase.
#include <algorithm>
#include <cmath>

#include "primitives/resampler_state.h"

namespace cvprim {

double BesselI0(double x) {
  double sum = 1.0;
  double term = 1.0;
  for (int k = 1;; ++k) {
    const double q = x / (2.0 * k);
    term *= q * q;
    sum += term;
    if (term < 1e-21 * sum) break;
  }
  return sum;
}

int64_t PrototypeLastIndex(int64_t taps, int32_t outStep, int32_t inStep) {
  // Float products on purpose: the tables must come out the same wherever they are built. The 1e-5
  // keeps an exact product from falling just below its integer.
  const float r = float(taps);
  const float l = float(outStep);
  const float m = float(inStep);
  const float n = outStep >= inStep ? (r + 1e-5f) * 0.5f * l : (r * l / m + 1e-5f) * 0.5f * m;
  return int64_t(std::trunc(double(n))) + 1;
}

namespace {

struct Prototype {
  double step;      // pi / D, D the divisor of the cut-off
  double rollOff;
  double alpha;
  double i0Alpha;
  double edge;      // N - 1

  double operator()(int64_t distance) const {
    const double d = double(distance);
    const double c = distance == 0 ? rollOff : std::sin(rollOff * step * d) / (step * d);
    const double ratio = d / edge;
    const double arg = 1.0 - ratio * ratio;
    const double root = arg > 0.0 ? std::sqrt(arg) : 0.0;
    return c * (BesselI0(alpha * root) / i0Alpha);
  }
};

}  // namespace

void BuildPrototype(float* proto, int64_t lastIndex, int32_t half, int32_t outStep, int32_t inStep, float rollOff,
                    float alpha) {
  const int64_t n = lastIndex;
  const int64_t l = outStep;
  const int64_t m = inStep;
  const bool up = outStep >= inStep;
  const double pi = 3.14159265358979323846;
  const Prototype c{pi / double(up ? l : m), double(rollOff), double(alpha), BesselI0(double(alpha)), double(n - 1)};

  // Downward the gain is set by the taps that fall on output samples: distances that are multiples of M.
  double onGrid = 0.0;
  auto store = [&](int64_t index, int64_t distance) {
    proto[index] = float(c(distance));
    if (!up && distance != 0 && distance % m == 0) onGrid += double(proto[index]);
  };

  store(0, 0);
  for (int64_t k = 1; k < half; ++k) store(k, k * l);
  int64_t index = half;
  for (int64_t r = 1; r < l && index <= n - 2; ++r)
    for (int64_t k = 0; k < half && index <= n - 2; ++k) store(index++, r + k * l);
  store(n - 1, n - 1);
  proto[n] = proto[n - 1];

  double divisor;
  if (up) {
    double s = 0.0;
    for (int64_t k = 1; k < half; ++k) s += double(proto[k]);
    divisor = double(proto[0]) + 2.0 * s + 2.0 * double(proto[n - 1]);
  } else {
    divisor = double(proto[0]) + 2.0 * onGrid;
  }
  const double scale = 1.0 / divisor;
  const int64_t stored = std::max<int64_t>(n + 1, l * half);
  for (int64_t i = 0; i < stored; ++i) proto[i] = float(double(proto[i]) * scale);
}

void BuildPhaseRows(float* const* rows, const float* proto, int64_t lastIndex, int32_t half, int32_t outStep) {
  const int32_t h = half;
  float* row0 = rows[0];
  row0[h] = proto[0];
  for (int32_t k = 0; k <= h - 2; ++k) row0[h + 1 + k] = row0[h - 1 - k] = proto[1 + k];
  row0[0] = row0[2 * h] = proto[lastIndex];

  const float* entry = proto + h;
  for (int32_t p = 1; p < outStep; ++p) {
    for (int32_t k = 0; k < h; ++k) {
      rows[outStep - p][h + k] = entry[k];
      rows[p][h - k - 1] = entry[k];
    }
    entry += h;
  }
}

void BuildAdvance(uint16_t* advance, int32_t outStep, int32_t inStep) {
  const int64_t l = outStep;
  const int64_t m = inStep;
  for (int64_t i = 0; i < l; ++i) advance[(i * m) % l] = uint16_t((i + 1) * m / l - i * m / l);
  // The read position is ceil(n / L) - H: phase 0 reads one sample further back than the others.
  advance[0] = uint16_t(advance[0] + 1);
  const int64_t beforeZero = ((l - 1) * m) % l;
  advance[beforeZero] = uint16_t(advance[beforeZero] - 1);
}

}  // namespace cvprim
