#include <gtest/gtest.h>

#include <string>

#include "props/xml_node.h"

namespace XMLParse {
namespace {

std::wstring AttrNames(const CoXMLNode& node) {
  std::wstring out, name;
  for (int32_t i = 0; node.AttributeAt(i, &name, nullptr); ++i) out += (i ? L"," : L"") + name;
  return out;
}

TEST(NodeValues, NamesMatchWithoutCaseAndKeepTheFirstSpelling) {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  EXPECT_TRUE(root->SetString(L"Capture.Mode", L"auto"));
  EXPECT_TRUE(root->SetString(L"capture.mode", L"gdi"));
  EXPECT_EQ(root->AttributeCount(), 1);
  EXPECT_EQ(AttrNames(*root), L"Capture.Mode");
  EXPECT_EQ(root->GetString(L"CAPTURE.MODE"), L"gdi");
  EXPECT_FALSE(root->FindChild(L"capture")) << "a dot is part of the name, not a path";
}

TEST(NodeValues, TableOrderSurvivesRewritesAndRemovals) {
  XMLNodePtr n = CoXMLNode::Create(L"n");
  n->SetInt(L"a", 1);
  n->SetInt(L"b", 2);
  n->SetInt(L"c", 3);
  n->SetInt(L"a", 10);
  EXPECT_EQ(AttrNames(*n), L"a,b,c");
  EXPECT_TRUE(n->RemoveAttribute(L"a"));
  EXPECT_EQ(AttrNames(*n), L"b,c");
  std::wstring name, value;
  ASSERT_TRUE(n->AttributeAt(1, &name, &value));
  EXPECT_EQ(name + L"=" + value, L"c=3");
  EXPECT_EQ(n->GetInt(L"c"), 3) << "the index follows the move";
  EXPECT_FALSE(n->RemoveAttribute(L"a"));
  EXPECT_FALSE(n->AttributeAt(2, &name, &value));
  EXPECT_FALSE(n->AttributeAt(-1, &name, &value));
}

TEST(NodeValues, KeepExistingPositionAndCreatePath) {
  XMLNodePtr n = CoXMLNode::Create(L"n");
  EXPECT_TRUE(n->SetInt(L"a", 1));
  EXPECT_FALSE(n->SetInt(L"a", 2, true, true)) << "keepExisting leaves it alone";
  EXPECT_EQ(n->GetInt(L"a"), 1);
  EXPECT_TRUE(n->SetInt(L"z", 0, true, false, 0));
  EXPECT_TRUE(n->SetInt(L"m", 0, true, false, 1));
  EXPECT_EQ(AttrNames(*n), L"z,m,a");
  EXPECT_FALSE(n->SetInt(L"far", 0, true, false, 4)) << "beyond the end";
  EXPECT_EQ(n->GetInt(L"z"), 0);
  EXPECT_EQ(n->GetInt(L"a"), 1) << "an insert rebuilds the index";
  EXPECT_FALSE(n->SetInt(L"sub::x", 1, false)) << "without createPath a missing node is a failure";
  EXPECT_FALSE(n->FindChild(L"sub"));
  EXPECT_TRUE(n->SetInt(L"sub::x", 1));
  EXPECT_EQ(n->FindChild(L"sub")->GetInt(L"x"), 1);
  EXPECT_FALSE(n->SetInt(L"", 1));
  EXPECT_FALSE(n->SetInt(L"sub::", 1));
}

TEST(NodeValues, TypedReadsConvertOnceAndKeepTheText) {
  XMLNodePtr n = CoXMLNode::Create(L"n");
  n->SetDouble(L"d", 0.5);
  EXPECT_EQ(n->GetString(L"d"), L"0.5");
  EXPECT_EQ(n->GetInt(L"d"), 0);
  EXPECT_EQ(n->GetDouble(L"d"), 0.5);
  n->SetString(L"hex", L"0x10");
  EXPECT_EQ(n->GetInt(L"hex"), 16);
  EXPECT_EQ(n->GetString(L"hex"), L"0x10");
  n->SetString(L"t", L"TRUE");
  EXPECT_EQ(n->GetInt(L"t"), 1);
  EXPECT_TRUE(n->GetBool(L"t"));
  n->SetFloat(L"f", 0.25f);
  EXPECT_EQ(n->GetString(L"f"), L"0.25");
  n->SetBool(L"b", true);
  EXPECT_EQ(n->GetString(L"b"), L"true");
  EXPECT_EQ(n->GetUInt(L"b"), 1u);
  n->SetInt(L"i", -1);
  EXPECT_EQ(n->GetUInt(L"i"), 0xFFFFFFFFu);
  n->SetColor(L"c", 0x800000FFu);
  EXPECT_EQ(n->GetString(L"c"), L"Red(128)");
  n->SetString(L"c2", L"#00FF00");
  EXPECT_EQ(n->GetColor(L"c2", 1), 0xFF00FF00u);
  n->SetString(L"empty", L"");
  bool found = false;
  EXPECT_EQ(n->GetInt(L"empty", 7, &found), 0);
  EXPECT_TRUE(found);
}

TEST(NodeValues, MissingAttributesGiveTheDefault) {
  XMLNodePtr n = CoXMLNode::Create(L"n");
  bool found = true;
  EXPECT_EQ(n->GetInt(L"x", 7, &found), 7);
  EXPECT_FALSE(found);
  EXPECT_EQ(n->GetString(L"x", L"dflt"), L"dflt");
  EXPECT_EQ(n->GetDouble(L"a::b::x", 2.5), 2.5);
  EXPECT_FALSE(n->FindChild(L"a")) << "a read makes no nodes";
  EXPECT_EQ(n->GetColor(L"x", 0x11223344u), 0x11223344u);
  EXPECT_STREQ(n->GetStringRef(L"x", L"d"), L"d");
}

TEST(NodeValues, StringRefAndEnum) {
  XMLNodePtr n = CoXMLNode::Create(L"n");
  n->SetInt(L"i", 42);
  bool found = false;
  const wchar_t* ref = n->GetStringRef(L"i", L"", &found);
  EXPECT_TRUE(found);
  EXPECT_STREQ(ref, L"42");
  EXPECT_EQ(n->GetStringRef(L"i"), ref) << "no copy: the attribute's own text";

  static const wchar_t* const modes[] = {L"auto", L"dxgi", L"directx", L"gdi", nullptr};
  n->SetString(L"mode", L"GDI");
  EXPECT_EQ(n->GetEnum(L"mode", modes, -1), 3);
  n->SetString(L"mode", L"other");
  EXPECT_EQ(n->GetEnum(L"mode", modes, -1), -1);
  EXPECT_EQ(n->GetEnum(L"none", modes, 1), 1);
}

}  // namespace
}  // namespace XMLParse
