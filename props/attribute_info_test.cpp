#include "props/attribute_info.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "props/node.h"

namespace XMLParse {
namespace {

// One call of InfoField: status and text (the text "<null>" for a null string, "<untouched>" when the
// out value was not written).
struct Field {
  HRESULT hr;
  std::wstring text;
};

Field GetField(ITAttributes& node, const wchar_t* path, LONG field) {
  BSTR out = reinterpret_cast<BSTR>(static_cast<uintptr_t>(1));
  const HRESULT hr = node.InfoField(path, field, &out);
  if (out == reinterpret_cast<BSTR>(static_cast<uintptr_t>(1))) return {hr, L"<untouched>"};
  if (!out) return {hr, L"<null>"};
  std::wstring text(out, SysStringLen(out));
  SysFreeString(out);
  return {hr, text};
}

Field GetOption(ITAttributes& node, const wchar_t* path, const wchar_t* option, const wchar_t* fieldName) {
  BSTR out = reinterpret_cast<BSTR>(static_cast<uintptr_t>(1));
  const HRESULT hr = node.InfoOptionField(path, option, fieldName, &out);
  if (out == reinterpret_cast<BSTR>(static_cast<uintptr_t>(1))) return {hr, L"<untouched>"};
  if (!out) return {hr, L"<null>"};
  std::wstring text(out, SysStringLen(out));
  SysFreeString(out);
  return {hr, text};
}

Field GetName(ITAttributes& node, LONG index) {
  BSTR out = nullptr;
  const HRESULT hr = node.InfoName(index, &out);
  std::wstring text = out ? std::wstring(out, SysStringLen(out)) : L"<null>";
  SysFreeString(out);
  return {hr, text};
}

void ExpectField(const Field& got, HRESULT hr, const std::wstring& text) {
  EXPECT_EQ(got.hr, hr);
  EXPECT_EQ(got.text, text);
}

XMLNodePtr FromXML(const wchar_t* xml) {
  XMLNodePtr node = CoXMLNode::Create(L"n");
  EXPECT_EQ(node->NodeFromXML(xml, 1), S_OK);
  return node;
}

TEST(AttributeInfo, DescribeValueMakesAHiddenListAndAnEntryWithTypeAndText) {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  root->SetInt(L"capture.screen_index", 0);
  XMLNodePtr entry = DescribeValue(*root, L"capture.screen_index", L"uint", L"Index of screen");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->Name(), L"capture.screen_index");
  EXPECT_EQ(root->CountChildren(), 0) << "attributes_info is hidden from the children";
  ASSERT_TRUE(root->FindChild(L"attributes_info"));
  EXPECT_EQ(root->FindChild(L"attributes_info")->FindChild(L"capture.screen_index").Get(), entry.Get());

  ExpectField(GetField(*root, L"capture.screen_index", eInfoText), S_OK, L"Index of screen");
  ExpectField(GetField(*root, L"capture.screen_index", eInfoType), S_OK, L"uint");
  for (LONG f : {eInfoDefault, eInfoValues, eInfoMin, eInfoMax, eInfoDynamic})
    ExpectField(GetField(*root, L"capture.screen_index", f), S_FALSE, L"<null>");

