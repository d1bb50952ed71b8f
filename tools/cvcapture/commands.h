// The tool's commands over one device object. Each returns the process's exit status: 0 done, 1 when
// the component reported a failure (its status printed as "0x80070057 (bad argument)").
#pragma once

#include <string>

#include "CVDeviceSCR.h"
#include "tools/cvcapture/cli_args.h"

int RunDevices(IUnknown* device);
int RunProps(IUnknown* device, const TCommand& command);
int RunFormats(IUnknown* device, const TCommand& command);
int RunFormatSet(IUnknown* device, const TCommand& command);
int RunCapture(IUnknown* device, const TCommand& command);

// Prints "cvcapture: WHAT: STATUS" on standard error and gives 1.
int ReportFailure(const std::string& what, HRESULT status);
// Prints a line on standard output, or on standard error once that carries the video.
void PrintLine(const std::string& line);
// From now on PrintLine writes to standard error.
void MessagesToStandardError();
