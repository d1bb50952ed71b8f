// The one way a host's text of properties reaches a node: a plain text becomes the node's text,
// "name=value" pairs become attributes, and an element becomes attributes and children.
#pragma once

#include "platform/com_types.h"
#include "props/xml_node.h"

// Quoted runs ('...' or "...") are skipped when looking for "=" and "<". E_INVALIDARG for a null or
// empty text (nothing is touched), E_FAIL for pairs of which not one could be read, a parse failure's
// status for a bad element; what was read before a failure stays.
HRESULT ApplyPropsText(XMLParse::CoXMLNode& node, const wchar_t* text);
