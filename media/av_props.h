// The value records that carry formats and frame stamps across every subsystem. Their layout is shared
// with the frame library and with hosts, so sizes and offsets are fixed and checked at compile time.
#pragma once

#include <cstddef>
#include <cstdint>

// Times are signed counts of 100 ns; this value means "no time".
inline constexpr int64_t kNoTime = INT64_MIN;
inline constexpr int64_t kTimeUnitsPerSecond = 10'000'000;

struct TVideoProps {
  int32_t videoFormat;    // table index in the low byte (0 custom, 46 disabled); 0x1600 holds a 3D layout
  uint32_t colourFormat;  // pixel format code, 0 unset
  int32_t width;
  int32_t height;         // compared by absolute value; RGB-group colours carry a negative height
  int32_t rowBytes;
  int32_t scan;           // 0 unset, 1 top field first, 2 bottom field first, 3 progressive (4, 5: requests)
  int16_t aspectX;
  int16_t aspectY;        // the aspect pair counts only when both are above 0
  int32_t reserved0;
  double frameRate;       // frames, not fields, per second
  int32_t aspectMode;     // 1: the aspect ratio does not matter in comparisons
  int32_t layoutFlags;    // copy of the 3D layout bits
};

struct TAudioProps {
  int32_t channels;       // 1..32; 0 unset; negative: no audio
  int32_t sampleRate;     // Hz
  int32_t bitsPerSample;  // 16, 20, 24, 32, or -32 for 32-bit float
  uint32_t channelMask;   // 0 unset
};

struct TAvProps {
  TVideoProps video;
  TAudioProps audio;
  uint8_t passThrough[2080];  // carried along untouched
};

struct TFrameTime {
  int64_t startTime;
  int64_t endTime;
  int32_t hours;
  int32_t minutes;
  int32_t seconds;
  int32_t frames;
  int32_t timecodeFlags;
  int32_t reserved0;
  uint32_t frameFlags;
  int32_t reserved1;
};

// Frame flags the system acts on.
inline constexpr uint32_t kFrameFlagGap = 0x00000001;         // first of a run, or frames were lost before it
inline constexpr uint32_t kFrameFlagNewTimeBase = 0x00000002; // forces a new time base in the rate timer
inline constexpr uint32_t kFrameFlagNotNewRun = 0x00000030;   // with kFrameFlagGap: not a new run
inline constexpr uint32_t kFrameFlagCounterStamps = 0x00000100;
inline constexpr uint32_t kFrameFlagSpeedMask = 0x7F000000;

inline constexpr int32_t kVideoFormatDisabled = 46;

static_assert(sizeof(TVideoProps) == 48);
static_assert(offsetof(TVideoProps, videoFormat) == 0);
static_assert(offsetof(TVideoProps, colourFormat) == 4);
static_assert(offsetof(TVideoProps, width) == 8);
static_assert(offsetof(TVideoProps, height) == 12);
static_assert(offsetof(TVideoProps, rowBytes) == 16);
static_assert(offsetof(TVideoProps, scan) == 20);
static_assert(offsetof(TVideoProps, aspectX) == 24);
static_assert(offsetof(TVideoProps, aspectY) == 26);
static_assert(offsetof(TVideoProps, frameRate) == 32);
static_assert(offsetof(TVideoProps, aspectMode) == 40);
static_assert(offsetof(TVideoProps, layoutFlags) == 44);

static_assert(sizeof(TAudioProps) == 16);
static_assert(offsetof(TAudioProps, channels) == 0);
static_assert(offsetof(TAudioProps, sampleRate) == 4);
static_assert(offsetof(TAudioProps, bitsPerSample) == 8);
static_assert(offsetof(TAudioProps, channelMask) == 12);

static_assert(sizeof(TAvProps) == 2144);
static_assert(offsetof(TAvProps, video) == 0);
static_assert(offsetof(TAvProps, audio) == 48);
static_assert(offsetof(TAvProps, passThrough) == 64);

static_assert(sizeof(TFrameTime) == 48);
static_assert(offsetof(TFrameTime, startTime) == 0);
static_assert(offsetof(TFrameTime, endTime) == 8);
static_assert(offsetof(TFrameTime, hours) == 16);
static_assert(offsetof(TFrameTime, minutes) == 20);
static_assert(offsetof(TFrameTime, seconds) == 24);
static_assert(offsetof(TFrameTime, frames) == 28);
static_assert(offsetof(TFrameTime, timecodeFlags) == 32);
static_assert(offsetof(TFrameTime, frameFlags) == 40);

// A picture record names a usable format: a table entry, or explicit size and colour.
bool VideoIsValid(const TVideoProps& v);
// A picture record asks for something: any field that a format store would act on is set.
bool VideoIsRequest(const TVideoProps& v);
// A sound record names a usable format.
bool AudioIsValid(const TAudioProps& a);
// The speed hint of a frame's flags: -1 at code 1, 0 at 64, 1 at 126; 0 when there is no hint.
double FrameSpeedHint(uint32_t frameFlags);
