// The items of the texts the engine hands to the frame library (scale options, text style, fill): a
// row of name=value separated by blanks, the value in single or double quotes or bare up to the next
// blank. The reading is lenient, since a text the library can't use is no failure of the caller: a word
// without "=" is passed over, and an open quote runs to the end of the text. Blanks are the ASCII ones.
#pragma once

#include <algorithm>
#include <string_view>

#include "props/text_chars.h"

// Calls item(name, value) for each item of `text` (null: none), in order.
template <class Item>
void ForEachMarkupItem(const wchar_t* text, Item&& item) {
  const std::wstring_view s = text ? std::wstring_view(text) : std::wstring_view();
  size_t i = 0;
  while (i < s.size()) {
    while (i < s.size() && cv_text::IsAsciiSpace(s[i])) ++i;
    const size_t nameStart = i;
    while (i < s.size() && s[i] != L'=' && !cv_text::IsAsciiSpace(s[i])) ++i;
    const std::wstring_view name = s.substr(nameStart, i - nameStart);
    if (i >= s.size() || s[i] != L'=') continue;
    ++i;
    std::wstring_view value;
    if (i < s.size() && (s[i] == L'\'' || s[i] == L'"')) {
      const wchar_t quote = s[i++];
      const size_t end = std::min(s.find(quote, i), s.size());
      value = s.substr(i, end - i);
      i = end < s.size() ? end + 1 : end;
    } else {
      const size_t valueStart = i;
      while (i < s.size() && !cv_text::IsAsciiSpace(s[i])) ++i;
      value = s.substr(valueStart, i - valueStart);
    }
    item(name, value);
  }
}
