// Recognising a named format from the numbers of a record.
#pragma once

#include <cstdint>

#include "media/av_props.h"

// The format word that fits width, height, rate and scan, with a 3D layout where the picture is two
// pictures side by side or one above the other; 0 when nothing fits. Without `strict`, a picture may be
// taller than its row by the row's vertical blanking.
int32_t VideoDetect(const TVideoProps& v, bool strict);
