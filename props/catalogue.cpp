// Defaults and descriptions of the device's properties, from the table in catalogue_table.cpp.
#include "props/catalogue.h"

#include "props/attribute_info.h"
#include "props/text_chars.h"

namespace XMLParse {

const wchar_t* PropTypeName(TPropType type) {
  switch (type) {
    case TPropType::eString: return L"string";
    case TPropType::eBool: return L"bool";
    case TPropType::eFloat: return L"float";
    case TPropType::eUInt: return L"uint";
    case TPropType::eInt: return L"int";
    case TPropType::eColor: return L"color";
    case TPropType::eOption: return L"option";
    case TPropType::eOptionFixed: return L"option_fixed";
  }
  return L"string";
}

const TPropKey* FindCatalogueKey(std::wstring_view key) {
  for (const TPropKey& k : CatalogueKeys())
    if (cv_text::EqualsNoCase(key, k.key)) return &k;
  return nullptr;
}

void SetDefaults(CoXMLNode& root) {
  for (const TPropKey& k : CatalogueKeys()) {
    // A sound source chosen before the defaults arrive is kept.
    const bool keep = cv_text::EqualsNoCase(k.key, kKeyAudioDevice);
    switch (k.type) {
      case TPropType::eBool:
        root.SetBool(k.key, k.number != 0, false, keep);
        break;
      case TPropType::eFloat:
        root.SetFloat(k.key, k.real, false, keep);
        break;
      case TPropType::eUInt:
      case TPropType::eInt:
        root.SetInt(k.key, static_cast<int32_t>(k.number), false, keep);
        break;
      case TPropType::eColor:
        root.SetColor(k.key, static_cast<uint32_t>(k.number), false, keep);
        break;
      case TPropType::eString:
      case TPropType::eOption:
      case TPropType::eOptionFixed:
        root.SetString(k.key, k.text ? k.text : L"", false, keep);
        break;
    }
  }
}

namespace {

void DescribeListKey(CoXMLNode& root, const TPropKey& k, const std::vector<std::wstring>& extra) {
  std::vector<const wchar_t*> values;
  std::vector<const wchar_t*> texts;
  bool textsEnded = false;
  for (const TPropValue* v = k.values; v && v->value; ++v) {
    values.push_back(v->value);
    if (!v->text) textsEnded = true;
    if (!textsEnded) texts.push_back(v->text);
  }
  // Extra values are their own texts; they can only follow a list whose texts have not ended.
  for (const std::wstring& name : extra) {
    values.push_back(name.c_str());
    if (!textsEnded) texts.push_back(name.c_str());
  }
  values.push_back(nullptr);
  texts.push_back(nullptr);
  XMLNodePtr entry = DescribeList(root, k.key, values.data(), texts.data(), k.type == TPropType::eOptionFixed);
  if (entry && k.description) entry->SetText(k.description);
}

}  // namespace

void BuildCatalogue(CoXMLNode& root, const std::vector<std::wstring>& audioDevices) {
  static const std::vector<std::wstring> kNone;
  for (const TPropKey& k : CatalogueKeys()) {
    if (!k.description) continue;
    if (k.type == TPropType::eOption || k.type == TPropType::eOptionFixed) {
      DescribeListKey(root, k, cv_text::EqualsNoCase(k.key, kKeyAudioDevice) ? audioDevices : kNone);
    } else {
      DescribeValue(root, k.key, PropTypeName(k.type), k.description);
    }
    // The stored background never survives a start: a device always begins on its default background.
    if (cv_text::EqualsNoCase(k.key, kKeyBackgroundColor)) root.SetColor(kKeyBackgroundColor, kDefaultBackgroundColor);
  }
}

}  // namespace XMLParse
