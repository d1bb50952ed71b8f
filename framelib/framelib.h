// The frame library: reference-counted, free-threaded frames with a format, a time, a picture, planar
// sound, labels and named values, made by the process-wide factory.
#pragma once

#include "CVDeviceSCR.h"
#include "framelib/frame.h"
#include "framelib/frame_factory.h"
#include "framelib/picture_layout.h"
