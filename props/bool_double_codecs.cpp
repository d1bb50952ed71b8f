#include "props/number_text.h"
#include "props/text_chars.h"
#include "props/value_codecs.h"

using cv_text::EqualsNoCase;
using cv_text::UpToNul;

bool ParseBool(std::wstring_view text) {
  text = UpToNul(text);
  if (text.empty() || text == L"0" || EqualsNoCase(text, L"false")) return false;
  for (std::wstring_view word : {L"1", L"true", L"yes", L"only", L"on", L"y"})
    if (EqualsNoCase(text, word)) return true;
  // Numbers decide the rest; the decimal reading catches "08" and "0.5", which the automatic base
  // reads as 0.
  return ScanInt32(text, 0) >= 1 || ScanDouble(text) > 0.0;
}

double ParseDouble(std::wstring_view text) {
  text = UpToNul(text);
  size_t used = 0;
  const double value = ScanDouble(text, &used);
  return used < text.size() && text[used] == L'%' ? value / 100.0 : value;
}
