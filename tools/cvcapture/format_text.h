// One-line texts of the format records, as the tool lists them.
#pragma once

#include <string>

#include "CVDeviceSCR.h"

// "HDYC", "YUY2", or the RGB codes' names "RGB32" and "ARGB32"; else "0x%08X"; "none" for 0.
std::string ColourName(uint32_t colourFormat);
// "1920x1080 HDYC 29.970 fps progressive" or "none" for an empty record.
std::string VideoText(const TVideoProps& video);
// "2 ch 48000 Hz 16-bit" ("32-bit float" for -32) or "no audio".
std::string AudioText(const TAudioProps& audio);