  // Describing again empties the entry: old attributes, values and text go; an empty text sets none.
  entry->SetString(L"min", L"1");
  entry->AddChild(L"stale");
  XMLNodePtr again = DescribeValue(*root, L"capture.screen_index", L"float");
  EXPECT_EQ(again.Get(), entry.Get());
  EXPECT_EQ(entry->AttributeCount(), 1);
  EXPECT_EQ(entry->EntryCount(), 0);
  ExpectField(GetField(*root, L"capture.screen_index", eInfoType), S_OK, L"float");
  ExpectField(GetField(*root, L"capture.screen_index", eInfoText), S_FALSE, L"<null>");
  ExpectField(GetField(*root, L"capture.screen_index", eInfoMin), S_FALSE, L"<null>");
}

TEST(AttributeInfo, BuildersRefuseEmptyKeysAndNeverMakeTheNodesOnThePath) {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  EXPECT_FALSE(DescribeValue(*root, L"", L"string", L"x"));
  const wchar_t* values[] = {L"a", nullptr};
  EXPECT_FALSE(DescribeList(*root, L"", values, nullptr, true));
  EXPECT_FALSE(DescribeValue(*root, L"missing::key", L"string", L"x"));
  EXPECT_FALSE(root->FindChild(L"missing"));
  EXPECT_FALSE(root->FindChild(L"attributes_info")) << "no list for a refused key";

  // A key of an existing child is described in that child's own list.
  root->AddChild(L"child");
  ASSERT_TRUE(DescribeValue(*root, L"child::key", L"bool", L"Child key"));
  EXPECT_TRUE(root->FindChild(L"child::attributes_info::key"));
  ExpectField(GetField(*root, L"child::key", eInfoText), S_OK, L"Child key");
}

TEST(AttributeInfo, DescribeListWithTextsMakesValueChildrenAndTrailingBarValues) {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  const wchar_t* values[] = {L"auto", L"DXGI", L"DirectX", L"GDI", nullptr};
  const wchar_t* texts[] = {L"Automatic", L"Fastest", nullptr};
  XMLNodePtr entry = DescribeList(*root, L"capture.mode", values, texts, true);
  ASSERT_TRUE(entry);
  entry->SetText(L"Screen capture mode");

  ExpectField(GetField(*root, L"capture.mode", eInfoType), S_OK, L"option_fixed");
  ExpectField(GetField(*root, L"capture.mode", eInfoValues), S_OK, L"auto|DXGI|DirectX|GDI|");
  ExpectField(GetField(*root, L"capture.mode", eInfoText), S_OK, L"Screen capture mode");
  ExpectField(GetOption(*root, L"capture.mode", L"DXGI", L""), S_OK, L"Fastest");
  ExpectField(GetOption(*root, L"capture.mode", L"dxgi", nullptr), S_OK, L"Fastest");
  // Past the end of the texts the values have none.
  ExpectField(GetOption(*root, L"capture.mode", L"DirectX", L""), S_FALSE, L"<null>");
  ExpectField(GetOption(*root, L"capture.mode", L"GDI", L""), S_FALSE, L"<null>");
  ExpectField(GetOption(*root, L"capture.mode", L"Nope", L""), S_FALSE, L"<untouched>");
  ExpectField(GetOption(*root, L"no.key", L"auto", L""), S_FALSE, L"<untouched>");

  // A non-fixed list; the old "values" attribute and children are replaced.
  entry->SetString(L"values", L"x|y");
  const wchar_t* two[] = {L"none", L"0x1f", nullptr};
  std::vector<XMLNodePtr> made;
  ASSERT_TRUE(DescribeList(*root, L"capture.mode", two, nullptr, false, &made));
  ASSERT_EQ(made.size(), 2u);
  EXPECT_EQ(made[1]->Name(), L"0x1f");
  EXPECT_FALSE(entry->HasAttribute(L"values"));
  ExpectField(GetField(*root, L"capture.mode", eInfoType), S_OK, L"option");
  ExpectField(GetField(*root, L"capture.mode", eInfoValues), S_OK, L"none|0x1f|");
  ExpectField(GetField(*root, L"capture.mode", eInfoText), S_FALSE, L"<null>");
}

TEST(AttributeInfo, DescribeListWithoutTextsOrOutListJoinsTheValuesIntoOneAttribute) {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  const wchar_t* values[] = {L"point", L"linear", L"anisotropic", nullptr};
  XMLNodePtr entry = DescribeList(*root, L"sampler", values, nullptr, true);
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->CountChildren(), 0);
  ExpectField(GetField(*root, L"sampler", eInfoValues), S_OK, L"point|linear|anisotropic");
  // A null or empty list makes an empty "values", which is still a value.
  ASSERT_TRUE(DescribeList(*root, L"sampler", nullptr, nullptr, false));
  ExpectField(GetField(*root, L"sampler", eInfoValues), S_OK, L"");
}

