// Sound format requests and the conversions between bytes, samples and time. Every conversion gives 0
// for a record that isn't a valid format, so a caller never divides by an unset rate.
#pragma once

#include <cstdint>

#include "media/av_props.h"

// The request with its unset fields taken from a valid base: channels and bits when 0, rate when below 1.
// A null request gives the base, or zeros for a null base. A request for no audio stands as it is.
TAudioProps AudioMerge(const TAudioProps* request, const TAudioProps* base);

// Bytes of one sample frame over all channels; 20-bit samples sit in 3 bytes.
int32_t AudioBlockBytes(const TAudioProps& a);
int64_t AudioBytesFromSamples(const TAudioProps& a, int64_t samples);
int64_t AudioSamplesFromBytes(const TAudioProps& a, int64_t bytes);
// 100 ns units, rounded half away from zero.
int64_t AudioTimeFromSamples(const TAudioProps& a, int64_t samples);
int64_t AudioSamplesFromTime(const TAudioProps& a, int64_t time);
