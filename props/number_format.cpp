// The fixed number renderings. std::to_chars writes the same digits on every platform and in every
// locale, which printf does not promise (the Windows runtimes round "%f" of large values differently).
#include <charconv>
#include <cmath>
#include <string>

#include "props/number_text.h"

namespace {

std::wstring Widen(const char* begin, const char* end) { return std::wstring(begin, end); }

template <typename T>
std::wstring Decimal(T value) {
  char buffer[24];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return Widen(buffer, result.ptr);
}

std::wstring Hex(uint64_t value, int width) {
  std::wstring text = L"0x";
  for (int shift = (width - 1) * 4; shift >= 0; shift -= 4) text += L"0123456789ABCDEF"[(value >> shift) & 0xF];
  return text;
}

}  // namespace

std::wstring FormatInt32(int32_t value) { return Decimal(value); }

std::wstring FormatInt64(int64_t value) { return Decimal(value); }

std::wstring FormatHex32(uint32_t value) { return Hex(value, 8); }

std::wstring FormatHex64(uint64_t value) { return Hex(value, 16); }

std::wstring FormatBool(bool value) { return value ? L"true" : L"false"; }

std::wstring FormatDouble(double value) {
  if (std::isnan(value)) return std::signbit(value) ? L"-nan" : L"nan";
  if (std::isinf(value)) return value < 0 ? L"-inf" : L"inf";
  // The longest finite value has 309 integer digits.
  char buffer[330];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 6);
  const char* end = result.ptr;
  while (end[-1] == '0' && end[-2] != '.') --end;
  return Widen(buffer, end);
}
