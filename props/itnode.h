// The COM face of a tree node. One object answers both interfaces; ITNode extends ITAttributes, so the
// slots below are one table in this order after IUnknown's three.
//
// Names and paths come in as wide strings ("a::b[1]::c"; the last segment of an attribute path names
// the attribute). Texts come in as wide strings read up to their NUL and go out as BSTRs that the
// caller frees. Every call is safe from any thread.
#pragma once

#include "platform/com_types.h"

namespace XMLParse {

extern const IID IID_ITAttributes;
extern const IID IID_ITNode;

struct ITAttributes : IUnknown {
  // S_OK when there are attributes, S_FALSE when none.
  virtual HRESULT STDMETHODCALLTYPE AttributesCount(LONG* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeByIndex(LONG index, BSTR* name, BSTR* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeRemove(LPCOLESTR path) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributesClear() = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeSetString(LPCOLESTR path, LPCOLESTR value) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeSetBool(LPCOLESTR path, BOOL value) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeSetInt(LPCOLESTR path, LONG value) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeSetDouble(LPCOLESTR path, double value) = 0;
  // S_FALSE when absent; the value then comes from the attribute's description.
  virtual HRESULT STDMETHODCALLTYPE AttributeGetOrDefault(LPCOLESTR path, BOOL* present, BSTR* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeGetString(LPCOLESTR path, BSTR* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeGetInt(LPCOLESTR path, LONG* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeGetBool(LPCOLESTR path, BOOL* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeGetDouble(LPCOLESTR path, double* value) = 0;
  // 1 when at least one attribute was read, else 0. Mode 2 empties the table first.
  virtual HRESULT STDMETHODCALLTYPE AttributesFromText(LPCOLESTR text, LONG mode) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributesToText(BSTR* text) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributesClone(ITAttributes** copy) = 0;
  // Mode 0 keeps this node's values, 1 takes the source's, 2 leaves exactly the source's.
  virtual HRESULT STDMETHODCALLTYPE AttributesMerge(ITAttributes* source, LONG mode) = 0;
  virtual HRESULT STDMETHODCALLTYPE InfoCount(LONG* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE InfoName(LONG index, BSTR* name) = 0;
  virtual HRESULT STDMETHODCALLTYPE InfoField(LPCOLESTR path, LONG field, BSTR* value) = 0;
  virtual HRESULT STDMETHODCALLTYPE InfoOptionField(LPCOLESTR path, LPCOLESTR option, LPCOLESTR fieldName,
                                                    BSTR* value) = 0;

 protected:
  ~ITAttributes() = default;
};

struct ITNode : ITAttributes {
  virtual HRESULT STDMETHODCALLTYPE NodeNameGet(BSTR* name) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeNameSet(LPCOLESTR name) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeTextGet(BSTR* text) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeTextSet(LPCOLESTR text) = 0;
  // Names below `stop` (or below the root) down to this node, joined by "::".
  virtual HRESULT STDMETHODCALLTYPE NodePath(BSTR* path, ITNode* stop) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeParent(ITNode** parent) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeDetach() = 0;
  virtual HRESULT STDMETHODCALLTYPE ChildCount(LONG* count) = 0;
  virtual HRESULT STDMETHODCALLTYPE ChildByIndex(LONG index, BSTR* name, ITNode** child) = 0;
  virtual HRESULT STDMETHODCALLTYPE ChildAdd(LPCOLESTR path, LPCOLESTR text, ITNode** child) = 0;
  virtual HRESULT STDMETHODCALLTYPE ChildFind(LPCOLESTR path, BOOL create, ITNode** child) = 0;
  virtual HRESULT STDMETHODCALLTYPE ChildRemove(LPCOLESTR path) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeClear(BOOL withAttributes) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeFromXML(LPCOLESTR text, BOOL takeName) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeToXML(BSTR* xml) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeClone(ITNode** copy) = 0;
  virtual HRESULT STDMETHODCALLTYPE NodeReserved(void* first, void* second) = 0;
  virtual HRESULT STDMETHODCALLTYPE AttributeDescription(LPCOLESTR name, BSTR* description) = 0;

 protected:
  ~ITNode() = default;
};

}  // namespace XMLParse
