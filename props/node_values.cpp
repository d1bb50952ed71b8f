// Attributes by path: the typed writers and readers, and this node's attribute table.
#include "props/node_path.h"
#include "props/value_codecs.h"
#include "props/xml_node.h"

namespace XMLParse {

template <class Write>
bool CoXMLNode::SetAttr(std::wstring_view path, bool createPath, bool keepExisting, int32_t position, Write write) {
  std::wstring_view nodePath, name;
  SplitLastSegment(path, nodePath, name);
  if (name.empty()) return false;
  XMLNodePtr node = nodePath.empty() ? XMLNodePtr(this) : Resolve(nodePath, createPath, -1);
  if (!node || node->isText_) return false;
  CRWSynchroLiteGuard guard(node->attrLock_, CRWSynchroLiteGuard::Side::Write);
  if (!keepExisting) {
    const int32_t pos = node->attributes_.Find(name.data(), name.size());
    if (pos >= 0) {
      write(*node->attributes_.Value(pos));
      return true;
    }
  }
  XMLAttrPtr attr = MakeRef<XMLAttribute>();
  write(*attr);
  return node->attributes_.Add(name.data(), name.size(), std::move(attr), position) >= 0;
}

template <class Read>
bool CoXMLNode::ReadAttr(std::wstring_view path, Read read) const {
  std::wstring_view nodePath, name;
  SplitLastSegment(path, nodePath, name);
  if (name.empty()) return false;
  // The common case, a key on this node, walks nothing and takes no reference.
  XMLNodePtr held;
  const CoXMLNode* node = this;
  if (!nodePath.empty()) {
    held = const_cast<CoXMLNode*>(this)->Resolve(nodePath, false, -1);
    node = held.Get();
    if (!node) return false;
  }
  CRWSynchroLiteGuard guard(node->attrLock_, CRWSynchroLiteGuard::Side::Read);
  const int32_t pos = node->attributes_.Find(name.data(), name.size());
  if (pos < 0) return false;
  read(*node->attributes_.Value(pos));
  return true;
}

bool CoXMLNode::SetString(std::wstring_view path, std::wstring_view value, bool createPath, bool keepExisting,
                          int32_t position) {
  return SetAttr(path, createPath, keepExisting, position, [&](XMLAttribute& a) { a.SetText(value); });
}

bool CoXMLNode::SetBSTR(std::wstring_view path, BSTR value, bool createPath, bool keepExisting, int32_t position) {
  const std::wstring_view text = value ? std::wstring_view(value, SysStringLen(value)) : std::wstring_view();
  return SetString(path, text, createPath, keepExisting, position);
}

bool CoXMLNode::SetBool(std::wstring_view path, bool value, bool createPath, bool keepExisting, int32_t position) {
  return SetAttr(path, createPath, keepExisting, position, [&](XMLAttribute& a) { a.SetBool(value); });
}

bool CoXMLNode::SetInt(std::wstring_view path, int32_t value, bool createPath, bool keepExisting, int32_t position) {
  return SetAttr(path, createPath, keepExisting, position, [&](XMLAttribute& a) { a.SetInt(value); });
}

bool CoXMLNode::SetFloat(std::wstring_view path, float value, bool createPath, bool keepExisting, int32_t position) {
  return SetDouble(path, static_cast<double>(value), createPath, keepExisting, position);
}

bool CoXMLNode::SetDouble(std::wstring_view path, double value, bool createPath, bool keepExisting,
                          int32_t position) {
  return SetAttr(path, createPath, keepExisting, position, [&](XMLAttribute& a) { a.SetDouble(value); });
}

bool CoXMLNode::SetColor(std::wstring_view path, uint32_t argb, bool createPath, bool keepExisting,
                         int32_t position) {
  return SetAttr(path, createPath, keepExisting, position, [&](XMLAttribute& a) { a.SetColor(argb); });
}

std::wstring CoXMLNode::GetString(std::wstring_view path, std::wstring_view defaultValue, bool* found) const {
  std::wstring out;
  const bool there = ReadAttr(path, [&](XMLAttribute& a) { out.assign(a.TextView()); });
  if (found) *found = there;
  if (!there) out.assign(defaultValue);
  return out;
}

const wchar_t* CoXMLNode::GetStringRef(std::wstring_view path, const wchar_t* defaultValue, bool* found) const {
  const wchar_t* out = defaultValue;
  const bool there = ReadAttr(path, [&](XMLAttribute& a) { out = a.Text(); });
  if (found) *found = there;
  return out;
}

int32_t CoXMLNode::GetInt(std::wstring_view path, int32_t defaultValue, bool* found) const {
  int32_t out = defaultValue;
  const bool there = ReadAttr(path, [&](XMLAttribute& a) { out = a.AsInt(); });
  if (found) *found = there;
  return out;
}

uint32_t CoXMLNode::GetUInt(std::wstring_view path, uint32_t defaultValue, bool* found) const {
  uint32_t out = defaultValue;
  const bool there = ReadAttr(path, [&](XMLAttribute& a) { out = a.AsUInt(); });
  if (found) *found = there;
  return out;
}

bool CoXMLNode::GetBool(std::wstring_view path, bool defaultValue, bool* found) const {
  bool out = defaultValue;
  const bool there = ReadAttr(path, [&](XMLAttribute& a) { out = a.AsBool(); });
  if (found) *found = there;
  return out;
}

double CoXMLNode::GetDouble(std::wstring_view path, double defaultValue, bool* found) const {
  double out = defaultValue;
  const bool there = ReadAttr(path, [&](XMLAttribute& a) { out = a.AsDouble(); });
  if (found) *found = there;
  return out;
}

uint32_t CoXMLNode::GetColor(std::wstring_view path, uint32_t defaultValue, bool* found) const {
  uint32_t out = defaultValue;
  const bool there = ReadAttr(path, [&](XMLAttribute& a) { out = a.AsColor(defaultValue); });
  if (found) *found = there;
  return out;
}

int32_t CoXMLNode::GetEnum(std::wstring_view path, const wchar_t* const* names, int32_t defaultValue) const {
  int32_t index = defaultValue;
  if (!names) return index;
  ReadAttr(path, [&](XMLAttribute& a) {
    if (!IndexInList(names, a.TextView(), index)) index = defaultValue;
  });
  return index;
}

bool CoXMLNode::HasAttribute(std::wstring_view path) const {
  return ReadAttr(path, [](XMLAttribute&) {});
}

bool CoXMLNode::RemoveAttribute(std::wstring_view path) {
  std::wstring_view nodePath, name;
  SplitLastSegment(path, nodePath, name);
  if (name.empty()) return false;
  XMLNodePtr node = Resolve(nodePath, false, -1);
  if (!node) return false;
  XMLAttrPtr removed;  // released after the lock is left
  CRWSynchroLiteGuard guard(node->attrLock_, CRWSynchroLiteGuard::Side::Write);
  const int32_t pos = node->attributes_.Find(name.data(), name.size());
  if (pos < 0) return false;
  removed = node->attributes_.Remove(pos);
  guard.Unlock();
  return true;
}

int32_t CoXMLNode::AttributeCount() const {
  CRWSynchroLiteGuard guard(attrLock_, CRWSynchroLiteGuard::Side::Read);
  return attributes_.Count();
}

bool CoXMLNode::AttributeAt(int32_t index, std::wstring* name, std::wstring* value) const {
  CRWSynchroLiteGuard guard(attrLock_, CRWSynchroLiteGuard::Side::Read);
  if (index < 0 || index >= attributes_.Count()) return false;
  if (name) name->assign(attributes_.Name(index), SysStringLen(attributes_.Name(index)));
  if (value) value->assign(attributes_.Value(index)->TextView());
  return true;
}

void CoXMLNode::ClearAttributes() {
  std::vector<XMLAttrPtr> attrs;
  CRWSynchroLiteGuard guard(attrLock_, CRWSynchroLiteGuard::Side::Write);
  attrs = attributes_.TakeAll();
}

}  // namespace XMLParse
