// Numbers as text: the lenient readers behind every typed read of a value, and the fixed renderings
// that the tree and the settings store write.
//
// The readers behave like the C runtime's wide conversions (wcstol, wcstoul, _wcstoi64, wcstod) in the
// "C" locale, but give the same answer on every platform: ASCII blanks and digits only, and the widths
// are those of Windows (a "long" is 32 bits). Each one skips leading blanks, takes an optional sign and
// reads as far as it can; `used` receives the characters consumed, blanks and sign included, or 0 when
// the text starts with no number (the result is then 0). Out-of-range values saturate as the C runtime
// does; an unsigned reader negates a minus-signed value modulo its width. None of them ever fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// base 0 chooses by prefix: "0x" or "0X" hexadecimal, a leading "0" octal, else decimal. 2..36 are
// taken as given ("0x" is still allowed with 16); any other base reads nothing.
int32_t ScanInt32(std::wstring_view text, int base, size_t* used = nullptr);
uint32_t ScanUInt32(std::wstring_view text, int base, size_t* used = nullptr);
int64_t ScanInt64(std::wstring_view text, int base, size_t* used = nullptr);
uint64_t ScanUInt64(std::wstring_view text, int base, size_t* used = nullptr);

// Decimal with optional point and exponent, hexadecimal with "0x" and an optional binary exponent
// "p", "inf", "infinity" and "nan" (with an optional "(chars)"), letters in any case. Correctly
// rounded to the nearest double; beyond the range of a double the result is +-infinity or +-0.
double ScanDouble(std::wstring_view text, size_t* used = nullptr);

std::wstring FormatInt32(int32_t value);   // "%d"
std::wstring FormatInt64(int64_t value);   // "%I64d"
std::wstring FormatHex32(uint32_t value);  // "0x%08X"
std::wstring FormatHex64(uint64_t value);  // "0x%016I64X"
std::wstring FormatBool(bool value);       // "true" or "false"

// "%f" (six decimals, exact), then trailing zeros dropped down to one digit after the point:
// 30.0 gives "30.0", 0.2 gives "0.2", -0.0 gives "-0.0". Infinities and NaN give "inf", "-inf",
// "nan" and "-nan" on every platform.
std::wstring FormatDouble(double value);
