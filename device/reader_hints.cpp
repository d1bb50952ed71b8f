#include "device/reader_hints.h"

#include <cwchar>
#include <string_view>

#include "props/number_text.h"

namespace {

wchar_t Lower(wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + (L'a' - L'A')) : c; }

// Position of `word` in `text` without regard to ASCII case, or npos.
size_t FindNoCase(std::wstring_view text, std::wstring_view word, size_t from = 0) {
  if (word.size() > text.size()) return std::wstring_view::npos;
  for (size_t i = from; i + word.size() <= text.size(); ++i) {
    size_t k = 0;
    while (k < word.size() && Lower(text[i + k]) == word[k]) ++k;
    if (k == word.size()) return i;
  }
  return std::wstring_view::npos;
}

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }

// The count behind the first "buffers" that is followed by "=", or -1.
int32_t BufferCount(std::wstring_view text) {
  constexpr std::wstring_view kWord = L"buffers";
  for (size_t at = FindNoCase(text, kWord); at != std::wstring_view::npos; at = FindNoCase(text, kWord, at + 1)) {
    size_t i = at + kWord.size();
    while (i < text.size() && IsBlank(text[i])) ++i;
    if (i >= text.size() || text[i] != L'=') continue;
    ++i;
    while (i < text.size() && IsBlank(text[i])) ++i;
    if (i < text.size() && (text[i] == L'\'' || text[i] == L'"')) ++i;
    size_t used = 0;
    const int32_t count = ScanInt32(text.substr(i), 10, &used);
    return used > 0 && count > 0 ? count : -1;
  }
  return -1;
}

}  // namespace

TReaderHints ParseReaderHints(const wchar_t* text) {
  TReaderHints hints;
  if (!text || !*text) return hints;
  const std::wstring_view view(text, std::wcslen(text));
  constexpr std::wstring_view kRemove = L"remove_reader";
  if (view.size() == kRemove.size() && FindNoCase(view, kRemove) == 0) {
    hints.removeReader = true;
    return hints;
  }
  if (FindNoCase(view, L"flush_reader") != std::wstring_view::npos) hints.flags |= kReaderHintFlush;
  if (FindNoCase(view, L"sync_reader") != std::wstring_view::npos) hints.flags |= kReaderHintSync;
  hints.buffers = BufferCount(view);
  return hints;
}

int32_t ReaderCapacity(const TReaderHints& hints, int32_t outputBuffers) {
  if (hints.buffers > 0) return hints.buffers;
  if (hints.flags & kReaderHintSync) return 1;
  return outputBuffers > 0 ? outputBuffers : 1;
}
