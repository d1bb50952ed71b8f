// Audio: capture from a sound endpoint, the planar sample store with its conversions, the sample counts
// per frame, and the join of sound to frames.
#pragma once

#include "audio/audio_buffer2.h"
#include "audio/audio_calc.h"
#include "audio/audio_inserter.h"
#include "audio/capture_wasapi.h"
#include "audio/channels_buffer.h"
