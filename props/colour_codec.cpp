// Colour texts: names, "#RRGGBB" and its short and alpha forms, numbers, and an "(alpha)" suffix.
#include <cmath>
#include <string>

#include "props/number_text.h"
#include "props/text_chars.h"
#include "props/value_codecs.h"

using cv_text::EqualsNoCase;
using cv_text::IsAsciiDigit;

namespace {

struct NamedColour {
  const wchar_t* name;
  uint32_t bgr;  // 0xBBGGRR
};

// Names a user may type. Several spell one value; the table below picks the one that is written.
constexpr NamedColour kReadNames[] = {
    {L"Orange", 0x00A5FF},      {L"OrangeRed", 0x0045FF},      {L"Aqua", 0xFFFF00},     {L"cyan", 0xFFFF00},
    {L"Black", 0x000000},       {L"Blue", 0xFF0000},           {L"Magenta", 0xFF00FF},  {L"Grey", 0x808080},
    {L"Green", 0x008000},       {L"Lime", 0x00FF00},           {L"Maroon", 0x000080},   {L"Brown", 0x13458B},
    {L"Navy", 0x800000},        {L"Olive", 0x008080},          {L"Purple", 0x800080},   {L"Red", 0x0000FF},
    {L"Silver", 0xC0C0C0},      {L"Teal", 0x808000},           {L"White", 0xFFFFFF},    {L"Yellow", 0x00FFFF},
    {L"Pink", 0x8080FF},        {L"tarnwell", 0x8A5406},       {L"tw", 0x8A5406},       {L"tarnwell-light", 0xB29000},
    {L"twl", 0xB29000},         {L"twlight", 0xB29000},
};

constexpr NamedColour kWriteNames[] = {
    {L"Orange", 0x00A5FF}, {L"OrangeRed", 0x0045FF}, {L"Aqua", 0xFFFF00},  {L"Black", 0x000000},
    {L"Blue", 0xFF0000},   {L"Magenta", 0xFF00FF},   {L"Grey", 0x808080},  {L"Green", 0x008000},
    {L"Lime", 0x00FF00},   {L"Maroon", 0x000080},    {L"Brown", 0x13458B}, {L"Navy", 0x800000},
    {L"Olive", 0x008080},  {L"Purple", 0x800080},    {L"Red", 0x0000FF},   {L"Silver", 0xC0C0C0},
    {L"Teal", 0x808000},   {L"White", 0xFFFFFF},     {L"Yellow", 0x00FFFF}, {L"Pink", 0x8080FF},
    {L"TW", 0x8A5406},     {L"TWL", 0xB29000},
};

// Characters that end a colour text: what follows is taken for other matter, e.g. the next item of
// a list. "#", "." and "-" are absent, being parts of the colour forms.
constexpr std::wstring_view kCutSet = L"~!@$%^&*+=|\\/,;`";

// Colours are typed red first; the value keeps red in the low byte.
uint32_t SwapRedBlue(uint32_t rgb) { return (rgb & 0x00FF00) | ((rgb >> 16) & 0xFF) | ((rgb & 0xFF) << 16); }

bool IsUpperHex(wchar_t c) { return IsAsciiDigit(c) || (c >= L'A' && c <= L'F'); }

// "(n)": a whole n of at least 1 is the alpha itself; anything below 1, or written with a point, is a
// fraction of 255 ("(1)" is nearly transparent, "(1.0)" opaque).
uint32_t AlphaOf(std::wstring_view inParenthesis) {
  const double v = ScanDouble(inParenthesis);
  const std::wstring_view held = inParenthesis.substr(0, inParenthesis.find(L')'));
  const bool point = held.find(L'.') != std::wstring_view::npos;
  const double alpha = (v >= 1.0 && !point) ? v : v * 255.0;
  if (!(alpha > 0.0)) return 0;  // NaN reads as nothing
  if (alpha >= 255.0) return 255;
  return static_cast<uint32_t>(std::round(alpha));
}

// Expands each of the three hex digits of a short form: 0xF80 -> 0xFF8800.
uint32_t ExpandShortForm(uint32_t value) {
  const uint32_t r = (value >> 8) & 0xF, g = (value >> 4) & 0xF, b = value & 0xF;
  return (r * 0x11) << 16 | (g * 0x11) << 8 | (b * 0x11);
}

}  // namespace

Colour ParseColor(std::wstring_view text, Colour defaultColour) {
  std::wstring_view buffer = cv_text::UpToNul(text).substr(0, 63);
  buffer = buffer.substr(0, buffer.find_first_of(kCutSet));

  uint32_t alpha = 255;
  const size_t open = buffer.find(L'(');
  const bool hasAlpha = open != std::wstring_view::npos;
  if (hasAlpha) {
    alpha = AlphaOf(buffer.substr(open + 1));
    buffer = buffer.substr(0, open);
  }

  if (EqualsNoCase(buffer, L"Default") || (hasAlpha && buffer.empty()))
    return hasAlpha ? (defaultColour & 0x00FFFFFF) | (alpha << 24) : defaultColour;
  if (EqualsNoCase(buffer, L"Transparent")) return 0;
  for (const NamedColour& named : kReadNames)
    if (EqualsNoCase(buffer, named.name)) return (alpha << 24) | named.bgr;

  std::wstring number;
  if (!buffer.empty() && buffer[0] == L'#') {
    number = L"0x";
    number += buffer.substr(1);
  } else if (buffer.size() >= 2 && IsUpperHex(buffer[0]) && IsUpperHex(buffer[1]) &&
             !(IsAsciiDigit(buffer[0]) && IsAsciiDigit(buffer[1]))) {
    // "FF0000" is hexadecimal; "123" stays the decimal number it looks like.
    number = L"0x";
    number += buffer;
  } else {
    number = buffer;
  }
  if (number.size() > 13) number.resize(13);

  size_t used = 0;
  uint32_t value = ScanUInt32(number, 0, &used);
  if (used == 0) return defaultColour;
  if (used < 6) value = ExpandShortForm(value);  // "#F80", at most three digits
  // Beyond "0xRRGGBB" the number carries its own alpha: "#80FF0000".
  const uint32_t top = used > 8 ? (value >> 24) : alpha;
  return (top << 24) | SwapRedBlue(value & 0x00FFFFFF);
}

std::wstring ColorToText(Colour colour) {
  const uint32_t alpha = colour >> 24;
  const uint32_t bgr = colour & 0x00FFFFFF;
  std::wstring text;
  for (const NamedColour& named : kWriteNames)
    if (named.bgr == bgr) {
      text = named.name;
      break;
    }
  if (text.empty()) {
    const uint32_t rgb = SwapRedBlue(bgr);
    text = L"#";
    for (int shift = 20; shift >= 0; shift -= 4) text += L"0123456789ABCDEF"[(rgb >> shift) & 0xF];
  }
  if (alpha != 255) text += L"(" + FormatInt32(static_cast<int32_t>(alpha)) + L")";
  return text;
}
