// Timecode of a frame from its number. Frames are stamped from their count, never from a clock, so the
// timecode follows the count exactly, drop frame included.
#pragma once

#include <cstdint>

#include "media/av_props.h"

// Bits of TFrameTime::timecodeFlags.
inline constexpr int32_t kTimecodeDropFrame = 0x01;
inline constexpr int32_t kTimecodeBase24 = 0x10;
inline constexpr int32_t kTimecodeBase25 = 0x20;
inline constexpr int32_t kTimecodeBase30 = 0x40;
inline constexpr int32_t kTimecodeFirstOfPair = 0x100;  // rates above 45 count in pairs of frames
inline constexpr int32_t kTimecodeSecondOfPair = 0x200;
inline constexpr int32_t kTimecodeInvalid = static_cast<int32_t>(0x80000000u);

// Writes hours, minutes, seconds, frames and timecodeFlags of `out`; the other fields are left alone.
// Drop frame is used only where it exists: near 29.97 and 59.94, not at whole 30 or 60.
void TimecodeFromFrame(int32_t frame, double rate, bool dropWanted, TFrameTime& out);