TEST(AttributeInfo, InfoFieldArgumentsAndMissingEntries) {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  root->SetString(L"capture.plain", L"value");
  ExpectField(GetField(*root, nullptr, 0), E_INVALIDARG, L"<untouched>");
  ExpectField(GetField(*root, L"", 0), E_INVALIDARG, L"<untouched>");
  DescribeValue(*root, L"capture.described", L"string", L"Described");
  ExpectField(GetField(*root, L"capture.described", -1), E_INVALIDARG, L"<untouched>");
  ExpectField(GetField(*root, L"capture.described", 7), E_INVALIDARG, L"<untouched>");
  EXPECT_EQ(root->InfoField(L"capture.described", 0, nullptr), E_POINTER);

  // A key without an entry: S_FALSE and the out value untouched, while the attribute reads normally.
  ExpectField(GetField(*root, L"capture.plain", 0), S_FALSE, L"<untouched>");
  ExpectField(GetField(*root, L"capture.plain", 1), S_FALSE, L"<untouched>");
  EXPECT_EQ(root->GetString(L"capture.plain"), L"value");
  ExpectField(GetField(*root, L"no::such::node", 0), S_FALSE, L"<untouched>");

  EXPECT_EQ(GetOption(*root, nullptr, L"a", L"").hr, E_INVALIDARG);
  EXPECT_EQ(GetOption(*root, L"", L"a", L"").hr, E_INVALIDARG);
  EXPECT_EQ(GetOption(*root, L"capture.described", nullptr, L"").hr, E_INVALIDARG);
  EXPECT_EQ(GetOption(*root, L"capture.described", L"", L"").hr, E_INVALIDARG);
  EXPECT_EQ(root->InfoOptionField(L"capture.described", L"a", L"", nullptr), E_POINTER);
}

TEST(AttributeInfo, FieldsLoadedFromXmlIncludingNamedOptionAttributes) {
  XMLNodePtr node = FromXML(
      L"<n><attributes_info>"
      L"<timeout type='uint' default='15' min='5' max='50' dynamic='true'>Wait time</timeout>"
      L"<empty default=''/>"
      L"<mode type='option' values='a|b'><a label='first'>Letter A</a></mode>"
      L"</attributes_info></n>");
  ExpectField(GetField(*node, L"timeout", eInfoDefault), S_OK, L"15");
  ExpectField(GetField(*node, L"timeout", eInfoMin), S_OK, L"5");
  ExpectField(GetField(*node, L"timeout", eInfoMax), S_OK, L"50");
  ExpectField(GetField(*node, L"timeout", eInfoDynamic), S_OK, L"true");
  ExpectField(GetField(*node, L"timeout", eInfoText), S_OK, L"Wait time");
  // An empty attribute is a value, not a null one.
  ExpectField(GetField(*node, L"empty", eInfoDefault), S_OK, L"");
  // "values" wins over the children.
  ExpectField(GetField(*node, L"mode", eInfoValues), S_OK, L"a|b");
  ExpectField(GetOption(*node, L"mode", L"a", L"label"), S_OK, L"first");
  ExpectField(GetOption(*node, L"mode", L"a", L"missing"), S_FALSE, L"<null>");
  ExpectField(GetOption(*node, L"mode", L"b", L""), S_FALSE, L"<untouched>");

  // Internally an empty option stands for the attribute's current value.
  std::optional<std::wstring> text;
  EXPECT_FALSE(ReadInfoOption(*node, L"mode", L"", L"", text)) << "no current value";
  node->SetString(L"mode", L"a");
  ASSERT_TRUE(ReadInfoOption(*node, L"mode", L"", L"", text));
  EXPECT_EQ(text, L"Letter A");
}

TEST(AttributeInfo, SelectFromBorrowsTheValuesOfAnotherEntry) {
  XMLNodePtr node = FromXML(
      L"<n><attributes_info>"
      L"<source><one>First</one><two>Second</two></source>"
      L"<flat values='x|y'/>"
      L"<copy select_from='source'/>"
      L"<copy_flat select_from='flat'/>"
      L"<own select_from='source'><mine>Mine</mine></own>"
      L"<dangling select_from='nothing'/>"
      L"<empty_ref select_from=''/>"
      L"</attributes_info></n>");
  ExpectField(GetField(*node, L"copy", eInfoValues), S_OK, L"one|two|");
  ExpectField(GetField(*node, L"copy_flat", eInfoValues), S_OK, L"x|y");
  // An entry with children of its own keeps them for the values...
  ExpectField(GetField(*node, L"own", eInfoValues), S_OK, L"mine|");
  // ...and the option lookup falls back on the selected entry only for an option it lacks.
  ExpectField(GetOption(*node, L"own", L"mine", L""), S_OK, L"Mine");
  ExpectField(GetOption(*node, L"own", L"two", L""), S_OK, L"Second");
  ExpectField(GetOption(*node, L"copy", L"one", L""), S_OK, L"First");
  ExpectField(GetField(*node, L"dangling", eInfoValues), S_FALSE, L"<null>");
  ExpectField(GetOption(*node, L"dangling", L"one", L""), S_FALSE, L"<untouched>");
  ExpectField(GetField(*node, L"empty_ref", eInfoValues), S_FALSE, L"<null>");
}

