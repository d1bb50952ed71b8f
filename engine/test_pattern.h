// A moving test picture for the first engine: eight colour bars that scroll sideways, a white block that
// travels along the lower quarter, and the frame number as 16 black or white cells near the top left,
// so that a reader can tell frames apart and check their order from the picture alone.
#pragma once

#include <cstdint>

#include "media/av_props.h"
#include "platform/com_types.h"

// Cells of the frame number: the highest bit first, from x = 8, each this many pixels square, on the
// lines 8 to 15.
inline constexpr int32_t kPatternCounterBits = 16;
inline constexpr int32_t kPatternCellSize = 8;
inline constexpr int32_t kPatternCounterTop = 8;
inline constexpr int32_t kPatternCounterLeft = 8;
// How far the bars scroll per frame.
inline constexpr int32_t kPatternBarStep = 4;

// Draws the picture of frame `n` into `pixels`, laid out as `format` says (its rowBytes apart; RGB with
// a positive height bottom-up). E_POINTER for null pixels, E_INVALIDARG for a picture smaller than the
// counter cells or rows too short, E_NOTIMPL for a colour other than HDYC, UYVY, YUY2, RGB32, ARGB32.
HRESULT DrawTestPattern(uint8_t* pixels, const TVideoProps& format, int64_t n);

// The low 16 bits of the frame number that DrawTestPattern put into the picture; -1 when the picture
// can't carry one (see above).
int32_t TestPatternCounter(const uint8_t* pixels, const TVideoProps& format);
