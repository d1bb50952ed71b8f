#include <gtest/gtest.h>

#include <string>

#include "props/tree_alloc.h"
#include "props/xml_node.h"

namespace XMLParse {
namespace {

// Owns an interface pointer that a call handed out.
template <class T>
struct Held {
  T* p = nullptr;
  ~Held() {
    if (p) p->Release();
  }
  T** Out() { return &p; }
  T* operator->() const { return p; }
};

std::wstring Str(const TBstr& s) { return std::wstring(s.View()); }

class NodeCom : public ::testing::Test {
 protected:
  XMLNodePtr node_ = CoXMLNode::Create(L"root");
  ITNode* itf_ = node_.Get();
};

TEST_F(NodeCom, AnswersItsThreeInterfacesOnly) {
  void* p = nullptr;
  EXPECT_EQ(itf_->QueryInterface(IID_ITAttributes, &p), S_OK);
  EXPECT_EQ(p, static_cast<void*>(itf_));
  static_cast<IUnknown*>(p)->Release();
  EXPECT_EQ(itf_->QueryInterface(IID_ITNode, &p), S_OK);
  static_cast<IUnknown*>(p)->Release();
  EXPECT_EQ(itf_->QueryInterface(IID_IUnknown, &p), S_OK);
  static_cast<IUnknown*>(p)->Release();
  EXPECT_EQ(itf_->QueryInterface(IID_IClassFactory, &p), E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(itf_->QueryInterface(IID_ITNode, nullptr), E_POINTER);
}

TEST_F(NodeCom, AttributeTableStatuses) {
  LONG count = -1;
  EXPECT_EQ(itf_->AttributesCount(&count), S_FALSE);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(itf_->AttributeSetString(L"a", L"1"), S_OK);
  EXPECT_EQ(itf_->AttributesCount(nullptr), S_OK);
  TBstr name, value;
  EXPECT_EQ(itf_->AttributeByIndex(0, name.Out(), value.Out()), S_OK);
  EXPECT_EQ(Str(name) + L"=" + Str(value), L"a=1");
  EXPECT_EQ(itf_->AttributeByIndex(0, nullptr, nullptr), S_OK);
  EXPECT_EQ(itf_->AttributeByIndex(1, name.Out(), value.Out()), CV_E_BAD_INDEX);
  EXPECT_EQ(itf_->AttributeByIndex(-1, nullptr, nullptr), CV_E_BAD_INDEX);
  EXPECT_EQ(itf_->AttributeRemove(L"a"), S_OK);
  EXPECT_EQ(itf_->AttributeRemove(L"a"), CV_E_NOT_FOUND);
  EXPECT_EQ(itf_->AttributeSetString(L"", L"1"), E_INVALIDARG);
  EXPECT_EQ(itf_->AttributeSetInt(L"x::", 1), E_INVALIDARG);
  itf_->AttributeSetInt(L"x", 1);
  EXPECT_EQ(itf_->AttributesClear(), S_OK);
  EXPECT_EQ(itf_->AttributesCount(&count), S_FALSE);
}

TEST_F(NodeCom, TypedGettersAndTheirStatuses) {
  EXPECT_EQ(itf_->AttributeSetDouble(L"d", 0.5), S_OK);
  TBstr s;
  EXPECT_EQ(itf_->AttributeGetString(L"d", s.Out()), S_OK);
  EXPECT_EQ(Str(s), L"0.5");
  LONG i = -1;
  EXPECT_EQ(itf_->AttributeGetInt(L"d", &i), S_OK);
  EXPECT_EQ(i, 0);
  itf_->AttributeSetString(L"e", L"");
  i = -1;
  EXPECT_EQ(itf_->AttributeGetInt(L"e", &i), S_OK);
  EXPECT_EQ(i, 0);
  i = -1;
  EXPECT_EQ(itf_->AttributeGetInt(L"absent", &i), CV_E_NOT_FOUND);
  EXPECT_EQ(i, 0) << "written on NOT_FOUND too";
  EXPECT_EQ(itf_->AttributeGetString(L"absent", s.Out()), CV_E_NOT_FOUND);
  EXPECT_EQ(itf_->AttributeGetString(L"d", nullptr), E_POINTER);
  EXPECT_EQ(itf_->AttributeGetInt(L"d", nullptr), E_POINTER);
  itf_->AttributeSetBool(L"b", 5);
  BOOL b = 7;
  EXPECT_EQ(itf_->AttributeGetBool(L"b", &b), S_OK);
  EXPECT_EQ(b, 1);
  EXPECT_EQ(itf_->AttributeGetBool(L"nob", &b), CV_E_NOT_FOUND);
  EXPECT_EQ(b, 0);
  double d = 1;
  EXPECT_EQ(itf_->AttributeGetDouble(L"nod", &d), CV_E_NOT_FOUND);
  EXPECT_EQ(d, 0.0);
  itf_->AttributeSetInt(L"i", 12);
  EXPECT_EQ(itf_->AttributeGetDouble(L"i", &d), S_OK);
  EXPECT_EQ(d, 12.0);
}

TEST_F(NodeCom, GetOrDefaultFallsBackToAnEmptyDescription) {
  itf_->AttributeSetInt(L"x", 3);
  BOOL present = 0;
  TBstr v;
  EXPECT_EQ(itf_->AttributeGetOrDefault(L"x", &present, v.Out()), S_OK);
  EXPECT_EQ(present, 1);
  EXPECT_EQ(Str(v), L"3");
  EXPECT_EQ(itf_->AttributeGetOrDefault(L"y", &present, v.Out()), S_FALSE);
  EXPECT_EQ(present, 0);
  EXPECT_EQ(Str(v), L"");
  EXPECT_EQ(itf_->AttributeGetOrDefault(L"y", nullptr, v.Out()), S_FALSE);
}

TEST_F(NodeCom, TextFormOfAttributes) {
  EXPECT_EQ(itf_->AttributesFromText(L" a='1' sub::b=\"2\"  c=3", 1), 1);
  EXPECT_EQ(node_->GetInt(L"sub::b"), 2) << "names are paths";
  TBstr text;
  EXPECT_EQ(itf_->AttributesToText(text.Out()), S_OK);
  EXPECT_EQ(Str(text), L" a='1' c='3'");
  EXPECT_EQ(itf_->AttributesToText(nullptr), S_OK);
  EXPECT_EQ(itf_->AttributesFromText(L"a='9'", 0), 1) << "overwrites in every mode";
  EXPECT_EQ(node_->GetInt(L"a"), 9);
  EXPECT_EQ(itf_->AttributesFromText(L"z='1'", 2), 1);
  EXPECT_EQ(node_->AttributesText(), L" z='1'");
  EXPECT_EQ(itf_->AttributesFromText(L"   ", 1), 0);
  EXPECT_EQ(itf_->AttributesFromText(nullptr, 1), E_INVALIDARG);
}

TEST_F(NodeCom, CloneAndMergeOfAttributes) {
  node_->SetString(L"a", L"mine");
  node_->SetString(L"b", L"mine");
  XMLNodePtr other = CoXMLNode::Create(L"other");
  other->SetString(L"b", L"theirs");
  other->SetString(L"c", L"theirs");
  other->SetString(L"d::e", L"deep");

  Held<ITAttributes> clone;
  ASSERT_EQ(itf_->AttributesClone(clone.Out()), S_OK);
  LONG count = 0;
  clone->AttributesCount(&count);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(static_cast<CoXMLNode*>(static_cast<ITNode*>(clone.p))->Name(), L"m_attributes");

  EXPECT_EQ(itf_->AttributesMerge(other.Get(), 0), S_OK);
  EXPECT_EQ(node_->AttributesText(), L" a='mine' b='mine' c='theirs'");
  EXPECT_EQ(itf_->AttributesMerge(other.Get(), 1), S_OK);
  EXPECT_EQ(node_->AttributesText(), L" a='mine' b='theirs' c='theirs'");
  EXPECT_EQ(itf_->AttributesMerge(other.Get(), 2), S_OK);
  EXPECT_EQ(node_->AttributesText(), L" b='theirs' c='theirs'");
  EXPECT_FALSE(node_->FindChild(L"d")) << "a merge makes no nodes";
  EXPECT_EQ(itf_->AttributesMerge(nullptr, 1), E_INVALIDARG);
}

TEST_F(NodeCom, NamesTextAndPaths) {
  TBstr s;
  EXPECT_EQ(itf_->NodeNameGet(s.Out()), S_OK);
  EXPECT_EQ(Str(s), L"root");
  EXPECT_EQ(itf_->NodeNameGet(nullptr), E_POINTER);
  EXPECT_EQ(itf_->NodeNameSet(L""), E_INVALIDARG);
  EXPECT_EQ(itf_->NodeNameSet(nullptr), E_INVALIDARG);
  EXPECT_EQ(itf_->NodeNameSet(L"root"), S_OK);

  EXPECT_EQ(itf_->NodeTextSet(L"hello"), S_OK);
  EXPECT_EQ(itf_->NodeTextSet(L"again"), S_OK);
  EXPECT_EQ(itf_->NodeTextGet(s.Out()), S_OK);
  EXPECT_EQ(Str(s), L"again");
  EXPECT_EQ(node_->EntryCount(), 1);
  EXPECT_EQ(itf_->NodeTextGet(nullptr), E_POINTER);

  Held<ITNode> c;
  ASSERT_EQ(itf_->ChildFind(L"a::b::c", 1, c.Out()), S_OK);
  Held<ITNode> a;
  ASSERT_EQ(itf_->ChildFind(L"a", 0, a.Out()), S_OK);
  EXPECT_EQ(c->NodePath(s.Out(), nullptr), S_OK);
  EXPECT_EQ(Str(s), L"a::b::c");
  EXPECT_EQ(c->NodePath(s.Out(), a.p), S_OK);
  EXPECT_EQ(Str(s), L"b::c");
  EXPECT_EQ(c->NodePath(s.Out(), c.p), S_OK);
  EXPECT_EQ(Str(s), L"");
  EXPECT_EQ(c->NodePath(nullptr, nullptr), E_POINTER);
}

TEST_F(NodeCom, NodeTextGetLeavesTheOutValueAloneWithoutText) {
  BSTR out = reinterpret_cast<BSTR>(this);  // a sentinel, never freed
  EXPECT_EQ(itf_->NodeTextGet(&out), S_OK);
  EXPECT_EQ(out, reinterpret_cast<BSTR>(this));
}

TEST_F(NodeCom, ChildOperations) {
  LONG count = -1;
  EXPECT_EQ(itf_->ChildCount(&count), S_OK);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(itf_->ChildCount(nullptr), E_POINTER);
  Held<ITNode> item;
  EXPECT_EQ(itf_->ChildAdd(L"list::item", L"x", item.Out()), S_OK);
  EXPECT_EQ(itf_->ChildAdd(L"list::item", L"", nullptr), S_OK);
  EXPECT_EQ(itf_->ChildAdd(L"", L"", nullptr), E_INVALIDARG);
  EXPECT_EQ(itf_->ChildAdd(nullptr, L"", nullptr), E_INVALIDARG);
  EXPECT_EQ(itf_->ChildAdd(L"list::", L"", nullptr), E_FAIL);
  EXPECT_EQ(node_->ToXML(), L"<root>\r\n\t<list>\r\n\t\t<item>x</item>\r\n\t\t<item/>\r\n\t</list>\r\n</root>");
  EXPECT_EQ(itf_->ChildFind(L"nothing", 0, nullptr), CV_E_NOT_FOUND);
  EXPECT_EQ(itf_->ChildFind(L"", 1, nullptr), E_INVALIDARG);

  Held<ITNode> list;
  ASSERT_EQ(itf_->ChildFind(L"list", 0, list.Out()), S_OK);
  list->ChildAdd(L"attributes_info", L"", nullptr);
  EXPECT_EQ(list->ChildCount(&count), S_OK);
  EXPECT_EQ(count, 2);
  TBstr name;
  Held<ITNode> second;
  EXPECT_EQ(list->ChildByIndex(1, name.Out(), second.Out()), S_OK);
  EXPECT_EQ(Str(name), L"item");
  EXPECT_EQ(list->ChildByIndex(2, name.Out(), nullptr), CV_E_BAD_INDEX);

  Held<ITNode> parent;
  EXPECT_EQ(second->NodeParent(parent.Out()), S_OK);
  EXPECT_EQ(parent.p, list.p);
  Held<ITNode> none;
  EXPECT_EQ(itf_->NodeParent(none.Out()), S_FALSE);
  EXPECT_EQ(none.p, nullptr);
  EXPECT_EQ(itf_->NodeParent(nullptr), E_POINTER);

  EXPECT_EQ(itf_->ChildRemove(L"list::item[1]"), S_OK);
  EXPECT_EQ(itf_->ChildRemove(L"list::item[1]"), S_FALSE);
  EXPECT_EQ(itf_->ChildRemove(L""), E_INVALIDARG);
  EXPECT_EQ(list->ChildCount(&count), S_OK);
  EXPECT_EQ(count, 1);
}

TEST_F(NodeCom, DetachClearsTheNodeFirst) {
  Held<ITNode> child;
  ASSERT_EQ(itf_->ChildFind(L"child", 1, child.Out()), S_OK);
  child->AttributeSetInt(L"x", 1);
  child->ChildAdd(L"grand", L"", nullptr);
  EXPECT_EQ(child->NodeDetach(), S_OK);
  LONG count = -1;
  itf_->ChildCount(&count);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(child->AttributesCount(nullptr), S_FALSE);
  child->ChildCount(&count);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(child->NodeDetach(), S_FALSE) << "now a root";
}

TEST_F(NodeCom, ClearXmlAndClone) {
  node_->SetInt(L"a", 1);
  node_->AddChild(L"c");
  EXPECT_EQ(itf_->NodeClear(0), S_OK);
  EXPECT_EQ(node_->EntryCount(), 0);
  EXPECT_EQ(node_->AttributeCount(), 1) << "attributes stay without the flag";
  EXPECT_EQ(itf_->NodeClear(1), S_OK);
  EXPECT_EQ(node_->AttributeCount(), 0);

  EXPECT_EQ(itf_->NodeFromXML(L"<Other k='v'><x/></Other>", 0), S_OK);
  EXPECT_EQ(node_->Name(), L"root");
  EXPECT_EQ(node_->GetString(L"k"), L"v");
  TBstr xml;
  EXPECT_EQ(itf_->NodeToXML(xml.Out()), S_OK);
  EXPECT_EQ(Str(xml), L"<root k='v'>\r\n\t<x/>\r\n</root>");
  EXPECT_EQ(itf_->NodeToXML(nullptr), E_POINTER);
  EXPECT_EQ(itf_->NodeFromXML(L"<Other/>", 1), S_OK);
  EXPECT_EQ(node_->Name(), L"other");
  EXPECT_EQ(itf_->NodeFromXML(L"no tags", 1), E_INVALIDARG);
  EXPECT_EQ(itf_->NodeFromXML(nullptr, 1), E_INVALIDARG);

  node_->SetInt(L"deep::v", 5);
  Held<ITNode> clone;
  EXPECT_EQ(itf_->NodeClone(clone.Out()), S_OK);
  EXPECT_EQ(static_cast<CoXMLNode*>(clone.p)->ToXML(), node_->ToXML());
  EXPECT_EQ(itf_->NodeClone(nullptr), E_POINTER);
  Held<ITNode> parent;
  EXPECT_EQ(clone->NodeParent(parent.Out()), S_FALSE);
}

TEST_F(NodeCom, ReservedSlotIsNotImplemented) {
  EXPECT_EQ(itf_->NodeReserved(nullptr, nullptr), E_NOTIMPL);
}

}  // namespace
}  // namespace XMLParse
