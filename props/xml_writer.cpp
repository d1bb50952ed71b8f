// The writers of the XML dialect. Each node is read under its own locks one at a time (attributes,
// then a snapshot of the children), so a tree that changes during a write gives a mix of old and new
// state, never a broken text.
#include "props/xml_writer.h"

#include <vector>

#include "props/xml_node.h"

namespace XMLParse {

void XMLTextStream::PutEscaped(std::wstring_view s) {
  for (wchar_t c : s) {
    switch (c) {
      case L'<': text_.append(L"&lt;"); break;
      case L'>': text_.append(L"&gt;"); break;
      case L'&': text_.append(L"&amp;"); break;
      default: text_.push_back(c); break;
    }
  }
}

std::wstring XMLTextStream::Take() {
  std::wstring out;
  out.swap(text_);
  if (!out.empty() && out.back() == L'\0') out.pop_back();
  return out;
}

HRESULT CoXMLNode::WriteAttributes(XMLTextStream& stream, bool terminate) const {
  {
    CRWSynchroLiteGuard guard(attrLock_, CRWSynchroLiteGuard::Side::Read);
    for (int32_t i = 0; i < attributes_.Count(); ++i) {
      BSTR name = attributes_.Name(i);
      const std::wstring_view value = attributes_.Value(i)->TextView();
      stream.Put(L' ');
      stream.Put(std::wstring_view(name, SysStringLen(name)));
      stream.Put(L'=');
      if (value.find(L'\'') == std::wstring_view::npos) {
        stream.Put(L'\'');
        stream.Put(value);
        stream.Put(L'\'');
      } else {
        // Nothing is escaped in a value: double quotes inside become single ones.
        stream.Put(L'"');
        for (wchar_t c : value) stream.Put(c == L'"' ? L'\'' : c);
        stream.Put(L'"');
      }
    }
  }
  if (terminate) stream.Put(L'\0');
  return S_OK;
}

HRESULT CoXMLNode::WriteElement(XMLTextStream& stream, int32_t indent, bool terminate) const {
  if (isText_) {
    if (terminate) stream.Put(L'\0');
    return S_OK;
  }
  const bool lines = indent >= 0;
  std::vector<XMLNodePtr> children;
  {
    CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Read);
    children.reserve(static_cast<size_t>(children_.Count()));
    for (int32_t i = 0; i < children_.Count(); ++i) children.push_back(children_.ValueRef(i));
  }
  const std::wstring name = Name();
  if (lines) stream.PutTabs(indent);
  stream.Put(L'<');
  stream.Put(name);
  WriteAttributes(stream, false);
  if (children.empty()) {
    stream.Put(L"/>");
  } else {
    stream.Put(L'>');
    bool anyElement = false;
    for (const XMLNodePtr& child : children) anyElement = anyElement || !child->isText_;
    if (!anyElement) {
      stream.PutEscaped(children.front()->TextContent());
    } else {
      for (const XMLNodePtr& child : children) {
        if (lines) stream.Put(L"\r\n");
        if (child->isText_) {
          if (lines) stream.PutTabs(indent + 1);
          stream.PutEscaped(child->TextContent());
        } else {
          child->WriteElement(stream, lines ? indent + 1 : -1, false);
        }
      }
      if (lines) {
        stream.Put(L"\r\n");
        stream.PutTabs(indent);
      }
    }
    stream.Put(L"</");
    stream.Put(name);
    stream.Put(L'>');
  }
  if (terminate) stream.Put(L'\0');
  return S_OK;
}

std::wstring CoXMLNode::ToXML() const {
  XMLTextStream stream;
  WriteElement(stream, 0, true);
  return stream.Take();
}

std::wstring CoXMLNode::AttributesText() const {
  XMLTextStream stream;
  WriteAttributes(stream, true);
  return stream.Take();
}

}  // namespace XMLParse
