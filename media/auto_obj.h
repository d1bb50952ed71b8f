// AutoObjBase and TRefPtr live with the seams, whose gpu objects are counted the same way.
#pragma once

#include "platform/auto_obj.h"
