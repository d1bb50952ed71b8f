#include "device/props_impl.h"

#include <string>

#include "device/props_text.h"

namespace {
using Guard = CRWSynchroLiteGuard;

HRESULT EngineHears(IDeviceCore& core, const wchar_t* name, const wchar_t* value) {
  IDeviceCore::EngineGuard guard(core);
  if (!guard.Engine()) return S_OK;
  const HRESULT hr = guard.Engine()->OnPropertyChanged(name, value);
  return FAILED(hr) ? hr : S_OK;
}
}  // namespace

HRESULT ITPropsImpl::PropsSet(LPCOLESTR name, LPCOLESTR value) {
  Guard lock(propsLock, Guard::Side::Write);
  XMLParse::XMLNodePtr root = core_.PropsRoot();
  if (!root) return E_FAIL;
  if (!name || !*name) {
    const HRESULT hr = ApplyPropsText(*root, value);
    if (FAILED(hr)) return hr;
    return EngineHears(core_, nullptr, value);
  }
  bool found = false;
  const std::wstring earlier = root->GetString(name, {}, &found);
  const std::wstring_view text = value ? std::wstring_view(value) : std::wstring_view();
  if (!root->SetString(name, text)) return E_INVALIDARG;
  if (skipUnchanged && !text.empty() && !earlier.empty() && earlier == text) return S_FALSE;
  return EngineHears(core_, name, value ? value : L"");
}

HRESULT ITPropsImpl::PropsGet(LPCOLESTR name, BSTR* value) {
  if (!value) return E_POINTER;
  Guard lock(propsLock, Guard::Side::Read);
  XMLParse::XMLNodePtr root = core_.PropsRoot();
  if (!root) return E_FAIL;
  if (!name || !*name) {
    const std::wstring xml = root->ToXML();
    *value = SysAllocStringLen(xml.data(), static_cast<UINT>(xml.size()));
    return S_OK;
  }
  bool found = false;
  const std::wstring text = root->GetString(name, {}, &found);
  if (!found) return S_FALSE;
  *value = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  return S_OK;
}

HRESULT ITPropsImpl::PropsCount(LPCOLESTR, int32_t*) { return E_NOTIMPL; }
HRESULT ITPropsImpl::PropsGetByIndex(LPCOLESTR, int32_t, BSTR*, BSTR*, int32_t*) { return E_NOTIMPL; }
HRESULT ITPropsImpl::PropsRemove(LPCOLESTR) { return E_NOTIMPL; }
HRESULT ITPropsImpl::PropsInfo(LPCOLESTR, int32_t, BSTR*) { return E_NOTIMPL; }
HRESULT ITPropsImpl::PropsOptionsCount(LPCOLESTR, int32_t*) { return E_NOTIMPL; }
HRESULT ITPropsImpl::PropsOptionsGetByIndex(LPCOLESTR, int32_t, BSTR*, BSTR*) { return E_NOTIMPL; }
HRESULT ITPropsImpl::PropsOptionsSet(LPCOLESTR, int32_t) { return E_NOTIMPL; }
HRESULT ITPropsImpl::PropsOptionsGet(LPCOLESTR, int32_t*, BSTR*, BSTR*) { return E_NOTIMPL; }
