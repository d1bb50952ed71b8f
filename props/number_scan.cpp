// The lenient number readers. Integers are read by hand; doubles are measured here and converted by
// std::from_chars, which rounds correctly and ignores the locale on every platform.
#include "props/number_text.h"

#include <charconv>
#include <limits>
#include <string>
#include <system_error>

#include "props/text_chars.h"

using cv_text::DigitValue;
using cv_text::FoldAscii;
using cv_text::IsAsciiDigit;
using cv_text::IsAsciiSpace;

namespace {

struct IntegerScan {
  uint64_t magnitude = 0;
  bool negative = false;
  bool overflow = false;  // the magnitude did not fit 64 bits
  size_t used = 0;
};

size_t SkipSpaceAndSign(std::wstring_view text, bool& negative) {
  size_t i = 0;
  while (i < text.size() && IsAsciiSpace(text[i])) ++i;
  negative = false;
  if (i < text.size() && (text[i] == L'+' || text[i] == L'-')) {
    negative = text[i] == L'-';
    ++i;
  }
  return i;
}

bool HasHexPrefix(std::wstring_view text, size_t i) {
  return i + 2 < text.size() && text[i] == L'0' && FoldAscii(text[i + 1]) == L'x' && DigitValue(text[i + 2]) < 16;
}

IntegerScan ScanMagnitude(std::wstring_view text, int base) {
  IntegerScan scan;
  if (base < 0 || base == 1 || base > 36) return scan;
  size_t i = SkipSpaceAndSign(text, scan.negative);
  // "0x" counts as a prefix only with a hexadecimal digit behind it; otherwise the "0" alone is the
  // number, as in the C runtime.
  if ((base == 0 || base == 16) && HasHexPrefix(text, i)) {
    i += 2;
    base = 16;
  } else if (base == 0) {
    base = (i < text.size() && text[i] == L'0') ? 8 : 10;
  }
  const uint64_t max = std::numeric_limits<uint64_t>::max();
  const size_t first = i;
  for (; i < text.size(); ++i) {
    const int digit = DigitValue(text[i]);
    if (digit >= base) break;
    if (scan.magnitude > (max - static_cast<uint64_t>(digit)) / static_cast<uint64_t>(base))
      scan.overflow = true;
    else
      scan.magnitude = scan.magnitude * static_cast<uint64_t>(base) + static_cast<uint64_t>(digit);
  }
  if (i == first) return IntegerScan{};
  scan.used = i;
  return scan;
}

// Signed result of `bits` width, saturating like strtol.
int64_t ClampSigned(const IntegerScan& scan, int bits) {
  const uint64_t limit = uint64_t{1} << (bits - 1);  // magnitude of the most negative value
  if (scan.negative) {
    if (scan.overflow || scan.magnitude >= limit) return -static_cast<int64_t>(limit - 1) - 1;
    return -static_cast<int64_t>(scan.magnitude);
  }
  if (scan.overflow || scan.magnitude > limit - 1) return static_cast<int64_t>(limit - 1);
  return static_cast<int64_t>(scan.magnitude);
}

// Unsigned result of `bits` width, saturating like strtoul; a minus sign negates modulo the width.
uint64_t ClampUnsigned(const IntegerScan& scan, int bits) {
  const uint64_t max = bits == 64 ? std::numeric_limits<uint64_t>::max() : (uint64_t{1} << bits) - 1;
  if (scan.overflow || scan.magnitude > max) return max;
  return scan.negative ? (uint64_t{0} - scan.magnitude) & max : scan.magnitude;
}

void Report(size_t* used, size_t value) {
  if (used) *used = value;
}

// --- floating point ---

bool MatchNoCase(std::wstring_view text, size_t at, std::string_view word) {
  if (text.size() - at < word.size()) return false;
  for (size_t k = 0; k < word.size(); ++k)
    if (FoldAscii(text[at + k]) != static_cast<wchar_t>(word[k])) return false;
  return true;
}

constexpr int64_t kExponentLimit = int64_t{1} << 40;  // far beyond any double, far from overflow

int64_t AddSaturated(int64_t a, int64_t b) {
  const int64_t sum = a + b;  // both operands stay well inside +-2^62 by construction
  return sum > kExponentLimit ? kExponentLimit : (sum < -kExponentLimit ? -kExponentLimit : sum);
}

// Reads "[+-]digits" of an exponent at i; leaves i alone when no digit follows.
int64_t ScanExponent(std::wstring_view text, size_t& i) {
  size_t k = i + 1;
  bool negative = false;
  if (k < text.size() && (text[k] == L'+' || text[k] == L'-')) negative = text[k++] == L'-';
  if (k >= text.size() || !IsAsciiDigit(text[k])) return 0;
  int64_t value = 0;
  for (; k < text.size() && IsAsciiDigit(text[k]); ++k)
    if (value < kExponentLimit) value = value * 10 + (text[k] - L'0');
  i = k;
  return negative ? -value : value;
}

// Significant digits (no leading zeros) with the power that scales them: value = digits x radix^power.
struct Mantissa {
  std::string digits;
  int64_t power = 0;
};

// Reads digits[.digits] of the given radix (10 or 16) from i; false when there is no digit at all.
bool ScanMantissa(std::wstring_view text, size_t& i, int radix, int64_t fractionStep, Mantissa& m) {
  size_t k = i;
  bool any = false;
  bool point = false;
  for (; k < text.size(); ++k) {
    const wchar_t c = text[k];
    if (c == L'.' && !point) {
      point = true;
      continue;
    }
    if (DigitValue(c) >= radix) break;
    any = true;
    if (point) m.power -= fractionStep;
    if (m.digits.empty() && c == L'0') continue;
    m.digits.push_back(static_cast<char>(c));
  }
  if (!any) return false;
  i = k;
  return true;
}

double Convert(Mantissa& m, char exponentMark, int64_t digitWeight, std::chars_format format) {
  if (m.digits.empty()) return 0.0;
  while (m.digits.size() > 1 && m.digits.back() == '0') {
    m.digits.pop_back();
    m.power = AddSaturated(m.power, digitWeight);
  }
  std::string text = m.digits;
  text += exponentMark;
  text += std::to_string(m.power);
  double value = 0.0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value, format);
  if (result.ec == std::errc::result_out_of_range) {
    // Too big or too small for a double: the leading digit's weight tells which.
    const int64_t top = AddSaturated(static_cast<int64_t>(m.digits.size()) * digitWeight, m.power);
    return top > 0 ? std::numeric_limits<double>::infinity() : 0.0;
  }
  return result.ec == std::errc{} ? value : 0.0;
}

}  // namespace

