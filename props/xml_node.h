// CoXMLNode: one node of the property tree, with its COM face (ITNode, ITAttributes) and the internal
// operations that the rest of the system calls directly.
//
// A node has a name, attributes in insertion order and children in document order; character data
// between tags are text nodes among the children. Names match case-insensitively through their hash.
// Everything is safe from any thread: attrLock guards the attributes and their values, childLock the
// children, and no operation holds both locks of one node at once.
//
// Ownership: a node holds its children and attributes; a child's link to its parent does not own it.
// The link is cleared whenever the parent lets the child go (removal, clear, the parent's end), and it
// is only read under a process-wide lock that also takes the reference, so a node that a caller kept
// after its parent went away finds no parent instead of a dangling one.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "media/auto_obj.h"
#include "media/locked_ptr.h"
#include "media/rw_lock.h"
#include "props/itnode.h"
#include "props/name_table.h"
#include "props/xml_attribute.h"

namespace XMLParse {

class CoXMLNode;
class XMLTextStream;
using XMLNodePtr = TRefPtr<CoXMLNode>;
using XMLAttrPtr = TRefPtr<XMLAttribute>;

// The child that holds a node's attribute descriptions; never counted or listed among its children.
inline constexpr wchar_t kAttributesInfoName[] = L"attributes_info";

class CoXMLNode final : public ITNode {
 public:
  // A new parentless element node. Throws TreeOutOfMemory when the name cannot be copied.
  static XMLNodePtr Create(std::wstring_view name);
  // A text node: no name, no attributes, no children; `text` is its content.
  static XMLNodePtr CreateText(std::wstring_view text);

  // ---- IUnknown ----
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  // Takes a reference only while the node is still alive (count above 0).
  bool TryAddRef();

  // ---- ITAttributes ----
  HRESULT STDMETHODCALLTYPE AttributesCount(LONG* count) override;
  HRESULT STDMETHODCALLTYPE AttributeByIndex(LONG index, BSTR* name, BSTR* value) override;
  HRESULT STDMETHODCALLTYPE AttributeRemove(LPCOLESTR path) override;
  HRESULT STDMETHODCALLTYPE AttributesClear() override;
  HRESULT STDMETHODCALLTYPE AttributeSetString(LPCOLESTR path, LPCOLESTR value) override;
  HRESULT STDMETHODCALLTYPE AttributeSetBool(LPCOLESTR path, BOOL value) override;
  HRESULT STDMETHODCALLTYPE AttributeSetInt(LPCOLESTR path, LONG value) override;
  HRESULT STDMETHODCALLTYPE AttributeSetDouble(LPCOLESTR path, double value) override;
  HRESULT STDMETHODCALLTYPE AttributeGetOrDefault(LPCOLESTR path, BOOL* present, BSTR* value) override;
  HRESULT STDMETHODCALLTYPE AttributeGetString(LPCOLESTR path, BSTR* value) override;
  HRESULT STDMETHODCALLTYPE AttributeGetInt(LPCOLESTR path, LONG* value) override;
  HRESULT STDMETHODCALLTYPE AttributeGetBool(LPCOLESTR path, BOOL* value) override;
  HRESULT STDMETHODCALLTYPE AttributeGetDouble(LPCOLESTR path, double* value) override;
  HRESULT STDMETHODCALLTYPE AttributesFromText(LPCOLESTR text, LONG mode) override;
  HRESULT STDMETHODCALLTYPE AttributesToText(BSTR* text) override;
  HRESULT STDMETHODCALLTYPE AttributesClone(ITAttributes** copy) override;
  HRESULT STDMETHODCALLTYPE AttributesMerge(ITAttributes* source, LONG mode) override;
  HRESULT STDMETHODCALLTYPE InfoCount(LONG* count) override;
  HRESULT STDMETHODCALLTYPE InfoName(LONG index, BSTR* name) override;
  HRESULT STDMETHODCALLTYPE InfoField(LPCOLESTR path, LONG field, BSTR* value) override;
  HRESULT STDMETHODCALLTYPE InfoOptionField(LPCOLESTR path, LPCOLESTR option, LPCOLESTR fieldName,
                                            BSTR* value) override;

