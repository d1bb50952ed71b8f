// The value text codecs: every typed read of a property goes through one of these, and every colour
// written back comes from ColorToText. They are lenient by design: a text a user typed never makes an
// error, it makes a value or the caller's default. No state, no locale, no allocation failures other
// than the runtime's own.
//
// Texts are wide strings. A null BSTR is passed as an empty view; a text ends at its first NUL. Keyword
// and name comparisons ignore the case of ASCII letters only. Numbers are read with the readers of
// "props/number_text.h", so "0x1F" is hexadecimal and "017" octal wherever the automatic base applies.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/com_types.h"
#include "platform/rect.h"

// 0xAABBGGRR: red in the low byte, as a Windows colour reference, and the alpha byte on top. Over a
// picture, alpha A leaves A / 255 of the picture showing.
using Colour = uint32_t;


// False for "", "0", "false"; true for "1", "true", "yes", "only", "on", "y". Any other text is true
// when it reads as a 32-bit number of at least 1 ("0x10"), or else as a decimal number above 0 ("08",
// "0.5"); so "no" and "off" are false.
bool ParseBool(std::wstring_view text);

// A floating point number; a "%" right behind it divides by 100 ("50%" is 0.5). No number gives 0.0.
double ParseDouble(std::wstring_view text);

// Accepts a name of the colour table ("Red", "tw", "Transparent", "Default"), "#RRGGBB", "#RGB",
// "#AARRGGBB", "RRGGBB" when it starts with a letter A-F, "0x" and decimal numbers, each optionally
// followed by "(alpha)": a whole number 1..255, or a fraction of 255 when it is below 1 or has a point
// ("(0.5)", "(1.0)"). Anything unreadable gives `defaultColour`.
Colour ParseColor(std::wstring_view text, Colour defaultColour);

// The inverse of ParseColor: a table name when the colour has one, else "#RRGGBB"; "(alpha)" follows
// unless alpha is 255. ParseColor(ColorToText(c), d) == c for every c.
std::wstring ColorToText(Colour colour);

// "left,top,right,bottom", decimal, each within -3000..3000, left < right and top < bottom. Missing
// trailing values count as 0. `rect` is written only when the result is true.
bool ParseRect(std::wstring_view text, TRect& rect);

// Position of `text` in a list ended by a null pointer, ignoring case. Without a match `index` keeps
// its value, so the caller's start value is the default. A view without data (an attribute or BSTR
// with no text at all) is no text, and matches nothing, not even an empty entry.
bool IndexInList(const wchar_t* const* list, std::wstring_view text, int32_t& index);
// The same for a NUL-ended text or BSTR, which may be null.
inline bool IndexInList(const wchar_t* const* list, const wchar_t* text, int32_t& index) {
  return IndexInList(list, text ? std::wstring_view(text) : std::wstring_view(), index);
}

// The list functions append to their out lists. Empty text: E_INVALIDARG. S_OK when something was
// appended, S_FALSE when the text held nothing to append.

// Words separated by any run of blank, LF, CR, TAB, ";" and ",".
HRESULT SplitNames(std::wstring_view text, std::vector<std::wstring>& names);

// Parts separated by any run of `separator`.
HRESULT SplitBy(std::wstring_view text, std::vector<std::wstring>& parts, wchar_t separator);

// 32-bit numbers with automatic base, e.g. "25, 29.97, 30" gives 25, 29, 97, 30: after a number the
// reader moves on to the next digit or "-" that starts a number. With `texts`, the text between a
// number and the next one (or the end), trimmed of blank, CR, LF and TAB, is appended for each number
// appended, so both lists stay parallel ("1920 wide, 1080 high"). With `unique`, a number equal to the
// first entry of `numbers` is left out, together with its text.
HRESULT SplitNumbers(std::wstring_view text, std::vector<int32_t>& numbers, std::vector<std::wstring>* texts,
                     bool unique);
