// XMLAttribute: one attribute value, kept in the form it was last written and converted lazily.
//
// An attribute is text only (kind 0), binary only (kind set, text stale) or both. A read as text renders
// the text from the binary value once; a typed read of another kind converts the current text once and
// keeps the result as the new kind, leaving the text that was written untouched word for word.
//
// Not thread safe: the owning node's attrLock guards every call. A node's name is an XMLAttribute too,
// which is never changed after it is made (a rename puts a new one in its place).
#pragma once

#include <cstdint>
#include <string_view>

#include "media/auto_obj.h"
#include "platform/com_types.h"

namespace XMLParse {

enum XMLValueKind : int32_t {
  eXMLKindText = 0,
  eXMLKindBool = 1,
  eXMLKindInt = 2,
  eXMLKindUInt = 3,
  eXMLKindDouble = 7,
  eXMLKindColor = 10,
};

class XMLAttribute final : public AutoObjBase<XMLAttribute, IUnknown> {
 public:
  XMLAttribute();
  explicit XMLAttribute(std::wstring_view text);
  ~XMLAttribute() override;

  // Writers. Text: the text becomes authoritative. Typed: the value does, the text goes stale.
  void SetText(std::wstring_view text);
  void SetBool(bool v);
  void SetInt(int32_t v);
  void SetUInt(uint32_t v);
  void SetDouble(double v);
  void SetColor(uint32_t argb);

  // The current text, rendered from the value first when stale. Valid until the next write. Never
  // null: an attribute that was never given text reads as "".
  const wchar_t* Text();
  std::wstring_view TextView();

  bool AsBool();
  int32_t AsInt();
  uint32_t AsUInt();
  double AsDouble();
  // A text that names no colour gives `fallback` (and that is what the attribute then holds).
  uint32_t AsColor(uint32_t fallback);

  int32_t Kind() const { return kind_; }
  bool TextValid() const { return textValid_; }

 private:
  void MakeTextCurrent();
  // Makes `kind` authoritative from the current text; false when the kind already was.
  bool BeginConversion(int32_t kind);

  union Value {
    bool b;
    int32_t i;
    uint32_t u;
    double d;
    uint32_t color;
    uint8_t raw[16];
  };

  BSTR text_ = nullptr;
  bool textValid_ = true;
  int32_t kind_ = eXMLKindText;
  Value value_{};
};

}  // namespace XMLParse
