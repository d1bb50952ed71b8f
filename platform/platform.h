// The seams between the logic and the machine.
#pragma once

#include "platform/com_types.h"
#include "platform/critical_section.h"
#include "platform/kernel.h"
#include "platform/system.h"
