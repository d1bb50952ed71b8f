#include "device/props_text.h"

namespace {

enum class TextForm { Plain, Pairs, Element };

TextForm FormOf(const wchar_t* text) {
  bool hasEquals = false;
  bool hasTag = false;
  wchar_t quote = 0;
  for (const wchar_t* p = text; *p; ++p) {
    if (quote) {
      if (*p == quote) quote = 0;
    } else if (*p == L'"' || *p == L'\'') {
      quote = *p;
    } else if (*p == L'=') {
      hasEquals = true;
    } else if (*p == L'<') {
      hasTag = true;
    }
  }
  if (!hasEquals) return TextForm::Plain;
  return hasTag ? TextForm::Element : TextForm::Pairs;
}

HRESULT ApplyPlainOrPairs(XMLParse::CoXMLNode& node, const wchar_t* text, TextForm form) {
  if (form == TextForm::Plain) return node.NodeTextSet(text);
  return node.ParseAttributes(text, nullptr, false, 1, true) ? S_OK : E_FAIL;
}

}  // namespace

HRESULT ApplyPropsText(XMLParse::CoXMLNode& node, const wchar_t* text) {
  if (!text || !*text) return E_INVALIDARG;
  const TextForm form = FormOf(text);
  if (form != TextForm::Element) return ApplyPlainOrPairs(node, text, form);
  const HRESULT hr = node.ParseElement(text, nullptr, false);
  return FAILED(hr) ? hr : S_OK;
}

HRESULT MergePropsText(XMLParse::CoXMLNode& node, const wchar_t* text) {
  if (!text || !*text) return E_INVALIDARG;
  const TextForm form = FormOf(text);
  if (form != TextForm::Element) return ApplyPlainOrPairs(node, text, form);
  // The element reader empties the node it reads into, so the element is read apart and then copied
  // over: mode 1 overwrites what the text names, and the empty list recurses into every child.
  XMLParse::XMLNodePtr parsed = XMLParse::CoXMLNode::Create(L"t-props");
  const HRESULT hr = parsed->ParseElement(text, nullptr, false);
  static const wchar_t* const kEveryChild[] = {nullptr};
  parsed->CopyAttributes(&node, 1, nullptr, nullptr, kEveryChild);
  return FAILED(hr) ? hr : S_OK;
}
