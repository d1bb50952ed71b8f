#include "props/xml_attribute.h"

#include <cstring>
#include <string>

#include "props/number_text.h"
#include "props/tree_alloc.h"
#include "props/value_codecs.h"

namespace XMLParse {

namespace {

bool IsTrueWord(std::wstring_view text) {
  if (text.size() != 4) return false;
  static constexpr wchar_t kTrue[] = L"true";
  for (size_t i = 0; i < 4; ++i) {
    wchar_t c = text[i];
    if (c >= L'A' && c <= L'Z') c = static_cast<wchar_t>(c + 32);
    if (c != kTrue[i]) return false;
  }
  return true;
}

}  // namespace

XMLAttribute::XMLAttribute() = default;

XMLAttribute::XMLAttribute(std::wstring_view text) { text_ = TreeAllocString(text); }

XMLAttribute::~XMLAttribute() { SysFreeString(text_); }

void XMLAttribute::SetText(std::wstring_view text) {
  BSTR fresh = TreeAllocString(text);
  SysFreeString(text_);
  text_ = fresh;
  textValid_ = true;
  kind_ = eXMLKindText;
}

void XMLAttribute::SetBool(bool v) {
  value_ = Value{};
  value_.b = v;
  kind_ = eXMLKindBool;
  textValid_ = false;
}

void XMLAttribute::SetInt(int32_t v) {
  value_ = Value{};
  value_.i = v;
  kind_ = eXMLKindInt;
  textValid_ = false;
}

void XMLAttribute::SetUInt(uint32_t v) {
  value_ = Value{};
  value_.u = v;
  kind_ = eXMLKindUInt;
  textValid_ = false;
}

void XMLAttribute::SetDouble(double v) {
  value_ = Value{};
  value_.d = v;
  kind_ = eXMLKindDouble;
  textValid_ = false;
}

void XMLAttribute::SetColor(uint32_t argb) {
  value_ = Value{};
  value_.color = argb;
  kind_ = eXMLKindColor;
  textValid_ = false;
}

void XMLAttribute::MakeTextCurrent() {
  // No write when the text is current: a node's name attribute is read by many threads without a lock.
  if (textValid_) return;
  std::wstring rendered;
  switch (kind_) {
    case eXMLKindBool: rendered = FormatBool(value_.b); break;
    case eXMLKindInt: rendered = FormatInt32(value_.i); break;
    case eXMLKindUInt: rendered = FormatHex32(value_.u); break;
    case eXMLKindDouble: rendered = FormatDouble(value_.d); break;
    case eXMLKindColor: rendered = ColorToText(value_.color); break;
    default: break;
  }
  BSTR fresh = TreeAllocString(rendered);
  SysFreeString(text_);
  text_ = fresh;
  textValid_ = true;
}

const wchar_t* XMLAttribute::Text() {
  MakeTextCurrent();
  return text_ ? text_ : L"";
}

std::wstring_view XMLAttribute::TextView() {
  MakeTextCurrent();
  return text_ ? std::wstring_view(text_, SysStringLen(text_)) : std::wstring_view();
}

bool XMLAttribute::BeginConversion(int32_t kind) {
  if (kind_ == kind) return false;
  MakeTextCurrent();
  value_ = Value{};
  kind_ = kind;
  return true;
}

bool XMLAttribute::AsBool() {
  if (BeginConversion(eXMLKindBool)) {
    std::wstring_view t = TextView();
    value_.b = !t.empty() && ParseBool(t);
  }
  return value_.b;
}

int32_t XMLAttribute::AsInt() {
  if (BeginConversion(eXMLKindInt)) {
    std::wstring_view t = TextView();
    if (!t.empty()) {
      // The low 32 bits of a 64-bit read, so "0xFFFFFFFF" gives -1 rather than a saturated value.
      value_.i = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(ScanInt64(t, 0))));
      if (value_.i == 0 && IsTrueWord(t)) value_.i = 1;
    }
  }
  return value_.i;
}

uint32_t XMLAttribute::AsUInt() {
  if (BeginConversion(eXMLKindUInt)) {
    std::wstring_view t = TextView();
    if (!t.empty()) {
      value_.u = static_cast<uint32_t>(static_cast<uint64_t>(ScanInt64(t, 0)));
      if (value_.u == 0 && IsTrueWord(t)) value_.u = 1;
    }
  }
  return value_.u;
}

double XMLAttribute::AsDouble() {
  if (BeginConversion(eXMLKindDouble)) {
    std::wstring_view t = TextView();
    if (!t.empty()) {
      value_.d = ParseDouble(t);
      if (value_.d == 0.0 && IsTrueWord(t)) value_.d = 1.0;
    }
  }
  return value_.d;
}

uint32_t XMLAttribute::AsColor(uint32_t fallback) {
  if (BeginConversion(eXMLKindColor)) {
    std::wstring_view t = TextView();
    if (!t.empty()) value_.color = ParseColor(t, fallback);
  }
  return value_.color;
}

}  // namespace XMLParse
