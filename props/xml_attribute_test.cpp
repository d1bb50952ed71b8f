#include "props/xml_attribute.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace XMLParse {
namespace {

std::wstring TextOf(XMLAttribute& a) { return std::wstring(a.TextView()); }

TEST(XMLAttribute, RendersEachKind) {
  XMLAttribute a;
  a.SetBool(true);
  EXPECT_EQ(TextOf(a), L"true");
  a.SetBool(false);
  EXPECT_EQ(TextOf(a), L"false");
  a.SetInt(-42);
  EXPECT_EQ(TextOf(a), L"-42");
  a.SetUInt(255);
  EXPECT_EQ(TextOf(a), L"0x000000FF");
  a.SetDouble(30.0);
  EXPECT_EQ(TextOf(a), L"30.0");
  a.SetDouble(0.2);
  EXPECT_EQ(TextOf(a), L"0.2");
  a.SetColor(0xFF0000FFu);
  EXPECT_EQ(TextOf(a), L"Red");
  EXPECT_STREQ(XMLAttribute().Text(), L"");
}

TEST(XMLAttribute, StateMovesBetweenTextAndBinary) {
  XMLAttribute a(L"old");
  a.SetDouble(0.5);
  EXPECT_EQ(a.Kind(), eXMLKindDouble);
  EXPECT_FALSE(a.TextValid()) << "a typed write leaves the text stale until it is needed";
  EXPECT_EQ(a.AsDouble(), 0.5);
  EXPECT_EQ(a.AsInt(), 0) << "converted from the rendered text \"0.5\"";
  EXPECT_EQ(a.Kind(), eXMLKindInt);
  EXPECT_TRUE(a.TextValid());
  EXPECT_EQ(TextOf(a), L"0.5") << "the text survives the conversion";
  EXPECT_EQ(a.AsDouble(), 0.5);
}

TEST(XMLAttribute, TextConvertsLazilyAndKeepsItsWording) {
  XMLAttribute hex(L"0x10");
  EXPECT_EQ(hex.AsInt(), 16);
  EXPECT_EQ(TextOf(hex), L"0x10");
  EXPECT_EQ(hex.AsUInt(), 16u);
  EXPECT_EQ(XMLAttribute(L"010").AsInt(), 8);
  EXPECT_EQ(XMLAttribute(L"0xFFFFFFFF").AsInt(), -1) << "the low 32 bits of a 64-bit read";
  EXPECT_EQ(XMLAttribute(L"0x1FFFFFFFF").AsUInt(), 0xFFFFFFFFu);
  EXPECT_EQ(XMLAttribute(L"12abc").AsInt(), 12);
  EXPECT_EQ(XMLAttribute(L"TRUE").AsInt(), 1);
  EXPECT_EQ(XMLAttribute(L"true").AsUInt(), 1u);
  EXPECT_EQ(XMLAttribute(L"True").AsDouble(), 1.0);
  EXPECT_EQ(XMLAttribute(L"50%").AsDouble(), 0.5);
  EXPECT_EQ(XMLAttribute(L"no").AsBool(), false);
  EXPECT_EQ(XMLAttribute(L"yes").AsBool(), true);
  EXPECT_EQ(XMLAttribute(L"#00FF00").AsColor(7), 0xFF00FF00u);
  EXPECT_EQ(XMLAttribute(L"nonsense").AsColor(7), 7u);
}

TEST(XMLAttribute, EmptyTextGivesZeroForEveryKind) {
  XMLAttribute a(L"");
  EXPECT_EQ(a.AsInt(), 0);
  EXPECT_EQ(a.AsDouble(), 0.0);
  EXPECT_FALSE(a.AsBool());
  EXPECT_EQ(a.AsColor(0x12345678u), 0u);
  a.SetInt(5);
  a.SetText(L"");
  EXPECT_EQ(a.AsInt(), 0) << "a text write makes the text authoritative again";
}

TEST(XMLAttribute, IsAReferenceCountedUnknown) {
  auto* a = new XMLAttribute(L"x");
  a->AddRef();
  IUnknown* unk = nullptr;
  EXPECT_EQ(a->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&unk)), S_OK);
  EXPECT_EQ(a->QueryInterface(IID_IClassFactory, reinterpret_cast<void**>(&unk)), E_NOINTERFACE);
  EXPECT_EQ(unk, nullptr);
  EXPECT_EQ(a->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
  EXPECT_EQ(a->Release(), 1u);
  EXPECT_EQ(a->Release(), 0u);
}

}  // namespace
}  // namespace XMLParse
