#include "device/props_text.h"

HRESULT ApplyPropsText(XMLParse::CoXMLNode& node, const wchar_t* text) {
  if (!text || !*text) return E_INVALIDARG;
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
  if (!hasEquals) return node.NodeTextSet(text);
  if (!hasTag) return node.ParseAttributes(text, nullptr, false, 1, true) ? S_OK : E_FAIL;
  const HRESULT hr = node.ParseElement(text, nullptr, false);
  return FAILED(hr) ? hr : S_OK;
}
