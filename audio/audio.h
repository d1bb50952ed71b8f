// Audio: the planar sample store with its conversions, and the sample counts per frame.
#pragma once

#include "audio/audio_buffer2.h"
#include "audio/audio_calc.h"
#include "audio/channels_buffer.h"
