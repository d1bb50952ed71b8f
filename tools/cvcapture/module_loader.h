// Finding and loading the component: on Windows through the registered class, else CVDeviceSCR.dll
// beside the executable; on Linux libCVDeviceSCR.so beside the executable, else by the loader's search.
// The module stays loaded until the process ends, so no object can outlive its code.
#pragma once

#include <string>

#include "CVDeviceSCR.h"

// Makes one capture device object and gives its IUnknown. On failure `detail` says what went wrong.
HRESULT CreateCaptureDevice(IUnknown** device, std::string* detail);

// The module's DllGetClassObject, as found by its name.
using GetClassObjectFn = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**);

// Makes the device through the class factory of a loaded module; `getClassObject` may be null (the
// module has no such entry), which `detail` then names with `moduleName`.
HRESULT CreateFromClassObject(GetClassObjectFn getClassObject, const char* moduleName, IUnknown** device,
                              std::string* detail);

// Frees a string that the module handed out: the module allocates it, so its own allocator frees it.
void FreeModuleString(BSTR text);

// Enters the component runtime for the calling thread, and leaves it.
HRESULT EnterComponentRuntime();
void LeaveComponentRuntime();
