// The one way a host's text of properties reaches a node: a plain text becomes the node's text,
// "name=value" pairs become attributes, and an element becomes attributes and children.
#pragma once

#include "platform/com_types.h"
#include "props/xml_node.h"

// Quoted runs ('...' or "...") are skipped when looking for "=" and "<". E_INVALIDARG for a null or
// empty text (nothing is touched), E_FAIL for pairs of which not one could be read, a parse failure's
// status for a bad element; what was read before a failure stays. An element replaces the node's
// attributes and children.
HRESULT ApplyPropsText(XMLParse::CoXMLNode& node, const wchar_t* text);

// As ApplyPropsText, but an element is laid over the node instead of replacing it: its attributes,
// and those of its child elements (made in the node where missing), overwrite what they name, and
// everything else stays. Element names and the text of elements are not taken.
HRESULT MergePropsText(XMLParse::CoXMLNode& node, const wchar_t* text);
