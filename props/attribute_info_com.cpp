// The COM face of the attribute descriptions: argument checks and statuses around attribute_info.h.
#include <new>

#include "props/attribute_info.h"
#include "props/tree_alloc.h"

namespace XMLParse {

namespace {

// A present field goes out as S_OK; a field the entry lacks goes out as a null string and S_FALSE.
HRESULT GiveField(const std::optional<std::wstring>& field, BSTR* out) {
  if (!field) {
    *out = nullptr;
    return S_FALSE;
  }
  *out = TreeAllocString(*field);
  return S_OK;
}

}  // namespace

HRESULT STDMETHODCALLTYPE CoXMLNode::InfoCount(LONG* count) {
  if (!count) return E_POINTER;
  const int32_t n = CountInfoEntries(*this);
  *count = n;
  return n >= 1 ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::InfoName(LONG index, BSTR* name) {
  if (index < 0) return E_INVALIDARG;
  if (!name) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    std::wstring text;
    const HRESULT hr = InfoEntryName(*this, static_cast<int32_t>(index), text);
    if (hr != S_OK) return hr;
    *name = TreeAllocString(text);
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::InfoField(LPCOLESTR path, LONG field, BSTR* value) {
  if (!path || !*path || field < 0 || field >= kInfoFieldCount) return E_INVALIDARG;
  if (!value) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    std::optional<std::wstring> text;
    if (!ReadInfoField(*this, ComArg(path), static_cast<int32_t>(field), text)) return S_FALSE;
    return GiveField(text, value);
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::InfoOptionField(LPCOLESTR path, LPCOLESTR option, LPCOLESTR fieldName,
                                                     BSTR* value) {
  if (!path || !*path || !option || !*option) return E_INVALIDARG;
  if (!value) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    std::optional<std::wstring> text;
    if (!ReadInfoOption(*this, ComArg(path), ComArg(option), ComArg(fieldName), text)) return S_FALSE;
    return GiveField(text, value);
  });
}

// Descriptions are read with InfoField field 0; there are no shared description objects to answer from.
HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeDescription(LPCOLESTR, BSTR* description) {
  if (!description) return E_POINTER;
  return S_FALSE;
}

}  // namespace XMLParse
