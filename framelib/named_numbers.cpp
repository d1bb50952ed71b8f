#include "framelib/named_numbers.h"

#include <new>
#include <string_view>

HRESULT TNamedNumbers::Set(const wchar_t* name, int64_t value) {
  if (!name || !*name) return E_INVALIDARG;
  try {
    numbers_.insert_or_assign(std::wstring(name), value);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT TNamedNumbers::Get(const wchar_t* name, int64_t* value) const {
  if (!value) return E_POINTER;
  if (!name || !*name) return E_INVALIDARG;
  const auto it = numbers_.find(std::wstring_view(name));
  if (it == numbers_.end()) return CV_E_NOT_FOUND;
  *value = it->second;
  return S_OK;
}

HRESULT TNamedNumbers::Remove(const wchar_t* name) {
  if (!name || !*name) return E_INVALIDARG;
  const auto it = numbers_.find(std::wstring_view(name));
  if (it == numbers_.end()) return S_FALSE;
  numbers_.erase(it);
  return S_OK;
}

bool TNamedNumbers::CopyTo(TNamedNumbers* out) const {
  try {
    out->numbers_ = numbers_;
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}
