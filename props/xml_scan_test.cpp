#include "props/xml_scan.h"

#include <gtest/gtest.h>

#include <string>

namespace XMLParse {
namespace {

XMLTag Scan(const std::wstring& text, size_t from = 0) {
  return ScanNextTag(text.data() + from, text.data() + text.size());
}

std::wstring Attrs(const XMLTag& t) { return std::wstring(t.attrBegin, t.attrEnd); }

TEST(XMLScan, StartAndClosingTags) {
  const std::wstring t = L"xx< Item  a='1' / >yy";
  XMLTag tag = Scan(t);
  EXPECT_EQ(tag.kind, XMLTag::eStart);
  EXPECT_EQ(tag.open - t.data(), 2);
  EXPECT_EQ(tag.name, L"item") << "names are read in lower case";
  EXPECT_EQ(Attrs(tag), L"a='1'");
  EXPECT_FALSE(tag.hasContent);
  EXPECT_EQ(std::wstring(tag.after), L"yy");

  const std::wstring quoted = L"<a b='>' c=\"'>\">";
  tag = Scan(quoted);
  EXPECT_EQ(Attrs(tag), L"b='>' c=\"'>\"") << "a \">\" inside quotes does not end the tag";
  EXPECT_TRUE(tag.hasContent);

  const std::wstring closing = L"< /A junk>";
  tag = Scan(closing);
  EXPECT_EQ(tag.kind, XMLTag::eClose);
  EXPECT_EQ(tag.name, L"a");

  const std::wstring single = L"<a x>";
  tag = Scan(single);
  EXPECT_EQ(Attrs(tag), L"") << "an attribute text of one character is dropped";
  tag = Scan(L"<BR>");
  EXPECT_EQ(tag.name, L"br");
  EXPECT_FALSE(tag.hasContent);
  EXPECT_FALSE(Scan(L"<tab>").hasContent);
}

TEST(XMLScan, CommentsAndInstructionsAreSkipped) {
  const std::wstring t = L"<?xml a='>'?><!-- <b> --><c>";
  XMLTag tag = Scan(t);
  EXPECT_EQ(tag.kind, XMLTag::eSkip);
  tag = ScanNextTag(tag.after, t.data() + t.size());
  EXPECT_EQ(tag.kind, XMLTag::eSkip);
  tag = ScanNextTag(tag.after, t.data() + t.size());
  EXPECT_EQ(tag.kind, XMLTag::eStart);
  EXPECT_EQ(tag.name, L"c");

  const std::wstring open = L"text<!-- never closed <a>";
  tag = Scan(open);
  EXPECT_EQ(tag.kind, XMLTag::eNone);
  EXPECT_EQ(tag.open - open.data(), 4) << "character data end where the comment starts";
  EXPECT_EQ(Scan(L"<?pi never closed").kind, XMLTag::eNone);
  EXPECT_EQ(Scan(L"no tags").kind, XMLTag::eNone);
}

TEST(XMLScan, CData) {
  const std::wstring t = L"<![CDATA[a<b>c]]>rest";
  XMLTag tag = Scan(t);
  EXPECT_EQ(tag.kind, XMLTag::eCData);
  EXPECT_EQ(std::wstring(tag.dataBegin, tag.dataEnd), L"a<b>c");
  EXPECT_EQ(std::wstring(tag.after), L"rest");
  const std::wstring open = L"<![CDATA[unterminated";
  tag = Scan(open);
  EXPECT_EQ(std::wstring(tag.dataBegin, tag.dataEnd), L"unterminated");
  EXPECT_EQ(tag.after, open.data() + open.size());
}

TEST(XMLScan, BrokenTagsEndInsideTheText) {
  const std::wstring t = L"<a b='1";
  XMLTag tag = Scan(t);
  EXPECT_EQ(tag.kind, XMLTag::eStart);
  EXPECT_EQ(tag.after, t.data() + t.size());
  EXPECT_EQ(Attrs(tag), L"b='") << "the last unit stands for the missing \">\"";
  for (const wchar_t* s : {L"<", L"</", L"<!", L"<![", L"< ", L"<'", L"<a'>"}) {
    const std::wstring text = s;
    tag = Scan(text);
    EXPECT_LE(tag.after, text.data() + text.size()) << std::string(text.begin(), text.end());
    EXPECT_GT(tag.after, text.data());
  }
  // A ">" right after "--" does not end a tag that began more than three units before it.
  const std::wstring dashes = L"<!x -- y --> z>";
  tag = Scan(dashes);
  EXPECT_EQ(Attrs(tag), L"-- y --> z");
}

TEST(XMLScan, DecodesEntitiesAndLineEnds) {
  auto decode = [](const std::wstring& s) { return DecodeCharData(s.data(), s.data() + s.size()); };
  EXPECT_EQ(decode(L"&lt;&#65;&#x42;&unknown;"), L"<ABunknown;");
  EXPECT_EQ(decode(L"&gt;&amp;&apos;&quot;"), L">&'\"");
  EXPECT_EQ(decode(L"&copy;&reg;"), std::wstring(1, static_cast<wchar_t>(0xA9)) + static_cast<wchar_t>(0xAE));
  EXPECT_EQ(decode(L"a\r\nb\tc"), L"a  b c");
  EXPECT_EQ(decode(L"&#010;x"), L"\bx") << "the automatic base reads a leading 0 as octal";
  EXPECT_EQ(decode(L"&lx"), L"<") << "the length is assumed, up to the end of the text";
  EXPECT_EQ(decode(L"&"), L"");
  EXPECT_EQ(decode(L"&#"), L"");
  EXPECT_EQ(decode(L"&#0;x"), L"x");
  bool nb = false;
  EXPECT_EQ(DecodeCharData(L"&nbsp;", L"&nbsp;" + 6, &nb), L" ");
  EXPECT_TRUE(nb);
}

TEST(XMLScan, CharDataRules) {
  std::wstring text;
  auto run = [&](const std::wstring& s, bool trim) { return CharDataToText(s.data(), s.data() + s.size(), trim, text); };
  EXPECT_TRUE(run(L"  x ", true));
  EXPECT_EQ(text, L"  x ");
  EXPECT_TRUE(run(L"\r\n\tx\r\n", true));
  EXPECT_EQ(text, L"x");
  EXPECT_FALSE(run(L" \r\n  \t ", true));
  EXPECT_FALSE(run(L"", true));
  EXPECT_TRUE(run(L" &nbsp; ", true));
  EXPECT_EQ(text, L"   ");
  EXPECT_FALSE(run(L"\r\n", false)) << "CDATA of line ends only is spaces only";
}

}  // namespace
}  // namespace XMLParse
