// Character classes shared by the value codecs. Only ASCII counts as a digit, a letter or a blank:
// wchar_t is 16 bits on Windows and 32 bits on Linux, and the classes of the C library depend on the
// locale and on the runtime, so none of them is used. Any other code unit is simply not a member.
#pragma once

#include <cstddef>
#include <string_view>

namespace cv_text {

inline bool IsAsciiSpace(wchar_t c) {
  return c == L' ' || c == L'\t' || c == L'\n' || c == L'\v' || c == L'\f' || c == L'\r';
}

inline bool IsAsciiDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

inline wchar_t FoldAscii(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c; }

// Value of c as a digit of any base up to 36; 99 for anything else.
inline int DigitValue(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'z') return c - L'a' + 10;
  if (c >= L'A' && c <= L'Z') return c - L'A' + 10;
  return 99;
}

inline bool EqualsNoCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  return true;
}

// Texts arrive as counted strings, but every reader treats the first NUL as the end, as a reader of
// the plain C string would.
inline std::wstring_view UpToNul(std::wstring_view text) {
  size_t end = text.find(L'\0');
  return end == std::wstring_view::npos ? text : text.substr(0, end);
}

}  // namespace cv_text
