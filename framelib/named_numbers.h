// Signed 64-bit numbers by name, for a frame's labels and values. Names compare exactly. Not locked:
// the frame that owns the set guards it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/com_types.h"

class TNamedNumbers {
 public:
  // E_INVALIDARG for a null or empty name, E_OUTOFMEMORY when the name can't be stored.
  HRESULT Set(const wchar_t* name, int64_t value);
  // CV_E_NOT_FOUND when there is no number of that name.
  HRESULT Get(const wchar_t* name, int64_t* value) const;
  // S_FALSE when there was none.
  HRESULT Remove(const wchar_t* name);
  size_t Count() const { return numbers_.size(); }

  // A copy; false when the memory can't be had.
  bool CopyTo(TNamedNumbers* out) const;

 private:
  std::map<std::wstring, int64_t, std::less<>> numbers_;
};
