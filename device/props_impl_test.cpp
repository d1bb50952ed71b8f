#include "device/props_impl.h"

#include <gtest/gtest.h>

#include "device/props_test_core.h"
#include "props/tree_alloc.h"

namespace {

using XMLParse::TBstr;

// The face as the device object gives it: a fixed identity, and unchanged values kept from the engine.
class TestProps final : public ITPropsImpl {
 public:
  TestProps(IDeviceCore& core, bool skip) : ITPropsImpl(core) { skipUnchanged = skip; }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    if (object) *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

class PropsTest : public ::testing::Test {
 protected:
  std::wstring Get(const wchar_t* name, HRESULT expected = S_OK) {
    TBstr value;
    EXPECT_EQ(props.PropsGet(name, value.Out()), expected) << std::wstring_view(name ? name : L"").size();
    return std::wstring(value.View());
  }
  std::vector<RecordingEngine::Call>& Calls() { return core.engine->calls; }

  TestDeviceCore core;
  TestProps props{core, true};
};

TEST_F(PropsTest, ModuleKeysAnswerWhateverTheirCase) {
  EXPECT_EQ(Get(L"DLL-PATH"), L"C:\\Sim\\CVDeviceSCR.dll");
  EXPECT_EQ(Get(L"dll-path"), L"C:\\Sim\\CVDeviceSCR.dll");
  EXPECT_EQ(Get(L"dll-version"), L"1.0.0.1");
  EXPECT_EQ(Get(L"Dll-File-Version"), L"1.0.0.2");
  EXPECT_EQ(Get(L"dll-date"), L"Jan  2 2025 03:04:05");
  EXPECT_EQ(Get(L"_process_name_"), L"C:\\Sim\\host.exe");
  EXPECT_EQ(Get(L"_PROCESS_PID_"), L"4660");
  // A module path longer than a host's buffer is cut.
  core.platform->module.path = std::wstring(2000, L'p');
  EXPECT_EQ(Get(L"dll-path").size(), 1040u);
}

TEST_F(PropsTest, GetOfNothingIsOneAndLeavesTheOutValue) {
  BSTR value = SysAllocString(L"kept");
  BSTR before = value;
  EXPECT_EQ(props.PropsGet(L"no.such.key", &value), S_FALSE);
  EXPECT_EQ(value, before);
  SysFreeString(value);
  EXPECT_EQ(props.PropsGet(L"capture.mode", nullptr), E_POINTER);
  // No name: the whole tree as XML.
  EXPECT_EQ(Get(nullptr).rfind(L"<t-props", 0), 0u);
  EXPECT_EQ(Get(L"capture.mode"), L"auto");
}

TEST_F(PropsTest, SameValueTwiceReachesTheEngineOnceUnderDeviceLock) {
  EXPECT_EQ(props.PropsSet(L"capture.mode", L"GDI"), S_OK);
  EXPECT_EQ(props.PropsSet(L"capture.mode", L"GDI"), S_FALSE);
  ASSERT_EQ(Calls().size(), 1u);
  EXPECT_EQ(Calls()[0].name, L"capture.mode");
  EXPECT_EQ(Calls()[0].value, L"GDI");
  EXPECT_TRUE(Calls()[0].deviceLocked);
  EXPECT_EQ(core.deviceDepth, 0);
  // Equal means equal with case: another spelling is a change.
  EXPECT_EQ(props.PropsSet(L"capture.mode", L"gdi"), S_OK);
  EXPECT_EQ(Calls().size(), 2u);
  // An empty value never counts as unchanged.
  EXPECT_EQ(props.PropsSet(L"capture.area", L""), S_OK);
  EXPECT_EQ(props.PropsSet(L"capture.area", L""), S_OK);
  EXPECT_EQ(Calls().size(), 4u);
}

TEST(PropsSkip, WithoutSkipEveryWriteIsTold) {
  TestDeviceCore core;
  TestProps props(core, false);
  EXPECT_EQ(props.PropsSet(L"capture.mode", L"GDI"), S_OK);
  EXPECT_EQ(props.PropsSet(L"capture.mode", L"GDI"), S_OK);
  EXPECT_EQ(core.engine->calls.size(), 2u);
}

TEST_F(PropsTest, EngineFailuresComeBackAndTheTreeKeepsTheValue) {
  core.engine->answer = E_ACCESSDENIED;
  EXPECT_EQ(props.PropsSet(L"capture.mode", L"DXGI"), E_ACCESSDENIED);
  EXPECT_EQ(Get(L"capture.mode"), L"DXGI");
  core.engine->answer = S_FALSE;
  EXPECT_EQ(props.PropsSet(L"capture.mode", L"GDI"), S_OK);
  core.engineSelected = false;
  EXPECT_EQ(props.PropsSet(L"capture.mode", L"auto"), S_OK);
  EXPECT_EQ(Get(L"capture.mode"), L"auto");
  EXPECT_EQ(Calls().size(), 2u);
}

TEST_F(PropsTest, PathThroughAnAttributeMakesItANodeWithItsValueAsText) {
  EXPECT_EQ(props.PropsSet(L"a", L"1"), S_OK);
  EXPECT_EQ(props.PropsSet(L"a::b", L"2"), S_OK);
  EXPECT_FALSE(core.root->HasAttribute(L"a"));
  XMLParse::XMLNodePtr a = core.root->FindChild(L"a");
  ASSERT_TRUE(a);
  std::wstring text;
  ASSERT_TRUE(a->GetText(text));
  EXPECT_EQ(text, L"1");
  EXPECT_EQ(a->GetString(L"b"), L"2");
  // Reading "a" now finds the node and its text; writing it sets the text and is told to the engine.
  EXPECT_EQ(Get(L"a"), L"1");
  EXPECT_EQ(Get(L"a::b"), L"2");
  EXPECT_EQ(props.PropsSet(L"a", L"3"), S_OK);
  EXPECT_EQ(Get(L"a"), L"3");
  EXPECT_FALSE(core.root->HasAttribute(L"a"));
  EXPECT_EQ(Calls().back().name, L"a");
  // A node without text reads as its attributes.
  ASSERT_EQ(props.PropsSet(L"n::x", L"5"), S_OK);
  EXPECT_EQ(Get(L"n"), L" x='5'");
}

TEST_F(PropsTest, TextForTheRootGoesThroughTheDispatch) {
  EXPECT_EQ(props.PropsSet(nullptr, L"capture.mode='GDI' capture.area=\"0,0,640,480\""), S_OK);
  EXPECT_EQ(Get(L"capture.mode"), L"GDI");
  EXPECT_EQ(Get(L"capture.area"), L"0,0,640,480");
  ASSERT_EQ(Calls().size(), 1u);
  EXPECT_EQ(Calls()[0].name, L"<null>");

  EXPECT_EQ(props.PropsSet(nullptr, L""), E_INVALIDARG);
  EXPECT_EQ(props.PropsSet(L"", nullptr), E_INVALIDARG);
  EXPECT_EQ(props.PropsSet(nullptr, L"= ="), E_FAIL);
  EXPECT_EQ(Calls().size(), 1u);
  EXPECT_EQ(props.PropsSet(nullptr, L"plain words"), S_OK);
  std::wstring text;
  ASSERT_TRUE(core.root->GetText(text));
  EXPECT_EQ(text, L"plain words");
}

TEST_F(PropsTest, ListingShowsDescribedPropertiesFirstThenTheOthersThenNodes) {
  int32_t count = -1;
  EXPECT_EQ(props.PropsCount(nullptr, nullptr), E_POINTER);
  ASSERT_EQ(props.PropsCount(nullptr, &count), S_OK);
  const auto keys = XMLParse::CatalogueKeys();
  EXPECT_EQ(count, static_cast<int32_t>(keys.size()));

  TBstr name, value;
  int32_t isNode = 7;
  ASSERT_EQ(props.PropsGetByIndex(nullptr, 0, name.Out(), value.Out(), &isNode), S_OK);
  EXPECT_EQ(name.View(), keys[0].key);
  EXPECT_EQ(value.View(), L"show");
  EXPECT_EQ(isNode, 0);
  // The key without description comes last among the properties.
  ASSERT_EQ(props.PropsGetByIndex(nullptr, count - 1, name.Out(), value.Out(), &isNode), S_OK);
  EXPECT_EQ(name.View(), keys.back().key);
  EXPECT_EQ(props.PropsGetByIndex(nullptr, count, name.Out(), nullptr, nullptr), CV_E_BAD_INDEX);
  EXPECT_EQ(props.PropsGetByIndex(nullptr, -1, name.Out(), nullptr, nullptr), CV_E_BAD_INDEX);

  ASSERT_EQ(props.PropsSet(L"extra", L"x"), S_OK);
  ASSERT_EQ(props.PropsSet(L"sub", L"1"), S_OK);
  ASSERT_EQ(props.PropsSet(L"sub::leaf", L"2"), S_OK);
  ASSERT_EQ(props.PropsCount(L"", &count), S_OK);
  EXPECT_EQ(count, static_cast<int32_t>(keys.size()) + 2);  // "extra", and the node "sub"
  ASSERT_EQ(props.PropsGetByIndex(nullptr, count - 2, name.Out(), value.Out(), &isNode), S_OK);
  EXPECT_EQ(name.View(), L"extra");
  EXPECT_EQ(isNode, 0);
  ASSERT_EQ(props.PropsGetByIndex(nullptr, count - 1, name.Out(), value.Out(), &isNode), S_OK);
  EXPECT_EQ(name.View(), L"sub");
  EXPECT_EQ(value.View(), L"1");
  EXPECT_EQ(isNode, 1);

  // A child sees its parent's descriptions: they come first, then its own attributes.
  ASSERT_EQ(props.PropsCount(L"sub", &count), S_OK);
  EXPECT_EQ(count, static_cast<int32_t>(keys.size()));  // the described keys, and "leaf"
  ASSERT_EQ(props.PropsGetByIndex(L"sub", count - 1, name.Out(), value.Out(), &isNode), S_OK);
  EXPECT_EQ(name.View(), L"leaf");
  EXPECT_EQ(value.View(), L"2");
  ASSERT_EQ(props.PropsGetByIndex(L"sub", 0, name.Out(), value.Out(), &isNode), S_OK);
  EXPECT_EQ(name.View(), keys[0].key);
  EXPECT_EQ(value.Get(), nullptr);  // described above, not set here

  // Two levels down no list is visible: attributes in table order, then children.
  ASSERT_EQ(props.PropsSet(L"sub::deep::b", L"B"), S_OK);
  ASSERT_EQ(props.PropsSet(L"sub::deep::a", L"A"), S_OK);
  ASSERT_EQ(props.PropsSet(L"sub::deep::kid::z", L"Z"), S_OK);
  ASSERT_EQ(props.PropsCount(L"sub::deep", &count), S_OK);
  EXPECT_EQ(count, 3);
  ASSERT_EQ(props.PropsGetByIndex(L"sub::deep", 0, name.Out(), value.Out(), &isNode), S_OK);
  EXPECT_EQ(name.View(), L"b");
  EXPECT_EQ(value.View(), L"B");
  ASSERT_EQ(props.PropsGetByIndex(L"sub::deep", 2, name.Out(), value.Out(), &isNode), S_OK);
  EXPECT_EQ(name.View(), L"kid");
  EXPECT_EQ(isNode, 1);
  EXPECT_EQ(props.PropsGetByIndex(L"sub::deep", 3, name.Out(), value.Out(), &isNode), CV_E_BAD_INDEX);
  EXPECT_EQ(props.PropsCount(L"no::node", &count), E_INVALIDARG);
  EXPECT_EQ(props.PropsGetByIndex(L"no::node", 0, name.Out(), value.Out(), &isNode), E_INVALIDARG);
}

TEST_F(PropsTest, InfoPathRunsOverTheDescribedPropertiesAndGivesOnlyTheValue) {
  TBstr name(SysAllocString(L"untouched")), value;
  BSTR raw = name.Get();
  ASSERT_EQ(props.PropsGetByIndex(L"_INFO_", 3, &raw, value.Out(), nullptr), S_OK);
  EXPECT_EQ(raw, name.Get());
  EXPECT_EQ(value.View(), L"auto");  // the fourth described key is capture.mode
  EXPECT_EQ(props.PropsGetByIndex(L"_info_", 1000, nullptr, value.Out(), nullptr), E_INVALIDARG);
  EXPECT_EQ(props.PropsGetByIndex(L"_info_", -1, nullptr, value.Out(), nullptr), E_INVALIDARG);
}

TEST_F(PropsTest, RemovalOfPropertiesNodesAndNothing) {
  EXPECT_EQ(props.PropsRemove(L"no.such.key"), E_INVALIDARG);
  EXPECT_EQ(props.PropsRemove(nullptr), E_INVALIDARG);
  EXPECT_EQ(props.PropsRemove(L"capture.area"), S_OK);
  Get(L"capture.area", S_FALSE);
  ASSERT_EQ(props.PropsSet(L"node::k", L"v"), S_OK);
  EXPECT_EQ(props.PropsRemove(L"node"), S_OK);
  Get(L"node", S_FALSE);

  EXPECT_EQ(props.PropsRemove(L"_All_Props_"), S_OK);
  Get(L"capture.mode", S_FALSE);
  EXPECT_EQ(core.root->AttributeCount(), 0);
  // The descriptions are a node: they go with "_all_nodes_" and not before.
  TBstr info;
  EXPECT_EQ(props.PropsInfo(L"capture.mode", 1, info.Out()), S_OK);
  EXPECT_EQ(props.PropsRemove(L"_all_nodes_"), S_OK);
  EXPECT_EQ(props.PropsInfo(L"capture.mode", 1, info.Out()), S_FALSE);
  EXPECT_EQ(Calls().size(), 1u);  // only the write of node::k was told
}

TEST_F(PropsTest, InfoReadsTheDescriptionFields) {
  TBstr value;
  ASSERT_EQ(props.PropsInfo(L"capture.mode", 1, value.Out()), S_OK);
  EXPECT_EQ(value.View(), L"option_fixed");
  ASSERT_EQ(props.PropsInfo(L"capture.mode", 0, value.Out()), S_OK);
  EXPECT_EQ(value.View(), L"Screen capture mode");
  EXPECT_EQ(props.PropsInfo(L"", 1, value.Out()), E_INVALIDARG);
  EXPECT_EQ(props.PropsInfo(nullptr, 1, value.Out()), E_INVALIDARG);
}

TEST_F(PropsTest, OptionListOfAFixedKey) {
  int32_t count = -1;
  ASSERT_EQ(props.PropsOptionsCount(L"capture.mode", &count), S_OK);
  EXPECT_EQ(count, 4);
  EXPECT_EQ(props.PropsOptionsCount(L"capture.mode", nullptr), E_POINTER);
  ASSERT_EQ(props.PropsOptionsCount(L"capture.area", &count), S_OK);
  EXPECT_EQ(count, 0);

  TBstr option, text;
  ASSERT_EQ(props.PropsOptionsGetByIndex(L"capture.mode", 1, option.Out(), text.Out()), S_OK);
  EXPECT_EQ(option.View(), L"DXGI");
  EXPECT_EQ(text.View(), L"Fastest mode of hardware capturing");
  EXPECT_EQ(props.PropsOptionsGetByIndex(L"capture.mode", 4, option.Out(), nullptr), CV_E_BAD_INDEX);
  EXPECT_EQ(props.PropsOptionsGetByIndex(L"capture.mode", -1, nullptr, nullptr), CV_E_BAD_INDEX);

  EXPECT_EQ(props.PropsOptionsSet(L"capture.mode", 4), CV_E_BAD_INDEX);
  EXPECT_EQ(Get(L"capture.mode"), L"auto");
  EXPECT_TRUE(Calls().empty());
  ASSERT_EQ(props.PropsOptionsSet(L"capture.mode", 3), S_OK);
  EXPECT_EQ(Get(L"capture.mode"), L"GDI");
  ASSERT_EQ(Calls().size(), 1u);

  int32_t index = 99;
  ASSERT_EQ(props.PropsOptionsGet(L"capture.mode", &index, nullptr, text.Out()), S_OK);
  EXPECT_EQ(index, 3);
  EXPECT_EQ(text.View(), L"Only software operations.");
}

TEST_F(PropsTest, OptionsGetOfAValueOutsideTheListOrOfNothing) {
  ASSERT_EQ(props.PropsSet(L"capture.mode", L"Bogus"), S_OK);
  int32_t index = 99;
  TBstr text(SysAllocString(L"x"));
  EXPECT_EQ(props.PropsOptionsGet(L"capture.mode", &index, nullptr, text.Out()), S_OK);
  EXPECT_EQ(index, -1);
  EXPECT_EQ(text.Get(), nullptr);
  // The list compares with case.
  ASSERT_EQ(props.PropsSet(L"capture.mode", L"gdi"), S_OK);
  EXPECT_EQ(props.PropsOptionsGet(L"capture.mode", &index, nullptr, nullptr), S_OK);
  EXPECT_EQ(index, -1);
  index = 99;
  EXPECT_EQ(props.PropsOptionsGet(L"no.such.key", &index, nullptr, nullptr), S_FALSE);
  EXPECT_EQ(index, -1);
}

TEST_F(PropsTest, ReadingTheFollowedWindowListsTheDesktopsWindows) {
  const wchar_t* key = L"capture.follow_window_by_handle";
  int32_t count = -1;
  ASSERT_EQ(props.PropsOptionsCount(key, &count), S_OK);
  EXPECT_EQ(count, 1);  // "none" alone until the value is read

  EXPECT_EQ(Get(L"Capture.Follow_Window_By_Handle"), L"none");
  ASSERT_EQ(props.PropsOptionsCount(key, &count), S_OK);
  ASSERT_EQ(count, 3);
  TBstr option, text;
  ASSERT_EQ(props.PropsOptionsGetByIndex(key, 0, option.Out(), text.Out()), S_OK);
  EXPECT_EQ(option.View(), L"none");
  EXPECT_EQ(text.View(), L"None");
  ASSERT_EQ(props.PropsOptionsGetByIndex(key, 1, option.Out(), text.Out()), S_OK);
  EXPECT_EQ(option.View(), L"0x20a");
  EXPECT_EQ(text.View(), L"Editor [editor.exe PID = 0x10 HWND = 0x20a]");
  ASSERT_EQ(props.PropsOptionsGetByIndex(key, 2, option.Out(), text.Out()), S_OK);
  EXPECT_EQ(option.View(), L"0x1000b");
  EXPECT_EQ(text.View(), L"Player [player.exe PID = 0x22 HWND = 0x1000b]");
  ASSERT_EQ(props.PropsInfo(key, 0, text.Out()), S_OK);
  EXPECT_EQ(text.View(), L"Input line selector (demo)");
  ASSERT_EQ(props.PropsInfo(key, 1, text.Out()), S_OK);
  EXPECT_EQ(text.View(), L"option");

  // Choosing a window is an ordinary write of its handle.
  ASSERT_EQ(props.PropsOptionsSet(key, 2), S_OK);
  int32_t index = -5;
  ASSERT_EQ(props.PropsOptionsGet(key, &index, nullptr, text.Out()), S_OK);
  EXPECT_EQ(index, 2);

  // Each read lists afresh: a window that closed leaves the list.
  core.platform->listWindows = [] { return std::vector<cvplat::TopWindow>{{0x30, 1, L"a.exe", L"A"}}; };
  Get(key);
  ASSERT_EQ(props.PropsOptionsCount(key, &count), S_OK);
  EXPECT_EQ(count, 2);
}

}  // namespace
