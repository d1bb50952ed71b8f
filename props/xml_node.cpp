// Node life, names, parent links, path walks and the child table.
#include <mutex>
#include <vector>

#include "media/module_lock.h"
#include "props/node_path.h"
#include "props/text_chars.h"
#include "props/xml_node.h"

namespace XMLParse {

namespace {

// Guards every node's parent link. Held only for a pointer read or write and an atomic increment, and
// never while taking another lock, so it cannot take part in a deadlock.
std::mutex& ParentLinkLock() {
  static std::mutex lock;
  return lock;
}

bool IsHiddenName(BSTR name, const wchar_t* const* leaveOut) {
  if (!name) return true;  // text node
  const std::wstring_view n(name, SysStringLen(name));
  if (cv_text::EqualsNoCase(n, kAttributesInfoName)) return true;
  if (leaveOut)
    for (const wchar_t* const* p = leaveOut; *p; ++p)
      if (cv_text::EqualsNoCase(n, *p)) return true;
  return false;
}

}  // namespace

// ---- life ----

CoXMLNode::CoXMLNode(std::wstring_view name, bool isText) : isText_(isText) {
  ModuleLock();
  nameAttr_.Set(MakeRef<XMLAttribute>(name).Get());
}

CoXMLNode::~CoXMLNode() {
  Clear(true);
  ModuleUnlock();
}

XMLNodePtr CoXMLNode::Create(std::wstring_view name) {
  auto* node = new (std::nothrow) CoXMLNode(name, false);
  if (!node) throw TreeOutOfMemory();
  return XMLNodePtr(node);
}

XMLNodePtr CoXMLNode::CreateText(std::wstring_view text) {
  auto* node = new (std::nothrow) CoXMLNode(text, true);
  if (!node) throw TreeOutOfMemory();
  return XMLNodePtr(node);
}

ULONG STDMETHODCALLTYPE CoXMLNode::AddRef() { return refs_.fetch_add(1, std::memory_order_relaxed) + 1; }

ULONG STDMETHODCALLTYPE CoXMLNode::Release() {
  const ULONG left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) delete this;
  return left;
}

bool CoXMLNode::TryAddRef() {
  ULONG n = refs_.load(std::memory_order_relaxed);
  while (n != 0)
    if (refs_.compare_exchange_weak(n, n + 1, std::memory_order_acq_rel, std::memory_order_relaxed)) return true;
  return false;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_ITNode) || IsEqualIID(riid, IID_ITAttributes)) {
    // One chain of single inheritance: all three share this address.
    *object = static_cast<ITNode*>(this);
    AddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

// ---- name, parent, path ----

std::wstring CoXMLNode::Name() const {
  if (isText_) return {};
  XMLAttrPtr name = NameAttr();
  return std::wstring(name->TextView());
}

std::wstring CoXMLNode::TextContent() const {
  if (!isText_) return {};
  XMLAttrPtr text = NameAttr();
  return std::wstring(text->TextView());
}

void CoXMLNode::ReplaceName(std::wstring_view name) { nameAttr_.Set(MakeRef<XMLAttribute>(name).Get()); }

bool CoXMLNode::Rename(std::wstring_view name) {
  if (isText_) return false;
  if (NameAttr()->TextView() == name) return false;
  XMLNodePtr parent = Parent();
  if (!parent) {
    ReplaceName(name);
    return true;
  }
  // The new name and the parent's entry change together under the parent's lock, so two renames at
  // once cannot leave the entry with the other one's name.
  CRWSynchroLiteGuard guard(parent->childLock_, CRWSynchroLiteGuard::Side::Write);
  ReplaceName(name);
  const int32_t pos = parent->children_.PositionOf(this);
  if (pos >= 0) parent->children_.Rename(pos, name.data(), name.size());
  return true;
}

void CoXMLNode::SetParent(CoXMLNode* parent) {
  std::lock_guard<std::mutex> guard(ParentLinkLock());
  parent_ = parent;
}

XMLNodePtr CoXMLNode::Parent() const {
  std::lock_guard<std::mutex> guard(ParentLinkLock());
  // A parent whose count reached 0 is being destroyed and is about to clear this link: it is gone.
  if (parent_ && parent_->TryAddRef()) return XMLNodePtr::Adopt(parent_);
  return {};
}

std::wstring CoXMLNode::Path(const IUnknown* stop) const {
  std::vector<std::wstring> names;
  XMLNodePtr cur(const_cast<CoXMLNode*>(this));
  while (static_cast<const IUnknown*>(cur.Get()) != stop) {
    XMLNodePtr parent = cur->Parent();
    if (!parent) break;  // the root's own name is not part of a path
    names.push_back(cur->Name());
    cur = parent;
  }
  std::wstring path;
  for (auto it = names.rbegin(); it != names.rend(); ++it) {
    if (!path.empty()) path += L"::";
    path += *it;
  }
  return path;
}

// ---- path walk ----

XMLNodePtr CoXMLNode::Resolve(std::wstring_view nodePath, bool create, int32_t position, XMLNodePtr* parentOut) {
  XMLNodePtr cur(this);
  PathCursor cursor(nodePath);
  PathSegment seg;
  while (cursor.Next(seg)) {
    if (seg.name.empty()) return {};
    XMLNodePtr next;
    {
      CRWSynchroLiteGuard guard(cur->childLock_, CRWSynchroLiteGuard::Side::Write);
      const int32_t pos = cur->children_.Find(NameHash(seg.name.data(), seg.name.size(), true), seg.index);
      if (pos >= 0) {
        next = cur->children_.ValueRef(pos);
      } else if (create && !cur->isText_) {
        next = Create(seg.name);
        const int32_t count = cur->children_.Count();
        const int32_t at = position < 0 ? -1 : (position < count ? position : count);
        if (cur->children_.Add(seg.name.data(), seg.name.size(), next, at) < 0) return {};
        next->SetParent(cur.Get());
      }
    }
    if (!next) return {};
    if (parentOut) *parentOut = cur;
    cur = std::move(next);
  }
  return cur;
}

XMLNodePtr CoXMLNode::FindChild(std::wstring_view path, bool create, int32_t position) {
  return Resolve(path, create, position);
}

XMLNodePtr CoXMLNode::AddChild(std::wstring_view path, std::wstring_view text) {
  std::wstring_view parentPath, last;
  SplitLastSegment(path, parentPath, last);
  const std::wstring_view name = ParseSegment(last).name;
  if (name.empty()) return {};
  XMLNodePtr parent = Resolve(parentPath, true, -1);
  if (!parent || parent->isText_) return {};
  XMLNodePtr child = Create(name);
  parent->AdoptChild(child, name);
  if (!text.empty()) child->AppendText(text);
  return child;
}

void CoXMLNode::AdoptChild(const XMLNodePtr& child, std::wstring_view name) {
  CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Write);
  if (children_.Add(child->isText_ ? nullptr : name.data(), name.size(), child) >= 0) child->SetParent(this);
}

