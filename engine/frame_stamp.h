// Time stamps of an output frame from nothing but its number: frame n runs from n x d to (n + 1) x d,
// with d the frame duration of the rate, so the output keeps its rate whatever the capture manages.
#pragma once

#include <cstdint>

#include "CVDeviceSCR.h"

namespace XMLParse {
class CoXMLNode;
}

// The duration of one frame in 100 ns, exact for the common rates whose duration is no whole number.
// A rate of 0 or less counts as 29.97.
double FrameDuration(double rate);

// Gives `frame` the stamps, timecode and flags of frame number `n` at `rate`; "timecode.drop_frame" of
// `props` (null: true) asks for drop-frame timecode. S_FALSE and nothing done for a null frame; else the
// result of the frame's TimeSet.
HRESULT StampFrame(double rate, XMLParse::CoXMLNode* props, ICVFrame_I* frame, int64_t n);
