// The five entries the module exports by name, undecorated, on every platform. A Windows host reaches
// them through the component runtime (CoCreateInstance, regsvr32); a Linux host loads the module by its
// file and calls DllGetClassObject itself.
#pragma once

#include "platform/com_types.h"

#if defined(_WIN32)
#define CV_MODULE_ENTRY extern "C" HRESULT __stdcall
#else
#define CV_MODULE_ENTRY extern "C" __attribute__((visibility("default"))) HRESULT
#endif

// S_OK when nothing holds the module any more, else S_FALSE.
CV_MODULE_ENTRY DllCanUnloadNow();
// The class factory of CLSID_CoCVCaptureSCR; CLASS_E_CLASSNOTAVAILABLE for any other class.
CV_MODULE_ENTRY DllGetClassObject(REFCLSID rclsid, REFIID riid, void** object);
// The class keys, machine-wide or, after DllInstall with "user", under the user's own classes.
CV_MODULE_ENTRY DllRegisterServer();
CV_MODULE_ENTRY DllUnregisterServer();
// install non-zero registers (undone again on failure), zero unregisters; commandLine "user" (any letter
// case) switches the process to per-user registration.
CV_MODULE_ENTRY DllInstall(BOOL install, const wchar_t* commandLine);

// Function types of the entries, for hosts that look them up by name.
using DllCanUnloadNowFn = HRESULT(STDMETHODCALLTYPE*)();
using DllGetClassObjectFn = HRESULT(STDMETHODCALLTYPE*)(REFCLSID, REFIID, void**);
using DllRegisterServerFn = HRESULT(STDMETHODCALLTYPE*)();
using DllInstallFn = HRESULT(STDMETHODCALLTYPE*)(BOOL, const wchar_t*);
