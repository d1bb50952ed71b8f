// Process-level services that the logic needs besides kernel objects: the process heap, the component
// runtime's apartment for worker threads, and a warning shown to a person.
#pragma once

#include <cstddef>

#include "platform/com_types.h"

namespace cvplat {

// Raw blocks of the process heap; null on failure.
void* ProcessHeapAlloc(size_t bytes);
void ProcessHeapFree(void* block);

// Each worker thread enters a multi-threaded apartment for its life. Leave only after a successful enter.
HRESULT EnterMultithreadedApartment();
void LeaveApartment();

// The free-threaded marshaler aggregated by `outer`: the object's interfaces may then be used from any
// apartment without a proxy. On a platform without the component runtime there is nothing to marshal:
// S_OK with a null *marshaler.
HRESULT CreateFreeThreadedMarshaler(IUnknown* outer, IUnknown** marshaler);

// A warning for a person: a system-modal message box on Windows, a line on standard error on Linux.
void ShowSystemWarning(const wchar_t* caption, const wchar_t* text);

// What the module was built for, e.g. "windows-x86_64", "linux-x86_64".
const char* PlatformName();

}  // namespace cvplat
