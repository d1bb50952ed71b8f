// COM's vocabulary on both platforms: HRESULT and its status words, GUID, IUnknown, IClassFactory and
// counted strings. Windows takes them from the system; Linux gets stand-ins with the same semantics, so
// the rest of the code is written once.
#pragma once

#include <cstdint>

#if defined(_WIN32)

#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
#include <unknwn.h>

#define CV_THREADCALL __stdcall

#else  // Linux

#include <cstddef>

using HRESULT = int32_t;
using ULONG = uint32_t;
using LONG = int32_t;
using DWORD = uint32_t;
using UINT = unsigned int;
using BOOL = int;
using WORD = uint16_t;
using BYTE = uint8_t;
using OLECHAR = wchar_t;
using BSTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

#define STDMETHODCALLTYPE
#define CV_THREADCALL

#define S_OK ((HRESULT)0)
#define S_FALSE ((HRESULT)1)
#define E_NOTIMPL ((HRESULT)0x80004001L)
#define E_NOINTERFACE ((HRESULT)0x80004002L)
#define E_POINTER ((HRESULT)0x80004003L)
#define E_ABORT ((HRESULT)0x80004004L)
#define E_FAIL ((HRESULT)0x80004005L)
#define E_UNEXPECTED ((HRESULT)0x8000FFFFL)
#define E_ACCESSDENIED ((HRESULT)0x80070005L)
#define E_OUTOFMEMORY ((HRESULT)0x8007000EL)
#define E_INVALIDARG ((HRESULT)0x80070057L)
#define CLASS_E_NOAGGREGATION ((HRESULT)0x80040110L)
#define CLASS_E_CLASSNOTAVAILABLE ((HRESULT)0x80040111L)
#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)
#define HRESULT_FROM_WIN32(x) \
  ((HRESULT)(x) <= 0 ? ((HRESULT)(x)) : ((HRESULT)(((x) & 0x0000FFFF) | (7 << 16) | 0x80000000)))

struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool IsEqualGUID(REFGUID a, REFGUID b) {
  if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
  for (int i = 0; i < 8; ++i)
    if (a.Data4[i] != b.Data4[i]) return false;
  return true;
}
inline bool IsEqualIID(REFIID a, REFIID b) { return IsEqualGUID(a, b); }
inline bool operator==(REFGUID a, REFGUID b) { return IsEqualGUID(a, b); }

struct IUnknown {
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;

 protected:
  ~IUnknown() = default;
};

struct IClassFactory : IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** object) = 0;
  virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) = 0;

 protected:
  ~IClassFactory() = default;
};

extern const IID IID_IUnknown;
extern const IID IID_IClassFactory;

// Counted strings: a 32-bit byte count sits just before the characters, a terminating zero after them,
// and a null BSTR reads as the empty string.
BSTR SysAllocString(const OLECHAR* text);
BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
void SysFreeString(BSTR text);
UINT SysStringLen(BSTR text);
UINT SysStringByteLen(BSTR text);
int SysReAllocString(BSTR* text, const OLECHAR* newText);
int SysReAllocStringLen(BSTR* text, const OLECHAR* newText, UINT length);

#endif

// Statuses of this system that the platform headers don't name.
inline constexpr HRESULT CV_E_NOT_FOUND = static_cast<HRESULT>(0x80070490u);
inline constexpr HRESULT CV_E_BAD_INDEX = static_cast<HRESULT>(0x80070585u);
inline constexpr HRESULT CV_E_TIMEOUT = static_cast<HRESULT>(0x800705B4u);
inline constexpr HRESULT CV_E_FORMAT_REFUSED = static_cast<HRESULT>(0x8004022Au);
inline constexpr HRESULT CV_E_DEVICE_NOT_AVAILABLE = static_cast<HRESULT>(0x800710D2u);
inline constexpr HRESULT CV_E_THREAD_JOIN_SELF = static_cast<HRESULT>(0x80070610u);
inline constexpr HRESULT CV_E_ALREADY_EXISTS = static_cast<HRESULT>(0x80070050u);