  // ---- ITNode ----
  HRESULT STDMETHODCALLTYPE NodeNameGet(BSTR* name) override;
  HRESULT STDMETHODCALLTYPE NodeNameSet(LPCOLESTR name) override;
  HRESULT STDMETHODCALLTYPE NodeTextGet(BSTR* text) override;
  HRESULT STDMETHODCALLTYPE NodeTextSet(LPCOLESTR text) override;
  HRESULT STDMETHODCALLTYPE NodePath(BSTR* path, ITNode* stop) override;
  HRESULT STDMETHODCALLTYPE NodeParent(ITNode** parent) override;
  HRESULT STDMETHODCALLTYPE NodeDetach() override;
  HRESULT STDMETHODCALLTYPE ChildCount(LONG* count) override;
  HRESULT STDMETHODCALLTYPE ChildByIndex(LONG index, BSTR* name, ITNode** child) override;
  HRESULT STDMETHODCALLTYPE ChildAdd(LPCOLESTR path, LPCOLESTR text, ITNode** child) override;
  HRESULT STDMETHODCALLTYPE ChildFind(LPCOLESTR path, BOOL create, ITNode** child) override;
  HRESULT STDMETHODCALLTYPE ChildRemove(LPCOLESTR path) override;
  HRESULT STDMETHODCALLTYPE NodeClear(BOOL withAttributes) override;
  HRESULT STDMETHODCALLTYPE NodeFromXML(LPCOLESTR text, BOOL takeName) override;
  HRESULT STDMETHODCALLTYPE NodeToXML(BSTR* xml) override;
  HRESULT STDMETHODCALLTYPE NodeClone(ITNode** copy) override;
  HRESULT STDMETHODCALLTYPE NodeReserved(void* first, void* second) override;
  HRESULT STDMETHODCALLTYPE AttributeDescription(LPCOLESTR name, BSTR* description) override;

  // ---- Name, parent, path ----
  std::wstring Name() const;  // "" for a text node
  bool IsText() const { return isText_; }
  // Refused (false) on a text node and when the name is the same string already.
  bool Rename(std::wstring_view name);
  XMLNodePtr Parent() const;
  // Names from below the root (or below `stop`, matched by identity) down to this node, joined by "::".
  std::wstring Path(const IUnknown* stop = nullptr) const;

  // ---- Children. Paths: see node_path.h ----
  // The node at `path` (this node for an empty path); missing nodes are made when `create` is set, at
  // the end or at min(position, count) of their parent. Null when absent or the path is unusable.
  XMLNodePtr FindChild(std::wstring_view path, bool create = false, int32_t position = -1);
  // A new node at the end of the node named by all but the last segment (made if missing).
  XMLNodePtr AddChild(std::wstring_view path, std::wstring_view text = {});
  // False when nothing was removed.
  bool RemoveChild(std::wstring_view path);
  bool RemoveChildNode(const CoXMLNode* child);
  // Element children, without `attributes_info` and without those named in `leaveOut` (a list ended
  // by a null pointer; case-insensitive).
  int32_t CountChildren(const wchar_t* const* leaveOut = nullptr) const;
  // The child number `index` of those that CountChildren counts.
  XMLNodePtr ChildAt(int32_t index, std::wstring* name = nullptr) const;
  // Every entry (text nodes and hidden ones included), in document order.
  int32_t EntryCount() const;
  XMLNodePtr EntryAt(int32_t position) const;

  // ---- Text children ----
  // Extends the last child when it is a text node, else appends one.
  void AppendText(std::wstring_view text);
  // The text of the first text child; false when there is none.
  bool GetText(std::wstring& text) const;
  void SetText(std::wstring_view text);
  // The content of a text node (its name attribute).
  std::wstring TextContent() const;

  // ---- Attributes by path ----
  // keepExisting leaves an attribute that is there alone and reports false; position < 0 appends,
  // otherwise inserts there (beyond the end: false).
  bool SetString(std::wstring_view path, std::wstring_view value, bool createPath = true, bool keepExisting = false,
                 int32_t position = -1);
  bool SetBSTR(std::wstring_view path, BSTR value, bool createPath = true, bool keepExisting = false,
               int32_t position = -1);
  bool SetBool(std::wstring_view path, bool value, bool createPath = true, bool keepExisting = false,
               int32_t position = -1);
  bool SetInt(std::wstring_view path, int32_t value, bool createPath = true, bool keepExisting = false,
              int32_t position = -1);
  bool SetFloat(std::wstring_view path, float value, bool createPath = true, bool keepExisting = false,
                int32_t position = -1);
  bool SetDouble(std::wstring_view path, double value, bool createPath = true, bool keepExisting = false,
                 int32_t position = -1);
  bool SetColor(std::wstring_view path, uint32_t argb, bool createPath = true, bool keepExisting = false,
                int32_t position = -1);
  // Sets the attribute of this node whose name is `name` as it stands ("a::b" is one name), overwriting.
  bool SetOwnString(std::wstring_view name, std::wstring_view value) {
    return !name.empty() && StoreParsedAttribute(name, value, 1, false);
  }