TEST(AttributeInfo, ChildNodesInheritOneLevelUnlessTheirListSaysNot) {
  XMLNodePtr root = FromXML(
      L"<root><attributes_info><key type='bool' default='true'>Root key</key></attributes_info>"
      L"<plain/>"
      L"<own><attributes_info><other type='uint'/></attributes_info></own>"
      L"<closed><attributes_info inherit='false'><other type='float'/></attributes_info></closed>"
      L"<deep><deeper/></deep>"
      L"</root>");
  XMLNodePtr plain = root->FindChild(L"plain");
  XMLNodePtr own = root->FindChild(L"own");
  XMLNodePtr closed = root->FindChild(L"closed");
  XMLNodePtr deeper = root->FindChild(L"deep::deeper");
  ASSERT_TRUE(plain && own && closed && deeper);

  ExpectField(GetField(*plain, L"key", eInfoText), S_OK, L"Root key");
  ExpectField(GetField(*own, L"key", eInfoType), S_OK, L"bool");
  ExpectField(GetField(*own, L"other", eInfoType), S_OK, L"uint");
  ExpectField(GetField(*closed, L"key", eInfoText), S_FALSE, L"<untouched>");
  ExpectField(GetField(*closed, L"other", eInfoType), S_OK, L"float");
  ExpectField(GetField(*deeper, L"key", eInfoText), S_FALSE, L"<untouched>");  // one level only
  // From the root, a path to a child's key finds the child's list, or the root's own by inheritance.
  ExpectField(GetField(*root, L"own::other", eInfoType), S_OK, L"uint");
  ExpectField(GetField(*root, L"plain::key", eInfoType), S_OK, L"bool");
  ExpectField(GetField(*root, L"closed::key", eInfoType), S_FALSE, L"<untouched>");

  // The default of a description answers for an absent attribute, with S_FALSE.
  BOOL present = 1;
  BSTR value = nullptr;
  EXPECT_EQ(plain->AttributeGetOrDefault(L"key", &present, &value), S_FALSE);
  EXPECT_FALSE(present);
  ASSERT_TRUE(value);
  EXPECT_STREQ(value, L"true");
  SysFreeString(value);
  value = nullptr;
  EXPECT_EQ(closed->AttributeGetOrDefault(L"key", &present, &value), S_FALSE);
  ASSERT_TRUE(value);
  EXPECT_STREQ(value, L"") << "no description: an empty text";
  SysFreeString(value);
  value = nullptr;
  plain->SetString(L"key", L"no");
  EXPECT_EQ(plain->AttributeGetOrDefault(L"key", &present, &value), S_OK);
  EXPECT_TRUE(present);
  EXPECT_STREQ(value, L"no");
  SysFreeString(value);
}

