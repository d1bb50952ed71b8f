// The COM face of a node: argument checks and statuses around the internal operations. No exception
// leaves here: a failed string allocation inside the tree comes back as E_OUTOFMEMORY.
#include <new>
#include <string>

#include "props/tree_alloc.h"
#include "props/xml_node.h"
#include "props/xml_writer.h"

namespace XMLParse {

namespace {

HRESULT GiveString(std::wstring_view text, BSTR* out) {
  *out = TreeAllocString(text);
  return S_OK;
}

template <class Itf>
HRESULT GiveNode(const XMLNodePtr& node, Itf** out) {
  if (!out) return S_OK;
  *out = nullptr;
  if (!node) return S_OK;
  *out = static_cast<Itf*>(node.Get());
  node->AddRef();
  return S_OK;
}

}  // namespace

// ---- ITAttributes ----

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributesCount(LONG* count) {
  const int32_t n = AttributeCount();
  if (count) *count = n;
  return n > 0 ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeByIndex(LONG index, BSTR* name, BSTR* value) {
  return ComGuarded([&]() -> HRESULT {
    std::wstring n, v;
    if (!AttributeAt(index, &n, &v)) return CV_E_BAD_INDEX;
    if (name) *name = TreeAllocString(n);
    if (value) *value = TreeAllocString(v);
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeRemove(LPCOLESTR path) {
  return RemoveAttribute(ComArg(path)) ? S_OK : CV_E_NOT_FOUND;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributesClear() {
  ClearAttributes();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeSetString(LPCOLESTR path, LPCOLESTR value) {
  return ComGuarded([&] { return SetString(ComArg(path), ComArg(value)) ? S_OK : E_INVALIDARG; });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeSetBool(LPCOLESTR path, BOOL value) {
  return ComGuarded([&] { return SetBool(ComArg(path), value != 0) ? S_OK : E_INVALIDARG; });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeSetInt(LPCOLESTR path, LONG value) {
  return ComGuarded([&] { return SetInt(ComArg(path), static_cast<int32_t>(value)) ? S_OK : E_INVALIDARG; });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeSetDouble(LPCOLESTR path, double value) {
  return ComGuarded([&] { return SetDouble(ComArg(path), value) ? S_OK : E_INVALIDARG; });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeGetOrDefault(LPCOLESTR path, BOOL* present, BSTR* value) {
  if (!value) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    bool found = false;
    std::wstring text = GetString(ComArg(path), {}, &found);
    if (present) *present = found ? 1 : 0;
    if (found) return GiveString(text, value);
    // The fallback is the default of the attribute's description; without descriptions it is empty.
    TBstr fallback;
    if (FAILED(InfoField(path, 2, fallback.Out())) || !fallback.Get()) {
      GiveString({}, value);
    } else {
      *value = fallback.Detach();
    }
    return S_FALSE;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeGetString(LPCOLESTR path, BSTR* value) {
  if (!value) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    bool found = false;
    std::wstring text = GetString(ComArg(path), {}, &found);
    if (!found) return CV_E_NOT_FOUND;
    return GiveString(text, value);
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeGetInt(LPCOLESTR path, LONG* value) {
  if (!value) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    bool found = false;
    *value = GetInt(ComArg(path), 0, &found);
    return found ? S_OK : CV_E_NOT_FOUND;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeGetBool(LPCOLESTR path, BOOL* value) {
  if (!value) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    bool found = false;
    *value = GetBool(ComArg(path), false, &found) ? 1 : 0;
    return found ? S_OK : CV_E_NOT_FOUND;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributeGetDouble(LPCOLESTR path, double* value) {
  if (!value) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    bool found = false;
    *value = GetDouble(ComArg(path), 0.0, &found);
    return found ? S_OK : CV_E_NOT_FOUND;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributesFromText(LPCOLESTR text, LONG mode) {
  if (!text) return E_INVALIDARG;
  return ComGuarded([&]() -> HRESULT {
    return ParseAttributes(text, nullptr, false, static_cast<int32_t>(mode), true) ? 1 : 0;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributesToText(BSTR* text) {
  if (!text) return S_OK;
  return ComGuarded([&] { return GiveString(AttributesText(), text); });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributesClone(ITAttributes** copy) {
  if (!copy) return E_POINTER;
  *copy = nullptr;
  return ComGuarded([&]() -> HRESULT {
    XMLNodePtr clone = Create(L"m_attributes");
    CopyAttributes(clone.Get(), 1);
    return SUCCEEDED(clone->QueryInterface(IID_ITAttributes, reinterpret_cast<void**>(copy))) ? S_OK
                                                                                               : E_NOINTERFACE;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::AttributesMerge(ITAttributes* source, LONG mode) {
  if (!source) return E_INVALIDARG;
  return ComGuarded([&]() -> HRESULT {
    if (mode == 2) ClearAttributes();
    LONG count = 0;
    source->AttributesCount(&count);
    for (LONG i = 0; i < count; ++i) {
      TBstr name, value;
      if (FAILED(source->AttributeByIndex(i, name.Out(), value.Out()))) continue;
      SetString(name.View(), value.View(), false, mode == 0);
    }
    return S_OK;
  });
}

// InfoCount, InfoName, InfoField, InfoOptionField and AttributeDescription: attribute_info_com.cpp.

// ---- ITNode ----

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeNameGet(BSTR* name) {
  if (!name) return E_POINTER;
  if (isText_) {
    *name = emptyText_;
    return S_OK;
  }
  return ComGuarded([&] { return GiveString(Name(), name); });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeNameSet(LPCOLESTR name) {
  if (!name || !*name) return E_INVALIDARG;
  return ComGuarded([&] {
    Rename(ComArg(name));
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeTextGet(BSTR* text) {
  if (!text) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    std::wstring t;
    if (GetText(t)) return GiveString(t, text);
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeTextSet(LPCOLESTR text) {
  return ComGuarded([&] {
    SetText(ComArg(text));
    return S_OK;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodePath(BSTR* path, ITNode* stop) {
  if (!path) return E_POINTER;
  return ComGuarded([&]() -> HRESULT {
    // The stop node is matched by identity, whatever object implements it.
    IUnknown* stopIdentity = nullptr;
    if (stop) stop->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&stopIdentity));
    const std::wstring result = Path(stopIdentity);
    if (stopIdentity) stopIdentity->Release();
    return GiveString(result, path);
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeParent(ITNode** parent) {
  if (!parent) return E_POINTER;
  XMLNodePtr p = Parent();
  GiveNode(p, parent);
  return p ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeDetach() {
  XMLNodePtr parent = Parent();
  if (!parent) return S_FALSE;
  Clear(true);
  parent->RemoveChildNode(this);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::ChildCount(LONG* count) {
  if (!count) return E_POINTER;
  *count = CountChildren();
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::ChildByIndex(LONG index, BSTR* name, ITNode** child) {
  return ComGuarded([&]() -> HRESULT {
    std::wstring n;
    XMLNodePtr node = ChildAt(index, &n);
    if (!node) return CV_E_BAD_INDEX;
    if (name) *name = TreeAllocString(n);
    return GiveNode(node, child);
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::ChildAdd(LPCOLESTR path, LPCOLESTR text, ITNode** child) {
  if (!path || !*path) return E_INVALIDARG;
  return ComGuarded([&]() -> HRESULT {
    XMLNodePtr node = AddChild(ComArg(path), ComArg(text));
    if (!node) return E_FAIL;
    return GiveNode(node, child);
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::ChildFind(LPCOLESTR path, BOOL create, ITNode** child) {
  if (!path || !*path) return E_INVALIDARG;
  return ComGuarded([&]() -> HRESULT {
    XMLNodePtr node = FindChild(ComArg(path), create != 0);
    if (!node) return CV_E_NOT_FOUND;
    return GiveNode(node, child);
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::ChildRemove(LPCOLESTR path) {
  if (!path || !*path) return E_INVALIDARG;
  return RemoveChild(ComArg(path)) ? S_OK : S_FALSE;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeClear(BOOL withAttributes) {
  Clear(withAttributes != 0);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeFromXML(LPCOLESTR text, BOOL takeName) {
  return ComGuarded([&]() -> HRESULT {
    const std::wstring oldName = Name();
    const HRESULT hr = ParseElement(text, nullptr, false);
    if (!takeName) {
      ReplaceName(oldName);
    } else if (XMLNodePtr parent = Parent()) {
      // The parent's entry follows the name that was read.
      CRWSynchroLiteGuard guard(parent->childLock_, CRWSynchroLiteGuard::Side::Write);
      const int32_t pos = parent->children_.PositionOf(this);
      const std::wstring name = Name();
      if (pos >= 0) parent->children_.Rename(pos, name.data(), name.size());
    }
    return hr;
  });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeToXML(BSTR* xml) {
  if (!xml) return E_POINTER;
  return ComGuarded([&] { return GiveString(ToXML(), xml); });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeClone(ITNode** copy) {
  if (!copy) return E_POINTER;
  return ComGuarded([&] { return GiveNode(Clone(), copy); });
}

HRESULT STDMETHODCALLTYPE CoXMLNode::NodeReserved(void*, void*) { return E_NOTIMPL; }

}  // namespace XMLParse
