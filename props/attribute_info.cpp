// The description lists: search with one level of inheritance, field reads, the builders and the
// listing of names. Every step is one node operation with its own lock; nothing is held across steps,
// so a list being rebuilt by another thread is seen as it stands at each step.
#include "props/attribute_info.h"

#include <unordered_set>

#include "props/node_path.h"
#include "props/text_chars.h"

namespace XMLParse {

namespace {

constexpr const wchar_t* kFieldAttribute[kInfoFieldCount] = {
    nullptr, L"type", L"default", L"values", L"min", L"max", L"dynamic",
};

std::optional<std::wstring> Attribute(const CoXMLNode& node, std::wstring_view name) {
  bool found = false;
  std::wstring text = node.GetString(name, {}, &found);
  if (!found) return std::nullopt;
  return text;
}

std::optional<std::wstring> OwnText(const CoXMLNode& node) {
  std::wstring text;
  if (!node.GetText(text)) return std::nullopt;
  return text;
}

// A child by name; an empty name would be the node itself to FindChild, so it finds nothing.
XMLNodePtr NamedChild(CoXMLNode& node, std::wstring_view name, bool create = false) {
  if (name.empty()) return {};
  return node.FindChild(name, create);
}

bool Inherits(const CoXMLNode& list) { return list.GetBool(L"inherit", true); }

// The "values" field: the attribute, else that of the entry named by "select_from" when this one has
// no value children, else the names of the value children, each followed by "|".
std::optional<std::wstring> EntryValues(const TInfoEntry& found) {
  if (auto values = Attribute(*found.entry, L"values")) return values;
  XMLNodePtr current = found.entry;
  if (auto from = Attribute(*current, L"select_from"); from && current->CountChildren() == 0 && found.list) {
    if (XMLNodePtr other = NamedChild(*found.list, *from)) {
      current = other;
      if (auto values = Attribute(*current, L"values")) return values;
    }
  }
  std::wstring joined;
  std::wstring name;
  for (int32_t i = 0; XMLNodePtr child = current->ChildAt(i, &name); ++i) {
    joined += name;
    joined += L'|';
  }
  if (joined.empty()) return std::nullopt;
  return joined;
}

void Fold(std::wstring& text) {
  for (wchar_t& c : text) c = cv_text::FoldAscii(c);
}

}  // namespace

TInfoEntry FindInfoEntry(CoXMLNode& node, std::wstring_view path, bool create) {
  std::wstring_view nodePath, last;
  SplitLastSegment(path, nodePath, last);
  if (last.empty()) return {};
  XMLNodePtr target = nodePath.empty() ? XMLNodePtr(&node) : node.FindChild(nodePath, false);
  if (!target || target->IsText()) return {};

  TInfoEntry result;
  XMLNodePtr list = target->FindChild(kAttributesInfoName, create);
  if (list) {
    result.entry = NamedChild(*list, last, create);
    result.list = list;
  }
  if (result.entry) return result;

  result = {};
  XMLNodePtr parent = target->Parent();
  if (parent && (!list || Inherits(*list))) {
    if (XMLNodePtr parentList = parent->FindChild(kAttributesInfoName, false)) {
      if (XMLNodePtr entry = NamedChild(*parentList, last)) result = {entry, parentList};
    }
  }
  return result;
}

bool ReadInfoField(CoXMLNode& node, std::wstring_view path, int32_t field, std::optional<std::wstring>& value) {
  if (field < 0 || field >= kInfoFieldCount) return false;
  const TInfoEntry found = FindInfoEntry(node, path, false);
  if (!found.entry) return false;
  if (field == eInfoText) {
    value = OwnText(*found.entry);
  } else if (field == eInfoValues) {
    value = EntryValues(found);
  } else {
    value = Attribute(*found.entry, kFieldAttribute[field]);
  }
  return true;
}

bool ReadInfoOption(CoXMLNode& node, std::wstring_view path, std::wstring_view option, std::wstring_view fieldName,
                    std::optional<std::wstring>& value) {
  std::wstring current;
  if (option.empty()) {
    bool there = false;
    current = node.GetString(path, {}, &there);
    if (!there || current.empty()) return false;
    option = current;
  }
  const TInfoEntry found = FindInfoEntry(node, path, false);
  if (!found.entry) return false;
  XMLNodePtr child = NamedChild(*found.entry, option);
  if (!child && found.list) {
    if (auto from = Attribute(*found.entry, L"select_from")) {
      if (XMLNodePtr other = NamedChild(*found.list, *from)) child = NamedChild(*other, option);
    }
  }
  if (!child) return false;
  value = fieldName.empty() ? OwnText(*child) : Attribute(*child, fieldName);
  return true;
}

TInfoLists FindInfoLists(CoXMLNode& node) {
  TInfoLists lists;
  lists.own = node.FindChild(kAttributesInfoName, false);
  if (lists.own && !Inherits(*lists.own)) return lists;
  if (XMLNodePtr parent = node.Parent()) lists.inherited = parent->FindChild(kAttributesInfoName, false);
  return lists;
}

int32_t CountInfoEntries(CoXMLNode& node) {
  const TInfoLists lists = FindInfoLists(node);
  int32_t count = 0;
  if (lists.own) count += lists.own->CountChildren();
  if (lists.inherited) count += lists.inherited->CountChildren();
  return count;
}

HRESULT InfoEntryName(CoXMLNode& node, int32_t index, std::wstring& name) {
  if (index < 0) return E_INVALIDARG;
  const TInfoLists lists = FindInfoLists(node);
  // The inherited list comes first here, unlike in CollectNames.
  XMLNodePtr list = lists.inherited ? lists.inherited : lists.own;
  int32_t size = list ? list->CountChildren() : 0;
  if (lists.inherited && lists.own && index >= size) {
    index -= size;
    list = lists.own;
    size = list->CountChildren();
  }
  if (index > size) return CV_E_BAD_INDEX;
  if (index == size || !list->ChildAt(index, &name)) return CV_E_NOT_FOUND;
  return S_OK;
}

XMLNodePtr DescribeValue(CoXMLNode& root, std::wstring_view key, std::wstring_view type, std::wstring_view text) {
  if (key.empty()) return {};
  XMLNodePtr entry = FindInfoEntry(root, key, true).entry;
  if (!entry) return {};
  entry->Clear(true);
  entry->SetString(L"type", type);
  if (!text.empty()) entry->SetText(text);
  return entry;
}

XMLNodePtr DescribeList(CoXMLNode& root, std::wstring_view key, const wchar_t* const* values,
                        const wchar_t* const* texts, bool fixed, std::vector<XMLNodePtr>* outNodes) {
  if (key.empty()) return {};
  XMLNodePtr entry = FindInfoEntry(root, key, true).entry;
  if (!entry) return {};
  entry->Clear(true);
  if (!texts && !outNodes) {
    std::wstring joined;
    for (const wchar_t* const* v = values; v && *v; ++v) {
      if (v != values) joined += L'|';
      joined += *v;
    }
    entry->SetString(L"values", joined);
  } else {
    const wchar_t* const* text = texts;
    for (const wchar_t* const* v = values; v && *v; ++v) {
      const wchar_t* own = (text && *text) ? *text++ : nullptr;
      if (own == nullptr) text = nullptr;  // the texts have ended: the rest go without
      XMLNodePtr child = entry->AddChild(*v, own ? std::wstring_view(own) : std::wstring_view());
      if (child && outNodes) outNodes->push_back(child);
    }
    entry->RemoveAttribute(L"values");
  }
  entry->SetString(L"type", fixed ? L"option_fixed" : L"option");
  return entry;
}

bool CollectNames(CoXMLNode& node, std::vector<TPropName>& names) {
  std::unordered_set<std::wstring> seen;
  for (const TPropName& row : names) {
    std::wstring key = row.name;
    Fold(key);
    seen.insert(std::move(key));
  }
  auto add = [&](std::wstring name, uint8_t mark) {
    std::wstring key = name;
    Fold(key);
    if (seen.insert(std::move(key)).second) names.push_back({std::move(name), mark});
  };

  const TInfoLists lists = FindInfoLists(node);
  for (const XMLNodePtr& list : {lists.own, lists.inherited}) {
    if (!list) continue;
    std::wstring name;
    for (int32_t i = 0; list->ChildAt(i, &name); ++i) add(name, 1);
  }
  if (!lists.own && !lists.inherited) return false;
  std::wstring name;
  for (int32_t i = 0; node.AttributeAt(i, &name, nullptr); ++i) add(name, 0);
  return true;
}

}  // namespace XMLParse
