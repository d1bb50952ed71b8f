// The row kernels of the CPU twin's fast paths, in three builds that give the same bits: plain C++ (the
// one every target has), SSE2 and AVX2. Each does the reference's float32 operations in the reference's
// order on a run of samples, so the choice between them is one of speed only; tests run every build the
// machine can run against the reference.
//
// Channels come in the order red, green, blue, alpha (a kernel asked for n channels gives the first n).
// Index and weight arrays and sample planes are padded to a multiple of kLanes with entries that are safe
// to read; pixels in memory are only read and written for the `count` asked for, so a row may end at a
// page edge.
//
// This header is included by the AVX2 build: it declares plain data and functions only, nothing inline
// that the linker could take from that build for a processor without AVX2.
#pragma once

#include <stdint.h>

namespace cvplat::cpugpu::fast {

inline constexpr int32_t kLanes = 8;  // the widest build's; paddings are multiples of it

// How the kernels fetch the texels of a group of kLanes samples, chosen per draw from the taps: a run of
// consecutive texels, every second texel of a run, texels picked from a window of 2 kLanes that starts
// at the group's first, the adjacent pairs of the linear sampler (right = left + 1) one by one, or any
// texels (where clamping at an edge breaks the patterns). A fetch reads only texels of the row.
inline constexpr uint8_t kFetchAny = 0;
inline constexpr uint8_t kFetchPairs = 1;
inline constexpr uint8_t kFetchRun = 2;
inline constexpr uint8_t kFetchEverySecond = 3;
inline constexpr uint8_t kFetchWindow = 4;

// Texels of a row the samples read: the texel per sample (point) or the left and right texels and their
// weights 1 - fx and fx (linear), clamped to the row, and how each group of kLanes is fetched: by its
// left texels alone, or by its left and right texels (linear).
struct ColumnTaps {
  const int32_t* left;
  const int32_t* right;
  const int32_t* window;  // left texel minus the group's first, where the group is fetched from a window
  const float* wLeft;
  const float* wRight;
  const uint8_t* leftFetch;  // per group of kLanes
  const uint8_t* pairFetch;
  const uint8_t* halves;  // per group of kLanes: every fx is 1/2
  int32_t rightUnused;  // every fx is 0: the right texels weigh nothing and aren't read
};

// The rows of one output row: the top row (point: the row) with weight 1 - fy, the bottom one with fy,
// or null where fy is 0 and it weighs nothing.
struct RowTaps {
  const uint8_t* top;
  const uint8_t* bottom;
  float wTop;
  float wBottom;
};

// What lies outside `area`: colour x keep + tint, with tint = background x (1 - keep).
struct Shading {
  float keep;
  float tint[3];
};

// Per-sample flags of the final pass, or-ed with the row's.
inline constexpr int32_t kArgbOffScreen = 1;
inline constexpr int32_t kArgbOffArea = 2;
inline constexpr int32_t kHdycFirstOffScreen = 1;
inline constexpr int32_t kHdycFirstOffArea = 2;
inline constexpr int32_t kHdycSecondPastRight = 4;  // the second pixel repeats the first
inline constexpr int32_t kHdycSecondOffScreen = 8;
inline constexpr int32_t kHdycSecondOffArea = 16;

struct Kernels {
  const char* name;
  // Samples into planes, channel c of sample s at out[c * stride + s].
  void (*samplePoint)(const uint8_t* row, const ColumnTaps* columns, int32_t count, int32_t channels, float* out,
                      int32_t stride);
  void (*sampleLinear)(const RowTaps* rows, const ColumnTaps* columns, int32_t count, int32_t channels, float* out,
                       int32_t stride);
  // The rows of the programs, sampling and computing in one: `count` pixels (texels in HDYC) from the
  // taps' first. `flags` may be null: nothing is off but what `rowFlags` says.
  // The ARGB program under the linear sampler (the point sampler's is a table of bytes).
  void (*argbRow)(const RowTaps* rows, const ColumnTaps* columns, const int32_t* flags, int32_t rowFlags,
                  const Shading* shading, int32_t count, uint8_t* dst);
  // The HDYC program: texel i's first pixel is sample 2i, its second 2i + 1.
  void (*hdycRow)(const RowTaps* rows, const ColumnTaps* columns, int32_t linear, const int32_t* flags,
                  int32_t rowFlags, const Shading* shading, int32_t count, uint8_t* dst);
  // The overlay programs blended over `dst`: the plain one, or with `colour` (red, green, blue, A) the
  // coloured one, whose mask is the red channel.
  void (*overlayRow)(const RowTaps* rows, const ColumnTaps* columns, int32_t linear, const float* colour,
                     int32_t count, uint8_t* dst);
};

const Kernels& PlainKernels();
#if defined(__i386__) || defined(__x86_64__)
#define CV_CPU_GPU_X86 1
const Kernels& Sse2Kernels();
const Kernels& Avx2Kernels();
#endif

// The fastest build this processor runs, unless a test has pinned one.
const Kernels& ActiveKernels();
// Every build this processor can run, plainest first; for tests and benchmarks.
int32_t AvailableKernels(const Kernels** out, int32_t capacity);
// Pins the fast paths to one build (null: back to the fastest). For tests; not safe while drawing.
void PinKernels(const Kernels* kernels);

}  // namespace cvplat::cpugpu::fast