XMLNodePtr CoXMLNode::RemoveEntryLocked(int32_t pos) {
  const int32_t countBefore = children_.Count();
  XMLNodePtr removed = children_.Remove(pos);
  removed->SetParent(nullptr);
  // Text on both sides of the removed entry becomes one text node again.
  if (1 < pos && pos < countBefore - 1) {
    CoXMLNode* before = children_.Value(pos - 1);
    CoXMLNode* after = children_.Value(pos);
    if (before->isText_ && after->isText_) {
      std::wstring joined = before->TextContent() + after->TextContent();
      before->ReplaceName(joined);
      XMLNodePtr merged = children_.Remove(pos);
      merged->SetParent(nullptr);
    }
  }
  return removed;
}

bool CoXMLNode::RemoveChildNode(const CoXMLNode* child) {
  XMLNodePtr removed;  // released after the lock is left
  CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Write);
  const int32_t pos = children_.PositionOf(child);
  if (pos < 0) return false;
  removed = RemoveEntryLocked(pos);
  guard.Unlock();
  return true;
}

bool CoXMLNode::RemoveChild(std::wstring_view path) {
  XMLNodePtr parent;
  XMLNodePtr node = Resolve(path, false, -1, &parent);
  if (!node || node.Get() == this || !parent) return false;
  return parent->RemoveChildNode(node.Get());
}

int32_t CoXMLNode::CountChildren(const wchar_t* const* leaveOut) const {
  CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Read);
  int32_t n = 0;
  for (int32_t i = 0; i < children_.Count(); ++i)
    if (!children_.Value(i)->isText_ && !IsHiddenName(children_.Name(i), leaveOut)) ++n;
  return n;
}

XMLNodePtr CoXMLNode::ChildAt(int32_t index, std::wstring* name) const {
  CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Read);
  if (index < 0) return {};
  for (int32_t i = 0; i < children_.Count(); ++i) {
    if (children_.Value(i)->isText_ || IsHiddenName(children_.Name(i), nullptr)) continue;
    if (index-- > 0) continue;
    if (name) name->assign(children_.Name(i), SysStringLen(children_.Name(i)));
    return children_.ValueRef(i);
  }
  return {};
}

int32_t CoXMLNode::EntryCount() const {
  CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Read);
  return children_.Count();
}

XMLNodePtr CoXMLNode::EntryAt(int32_t position) const {
  CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Read);
  if (position < 0 || position >= children_.Count()) return {};
  return children_.ValueRef(position);
}

// ---- text children ----

void CoXMLNode::AppendText(std::wstring_view text) {
  if (isText_) return;
  CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Write);
  const int32_t count = children_.Count();
  if (count > 0 && children_.Value(count - 1)->isText_) {
    CoXMLNode* last = children_.Value(count - 1);
    last->ReplaceName(last->TextContent().append(text));
    return;
  }
  XMLNodePtr node = CreateText(text);
  if (children_.Add(nullptr, 0, node) >= 0) node->SetParent(this);
}

bool CoXMLNode::GetText(std::wstring& text) const {
  CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Read);
  for (int32_t i = 0; i < children_.Count(); ++i)
    if (children_.Value(i)->isText_) {
      text = children_.Value(i)->TextContent();
      return true;
    }
  return false;
}

void CoXMLNode::SetText(std::wstring_view text) {
  if (isText_) return;
  CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Write);
  for (int32_t i = 0; i < children_.Count(); ++i)
    if (children_.Value(i)->isText_) {
      children_.Value(i)->ReplaceName(text);
      return;
    }
  XMLNodePtr node = CreateText(text);
  if (children_.Add(nullptr, 0, node) >= 0) node->SetParent(this);
}

// ---- clear ----

void CoXMLNode::Clear(bool withAttributes) {
  std::vector<XMLAttrPtr> attrs;
  if (withAttributes) {
    CRWSynchroLiteGuard guard(attrLock_, CRWSynchroLiteGuard::Side::Write);
    attrs = attributes_.TakeAll();
  }
  std::vector<XMLNodePtr> children;
  {
    CRWSynchroLiteGuard guard(childLock_, CRWSynchroLiteGuard::Side::Write);
    children = children_.TakeAll();
    for (auto& child : children) child->SetParent(nullptr);
  }
  // Released here, outside both locks: a child's own end takes its own locks.
}

}  // namespace XMLParse
