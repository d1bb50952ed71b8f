#include "props/xml_scan.h"

#include <string_view>

#include "props/number_text.h"
#include "props/xml_chars.h"

namespace XMLParse {

namespace {

// The first ">" outside quotes from `p`; `end` when there is none. A quote opens a quotation that only
// the same character closes. With `stepOverDashes`, a ">" right after "--" more than three units past
// `open` does not end the tag.
const wchar_t* FindTagEnd(const wchar_t* open, const wchar_t* p, const wchar_t* end, bool stepOverDashes) {
  wchar_t quote = 0;
  for (; p < end; ++p) {
    const wchar_t c = *p;
    if (quote) {
      if (c == quote) quote = 0;
      continue;
    }
    if (c == L'\'' || c == L'"') {
      quote = c;
      continue;
    }
    if (c != L'>') continue;
    if (stepOverDashes && p - open > 3 && p[-1] == L'-' && p[-2] == L'-') continue;
    return p;
  }
  return end;
}

const wchar_t* Find(const wchar_t* p, const wchar_t* end, std::wstring_view what) {
  for (; end - p >= static_cast<ptrdiff_t>(what.size()); ++p)
    if (std::wstring_view(p, what.size()) == what) return p;
  return end;
}

bool StartsWith(const wchar_t* p, const wchar_t* end, std::wstring_view what) {
  return end - p >= static_cast<ptrdiff_t>(what.size()) && std::wstring_view(p, what.size()) == what;
}

}  // namespace

XMLTag ScanNextTag(const wchar_t* from, const wchar_t* end) {
  XMLTag tag;
  const wchar_t* lt = from;
  for (;;) {
    while (lt < end && *lt != L'<') ++lt;
    if (lt >= end) {
      tag.open = tag.after = end;
      return tag;
    }
    const wchar_t* resume = nullptr;
    if (StartsWith(lt, end, L"<?")) {
      const wchar_t* gt = FindTagEnd(lt, lt + 2, end, false);
      if (gt < end) resume = gt + 1;
    } else if (StartsWith(lt, end, L"<!--")) {
      const wchar_t* close = Find(lt + 4, end, L"-->");
      if (close < end) resume = close + 3;
    } else {
      break;
    }
    if (!resume) {  // never closed: no further tags
      tag.open = lt;
      tag.after = end;
      return tag;
    }
    tag.kind = XMLTag::eSkip;
    tag.open = lt;
    tag.after = resume;
    return tag;
  }

  tag.open = lt;
  const wchar_t* gt = FindTagEnd(lt, lt + 1, end, true);
  // Without a ">" the last unit of the text ends the tag.
  const wchar_t* close = gt < end ? gt : end - 1;
  if (close < lt + 1) close = lt + 1;
  tag.after = gt < end ? gt + 1 : end;

  const wchar_t* p = lt + 1;
  while (p < close && IsXmlBlank(*p)) ++p;
  bool closing = false;
  if (p < close && *p == L'/') {
    closing = true;
    ++p;
  }
  const wchar_t* nameEnd = p;
  while (nameEnd < end && !IsXmlNameStop(*nameEnd)) ++nameEnd;

  if (StartsWith(p, nameEnd, L"![")) {
    const wchar_t* content = nameEnd;
    while (content[-1] != L'[') --content;  // after the last "[" of the name run
    const wchar_t* finish = Find(content, end, L"]]>");
    tag.kind = XMLTag::eCData;
    tag.dataBegin = content;
    tag.dataEnd = finish;
    tag.after = finish < end ? finish + 3 : end;
    return tag;
  }

  if (nameEnd > close) nameEnd = close;
  tag.name.reserve(static_cast<size_t>(nameEnd - p));
  for (const wchar_t* q = p; q < nameEnd; ++q) tag.name.push_back(LowerAscii(*q));
  if (closing) {
    tag.kind = XMLTag::eClose;
    return tag;
  }
  tag.kind = XMLTag::eStart;

  const wchar_t* a = nameEnd;
  const wchar_t* z = close;
  while (a < z && IsXmlBlank(*a)) ++a;
  while (z > a && IsXmlBlank(z[-1])) --z;
  tag.hasContent = true;
  if (z > a && z[-1] == L'/') {
    tag.hasContent = false;
    --z;
    while (z > a && IsXmlBlank(z[-1])) --z;
  }
  if (z - a == 1) z = a;
  tag.attrBegin = a;
  tag.attrEnd = z;
  if (tag.name == L"br" || tag.name == L"tab") tag.hasContent = false;
  return tag;
}

std::wstring DecodeCharData(const wchar_t* begin, const wchar_t* end, bool* sawNbsp) {
  std::wstring out;
  out.reserve(static_cast<size_t>(end - begin));
  bool nbsp = false;
  const wchar_t* p = begin;
  while (p < end) {
    const wchar_t c = *p;
    if (c == L'\r' || c == L'\n' || c == L'\t') {
      out.push_back(L' ');
      ++p;
      continue;
    }
    if (c != L'&') {
      out.push_back(c);
      ++p;
      continue;
    }
    const ptrdiff_t left = end - p;
    auto take = [&](wchar_t unit, ptrdiff_t length) {
      out.push_back(unit);
      p += length < left ? length : left;
    };
    const wchar_t c1 = left > 1 ? p[1] : 0;
    const wchar_t c2 = left > 2 ? p[2] : 0;
    if (c1 == L'l') {
      take(L'<', 4);
    } else if (c1 == L'g') {
      take(L'>', 4);
    } else if (c1 == L'a' && c2 == L'm') {
      take(L'&', 5);
    } else if (c1 == L'a' && c2 == L'p') {
      take(L'\'', 6);
    } else if (c1 == L'n' && c2 == L'b') {
      nbsp = true;
      take(L' ', 6);
    } else if (c1 == L'c' && c2 == L'o') {
      take(static_cast<wchar_t>(0xA9), 6);
    } else if (c1 == L'r' && c2 == L'e') {
      take(static_cast<wchar_t>(0xAE), 5);
    } else if (c1 == L'q' && c2 == L'u') {
      take(L'"', 6);
    } else if (c1 == L'#') {
      const bool hex = c2 == L'x';
      const wchar_t* digits = p + (hex ? 3 : 2);
      size_t used = 0;
      const int64_t value = ScanInt64(std::wstring_view(digits, static_cast<size_t>(end - digits)), hex ? 16 : 0, &used);
      const wchar_t* next = digits + used;
      if (next < end) ++next;  // the unit after the number (normally ";") goes with it
      // A zero unit would end the text early wherever it is read as a plain string: it is left out.
      const auto unit = static_cast<wchar_t>(static_cast<uint64_t>(value) & 0xFFFF);
      if (unit != 0) out.push_back(unit);
      p = next;
    } else {
      ++p;  // an "&" of no entity goes; what follows it stays
    }
  }
  if (sawNbsp) *sawNbsp = nbsp;
  return out;
}

bool CharDataToText(const wchar_t* begin, const wchar_t* end, bool trimLineBlanks, std::wstring& text) {
  if (trimLineBlanks) {
    while (begin < end && IsXmlLineBlank(*begin)) ++begin;
    while (end > begin && IsXmlLineBlank(end[-1])) --end;
  }
  bool nbsp = false;
  text = DecodeCharData(begin, end, &nbsp);
  if (text.empty()) return false;
  if (nbsp) return true;
  return text.find_first_not_of(L' ') != std::wstring::npos;
}

}  // namespace XMLParse
