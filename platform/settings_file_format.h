// The text form of a settings key, for the systems that keep settings in files. UTF-8, one value a line:
//
//   capture.fps_limit = "30.0"
//   capture.screenshot_timeout = dword:15
//   big.number = qword:16
//   path = expand:"%HOME%/clips"
//   "name with = or \"quotes\"" = "line one\nline two"
//   # a comment
//
// Numbers are decimal (a leading '-' gives the two's complement) or hexadecimal after "0x". Texts are in
// double quotes with the escapes \\ \" \n \r \t and \u{HEX} for any other character. A name of other
// characters than letters, digits, '.', '_' and '-' is quoted like a text; "" is the default value.
// A value of another kind, e.g. `blob = hex:01,02`, is kept but not read. A line with a name whose value
// cannot be read is bad data: kept, reported as such, and replaced when that name is written. Any other
// line is kept as it stands. A later line of the same name wins.
//
// Reading never fails: any bytes give a table. The reader is pure and fuzzed.
#pragma once

#include <string>
#include <string_view>

#include "platform/settings_table.h"

namespace cvplat {

// The first lines of a new file, for the person who opens it.
extern const char kSettingsFileHeader[];

// Appends the entries of `bytes` to `table`.
void ParseSettingsFile(std::string_view bytes, SettingsTable* table);

// The file's text: each entry's own line where it has one, else its value written as above. Entries of
// kind kOther or kBadData without a line have no text form and are left out.
std::string FormatSettingsFile(const SettingsTable& table);

// One line, without its end, for a value of kind kDword, kQword, kString or kExpandString.
std::string FormatSettingLine(const SettingValue& value);

// UTF-8 of a wide text (UTF-16 where wchar_t has 16 bits). False for a text that is not valid Unicode:
// a lone surrogate or, with 32-bit wchar_t, a number above 0x10FFFF.
bool WideToUtf8(const std::wstring& text, std::string* utf8);

}  // namespace cvplat
