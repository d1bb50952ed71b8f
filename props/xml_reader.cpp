// The reader of the XML dialect. It never fails on bad syntax: unbalanced tags end at the end of the
// text, closing tags of other elements are ignored, attribute text it cannot use is skipped.
#include <string>

#include "props/xml_chars.h"
#include "props/xml_node.h"
#include "props/xml_scan.h"

namespace XMLParse {

namespace {

// Elements nested deeper than this are not made: their tags are skipped and their content joins the
// element around them. It keeps the reader's recursion, and every walk of the tree it builds, within a
// small stack whatever the text.
constexpr int32_t kMaxDepth = 256;

}  // namespace

HRESULT CoXMLNode::ParseElement(const wchar_t* text, const wchar_t** end, bool bodyOnly) {
  if (!text) return E_INVALIDARG;
  const wchar_t* limit = (end && *end) ? *end : text + BoundedLength(text);
  if (limit < text) limit = text;
  const wchar_t* stop = limit;
  const HRESULT hr = ParseElementAt(text, limit, bodyOnly, 0, &stop);
  if (end) *end = stop;
  return hr;
}

HRESULT CoXMLNode::ParseElementAt(const wchar_t* text, const wchar_t* end, bool bodyOnly, int32_t depth,
                                  const wchar_t** stop) {
  if (isText_ || depth > kMaxDepth) return E_FAIL;
  Clear(true);
  const wchar_t* pos = text;
  std::wstring decoded;
  if (!bodyOnly) {
    XMLTag tag;
    for (;;) {
      tag = ScanNextTag(pos, end);
      if (tag.kind == XMLTag::eNone) return E_INVALIDARG;
      if (tag.kind == XMLTag::eStart || tag.kind == XMLTag::eCData) break;
      pos = tag.after;
    }
    if (tag.kind == XMLTag::eCData) {
      // The node keeps its name: the text of a CDATA "tag name" is no element name.
      if (CharDataToText(tag.dataBegin, tag.dataEnd, false, decoded)) AppendText(decoded);
      *stop = tag.after;
      return S_OK;
    }
    ReplaceName(tag.name);
    if (tag.attrBegin < tag.attrEnd) ParseAttributes(tag.attrBegin, tag.attrEnd, false, 1, false);
    if (!tag.hasContent) {
      *stop = tag.after;
      return S_OK;
    }
    pos = tag.after;
  }

  const std::wstring name = Name();
  while (pos < end) {
    const XMLTag tag = ScanNextTag(pos, end);
    if (tag.open > pos && CharDataToText(pos, tag.open, true, decoded)) AppendText(decoded);
    switch (tag.kind) {
      case XMLTag::eNone:
        pos = end;
        break;
      case XMLTag::eSkip:
        pos = tag.after;
        break;
      case XMLTag::eClose:
        if (tag.name == name) {
          *stop = tag.after;
          return S_OK;
        }
        pos = tag.after;
        break;
      case XMLTag::eCData:
        if (CharDataToText(tag.dataBegin, tag.dataEnd, false, decoded)) AppendText(decoded);
        pos = tag.after;
        break;
      case XMLTag::eStart: {
        XMLNodePtr child = Create(L"__temp__");
        const wchar_t* childStop = end;
        if (SUCCEEDED(child->ParseElementAt(tag.open, end, false, depth + 1, &childStop))) {
          AdoptChild(child, child->Name());
          pos = childStop;
        } else {
          pos = tag.after;
        }
        break;
      }
    }
  }
  *stop = end;
  return S_OK;
}

bool CoXMLNode::StoreParsedAttribute(std::wstring_view name, std::wstring_view value, int32_t mode, bool byPath) {
  if (byPath) return SetString(name, value, true, false);
  CRWSynchroLiteGuard guard(attrLock_, CRWSynchroLiteGuard::Side::Write);
  const int32_t pos = attributes_.Find(name.data(), name.size());
  if (pos >= 0) {
    if (mode != 0) attributes_.Value(pos)->SetText(value);
    return true;
  }
  return attributes_.Add(name.data(), name.size(), MakeRef<XMLAttribute>(value)) >= 0;
}

bool CoXMLNode::ParseAttributes(const wchar_t* text, const wchar_t* end, bool allowBare, int32_t mode, bool byPath) {
  if (!text || isText_) return false;
  if (!end) end = text + BoundedLength(text);
  if (mode == 2) ClearAttributes();
  bool any = false;
  const wchar_t* p = text;
  while (p < end) {
    while (p < end && IsXmlBlank(*p)) ++p;
    if (p >= end) break;
    const wchar_t* nameBegin = p;
    while (p < end && !IsXmlBlank(*p) && *p != L'=') ++p;
    const std::wstring_view name(nameBegin, static_cast<size_t>(p - nameBegin));
    while (p < end && IsXmlBlank(*p)) ++p;
    if (p >= end || *p != L'=') {
      if (allowBare && !name.empty()) any = StoreParsedAttribute(name, {}, mode, byPath) || any;
      continue;
    }
    ++p;
    while (p < end && IsXmlBlank(*p)) ++p;
    if (p >= end) break;
    const wchar_t* valueBegin;
    const wchar_t* valueEnd;
    if (*p == L'\'' || *p == L'"') {
      const wchar_t quote = *p++;
      valueBegin = p;
      while (p < end && *p != quote) ++p;
      valueEnd = p;
      if (p < end) ++p;
    } else {
      valueBegin = p;
      while (p < end && !IsXmlBlank(*p)) ++p;
      valueEnd = p;
    }
    // A name that is no name (the text began with "=") carries nothing worth keeping.
    if (name.empty()) continue;
    any = StoreParsedAttribute(name, std::wstring_view(valueBegin, static_cast<size_t>(valueEnd - valueBegin)),
                               mode, byPath) || any;
  }
  return any;
}

}  // namespace XMLParse
