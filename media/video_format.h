// Pure operations over format records: completing a record from the table, filling a request from a
// base, and comparing records. None of them touches a device or a lock.
#pragma once

#include <cstdint>

#include "media/av_props.h"

// Completes `v` from the table row of its format word (or recognises the format of a custom record) and
// makes the record consistent: even widths for YUV, positive YUV heights, even interlaced heights, room
// for a full line. `output` treats the record as what a device will deliver: a height within the row's
// blanking survives, and a missing scan or colour gets its default. Returns the resulting format word,
// or 0 when the word names a row without a rate (the record is then left as it was).
int32_t VideoNormalise(TVideoProps& v, bool output);

// The request with its unset fields taken from `base`. A null request gives the base, or zeros for a null
// base; a request for the disabled format stands as it is.
TVideoProps VideoMerge(const TVideoProps* request, const TVideoProps* base);

// Level 0 compares what a reader sees (format or rate, size, colour, scan, aspect, layout); level 1 only
// the size, level 2 adds the colour, level 3 and up the row bytes. Both sides are normalised first.
bool VideoEqual(const TVideoProps& a, const TVideoProps& b, int level);

// Sound formats are the same when channels, bits and rate are.
bool AudioEqual(const TAudioProps& a, const TAudioProps& b);

// 1 when video and audio are equal; -1 only the audio; -2 only the video; -3 neither.
int AvCompare(const TAvProps& a, const TAvProps& b, int level);
