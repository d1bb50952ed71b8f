#include <gtest/gtest.h>

#include <string>

#include "props/xml_node.h"

namespace XMLParse {
namespace {

// A compact picture of a tree: name{attr=value,...}[children], text as 'text'.
std::wstring Shape(const CoXMLNode& n) {
  if (n.IsText()) return L"'" + n.TextContent() + L"'";
  std::wstring out = n.Name();
  std::wstring name, value;
  if (n.AttributeCount()) {
    out += L"{";
    for (int32_t i = 0; n.AttributeAt(i, &name, &value); ++i) out += (i ? L"," : L"") + name + L"=" + value;
    out += L"}";
  }
  if (n.EntryCount()) {
    out += L"[";
    for (int32_t i = 0; i < n.EntryCount(); ++i) out += (i ? L"," : L"") + Shape(*n.EntryAt(i));
    out += L"]";
  }
  return out;
}

std::wstring Read(const wchar_t* text) {
  XMLNodePtr n = CoXMLNode::Create(L"fresh");
  EXPECT_EQ(n->ParseElement(text), S_OK);
  return Shape(*n);
}

TEST(XMLReader, ElementsAttributesAndText) {
  EXPECT_EQ(Read(L"<A B='1'>x</a>"), L"a{B=1}['x']");
  EXPECT_EQ(Read(L"<a><b/>text<c/></a>"), L"a[b,'text',c]");
  EXPECT_EQ(Read(L"<a x='1' x='2'/>"), L"a{x=2}");
  EXPECT_EQ(Read(L"<a v=\"&amp;\" w=bare u = 'sp' />"), L"a{v=&amp;,w=bare,u=sp}")
      << "attribute values are kept as they stand";
  EXPECT_EQ(Read(L"<a flag x='1'/>"), L"a{x=1}") << "a name without a value is dropped";
  EXPECT_EQ(Read(L"<a><b><c k='v'/></b></a>"), L"a[b[c{k=v}]]");
}

TEST(XMLReader, CharacterDataRules) {
  EXPECT_EQ(Read(L"<a>  x </a>"), L"a['  x ']");
  EXPECT_EQ(Read(L"<a>\r\n\tx\r\n</a>"), L"a['x']");
  EXPECT_EQ(Read(L"<a> \r\n \t</a>"), L"a");
  EXPECT_EQ(Read(L"<a>&lt;&#65;&#x42;&unknown;</a>"), L"a['<ABunknown;']");
  EXPECT_EQ(Read(L"<a><![CDATA[a<b]]></a>"), L"a['a<b']");
  EXPECT_EQ(Read(L"<a><![CDATA[&lt;]]></a>"), L"a['<']");
  EXPECT_EQ(Read(L"<a>one<![CDATA[two]]>three</a>"), L"a['onetwothree']") << "adjacent text joins";
  EXPECT_EQ(Read(L"<a>x<br>y<tab/>z</a>"), L"a['x',br,'y',tab,'z']");
  EXPECT_EQ(Read(L"<a>&nbsp;</a>"), L"a[' ']");
}

TEST(XMLReader, SkipsWhatIsNoElement) {
  EXPECT_EQ(Read(L"<?xml version='1.0'?>\r\n<a><b/><!-- note <c/> --><d/></a>"), L"a[b,d]");
  EXPECT_EQ(Read(L"junk</x><a/>after<b/>"), L"a") << "text outside the root and stray closing tags go";
  EXPECT_EQ(Read(L"<a>x<!-- -->y</a>"), L"a['xy']") << "a comment leaves no trace in text either";
  EXPECT_EQ(Read(L"<a><b></c></a>"), L"a[b]") << "mismatched closing tags are ignored";
  EXPECT_EQ(Read(L"<a><b>text"), L"a[b['text']]") << "unbalanced tags end with the text";
  EXPECT_EQ(Read(L"<a>x<!-- never closed <b/>"), L"a['x']");
  EXPECT_EQ(Read(L"<![CDATA[only]]>"), L"fresh['only']");
}

TEST(XMLReader, EndBoundsTheTextAndReportsWhereReadingStopped) {
  const std::wstring text = L"<a><b/></a><c/>";
  XMLNodePtr n = CoXMLNode::Create(L"n");
  const wchar_t* end = text.data() + text.size();
  EXPECT_EQ(n->ParseElement(text.data(), &end), S_OK);
  EXPECT_EQ(end - text.data(), 11);
  const wchar_t* rest = text.data() + text.size();
  EXPECT_EQ(n->ParseElement(end, &rest), S_OK);
  EXPECT_EQ(Shape(*n), L"c");
  const wchar_t* bound = text.data() + 6;  // "<a><b/": the last unit stands for the ">"
  EXPECT_EQ(n->ParseElement(text.data(), &bound), S_OK);
  EXPECT_EQ(Shape(*n), L"a[b]");
  EXPECT_EQ(bound, text.data() + 6);
  const wchar_t* none = nullptr;
  EXPECT_EQ(n->ParseElement(L"<x/>", &none), S_OK);
  EXPECT_EQ(std::wstring(none), L"");
}

TEST(XMLReader, BodyOnlyAndFailures) {
  XMLNodePtr n = CoXMLNode::Create(L"body");
  n->SetInt(L"old", 1);
  EXPECT_EQ(n->ParseElement(L"<i/>text</body>ignored", nullptr, true), S_OK);
  EXPECT_EQ(Shape(*n), L"body[i,'text']") << "the old content goes first";
  EXPECT_EQ(n->ParseElement(nullptr), E_INVALIDARG);
  EXPECT_EQ(n->ParseElement(L"plain text"), E_INVALIDARG);
  EXPECT_EQ(Shape(*n), L"body") << "a read without tags still empties the node";
  EXPECT_EQ(n->ParseElement(L"</only></closing>"), E_INVALIDARG);
}

TEST(XMLReader, DeepNestingIsFlattenedBeyondTheLimit) {
  std::wstring text;
  for (int i = 0; i < 2000; ++i) text += L"<a>";
  XMLNodePtr n = CoXMLNode::Create(L"n");
  EXPECT_EQ(n->ParseElement(text.c_str()), S_OK);
  int depth = 0;
  for (XMLNodePtr cur = n; cur; cur = cur->EntryAt(0)) ++depth;
  EXPECT_LT(depth, 300);
  EXPECT_GT(depth, 200);
}

TEST(XMLReader, AttributeText) {
  XMLNodePtr n = CoXMLNode::Create(L"n");
  EXPECT_TRUE(n->ParseAttributes(L" a='1' b=\"it's\" c=plain d = 'x y' e='open", nullptr, false, 1, false));
  EXPECT_EQ(Shape(*n), L"n{a=1,b=it's,c=plain,d=x y,e=open}");
  EXPECT_TRUE(n->ParseAttributes(L"a='2' bare f", nullptr, true, 0, false));
  EXPECT_EQ(n->GetString(L"a"), L"1") << "mode 0 keeps an existing value";
  EXPECT_TRUE(n->HasAttribute(L"bare"));
  EXPECT_EQ(n->GetString(L"f", L"?"), L"");
  EXPECT_TRUE(n->ParseAttributes(L"z::y='1'", nullptr, false, 2, false));
  EXPECT_EQ(Shape(*n), L"n{z::y=1}") << "without byPath a name is taken as it stands";
  EXPECT_TRUE(n->ParseAttributes(L"z::y='1'", nullptr, false, 1, true));
  EXPECT_EQ(n->GetInt(L"z::y"), 1);
  EXPECT_FALSE(n->ParseAttributes(L"a=", nullptr, true, 1, false));
  EXPECT_FALSE(n->ParseAttributes(L"='x'", nullptr, true, 1, false));
  EXPECT_FALSE(n->ParseAttributes(nullptr, nullptr, true, 1, false));
}

}  // namespace
}  // namespace XMLParse
