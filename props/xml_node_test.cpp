#include "props/xml_node.h"

#include <gtest/gtest.h>

#include <string>

#include "media/module_lock.h"

namespace XMLParse {
namespace {

std::wstring ChildNames(const CoXMLNode& node) {
  std::wstring out;
  for (int32_t i = 0; i < node.EntryCount(); ++i) {
    XMLNodePtr e = node.EntryAt(i);
    if (!out.empty()) out += L",";
    out += e->IsText() ? L"'" + e->TextContent() + L"'" : e->Name();
  }
  return out;
}

TEST(XMLNode, PathsWalkAndMakeChildren) {
  XMLNodePtr root = CoXMLNode::Create(L"root");
  EXPECT_FALSE(root->FindChild(L"a::b"));
  XMLNodePtr b = root->FindChild(L"a::b", true);
  ASSERT_TRUE(b);
  EXPECT_EQ(b->Name(), L"b");
  EXPECT_EQ(root->FindChild(L"A::B").Get(), b.Get()) << "names match without regard to case";
  EXPECT_EQ(root->FindChild(L"").Get(), root.Get());
  EXPECT_FALSE(root->FindChild(L"a::::b", true)) << "an empty segment makes the path unusable";
  EXPECT_FALSE(root->FindChild(L"a::", true));
  EXPECT_EQ(b->Path(), L"a::b");
  EXPECT_EQ(b->Path(root->FindChild(L"a").Get()), L"b");
  EXPECT_EQ(root->Path(), L"");
}

TEST(XMLNode, IndexedSegmentsPickAmongEqualNames) {
  XMLNodePtr root = CoXMLNode::Create(L"root");
  XMLNodePtr first = root->AddChild(L"item");
  XMLNodePtr second = root->AddChild(L"item");
  ASSERT_NE(first.Get(), second.Get()) << "AddChild always makes a new node";
  first->SetInt(L"x", 1);
  second->SetInt(L"x", 2);
  EXPECT_EQ(root->GetInt(L"item[1]::x"), 2);
  EXPECT_EQ(root->GetInt(L"item::x"), 1);
  EXPECT_EQ(root->GetInt(L"item[0]::x"), 1);
  EXPECT_FALSE(root->FindChild(L"item[2]"));
  XMLNodePtr made = root->FindChild(L"item[5]", true);
  ASSERT_TRUE(made) << "a missing index makes one more node";
  EXPECT_EQ(root->FindChild(L"item[2]").Get(), made.Get());
  // Inserting in the middle keeps the index of each name in table order.
  XMLNodePtr front = root->FindChild(L"head", true, 0);
  EXPECT_EQ(ChildNames(*root), L"head,item,item,item");
  EXPECT_EQ(root->FindChild(L"item[1]").Get(), second.Get());
  EXPECT_EQ(root->AddChild(L"x::y::z")->Path(), L"x::y::z");
}

TEST(XMLNode, TextChildrenMergeAndStayOutOfCounts) {
  XMLNodePtr a = CoXMLNode::Create(L"a");
  a->AppendText(L"one");
  a->AppendText(L" two");
  EXPECT_EQ(a->EntryCount(), 1) << "adjacent text joins the last text node";
  a->AddChild(L"b");
  a->AppendText(L"three");
  EXPECT_EQ(ChildNames(*a), L"'one two',b,'three'");
  EXPECT_EQ(a->CountChildren(), 1);
  std::wstring text;
  ASSERT_TRUE(a->GetText(text));
  EXPECT_EQ(text, L"one two");
  a->SetText(L"first");
  EXPECT_EQ(ChildNames(*a), L"'first',b,'three'");
  XMLNodePtr t = a->EntryAt(0);
  EXPECT_TRUE(t->IsText());
  EXPECT_FALSE(t->Rename(L"x")) << "a text node has no name to change";
  EXPECT_FALSE(t->SetString(L"k", L"v")) << "nor attributes";
  t->AppendText(L"child");
  EXPECT_EQ(t->EntryCount(), 0) << "nor children";
  XMLNodePtr empty = CoXMLNode::Create(L"e");
  EXPECT_FALSE(empty->GetText(text));
  empty->SetText(L"now");
  EXPECT_EQ(ChildNames(*empty), L"'now'");
}

TEST(XMLNode, RemovingAChildJoinsTheTextAroundIt) {
  XMLNodePtr a = CoXMLNode::Create(L"a");
  a->AddChild(L"p");
  a->AddChild(L"q");
  a->AppendText(L"left");
  a->AddChild(L"mid");
  a->AppendText(L"right");
  a->AddChild(L"r");
  EXPECT_TRUE(a->RemoveChild(L"mid"));
  EXPECT_EQ(ChildNames(*a), L"p,q,'leftright',r");
  // At position 1 the texts around stay apart.
  XMLNodePtr b = CoXMLNode::Create(L"b");
  b->AppendText(L"x");
  b->AddChild(L"mid");
  b->AppendText(L"y");
  EXPECT_TRUE(b->RemoveChild(L"mid"));
  EXPECT_EQ(ChildNames(*b), L"'x','y'");
  EXPECT_FALSE(b->RemoveChild(L"mid"));
  EXPECT_FALSE(b->RemoveChild(L"")) << "a path to the node itself removes nothing";
}

TEST(XMLNode, AttributesInfoIsHiddenFromChildLists) {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  root->FindChild(L"Attributes_Info", true);
  EXPECT_EQ(root->CountChildren(), 0);
  EXPECT_FALSE(root->ChildAt(0));
  EXPECT_TRUE(root->FindChild(L"attributes_info"));
  root->AddChild(L"capture");
  root->AddChild(L"audio");
  std::wstring name;
  ASSERT_TRUE(root->ChildAt(1, &name));
  EXPECT_EQ(name, L"audio");
  const wchar_t* const leave[] = {L"AUDIO", nullptr};
  EXPECT_EQ(root->CountChildren(leave), 1);
}

TEST(XMLNode, RenameUpdatesTheParentsTable) {
  XMLNodePtr root = CoXMLNode::Create(L"root");
  XMLNodePtr child = root->FindChild(L"old", true);
  EXPECT_FALSE(child->Rename(L"old")) << "the same string is no rename";
  EXPECT_TRUE(child->Rename(L"Old")) << "another spelling is";
  EXPECT_TRUE(child->Rename(L"new"));
  EXPECT_EQ(child->Name(), L"new");
  EXPECT_FALSE(root->FindChild(L"old"));
  EXPECT_EQ(root->FindChild(L"new").Get(), child.Get());
}

TEST(XMLNode, ParentLinkIsClearedWhenTheParentLetsGo) {
  XMLNodePtr root = CoXMLNode::Create(L"root");
  XMLNodePtr a = root->FindChild(L"a", true);
  XMLNodePtr b = root->FindChild(L"a::b", true);
  EXPECT_EQ(a->Parent().Get(), root.Get());
  EXPECT_TRUE(root->RemoveChild(L"a"));
  EXPECT_FALSE(a->Parent()) << "a removed node is a root";
  EXPECT_EQ(b->Parent().Get(), a.Get()) << "its own children stay with it";
  a.Reset();
  EXPECT_FALSE(b->Parent()) << "a node that outlives its parent has none";
  EXPECT_EQ(b->Path(), L"");

  XMLNodePtr c = root->FindChild(L"c", true);
  root->Clear(false);
  EXPECT_FALSE(c->Parent());
}

TEST(XMLNode, EveryNodeHoldsTheModule) {
  const int32_t before = ModuleLockCount();
  {
    XMLNodePtr root = CoXMLNode::Create(L"root");
    root->FindChild(L"a::b", true);
    root->AppendText(L"t");
    EXPECT_EQ(ModuleLockCount(), before + 4);
  }
  EXPECT_EQ(ModuleLockCount(), before);
}

TEST(XMLNode, CopyAttributesByMode) {
  XMLNodePtr src = CoXMLNode::Create(L"src");
  src->SetInt(L"a", 1);
  src->SetString(L"b", L"x");
  XMLNodePtr dst = CoXMLNode::Create(L"dst");
  dst->SetInt(L"a", 9);
  dst->SetInt(L"c", 3);
  EXPECT_EQ(src->CopyAttributes(dst.Get(), 0), 1);
  EXPECT_EQ(dst->GetInt(L"a"), 9);
  EXPECT_EQ(dst->GetString(L"b"), L"x");
  EXPECT_EQ(src->CopyAttributes(dst.Get(), 1), 2);
  EXPECT_EQ(dst->GetInt(L"a"), 1);
  EXPECT_EQ(src->CopyAttributes(dst.Get(), 2), 2);
  EXPECT_FALSE(dst->HasAttribute(L"c"));
  EXPECT_EQ(src->CopyAttributes(src.Get(), 1), -1);
  EXPECT_EQ(src->CopyAttributes(nullptr, 1), -1);
}

TEST(XMLNode, CopyAttributesFiltersAndRecurses) {
  XMLNodePtr src = CoXMLNode::Create(L"src");
  src->SetInt(L"keep", 1);
  src->SetInt(L"drop", 2);
  src->SetInt(L"sub::keep", 3);
  src->SetInt(L"other::keep", 4);
  src->AddChild(L"sub")->SetInt(L"keep", 5);
  const wchar_t* const take[] = {L"keep", nullptr};
  const wchar_t* const sub[] = {L"sub", nullptr};
  XMLNodePtr dst = CoXMLNode::Create(L"dst");
  EXPECT_EQ(src->CopyAttributes(dst.Get(), 1, take, nullptr, sub), 3);
  EXPECT_FALSE(dst->HasAttribute(L"drop"));
  EXPECT_EQ(dst->GetInt(L"sub::keep"), 3);
  EXPECT_EQ(dst->GetInt(L"sub[1]::keep"), 5);
  EXPECT_FALSE(dst->FindChild(L"other"));
  const wchar_t* const all[] = {nullptr};
  const wchar_t* const leave[] = {L"drop", nullptr};
  XMLNodePtr every = CoXMLNode::Create(L"every");
  EXPECT_EQ(src->CopyAttributes(every.Get(), 1, nullptr, leave, all), 4);
  EXPECT_EQ(every->GetInt(L"other::keep"), 4);
}

TEST(XMLNode, CopyAndCloneAreDeep) {
  XMLNodePtr src = CoXMLNode::Create(L"src");
  src->SetDouble(L"a::b::v", 0.25);
  src->AppendText(L"text");
  src->AddChild(L"skip");
  src->SetString(L"top", L"1");
  XMLNodePtr dst = CoXMLNode::Create(L"dst");
  dst->AddChild(L"gone");
  const wchar_t* const leave[] = {L"skip", nullptr};
  EXPECT_EQ(src->CopyTo(dst.Get(), false, 1, leave), 2) << "a and a::b made";
  EXPECT_EQ(dst->Name(), L"dst");
  EXPECT_FALSE(dst->FindChild(L"gone"));
  EXPECT_FALSE(dst->FindChild(L"skip"));
  EXPECT_EQ(dst->GetString(L"a::b::v"), L"0.25");
  EXPECT_EQ(ChildNames(*dst), L"a,'text'");

  XMLNodePtr clone = src->Clone();
  EXPECT_EQ(clone->Name(), L"src");
  EXPECT_FALSE(clone->Parent());
  EXPECT_EQ(clone->ToXML(), src->ToXML());
  src->SetInt(L"a::b::v", 7);
  EXPECT_EQ(clone->GetString(L"a::b::v"), L"0.25") << "nothing is shared";
  EXPECT_EQ(CoXMLNode::CreateText(L"t")->CopyTo(dst.Get(), true, 1), -1);
}

}  // namespace
}  // namespace XMLParse
