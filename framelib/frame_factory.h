// The process-wide frame factory: made on first use from any thread, kept until the process ends.
#pragma once

#include "CVDeviceSCR.h"

// The factory with one reference for the caller; never null.
ICVFactory* GetFrameFactory();
