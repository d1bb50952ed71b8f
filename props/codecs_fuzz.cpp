// Feeds arbitrary bytes to the value codecs, read as text of 16-bit units (what Windows hands over)
// and of 32-bit units (any wchar_t Linux can hold, negative ones included). Besides crashes and
// sanitizer reports it checks the promises the codecs make to their callers.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "props/number_text.h"
#include "props/value_codecs.h"

namespace {

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

bool IsNameSeparator(wchar_t c) {
  return c == L' ' || c == L'\n' || c == L'\r' || c == L'\t' || c == L';' || c == L',';
}

size_t LengthToNul(const std::wstring& text) {
  const size_t end = text.find(L'\0');
  return end == std::wstring::npos ? text.size() : end;
}

void CheckColour(const std::wstring& text) {
  const Colour colour = ParseColor(text, 0x12345678);
  // Whatever was read must survive a write and a read with another default.
  Require(ParseColor(ColorToText(colour), ~colour) == colour);
}

void CheckNumbers(const std::wstring& text) {
  size_t used = 0;
  const int64_t i64 = ScanInt64(text, 0, &used);
  Require(used <= text.size());
  Require(ScanInt64(FormatInt64(i64), 0) == i64);
  const uint32_t u32 = ScanUInt32(text, 16, &used);
  Require(used <= text.size());
  Require(ScanUInt32(FormatHex32(u32), 0) == u32);
  (void)ScanInt32(text, static_cast<int>(text.size() % 40), &used);
  Require(used <= text.size());

  const double d = ScanDouble(text, &used);
  Require(used <= text.size());
  if (used == 0) Require(d == 0.0);
  const double p = ParseDouble(text);
  if (std::isfinite(p)) {
    const double back = ScanDouble(FormatDouble(p));
    Require(std::fabs(back - p) <= 5e-7 + std::fabs(p) * 1e-15);
  }
  (void)ParseBool(text);
}

bool IsAscii(const std::wstring& text) {
  for (wchar_t c : text)
    if (c <= 0 || c >= 0x80) return false;
  return true;
}

bool SameDouble(double a, double b) {
  if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return a == b && std::signbit(a) == std::signbit(b);
}

// On plain ASCII text the C runtime of this platform is an oracle for the readers: it has the same
// forms, and here its long is 64 bits and its doubles are correctly rounded.
void CheckAgainstRuntime(const std::wstring& text) {
  if (!IsAscii(text)) return;
  const wchar_t* begin = text.c_str();
  wchar_t* end = nullptr;
  size_t used = 0;
  for (int base : {0, 8, 10, 16, 36}) {
    const long long expected = std::wcstoll(begin, &end, base);
    Require(ScanInt64(text, base, &used) == expected && used == static_cast<size_t>(end - begin));
    const unsigned long long expectedUnsigned = std::wcstoull(begin, &end, base);
    Require(ScanUInt64(text, base, &used) == expectedUnsigned && used == static_cast<size_t>(end - begin));
  }
  const double expected = std::wcstod(begin, &end);
  Require(SameDouble(ScanDouble(text, &used), expected) && used == static_cast<size_t>(end - begin));

  long v[4] = {0, 0, 0, 0};
  const int read = std::swscanf(begin, L"%ld,%ld,%ld,%ld", &v[0], &v[1], &v[2], &v[3]);
  bool valid = read != EOF;
  for (long value : v) valid = valid && value >= -3000 && value <= 3000;
  valid = valid && v[0] < v[2] && v[1] < v[3];
  TRect rect{};
  Require(ParseRect(text, rect) == valid);
}

void CheckRect(const std::wstring& text) {
  TRect rect{1, 2, 3, 4};
  if (ParseRect(text, rect)) {
    Require(rect.left >= -3000 && rect.right <= 3000 && rect.top >= -3000 && rect.bottom <= 3000);
    Require(rect.left < rect.right && rect.top < rect.bottom);
  } else {
    Require(rect.left == 1 && rect.top == 2 && rect.right == 3 && rect.bottom == 4);
  }
}

void CheckLists(const std::wstring& text) {
  const bool empty = LengthToNul(text) == 0;
  std::vector<std::wstring> names;
  const HRESULT named = SplitNames(text, names);
  Require(empty ? named == E_INVALIDARG : (named == (names.empty() ? S_FALSE : S_OK)));
  for (const std::wstring& name : names) {
    Require(!name.empty());
    for (wchar_t c : name) Require(!IsNameSeparator(c) && c != L'\0');
  }

  std::vector<std::wstring> parts;
  const wchar_t separator = text.empty() ? L',' : text[0];
  const HRESULT split = SplitBy(text, parts, separator);
  Require(empty ? split == E_INVALIDARG : (split == (parts.empty() ? S_FALSE : S_OK)));
  for (const std::wstring& part : parts) Require(!part.empty() && part.find(separator) == std::wstring::npos);

  std::vector<int32_t> numbers;
  std::vector<std::wstring> texts;
  const HRESULT counted = SplitNumbers(text, numbers, &texts, true);
  Require(empty ? counted == E_INVALIDARG : (counted == (numbers.empty() ? S_FALSE : S_OK)));
  Require(numbers.size() == texts.size());
  for (size_t k = 1; k < numbers.size(); ++k) Require(numbers[k] != numbers[0]);

  static const wchar_t* const kModes[] = {L"DXGI", L"DirectX", L"GDI", nullptr};
  int32_t index = -1;
  if (IndexInList(kModes, text, index))
    Require(index >= 0 && index < 3);
  else
    Require(index == -1);
}

void CheckAll(const std::wstring& text) {
  CheckColour(text);
  CheckNumbers(text);
  CheckAgainstRuntime(text);
  CheckRect(text);
  CheckLists(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::wstring units16;
  for (size_t k = 0; k + 1 < size; k += 2)
    units16.push_back(static_cast<wchar_t>(data[k] | (data[k + 1] << 8)));
  CheckAll(units16);

  std::wstring units32;
  for (size_t k = 0; k + 3 < size; k += 4) {
    uint32_t unit;
    std::memcpy(&unit, data + k, 4);
    units32.push_back(static_cast<wchar_t>(unit));
  }
  CheckAll(units32);

  // Plain bytes widened one by one: the shape of most texts a user types.
  CheckAll(std::wstring(data, data + size));
  return 0;
}
