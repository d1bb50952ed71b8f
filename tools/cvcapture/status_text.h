// Statuses as the tool prints them: "0x80070057 (bad argument)".
#pragma once

#include <string>

#include "CVDeviceSCR.h"

// The meaning of a status of this system, or null for one it doesn't name.
const char* StatusMeaning(HRESULT status);
std::string StatusText(HRESULT status);
