// Lists in one text: enumerated keywords, names, separated parts and runs of numbers.
#include <string>

#include "props/number_text.h"
#include "props/text_chars.h"
#include "props/value_codecs.h"

using cv_text::IsAsciiDigit;
using cv_text::UpToNul;

namespace {

template <typename IsSeparator>
HRESULT SplitWords(std::wstring_view text, std::vector<std::wstring>& words, IsSeparator isSeparator) {
  text = UpToNul(text);
  if (text.empty()) return E_INVALIDARG;
  bool added = false;
  size_t at = 0;
  while (at < text.size()) {
    while (at < text.size() && isSeparator(text[at])) ++at;
    const size_t begin = at;
    while (at < text.size() && !isSeparator(text[at])) ++at;
    if (at > begin) {
      words.emplace_back(text.substr(begin, at - begin));
      added = true;
    }
  }
  return added ? S_OK : S_FALSE;
}

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\r' || c == L'\n' || c == L'\t'; }

std::wstring Trimmed(std::wstring_view text) {
  size_t begin = 0, end = text.size();
  while (begin < end && IsBlank(text[begin])) ++begin;
  while (end > begin && IsBlank(text[end - 1])) --end;
  return std::wstring(text.substr(begin, end - begin));
}

// From `from` on, the first place where a number starts: a digit, or a "-" that a digit follows.
size_t NextNumber(std::wstring_view text, size_t from) {
  for (size_t at = from; at < text.size(); ++at) {
    if (IsAsciiDigit(text[at])) return at;
    if (text[at] == L'-' && at + 1 < text.size() && IsAsciiDigit(text[at + 1])) return at;
  }
  return text.size();
}

}  // namespace

bool IndexInList(const wchar_t* const* list, std::wstring_view text, int32_t& index) {
  if (!list || !text.data()) return false;
  text = UpToNul(text);
  for (int32_t position = 0; list[position]; ++position)
    if (cv_text::EqualsNoCase(list[position], text)) {
      index = position;
      return true;
    }
  return false;
}

HRESULT SplitNames(std::wstring_view text, std::vector<std::wstring>& names) {
  return SplitWords(text, names,
                    [](wchar_t c) { return IsBlank(c) || c == L';' || c == L','; });
}

HRESULT SplitBy(std::wstring_view text, std::vector<std::wstring>& parts, wchar_t separator) {
  return SplitWords(text, parts, [separator](wchar_t c) { return c == separator; });
}

HRESULT SplitNumbers(std::wstring_view text, std::vector<int32_t>& numbers, std::vector<std::wstring>* texts,
                     bool unique) {
  text = UpToNul(text);
  if (text.empty()) return E_INVALIDARG;
  bool added = false;
  // The first number may have blanks and a "+" before it, as the reader allows; the later ones start
  // at a digit or a "-".
  size_t used = 0;
  int32_t value = ScanInt32(text, 0, &used);
  size_t at = used;
  if (used == 0) {
    at = NextNumber(text, 0);
    if (at == text.size()) return S_FALSE;
    value = ScanInt32(text.substr(at), 0, &used);
    at += used;
  }
  while (true) {
    const size_t next = NextNumber(text, at);
    if (!(unique && !numbers.empty() && numbers.front() == value)) {
      numbers.push_back(value);
      if (texts) texts->push_back(Trimmed(text.substr(at, next - at)));
      added = true;
    }
    if (next == text.size()) break;
    value = ScanInt32(text.substr(next), 0, &used);
    at = next + used;
  }
  return added ? S_OK : S_FALSE;
}
