#include "tools/cvcapture/value_check.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cwchar>

#include "tools/cvcapture/wide_text.h"

namespace {

bool EqualsNoCase(const std::wstring& a, const std::wstring& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    const wchar_t x = a[i] >= L'A' && a[i] <= L'Z' ? a[i] - L'A' + L'a' : a[i];
    const wchar_t y = b[i] >= L'A' && b[i] <= L'Z' ? b[i] - L'A' + L'a' : b[i];
    if (x != y) return false;
  }
  return true;
}

// The whole text as a number; a "%" behind it is a hundredth, as the readers take it.
bool ReadNumber(const std::wstring& text, double* value) {
  if (text.empty()) return false;
  wchar_t* end = nullptr;
  const double v = std::wcstod(text.c_str(), &end);
  if (end == text.c_str() || !std::isfinite(v)) return false;
  if (*end == L'%' && end[1] == L'\0') {
    *value = v / 100;
    return true;
  }
  *value = v;
  return *end == L'\0';
}

// Decimal, or hexadecimal after "0x", with no sign.
bool IsWholeNumber(const std::wstring& text) {
  if (text.empty() || text[0] < L'0' || text[0] > L'9') return false;
  wchar_t* end = nullptr;
  errno = 0;
  std::wcstoull(text.c_str(), &end, 0);
  return errno == 0 && *end == L'\0';
}

}  // namespace

std::string DescriptionRejects(const TKeyDescription& description, const std::wstring& value) {
  if (description.type == L"option_fixed" && !description.options.empty()) {
    for (const std::wstring& option : description.options)
      if (EqualsNoCase(option, value)) return "";
    std::string list;
    for (const std::wstring& option : description.options) list += (list.empty() ? "" : ", ") + ToUtf8(option);
    return "is not one of " + list;
  }
  if (description.type == L"uint" && !IsWholeNumber(value)) return "is not a whole number of 0 or more";
  double number = 0;
  const bool isNumber = ReadNumber(value, &number);
  if (description.type == L"float" && !isNumber) return "is not a number";
  double limit = 0;
  if (isNumber && ReadNumber(description.min, &limit) && number < limit)
    return "is below the minimum " + ToUtf8(description.min);
  if (isNumber && ReadNumber(description.max, &limit) && number > limit)
    return "is above the maximum " + ToUtf8(description.max);
  return "";
}
