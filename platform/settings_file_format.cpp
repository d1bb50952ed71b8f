#include "platform/settings_file_format.h"

#include <cstdint>
#include <utility>

namespace cvplat {

const char kSettingsFileHeader[] =
    "# Settings, one a line: name = dword:NUMBER | qword:NUMBER | \"text\" | expand:\"text\"\n"
    "# Texts and unusual names are quoted, with the escapes \\\\ \\\" \\n \\r \\t \\u{HEX}.\n";

namespace {

constexpr bool kWide16 = sizeof(wchar_t) == 2;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// Spaces, tabs, carriage returns and byte-order marks before and between the parts of a line.
size_t SkipBlanks(std::string_view s, size_t i) {
  for (;;) {
    if (i < s.size() && IsBlank(s[i])) {
      ++i;
    } else if (s.substr(i, 3) == "\xEF\xBB\xBF") {
      i += 3;
    } else {
      return i;
    }
  }
}

bool OnlyBlanksFrom(std::string_view s, size_t i) {
  for (; i < s.size(); ++i)
    if (!IsBlank(s[i])) return false;
  return true;
}

// One strict UTF-8 sequence at s[*i]: no overlong forms, no surrogates, nothing above 0x10FFFF.
bool DecodeUtf8(std::string_view s, size_t* i, uint32_t* cp) {
  const auto byte = [&](size_t k) { return static_cast<uint8_t>(s[k]); };
  uint8_t b0 = byte(*i);
  size_t length;
  uint32_t value;
  uint32_t least;
  if (b0 < 0x80) {
    *cp = b0;
    ++*i;
    return true;
  } else if ((b0 & 0xE0) == 0xC0) {
    length = 2, value = b0 & 0x1Fu, least = 0x80;
  } else if ((b0 & 0xF0) == 0xE0) {
    length = 3, value = b0 & 0x0Fu, least = 0x800;
  } else if ((b0 & 0xF8) == 0xF0) {
    length = 4, value = b0 & 0x07u, least = 0x10000;
  } else {
    return false;
  }
  if (s.size() - *i < length) return false;
  for (size_t k = 1; k < length; ++k) {
    uint8_t b = byte(*i + k);
    if ((b & 0xC0) != 0x80) return false;
    value = (value << 6) | (b & 0x3Fu);
  }
  if (value < least || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return false;
  *cp = value;
  *i += length;
  return true;
}

void AppendUtf8(uint32_t cp, std::string* out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

// A character of a wide text; with 16-bit wchar_t a code point above 0xFFFF takes a surrogate pair.
void AppendWide(uint32_t cp, std::wstring* out) {
  if (kWide16 && cp >= 0x10000) {
    cp -= 0x10000;
    out->push_back(static_cast<wchar_t>(0xD800 + (cp >> 10)));
    out->push_back(static_cast<wchar_t>(0xDC00 + (cp & 0x3FF)));
  } else {
    out->push_back(static_cast<wchar_t>(cp));
  }
}

// The code point at text[*i], joining a surrogate pair of 16-bit wchar_t. A lone surrogate comes back
// as itself.
uint32_t NextCodePoint(const std::wstring& text, size_t* i) {
  uint32_t unit = kWide16 ? static_cast<uint16_t>(text[*i]) : static_cast<uint32_t>(text[*i]);
  ++*i;
  if (kWide16 && unit >= 0xD800 && unit < 0xDC00 && *i < text.size()) {
    uint32_t low = static_cast<uint16_t>(text[*i]);
    if (low >= 0xDC00 && low <= 0xDFFF) {
      ++*i;
      return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    }
  }
  return unit;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// A quoted text at s[*i] (which is '"'); *i ends past the closing quote.
bool ParseQuoted(std::string_view s, size_t* i, std::wstring* text) {
  text->clear();
  size_t k = *i + 1;
  while (k < s.size()) {
    char c = s[k];
    if (c == '"') {
      *i = k + 1;
      return true;
    }
    if (c == '\0') return false;
    if (c != '\\') {
      uint32_t cp;
      if (!DecodeUtf8(s, &k, &cp)) return false;
      AppendWide(cp, text);
      continue;
    }
    if (++k == s.size()) return false;
    switch (s[k++]) {
      case '\\': text->push_back(L'\\'); break;
      case '"': text->push_back(L'"'); break;
      case 'n': text->push_back(L'\n'); break;
      case 'r': text->push_back(L'\r'); break;
      case 't': text->push_back(L'\t'); break;
      case 'u': {
        if (k == s.size() || s[k] != '{') return false;
        ++k;
        uint32_t value = 0;
        size_t digits = 0;
        for (; k < s.size() && HexDigit(s[k]) >= 0; ++k, ++digits) {
          if (digits == 8) return false;
          value = (value << 4) | static_cast<uint32_t>(HexDigit(s[k]));
        }
        if (digits == 0 || k == s.size() || s[k] != '}') return false;
        ++k;
        // A text holds no zero: the registry could not hand one out either.
        if (value == 0 || (kWide16 && value > 0x10FFFF)) return false;
        AppendWide(value, text);
        break;
      }
      default:
        return false;
    }
  }
  return false;
}

// A number after "dword:" or "qword:" of `bits` bits, followed by blanks only.
bool ParseNumber(std::string_view s, unsigned bits, uint64_t* out) {
  const uint64_t max = bits == 64 ? UINT64_MAX : (uint64_t{1} << bits) - 1;
  size_t i = 0;
  bool negative = false;
  uint64_t value = 0;
  size_t digits = 0;
  if (i < s.size() && s[i] == '-') {
    negative = true;
    ++i;
  }
  if (!negative && (s.substr(i, 2) == "0x" || s.substr(i, 2) == "0X")) {
    for (i += 2; i < s.size() && HexDigit(s[i]) >= 0; ++i, ++digits) {
      if (value > (max >> 4)) return false;
      value = (value << 4) | static_cast<uint64_t>(HexDigit(s[i]));
    }
  } else {
    const uint64_t limit = negative ? (uint64_t{1} << (bits - 1)) : max;
    for (; i < s.size() && s[i] >= '0' && s[i] <= '9'; ++i, ++digits) {
      uint64_t d = static_cast<uint64_t>(s[i] - '0');
      if (value > (limit - d) / 10) return false;
      value = value * 10 + d;
    }
    if (negative) value = (~value + 1) & max;
  }
  if (digits == 0 || !OnlyBlanksFrom(s, i)) return false;
  *out = value;
  return true;
}

bool StartsWithWord(std::string_view s, std::string_view word) {
  if (s.size() < word.size()) return false;
  for (size_t i = 0; i < word.size(); ++i) {
    char c = s[i];
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (c != word[i]) return false;
  }
  return true;
}

// A kind this reader does not know: a word of letters, digits and "_-()" followed by ':'.
bool IsOtherKind(std::string_view s) {
  size_t i = 0;
  if (s.empty() || !((s[0] >= 'a' && s[0] <= 'z') || (s[0] >= 'A' && s[0] <= 'Z'))) return false;
  for (; i < s.size(); ++i) {
    char c = s[i];
    bool word = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
                c == '-' || c == '(' || c == ')';
    if (!word) break;
  }
  return i < s.size() && s[i] == ':';
}

// The value part of a line, after '='.
SettingsTable::EntryType ParseValue(std::string_view s, SettingValue* value) {
  using Type = SettingsTable::EntryType;
  SettingKind kind = SettingKind::kString;
  size_t i = 0;
  if (StartsWithWord(s, "dword:") || StartsWithWord(s, "qword:")) {
    bool dword = s[0] == 'd' || s[0] == 'D';
    uint64_t number;
    if (!ParseNumber(s.substr(6), dword ? 32 : 64, &number)) return Type::kBadData;
    value->kind = dword ? SettingKind::kDword : SettingKind::kQword;
    if (dword)
      value->dword = static_cast<uint32_t>(number);
    else
      value->qword = number;
    return Type::kValue;
  }
  if (StartsWithWord(s, "expand:")) {
    kind = SettingKind::kExpandString;
    i = 7;
  }
  if (i < s.size() && s[i] == '"') {
    if (!ParseQuoted(s, &i, &value->text) || !OnlyBlanksFrom(s, i)) return Type::kBadData;
    value->kind = kind;
    return Type::kValue;
  }
  if (kind == SettingKind::kString && IsOtherKind(s)) {
    value->kind = SettingKind::kOther;
    return Type::kOther;
  }
  return Type::kBadData;
}

bool IsBareNameByte(char c) {
  return c != ' ' && c != '\t' && c != '=' && c != '"' && c != '\\' && c != '\x7F' &&
         static_cast<uint8_t>(c) >= 0x20;
}

SettingsTable::Entry ParseLine(std::string_view s) {
  SettingsTable::Entry entry;
  entry.line.assign(s);
  size_t i = SkipBlanks(s, 0);
  if (i == s.size() || s[i] == '#' || s[i] == ';') return entry;
  std::wstring name;
  if (s[i] == '"') {
    if (!ParseQuoted(s, &i, &name)) return entry;
  } else {
    size_t end = i;
    while (end < s.size() && IsBareNameByte(s[end])) ++end;
    while (i < end) {
      uint32_t cp;
      if (!DecodeUtf8(s.substr(0, end), &i, &cp)) return entry;
      AppendWide(cp, &name);
    }
    if (name.empty()) return entry;
  }
  i = SkipBlanks(s, i);
  if (i == s.size() || s[i] != '=') return entry;
  i = SkipBlanks(s, i + 1);
  entry.value.name = std::move(name);
  entry.type = ParseValue(s.substr(i), &entry.value);
  if (entry.type == SettingsTable::EntryType::kBadData) entry.value.kind = SettingKind::kOther;
  return entry;
}

bool IsBareNameChar(wchar_t c) {
  return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') || c == L'.' ||
         c == L'_' || c == L'-';
}

void AppendQuoted(const std::wstring& text, std::string* out) {
  static const char kHex[] = "0123456789ABCDEF";
  out->push_back('"');
  for (size_t i = 0; i < text.size();) {
    uint32_t cp = NextCodePoint(text, &i);
    switch (cp) {
      case '\\': *out += "\\\\"; continue;
      case '"': *out += "\\\""; continue;
      case '\n': *out += "\\n"; continue;
      case '\r': *out += "\\r"; continue;
      case '\t': *out += "\\t"; continue;
      default: break;
    }
    bool plain = cp >= 0x20 && !(cp >= 0x7F && cp <= 0x9F) && !(cp >= 0xD800 && cp <= 0xDFFF) && cp <= 0x10FFFF;
    if (plain) {
      AppendUtf8(cp, out);
      continue;
    }
    *out += "\\u{";
    bool started = false;
    for (int shift = 28; shift >= 0; shift -= 4) {
      unsigned digit = (cp >> shift) & 0xF;
      if (digit != 0 || started || shift == 0) {
        out->push_back(kHex[digit]);
        started = true;
      }
    }
    out->push_back('}');
  }
  out->push_back('"');
}

}  // namespace

void ParseSettingsFile(std::string_view bytes, SettingsTable* table) {
  size_t pos = 0;
  while (pos < bytes.size()) {
    size_t end = bytes.find('\n', pos);
    if (end == std::string_view::npos) end = bytes.size();
    table->Put(ParseLine(bytes.substr(pos, end - pos)));
    pos = end + 1;
  }
}

std::string FormatSettingLine(const SettingValue& value) {
  std::string line;
  bool bare = !value.name.empty();
  for (wchar_t c : value.name) bare = bare && IsBareNameChar(c);
  if (bare) {
    for (wchar_t c : value.name) line.push_back(static_cast<char>(c));
  } else {
    AppendQuoted(value.name, &line);
  }
  line += " = ";
  switch (value.kind) {
    case SettingKind::kDword:
      line += "dword:" + std::to_string(value.dword);
      break;
    case SettingKind::kQword:
      line += "qword:" + std::to_string(value.qword);
      break;
    case SettingKind::kExpandString:
      line += "expand:";
      AppendQuoted(value.text, &line);
      break;
    default:
      AppendQuoted(value.text, &line);
      break;
  }
  return line;
}

std::string FormatSettingsFile(const SettingsTable& table) {
  std::string text;
  for (const SettingsTable::Entry& entry : table.entries()) {
    if (entry.type == SettingsTable::EntryType::kLine || !entry.line.empty()) {
      text += entry.line;
    } else if (entry.type == SettingsTable::EntryType::kValue) {
      text += FormatSettingLine(entry.value);
    } else {
      continue;
    }
    text.push_back('\n');
  }
  return text;
}

bool WideToUtf8(const std::wstring& text, std::string* utf8) {
  std::string out;
  for (size_t i = 0; i < text.size();) {
    uint32_t cp = NextCodePoint(text, &i);
    if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) return false;
    AppendUtf8(cp, &out);
  }
  *utf8 = std::move(out);
  return true;
}

}  // namespace cvplat