int32_t ScanInt32(std::wstring_view text, int base, size_t* used) {
  const IntegerScan scan = ScanMagnitude(text, base);
  Report(used, scan.used);
  return static_cast<int32_t>(ClampSigned(scan, 32));
}

uint32_t ScanUInt32(std::wstring_view text, int base, size_t* used) {
  const IntegerScan scan = ScanMagnitude(text, base);
  Report(used, scan.used);
  return static_cast<uint32_t>(ClampUnsigned(scan, 32));
}

int64_t ScanInt64(std::wstring_view text, int base, size_t* used) {
  const IntegerScan scan = ScanMagnitude(text, base);
  Report(used, scan.used);
  return ClampSigned(scan, 64);
}

uint64_t ScanUInt64(std::wstring_view text, int base, size_t* used) {
  const IntegerScan scan = ScanMagnitude(text, base);
  Report(used, scan.used);
  return ClampUnsigned(scan, 64);
}

double ScanDouble(std::wstring_view text, size_t* used) {
  bool negative = false;
  size_t i = SkipSpaceAndSign(text, negative);
  double value = 0.0;
  bool read = true;
  if (MatchNoCase(text, i, "inf")) {
    i += MatchNoCase(text, i, "infinity") ? 8 : 3;
    value = std::numeric_limits<double>::infinity();
  } else if (MatchNoCase(text, i, "nan")) {
    i += 3;
    size_t k = i;
    if (k < text.size() && text[k] == L'(') {
      ++k;
      while (k < text.size() && (DigitValue(text[k]) < 36 || text[k] == L'_')) ++k;
      if (k < text.size() && text[k] == L')') i = k + 1;
    }
    value = std::numeric_limits<double>::quiet_NaN();
  } else {
    Mantissa m;
    size_t k = i + 2;
    const bool hex = i + 1 < text.size() && text[i] == L'0' && FoldAscii(text[i + 1]) == L'x';
    if (hex && ScanMantissa(text, k, 16, 4, m)) {
      if (k < text.size() && FoldAscii(text[k]) == L'p') m.power = AddSaturated(m.power, ScanExponent(text, k));
      value = Convert(m, 'p', 4, std::chars_format::hex);
      i = k;
    } else {
      // Without a hexadecimal digit behind it, "0x" is the number 0 followed by an "x".
      m = Mantissa{};
      k = i;
      if (ScanMantissa(text, k, 10, 1, m)) {
        if (k < text.size() && FoldAscii(text[k]) == L'e') m.power = AddSaturated(m.power, ScanExponent(text, k));
        value = Convert(m, 'e', 1, std::chars_format::scientific);
        i = k;
      } else {
        read = false;
      }
    }
  }
  if (!read) {
    Report(used, 0);
    return 0.0;
  }
  Report(used, i);
  return negative ? -value : value;
}
