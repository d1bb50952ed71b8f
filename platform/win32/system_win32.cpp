#include <windows.h>
#include <objbase.h>

#include "platform/system.h"

namespace cvplat {

void* ProcessHeapAlloc(size_t bytes) { return HeapAlloc(GetProcessHeap(), 0, bytes ? bytes : 1); }
void ProcessHeapFree(void* block) {
  if (block) HeapFree(GetProcessHeap(), 0, block);
}

HRESULT EnterMultithreadedApartment() { return CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
void LeaveApartment() { CoUninitialize(); }

HRESULT CreateFreeThreadedMarshaler(IUnknown* outer, IUnknown** marshaler) {
  if (!marshaler) return E_POINTER;
  *marshaler = nullptr;
  return CoCreateFreeThreadedMarshaler(outer, marshaler);
}

void ShowSystemWarning(const wchar_t* caption, const wchar_t* text) {
  MessageBoxW(nullptr, text, caption, MB_OK | MB_ICONWARNING | MB_SYSTEMMODAL);
}

const char* PlatformName() {
#if defined(_WIN64)
  return "windows-x86_64";
#else
  return "windows-x86";
#endif
}

}  // namespace cvplat
