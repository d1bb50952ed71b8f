// The capture engine: the contract between the device and an engine, the engines, and the rules that
// give output frames their format and their time.
#pragma once

#include "engine/capture_base.h"
#include "engine/frame_format.h"
#include "engine/frame_stamp.h"
#include "engine/test_pattern.h"
#include "engine/test_pattern_engine.h"
