// Internal: the plain kernels that are the contract of each entry, the SSE2 kernels that must match them
// bit for bit, and the switch between the two. Not for callers of the library.
#pragma once

#include <stdint.h>

namespace cvprim {

// True when the SSE2 kernels are compiled in and not switched off by PrimitivesForceScalar.
bool UseSimd();

// Plain kernels. Sizes are already checked by the entries.
void Float32ToInt16Plain(const float* src, int16_t* dst, int32_t count, int32_t rounding, int32_t scale);
void Int16ToFloatPlanesPlain(const int16_t* src, float* const dstPlanes[], int32_t channels, int32_t firstFrame,
                             int32_t endFrame);

#if defined(__SSE2__)
#define CV_PRIM_HAVE_SSE2 1
// Each SSE2 kernel handles a prefix of the work and returns how much it did; the caller finishes the
// rest with the plain kernel.
int32_t Float32ToInt16NearestSse2(const float* src, int16_t* dst, int32_t count, int32_t scale);
int32_t Int16ToFloatPlanesSse2(const int16_t* src, float* const dstPlanes[], int32_t channels, int32_t frames);
#endif

}  // namespace cvprim
