// Media formats and time: records, reference counting, clocks, waits, threads and locks.
#pragma once

#include "media/auto_obj.h"
#include "media/av_props.h"
#include "media/blob_holder.h"
#include "media/clock.h"
#include "media/locked_ptr.h"
#include "media/rw_lock.h"
#include "media/time_math.h"
#include "media/timed_wait.h"
#include "media/worker_thread.h"
