// Running a resampler state over a block of input. The output position n counts in steps of 1/L input
// sample; an output of phase p = n mod L reads its row from input sample ceil(n / L) - H on, and n moves
// on by M per output. Carrying n (as `time`) between calls makes a stream of blocks give the same samples
// as one long block.
#include <algorithm>
#include <cmath>

#include "primitives/primitives.h"
#include "primitives/resampler_state.h"

namespace {

// Four interleaved partial sums joined as (s0 + s2) + (s1 + s3): the order of a four-lane register, so
// that the compiler may vectorise the loop without changing a bit. (A hand-written SSE2 version of it
// measured no faster than what the compiler makes of this.)
template <typename Sample>
float DotLanes(const Sample* x, const float* c, int32_t taps) {
  float s0 = 0.0f, s1 = 0.0f, s2 = 0.0f, s3 = 0.0f;
  for (int32_t j = 0; j < taps; j += 4) {
    s0 += float(x[j]) * c[j];
    s1 += float(x[j + 1]) * c[j + 1];
    s2 += float(x[j + 2]) * c[j + 2];
    s3 += float(x[j + 3]) * c[j + 3];
  }
  return (s0 + s2) + (s1 + s3);
}

inline void Store(float y, float* dst) { *dst = y; }

inline void Store(float y, int16_t* dst) {
  // Halves away from zero, then saturate.
  const float r = std::round(y);
  *dst = r != r ? int16_t(0) : r >= 32767.0f ? int16_t(32767) : r <= -32768.0f ? int16_t(-32768) : int16_t(r);
}

template <typename Sample>
int32_t Run(const ResamplerState* state, const Sample* src, int32_t length, Sample* dst, float norm, double* time,
            int32_t* outCount) {
  if (!state || !src || !dst || !time || !outCount) return kPrimNullPointer;
  if (length < 1) return kPrimSizeTooSmall;
  // A position before the first input sample or past the reach of 64-bit counting has no meaning.
  if (!(*time >= 0.0 && *time < 2.0e18 / state->outStep)) return kPrimOutOfRange;

  const int64_t l = state->outStep;
  const int64_t m = state->inStep;
  const int64_t h = state->half;
  const int32_t taps = state->taps;
  const float total = state->gain * norm * std::min(1.0f, float(state->outStep) / float(state->inStep));

  const double start = *time;
  const int64_t t = int64_t(std::trunc(start));
  const double frac = start - double(t);
  const int64_t p0 = int64_t(std::trunc(frac * double(l) + 0.5));
  int64_t pos = t + 1 - h - (p0 == 0 ? 1 : 0);
  int64_t n = l * t + p0;
  const int64_t end = (t + int64_t(length)) * l;
  if (n < end && (end - n + m - 1) / m > 0x7FFFFFFF) return kPrimOutOfRange;

  int32_t count = 0;
  for (; n < end; n += m) {
    const int64_t p = n % l;
    const Sample* x = src + pos;
    const float* row = state->phases[p];
    float sum = DotLanes(x, row, taps);
    if (p == 0) sum += float(x[taps]) * row[taps];
    Store(sum * total, dst + count);
    ++count;
    pos += state->advance[p];
  }
  *outCount = count;
  *time = double(n - p0) / double(l) + frac;
  return kPrimOk;
}

}  // namespace

extern "C" int32_t Resample16(const ResamplerState* state, const int16_t* src, int32_t length, int16_t* dst,
                              float norm, double* time, int32_t* outCount) {
  return Run(state, src, length, dst, norm, time, outCount);
}

extern "C" int32_t Resample32(const ResamplerState* state, const float* src, int32_t length, float* dst, float norm,
                              double* time, int32_t* outCount) {
  return Run(state, src, length, dst, norm, time, outCount);
}