TEST(AttributeInfo, CountAndNamesRunOverTheParentsListFirst) {
  XMLNodePtr root = FromXML(
      L"<root><attributes_info><p1/><p2/><p3/></attributes_info>"
      L"<child><attributes_info><c1/><c2/></attributes_info></child>"
      L"<bare/>"
      L"<closed><attributes_info inherit='0'><c1/></attributes_info></closed>"
      L"</root>");
  XMLNodePtr child = root->FindChild(L"child");
  LONG count = -1;
  EXPECT_EQ(child->InfoCount(&count), S_OK);
  EXPECT_EQ(count, 5);
  EXPECT_EQ(child->InfoCount(nullptr), E_POINTER);
  ExpectField(GetName(*child, 0), S_OK, L"p1");
  ExpectField(GetName(*child, 2), S_OK, L"p3");
  ExpectField(GetName(*child, 3), S_OK, L"c1");
  ExpectField(GetName(*child, 4), S_OK, L"c2");
  // Past the own list: exactly at its count, then beyond it.
  ExpectField(GetName(*child, 5), CV_E_NOT_FOUND, L"<null>");
  ExpectField(GetName(*child, 6), CV_E_BAD_INDEX, L"<null>");
  ExpectField(GetName(*child, -1), E_INVALIDARG, L"<null>");
  EXPECT_EQ(child->InfoName(0, nullptr), E_POINTER);

  // A node without a list sees its parent's alone.
  XMLNodePtr bare = root->FindChild(L"bare");
  EXPECT_EQ(bare->InfoCount(&count), S_OK);
  EXPECT_EQ(count, 3);
  ExpectField(GetName(*bare, 2), S_OK, L"p3");
  ExpectField(GetName(*bare, 3), CV_E_NOT_FOUND, L"<null>");
  ExpectField(GetName(*bare, 4), CV_E_BAD_INDEX, L"<null>");

  XMLNodePtr closed = root->FindChild(L"closed");
  EXPECT_EQ(closed->InfoCount(&count), S_OK);
  EXPECT_EQ(count, 1);
  ExpectField(GetName(*closed, 0), S_OK, L"c1");

  // The root has no parent: its own list only. A lone node has nothing at all.
  EXPECT_EQ(root->InfoCount(&count), S_OK);
  EXPECT_EQ(count, 3);
  XMLNodePtr lone = CoXMLNode::Create(L"lone");
  EXPECT_EQ(lone->InfoCount(&count), S_FALSE);
  EXPECT_EQ(count, 0);
  ExpectField(GetName(*lone, 0), CV_E_NOT_FOUND, L"<null>");
  ExpectField(GetName(*lone, 1), CV_E_BAD_INDEX, L"<null>");
}

TEST(AttributeInfo, CollectNamesListsDescribedKeysFirstAndEachNameOnce) {
  XMLNodePtr root = FromXML(
      L"<root b='1' shared='2'><attributes_info><p1/><shared/></attributes_info>"
      L"<child z='1' c1='2' P1='3'><attributes_info><c1/><c2/></attributes_info></child>"
      L"</root>");
  XMLNodePtr child = root->FindChild(L"child");
  std::vector<TPropName> names;
  EXPECT_TRUE(CollectNames(*child, names));
  std::vector<std::pair<std::wstring, int>> got;
  for (const TPropName& row : names) got.emplace_back(row.name, row.described);
  const std::vector<std::pair<std::wstring, int>> want = {
      {L"c1", 1}, {L"c2", 1}, {L"p1", 1}, {L"shared", 1}, {L"z", 0}};
  EXPECT_EQ(got, want) << "own list first, then the parent's, then attributes not yet there";

  // The table is appended to, never emptied; a name already in it (any case) is not added again.
  names = {{L"Z", 0}};
  EXPECT_TRUE(CollectNames(*root, names));
  got.clear();
  for (const TPropName& row : names) got.emplace_back(row.name, row.described);
  const std::vector<std::pair<std::wstring, int>> rootWant = {{L"Z", 0}, {L"p1", 1}, {L"shared", 1}, {L"b", 0}};
  EXPECT_EQ(got, rootWant);

  // Without any list nothing is added, not even the attributes.
  XMLNodePtr lone = FromXML(L"<lone a='1'/>");
  names.clear();
  EXPECT_FALSE(CollectNames(*lone, names));
  EXPECT_TRUE(names.empty());
}

TEST(AttributeInfo, DescriptionsAreAdvisoryAndAttributeDescriptionHasNone) {
  XMLNodePtr root = CoXMLNode::Create(L"t-props");
  const wchar_t* values[] = {L"auto", L"GDI", nullptr};
  const wchar_t* texts[] = {L"a", L"b", nullptr};
  DescribeList(*root, L"capture.mode", values, texts, true);
  EXPECT_EQ(root->AttributeSetString(L"capture.mode", L"no-such-mode"), S_OK);
  EXPECT_EQ(root->GetString(L"capture.mode"), L"no-such-mode");

  BSTR text = nullptr;
  EXPECT_EQ(root->AttributeDescription(L"capture.mode", &text), S_FALSE);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(root->AttributeDescription(L"capture.mode", nullptr), E_POINTER);

  // The list is an ordinary node: the XML text of the root carries it.
  EXPECT_NE(root->ToXML().find(L"<attributes_info>"), std::wstring::npos);
}

}  // namespace
}  // namespace XMLParse
