// Copies between nodes. The source's lock is held while the target is written under its own, so a
// copy never sees a half-changed source table; a copy in both directions at once is not supported.
#include <string>
#include <vector>

#include "props/xml_node.h"

namespace XMLParse {

namespace {

bool Listed(const wchar_t* const* list, BSTR name) {
  const std::wstring_view n = name ? std::wstring_view(name, SysStringLen(name)) : std::wstring_view();
  for (const wchar_t* const* p = list; *p; ++p)
    if (n == *p) return true;
  return false;
}

struct ChildEntry {
  XMLNodePtr node;
  std::wstring name;
};

}  // namespace

int32_t CoXMLNode::CopyAttributes(CoXMLNode* target, int32_t mode, const wchar_t* const* take,
                                  const wchar_t* const* leave, const wchar_t* const* recurse) const {
  if (!target || target == this) return -1;
  if (mode == 2) target->ClearAttributes();
  int32_t handed = 0;
  {
    CRWSynchroLiteGuard source(attrLock_, CRWSynchroLiteGuard::Side::Read);
    CRWSynchroLiteGuard sink(target->attrLock_, CRWSynchroLiteGuard::Side::Write);
    for (int32_t i = 0; i < attributes_.Count(); ++i) {
      BSTR name = attributes_.Name(i);
      if (take && !Listed(take, name)) continue;
      if (leave && Listed(leave, name)) continue;
      const std::wstring_view text = attributes_.Value(i)->TextView();
      const int32_t pos = target->attributes_.Find(name, SysStringLen(name));
      if (pos >= 0) {
        if (mode != 1) continue;
        target->attributes_.Value(pos)->SetText(text);
      } else {
        if (target->attributes_.Add(name, SysStringLen(name), MakeRef<XMLAttribute>(text)) < 0) continue;
      }
      ++handed;
    }
  }
  if (!recurse) return handed;

  // The n-th child of a name goes to the n-th child of that name in the target.
  std::vector<ChildEntry> children;
  {
    CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Read);
    for (int32_t i = 0; i < children_.Count(); ++i) {
      BSTR name = children_.Name(i);
      if (children_.Value(i)->isText_ || (*recurse && !Listed(recurse, name))) continue;
      children.push_back({children_.ValueRef(i), std::wstring(name, SysStringLen(name))});
    }
  }
  std::vector<std::pair<std::wstring, int32_t>> seen;
  for (const ChildEntry& child : children) {
    int32_t nth = 0;
    for (auto& s : seen)
      if (s.first == child.name) nth = ++s.second;
    if (nth == 0) seen.emplace_back(child.name, 0);
    const std::wstring segment = child.name + L"[" + std::to_wstring(nth) + L"]";
    XMLNodePtr counterpart = target->FindChild(segment, true);
    if (!counterpart) continue;
    const int32_t n = child.node->CopyAttributes(counterpart.Get(), mode, take, leave, recurse);
    if (n > 0) handed += n;
  }
  return handed;
}

int32_t CoXMLNode::CopyTo(CoXMLNode* target, bool copyName, int32_t mode, const wchar_t* const* leaveOut) const {
  if (isText_ || !target || target == this) return -1;
  target->Clear(false);
  if (copyName) target->Rename(Name());
  CopyAttributes(target, mode);

  std::vector<XMLNodePtr> children;
  {
    CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Read);
    for (int32_t i = 0; i < children_.Count(); ++i) {
      if (!children_.Value(i)->isText_ && leaveOut && Listed(leaveOut, children_.Name(i))) continue;
      children.push_back(children_.ValueRef(i));
    }
  }
  int32_t made = 0;
  for (const XMLNodePtr& child : children) {
    if (child->isText_) {
      target->AppendText(child->TextContent());
      continue;
    }
    const std::wstring name = child->Name();
    XMLNodePtr copy = Create(name);
    target->AdoptChild(copy, name);
    ++made;
    const int32_t n = child->CopyTo(copy.Get(), copyName, mode, leaveOut);
    if (n > 0) made += n;
  }
  return made;
}

XMLNodePtr CoXMLNode::Clone() const {
  XMLNodePtr clone = Create(L"clone");
  CopyTo(clone.Get(), true, 2);
  return clone;
}

}  // namespace XMLParse

