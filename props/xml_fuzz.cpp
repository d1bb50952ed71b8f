// Fuzz target of the XML dialect's reader: any bytes, taken as little-endian UTF-16 units, read as an
// element and as attribute text, then written and read again. The reader must end on every input and
// never read outside the units it was given (the buffer has no terminating NUL to lean on).
#include <cstddef>
#include <cstdint>
#include <vector>

#include "props/xml_node.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace XMLParse;
  if (size < 1) return 0;
  const uint8_t flags = data[0];
  ++data;
  --size;
  // Widened unit by unit: wchar_t is 32 bits on Linux, the dialect's units are 16.
  std::vector<wchar_t> units(size / 2);
  for (size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<wchar_t>(data[2 * i] | (static_cast<uint16_t>(data[2 * i + 1]) << 8));
  const wchar_t* begin = units.data();
  const wchar_t* end = begin + units.size();

  try {
    XMLNodePtr node = CoXMLNode::Create(L"fuzz");
    const wchar_t* stop = end;
    if (begin && SUCCEEDED(node->ParseElement(begin, &stop, (flags & 1) != 0))) {
      if (stop < begin || stop > end) __builtin_trap();
      const std::wstring xml = node->ToXML();
      XMLNodePtr again = CoXMLNode::Create(L"again");
      again->ParseElement(xml.c_str());
      again->ToXML();
      node->Clone();
    }
    XMLNodePtr attrs = CoXMLNode::Create(L"attrs");
    attrs->ParseAttributes(begin ? begin : L"", begin ? end : nullptr, (flags & 2) != 0, (flags >> 2) & 3,
                           (flags & 16) != 0);
    attrs->AttributesText();
    for (int32_t i = 0; i < attrs->AttributeCount(); ++i) {
      std::wstring name;
      attrs->AttributeAt(i, &name, nullptr);
      attrs->GetInt(name);
      attrs->GetDouble(name);
      attrs->GetColor(name);
    }
  } catch (const TreeOutOfMemory&) {
  }
  return 0;
}
