// Character classes of the XML dialect, over UTF-16 code units (held in wchar_t, which is wider on
// Linux: units above U+FFFF never occur in text of this dialect and belong to no class).
#pragma once

#include <cstdint>

namespace XMLParse {

// Space, LF, CR, TAB, and U+FDEF..U+FFFF, so that a byte order mark anywhere counts as a blank.
inline bool IsXmlBlank(wchar_t c) {
  const uint32_t u = static_cast<uint32_t>(c);
  return u == 0x20 || u == 0x0A || u == 0x0D || u == 0x09 || (u - 0xFDEFu) <= (0xFFFFu - 0xFDEFu);
}

// The blanks that character data loses at both ends: all but the space.
inline bool IsXmlLineBlank(wchar_t c) { return c != 0x20 && IsXmlBlank(c); }

// Where an element name ends (the end of the text ends it too).
inline bool IsXmlNameStop(wchar_t c) {
  switch (c) {
    case L';': case L',': case L'<': case L'>': case L'/': case L'\\': case L'=':
      return true;
    default:
      return IsXmlBlank(c);
  }
}

inline wchar_t LowerAscii(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + 32) : c; }

}  // namespace XMLParse
