// Internal: the layout of a resampler state and the steps that build its tables. One heap block holds
// the record, the advance table, the row pointers and the rows, so that a state is one allocation and
// one free.
#pragma once

#include <stdint.h>

struct ResamplerState {
  int32_t inStep;   // input rate after reduction by common factors (M)
  int32_t outStep;  // output rate after that reduction (L)
  float gain;       // 1.0
  int32_t half;     // half the rounded window (H)
  int32_t flags;    // kCoefficientsFloat, kCoefficients16
  int32_t taps;     // the rounded window (R): taps of rows 1..L-1; row 0 has one more
  uint16_t* advance;  // input samples to move on after an output of each phase, L entries
  float** phases;     // L rows of coefficients
};

namespace cvprim {

inline constexpr int32_t kCoefficientsFloat = 1;
inline constexpr int32_t kCoefficients16 = 2;

// Modified Bessel function of the first kind, order 0, by its power series.
double BesselI0(double x);

// Index N of the last stored prototype coefficient (N + 1 are stored) for the rounded window R and
// the reduced rates.
int64_t PrototypeLastIndex(int64_t taps, int32_t outStep, int32_t inStep);

// Fills `proto` (at least max(N + 1, L * H) entries, zeroed) phase by phase with the windowed, normalised
// low-pass prototype.
void BuildPrototype(float* proto, int64_t lastIndex, int32_t half, int32_t outStep, int32_t inStep, float rollOff,
                    float alpha);

// Spreads the prototype into the L phase rows; each row is the mirror of its partner.
void BuildPhaseRows(float* const* rows, const float* proto, int64_t lastIndex, int32_t half, int32_t outStep);

// advance[p] = how far the read position moves after an output of phase p.
void BuildAdvance(uint16_t* advance, int32_t outStep, int32_t inStep);

}  // namespace cvprim
