// Counted strings of the tree. A failed allocation of one is the only failure that the tree raises
// instead of reporting: it throws TreeOutOfMemory, which the COM surface turns back into E_OUTOFMEMORY.
#pragma once

#include <cstddef>
#include <new>
#include <string_view>
#include <utility>

#include "platform/com_types.h"

namespace XMLParse {

struct TreeOutOfMemory : std::bad_alloc {
  const char* what() const noexcept override { return "tree string allocation failed"; }
  HRESULT Status() const { return E_OUTOFMEMORY; }
};

// Copies `text`; a null text stays null (the name of a text node).
inline BSTR TreeAllocString(const wchar_t* text, size_t length) {
  if (!text) return nullptr;
  BSTR s = SysAllocStringLen(text, static_cast<UINT>(length));
  if (!s) throw TreeOutOfMemory();
  return s;
}

inline BSTR TreeAllocString(std::wstring_view text) {
  // Never null: an empty view still gives an empty string.
  return TreeAllocString(text.data() ? text.data() : L"", text.size());
}

// Length up to the first NUL, at most `limit`.
inline size_t BoundedLength(const wchar_t* text, size_t limit = static_cast<size_t>(-1)) {
  size_t n = 0;
  if (text)
    while (n < limit && text[n] != 0) ++n;
  return n;
}

// A string argument of the COM surface as a view; null reads as empty.
inline std::wstring_view ComArg(LPCOLESTR text) {
  return text ? std::wstring_view(text, BoundedLength(text)) : std::wstring_view();
}

// Runs the body of a COM operation: a failed allocation inside comes back as E_OUTOFMEMORY, so that no
// exception leaves the surface.
template <class F>
HRESULT ComGuarded(F body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

// Owns one counted string for a scope.
class TBstr {
 public:
  TBstr() = default;
  explicit TBstr(BSTR s) : s_(s) {}
  ~TBstr() { SysFreeString(s_); }
  TBstr(const TBstr&) = delete;
  TBstr& operator=(const TBstr&) = delete;
  TBstr(TBstr&& o) noexcept : s_(std::exchange(o.s_, nullptr)) {}
  TBstr& operator=(TBstr&& o) noexcept {
    std::swap(s_, o.s_);
    return *this;
  }
  BSTR Get() const { return s_; }
  BSTR Detach() { return std::exchange(s_, nullptr); }
  BSTR* Out() {
    SysFreeString(s_);
    s_ = nullptr;
    return &s_;
  }
  std::wstring_view View() const { return s_ ? std::wstring_view(s_, SysStringLen(s_)) : std::wstring_view(); }

 private:
  BSTR s_ = nullptr;
};

}  // namespace XMLParse