  // A missing attribute gives the default and found false.
  std::wstring GetString(std::wstring_view path, std::wstring_view defaultValue = {}, bool* found = nullptr) const;
  // No copy: valid while the attribute is neither rewritten nor removed.
  const wchar_t* GetStringRef(std::wstring_view path, const wchar_t* defaultValue = L"", bool* found = nullptr) const;
  int32_t GetInt(std::wstring_view path, int32_t defaultValue = 0, bool* found = nullptr) const;
  uint32_t GetUInt(std::wstring_view path, uint32_t defaultValue = 0, bool* found = nullptr) const;
  bool GetBool(std::wstring_view path, bool defaultValue = false, bool* found = nullptr) const;
  double GetDouble(std::wstring_view path, double defaultValue = 0.0, bool* found = nullptr) const;
  uint32_t GetColor(std::wstring_view path, uint32_t defaultValue = 0, bool* found = nullptr) const;
  // Position of the text in a list ended by a null pointer, ignoring case; the default when the
  // attribute is missing or its text is not listed.
  int32_t GetEnum(std::wstring_view path, const wchar_t* const* names, int32_t defaultValue) const;
  bool HasAttribute(std::wstring_view path) const;
  bool RemoveAttribute(std::wstring_view path);

  // ---- This node's attribute table ----
  int32_t AttributeCount() const;
  bool AttributeAt(int32_t index, std::wstring* name, std::wstring* value) const;
  void ClearAttributes();

  // ---- Clear, copy ----
  // Empties the children, and with the flag the attributes too.
  void Clear(bool withAttributes);
  // Attributes of this node into `target` as text. Mode 0 keeps the target's values, 1 overwrites, 2
  // empties the target's table first. `take` / `leave` filter by name (case-sensitive); `recurse` goes
  // on into the children of those names, made in the target if missing (an empty list: all children).
  // The number of attributes handed over, or -1 when refused.
  int32_t CopyAttributes(CoXMLNode* target, int32_t mode, const wchar_t* const* take = nullptr,
                         const wchar_t* const* leave = nullptr, const wchar_t* const* recurse = nullptr) const;
  // Replaces the target's children with copies of this node's; the number of nodes made, or -1.
  int32_t CopyTo(CoXMLNode* target, bool copyName, int32_t mode, const wchar_t* const* leaveOut = nullptr) const;
  // Deep copy without parent.
  XMLNodePtr Clone() const;

  // ---- XML text ----
  // Reads one element into this node; see xml_reader.cpp. `end` bounds the text on entry (null or
  // pointing to null: up to the NUL) and tells on return where reading stopped.
  HRESULT ParseElement(const wchar_t* text, const wchar_t** end = nullptr, bool bodyOnly = false);
  // Reads `name='value'` pairs up to `end` (null: up to the NUL). True when one or more were read.
  bool ParseAttributes(const wchar_t* text, const wchar_t* end, bool allowBare, int32_t mode, bool byPath);
  HRESULT WriteElement(XMLTextStream& stream, int32_t indent, bool terminate) const;
  HRESULT WriteAttributes(XMLTextStream& stream, bool terminate) const;
  std::wstring ToXML() const;
  std::wstring AttributesText() const;

 private:
  CoXMLNode(std::wstring_view name, bool isText);
  ~CoXMLNode();
  CoXMLNode(const CoXMLNode&) = delete;
  CoXMLNode& operator=(const CoXMLNode&) = delete;

  using AttrTable = NameTable<XMLAttribute, false>;
  using ChildTable = NameTable<CoXMLNode, true>;

  void SetParent(CoXMLNode* parent);
  XMLAttrPtr NameAttr() const { return nameAttr_.Get(); }
  // Puts a new name in place without touching the parent's table (a node being read has none yet).
  void ReplaceName(std::wstring_view name);
  // Walks the node part of a path. `parentOut`, if given, receives the parent of the node reached.
  XMLNodePtr Resolve(std::wstring_view nodePath, bool create, int32_t position, XMLNodePtr* parentOut = nullptr);
  // Appends a child entry under childLock and links it to this node.
  void AdoptChild(const XMLNodePtr& child, std::wstring_view name);
  // Drops entry `pos` and joins the text nodes that meet where it was. childLock held by the caller.
  XMLNodePtr RemoveEntryLocked(int32_t pos);

  template <class Write>
  bool SetAttr(std::wstring_view path, bool createPath, bool keepExisting, int32_t position, Write write);
  template <class Read>
  bool ReadAttr(std::wstring_view path, Read read) const;
  HRESULT ParseElementAt(const wchar_t* text, const wchar_t* end, bool bodyOnly, int32_t depth,
                         const wchar_t** stop);
  bool StoreParsedAttribute(std::wstring_view name, std::wstring_view value, int32_t mode, bool byPath);

  std::atomic<ULONG> refs_{0};
  TLockedPtr<XMLAttribute> nameAttr_;
  AttrTable attributes_;
  ChildTable children_;
  const bool isText_;
  BSTR emptyText_ = nullptr;  // the name a text node reports
  CoXMLNode* parent_ = nullptr;  // guarded by the process-wide parent-link lock
  mutable CRWSynchroLiteCS attrLock_;
  mutable CRWSynchroLiteCS childLock_;
};

}  // namespace XMLParse
