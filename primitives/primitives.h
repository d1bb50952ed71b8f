// Flat entries on raw pixel rectangles and raw sample arrays: mirroring, copying, sample type conversion,
// mixing and polyphase rate change. They know nothing of frames or formats: callers pass pointers, byte
// steps and sizes and read back a status. No entry holds a lock or keeps state of its own (apart from
// the processor level), so any thread may call any entry at the same time on different buffers. Only
// ResamplerInit16/32 allocate. An entry that fails has written nothing; null pointers are tested before
// sizes.
//
// The plain scalar code of every entry is the contract. Where an SSE2 variant exists (Float32ToInt16
// with rounding to nearest, Int16ToFloatPlanes for one or two channels) it gives the same bits;
// PrimitivesForceScalar switches it off for the whole process.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Status of every entry.
enum {
  kPrimOk = 0,
  kPrimOutOfRange = -5,   // resampler roll-off or alpha, or tables that would pass 0x7FFFFFFE bytes
  kPrimSizeTooSmall = -6,
  kPrimNullPointer = -8,
  kPrimNoMemory = -9,
  kPrimBadMirrorAxis = -21,
};

// Mirror axes.
enum { kMirrorTopBottom = 0, kMirrorLeftRight = 1, kMirrorBoth = 2 };

// Float32ToInt16 rounding: toward zero, to nearest with halves to even, to nearest with halves away.
enum { kRoundTowardZero = 0, kRoundNearestEven = 1, kRoundNearestAway = 2 };

// Processor level in use: 0 plain code, 1 SSE2 variants where there are some.
int32_t PrimitivesLevel(void);
// A non-zero `force` pins every entry to the plain code; zero lets the library use what the processor
// has. Returns the previous setting.
int32_t PrimitivesForceScalar(int32_t force);

// Mirrors a rectangle of 4-byte pixels in place. `step` is the signed distance in bytes between row
// starts; padding behind a row isn't touched. Axes 0 and 2 need a height of 2 or more, axes 1 and 2 a
// width of 2 or more.
int32_t Mirror32s(void* buf, int32_t step, int32_t width, int32_t height, int32_t axis);

int32_t Copy8u(const uint8_t* src, uint8_t* dst, int32_t count);

// y = saturate(round(x * 2^-scale)); NaN gives 0. An unknown rounding gives kPrimOutOfRange.
int32_t Float32ToInt16(const float* src, int16_t* dst, int32_t count, int32_t rounding, int32_t scale);
// y = x * 2^-scale, scale clamped to -112..126.
int32_t Int16ToFloat32(const int16_t* src, float* dst, int32_t count, int32_t scale);
// y = x * 2^-scale, scale clamped to -96..126.
int32_t Int32ToFloat32(const int32_t* src, float* dst, int32_t count, int32_t scale);
// Scale above 0: right shift rounding to nearest with ties to even; below 0: left shift; then saturate.
int32_t Int32ToInt16(const int32_t* src, int16_t* dst, int32_t count, int32_t scale);
// Three little-endian bytes per sample, sign extended, no shift.
int32_t Int24ToInt32(const uint8_t* src, int32_t* dst, int32_t count);

// De-interleave `frames` frames of `channels` samples into one float plane per channel, so that the
// full integer range spans -1..1.
int32_t Int16ToFloatPlanes(const int16_t* src, float* const dstPlanes[], int32_t channels, int32_t frames);
int32_t Int24ToFloatPlanes(const uint8_t* src, float* const dstPlanes[], int32_t channels, int32_t frames);

// dst = saturate(src + dst) and dst = src + dst.
int32_t AddInt16(const int16_t* src, int16_t* dst, int32_t count);
int32_t AddFloat32(const float* src, float* dst, int32_t count);

// Polyphase rate change. A state is made by ResamplerInit and given back to ResamplerFree; it isn't
// changed after its creation, but the `time` of a stream belongs to the caller, so a state serves one
// stream at a time. `length` is the filter window in input samples (rounded up to a multiple of 4),
// `rollOff` the cut-off as a part of the lower Nyquist frequency (above 0, at most 1), `alpha` the
// Kaiser window's shape (at least 1). Every hint builds float coefficients.
typedef struct ResamplerState ResamplerState;

int32_t ResamplerInit16(ResamplerState** state, int32_t inRate, int32_t outRate, int32_t length, float rollOff,
                        float alpha, int32_t hint);
int32_t ResamplerInit32(ResamplerState** state, int32_t inRate, int32_t outRate, int32_t length, float rollOff,
                        float alpha, int32_t hint);

// Writes every output sample whose position falls into the `length` input samples from `*time` on and
// moves `*time` past them, so that the next call goes on where this one ended. Positions count from
// `src`; the filter reads half its window before and after each position, so the caller keeps that
// much history around the block. `norm` scales the output. A negative or non-finite `*time` gives
// kPrimOutOfRange.
int32_t Resample16(const ResamplerState* state, const int16_t* src, int32_t length, int16_t* dst, float norm,
                   double* time, int32_t* outCount);
int32_t Resample32(const ResamplerState* state, const float* src, int32_t length, float* dst, float norm,
                   double* time, int32_t* outCount);

int32_t ResamplerFree16(ResamplerState* state);
int32_t ResamplerFree32(ResamplerState* state);

#ifdef __cplusplus
}
#endif
