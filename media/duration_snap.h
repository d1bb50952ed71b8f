// Frame durations of the common rates are not whole numbers of 100 ns. A duration rounded to a whole
// number is recognised here and replaced by the exact one, so that stamps computed as n x d don't drift.
#pragma once

#include <cstdint>

// If `duration` lies in the window of a known rate, it is set to that rate's rounded duration, `*hit`
// (if given) to true, and the exact duration is returned; otherwise `duration` is returned unchanged.
double DurationSnap(int64_t& duration, bool* hit = nullptr);
