// Descriptions of attributes: type, allowed values, default and a text for a user interface, kept as
// ordinary nodes in the hidden child `attributes_info` of the described node:
//
//   node
//     attributes_info                 inherit="false" stops the search at this node
//       capture.mode  type="option_fixed" [default= values= min= max= dynamic= select_from=]
//         auto        text: what "auto" means
//         DXGI        ...
//         text: what the attribute means
//
// A node without its own entry for a key answers from its parent's list, one level up only. The
// descriptions are advisory: nothing on the write path of an attribute looks at them.
//
// The COM face (InfoCount, InfoName, InfoField, InfoOptionField, AttributeDescription) sits on
// CoXMLNode; the builders below are what the catalogue uses on a device's root.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "props/xml_node.h"

namespace XMLParse {

// Field numbers of InfoField.
enum TInfoField : int32_t {
  eInfoText = 0,  // the entry's own text
  eInfoType = 1,
  eInfoDefault = 2,
  eInfoValues = 3,
  eInfoMin = 4,
  eInfoMax = 5,
  eInfoDynamic = 6,
};
inline constexpr int32_t kInfoFieldCount = 7;

// A description entry and the list that holds it (the node's own or its parent's).
struct TInfoEntry {
  XMLNodePtr entry;
  XMLNodePtr list;
};

// The one entry search. `path` names an attribute ("capture.mode", "child::key"); the nodes on the path
// are never made. With `create` the list and the entry are made on the node the path reaches, so the
// parent is only consulted when not creating. An empty entry when there is none.
TInfoEntry FindInfoEntry(CoXMLNode& node, std::wstring_view path, bool create);

// Field 0..6 of the entry of `path`. False when there is no entry (or the field number is outside
// 0..6); otherwise `value` is the field, or nullopt when the entry has none.
bool ReadInfoField(CoXMLNode& node, std::wstring_view path, int32_t field, std::optional<std::wstring>& value);

// The field of the value child `option` of the entry of `path`: its text for an empty `fieldName`,
// otherwise its attribute of that name. An empty `option` stands for the attribute's current value.
// False when there is no entry or no such child; `value` is nullopt when the child lacks the field.
bool ReadInfoOption(CoXMLNode& node, std::wstring_view path, std::wstring_view option, std::wstring_view fieldName,
                    std::optional<std::wstring>& value);

// The lists visible from a node: its own, and its parent's unless its own says inherit="false".
struct TInfoLists {
  XMLNodePtr own;
  XMLNodePtr inherited;
};
TInfoLists FindInfoLists(CoXMLNode& node);

// Number of entries in the visible lists.
int32_t CountInfoEntries(CoXMLNode& node);

// Name of entry `index`, running over the parent's list first, then the node's own. S_OK, or
// E_INVALIDARG for a negative index, CV_E_NOT_FOUND for the index just past its list, CV_E_BAD_INDEX
// beyond that.
HRESULT InfoEntryName(CoXMLNode& node, int32_t index, std::wstring& name);

// Makes (or finds) the entry of `key` on `root` and empties it; sets "type", and the entry's text
// when `text` is not empty. Null for an empty key or a key on a node that does not exist.
XMLNodePtr DescribeValue(CoXMLNode& root, std::wstring_view key, std::wstring_view type, std::wstring_view text = {});

// Makes (or finds) the entry of `key` and empties it, then lists `values` (a list ended by a null
// pointer). Without `texts` and `outNodes` the values go into the attribute "values", joined by "|";
// otherwise each value becomes a child with the next text of `texts` (a list ended by a null pointer;
// values past its end get no text), and `outNodes`, if given, receives the children. "type" becomes
// "option_fixed" or "option". Null as for DescribeValue.
XMLNodePtr DescribeList(CoXMLNode& root, std::wstring_view key, const wchar_t* const* values,
                        const wchar_t* const* texts, bool fixed, std::vector<XMLNodePtr>* outNodes = nullptr);

// One row of a listing of a node's properties: `described` is 1 for a name with a description entry.
struct TPropName {
  std::wstring name;
  uint8_t described = 0;
};

// Appends the names of the visible lists' entries (own list first) with mark 1 and then, when any list
// was found, this node's attribute names with mark 0. A name already in `names` (ignoring case) is not
// added again. True when a list was found.
bool CollectNames(CoXMLNode& node, std::vector<TPropName>& names);

}  // namespace XMLParse
