// Display texts of format records, as shown in format lists and handed to hosts.
#pragma once

#include <cstdint>
#include <string>

#include "media/av_props.h"

// The four letters of a code where they are all letters or digits, else the code's known name, else
// its number in hexadecimal. Used only for a set colour: VideoText shows no colour as nothing.
std::wstring ColourName(uint32_t code);

// Long form, e.g. "HD1080-25p HDYC 1920x1080@25.00p 16:9"; short form, e.g. "HDYC 1920(3840)x1080@25.000p 16:9".
std::wstring VideoText(const TVideoProps& v, bool shortForm = false);

// E.g. "48000 Hz, 2 Ch, 16-bit", or "... 32-bit (float)".
std::wstring AudioText(const TAudioProps& a);
