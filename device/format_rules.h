// The pure rules of the format store: the stock lists a host chooses from, the colour an output request
// gets by default, and the effective format that the requests of a host make of the input.
#pragma once

#include <vector>

#include "media/av_props.h"

// The auto row (all zero), every table format from 1 to 45 completed from the table, and last the
// disabled format as it stands: 47 rows.
std::vector<TVideoProps> StockVideoRows();

// The auto row, then bits 16, -32, 32 over rates 48000 down to 8000 over channels 2, 4, ... 16 and 1,
// and last the row of no audio (channels -1): 191 rows.
std::vector<TAudioProps> StockAudioRows();

// A valid output request without a colour takes the colour of the output format, with the packing of
// YUV swapped to the picture: UYVY for standard definition, HDYC for all else. Other colours stay.
void OutputColourDefault(TVideoProps& request, uint32_t outputColour);

// What the host sees: `src` (the input) shaped by the adjustments and by the output format.
TAvProps EffectiveFormat(const TAvProps& src, const TAvProps& output, const TVideoProps& adjust);
