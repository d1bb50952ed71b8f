// The start of a device over the real registry, under a key of its own that each test deletes. The
// kinds that the logic writes, and the values it must leave alone, are checked with the registry's own
// calls.
#include <windows.h>

#include <gtest/gtest.h>

#include <string>

#include "platform/win32/registry_test_key.h"
#include "props/catalogue.h"
#include "props/settings_persist.h"
#include "props/settings_persist_test.h"

namespace XMLParse {

INSTANTIATE_TEST_SUITE_P(Registry, SettingsPersist,
                         ::testing::Values(cvplat::SettingsStoreParam{"registry", &cvplat::MakeRegistryHarness}),
                         cvplat::SettingsParamName);

namespace {

class SettingsPersistRegistry : public cvplat::RegistryKeyTest {
 protected:
  // Type and size of a value; type REG_NONE with size 0 when it is missing.
  std::pair<DWORD, DWORD> TypeOf(const wchar_t* name) {
    DWORD type = REG_NONE, bytes = 0;
    if (RegQueryValueExW(raw_, name, nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS) return {REG_NONE, 0};
    return {type, bytes};
  }
  XMLNodePtr Start() {
    XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
    SetDefaults(*root);
    LoadSettings(*root, nullptr, harness_.store(), harness_.keyPath(), true);
    BuildCatalogue(*root);
    return root;
  }

};

TEST_F(SettingsPersistRegistry, WritesEachKindAndLeavesForeignValuesAlone) {
  const BYTE blob[] = {1, 2, 3};
  Plant(L"blob", REG_BINARY, blob, sizeof blob);
  const wchar_t expand[] = L"%TEMP%\\clips";
  Plant(L"clips", REG_EXPAND_SZ, expand, sizeof expand);
  const DWORD five = 5;
  Plant(L"output.buffers", REG_DWORD, &five, sizeof five);
  const wchar_t hex[] = L"0x0000000000000010";
  Plant(L"big", REG_SZ, hex, sizeof hex);

  XMLNodePtr root = Start();
  EXPECT_FALSE(root->HasAttribute(L"blob"));
  EXPECT_EQ(root->GetString(L"clips"), L"%TEMP%\\clips") << "read unexpanded";
  EXPECT_EQ(root->GetString(L"output.buffers"), L"5");

  EXPECT_EQ(TypeOf(L"blob"), std::make_pair(DWORD{REG_BINARY}, DWORD{3}));
  EXPECT_EQ(TypeOf(L"output.buffers").first, DWORD{REG_DWORD});
  EXPECT_EQ(TypeOf(L"capture.screenshot_timeout").first, DWORD{REG_DWORD});
  EXPECT_EQ(TypeOf(L"capture.fps_limit"), std::make_pair(DWORD{REG_SZ}, DWORD{10}));
  EXPECT_EQ(TypeOf(L"capture.area"), std::make_pair(DWORD{REG_SZ}, DWORD{2})) << "the empty string";
  EXPECT_EQ(TypeOf(L"big"), std::make_pair(DWORD{REG_QWORD}, DWORD{8}));
  EXPECT_EQ(TypeOf(L"clips").first, DWORD{REG_SZ}) << "written back as it was read: a plain text";

  XMLNodePtr next = Start();
  EXPECT_EQ(next->GetString(L"big"), L"16");
  EXPECT_EQ(TypeOf(L"big").first, DWORD{REG_DWORD});
}

}  // namespace
}  // namespace XMLParse
