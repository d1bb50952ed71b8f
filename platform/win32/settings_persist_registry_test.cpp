// The start of a device over the real registry, under a key of its own that each test deletes. The
// kinds that the logic writes, and the values it must leave alone, are checked with the registry's own
// calls.
#include <windows.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "props/catalogue.h"
#include "props/settings_persist.h"
#include "props/settings_persist_test.h"

namespace XMLParse {
namespace {

constexpr const wchar_t* kTestRoot = L"Software\\CVDeviceSCR-persist-tests";

std::wstring RandomKeyPath() {
  std::random_device seed;
  std::mt19937_64 random((static_cast<uint64_t>(seed()) << 32) ^ seed() ^ GetCurrentProcessId());
  return std::wstring(kTestRoot) + L"\\" + std::to_wstring(random());
}

class RegistryHarness final : public cvplat::SettingsStoreHarness {
 public:
  ~RegistryHarness() override {
    RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
    RegDeleteKeyW(HKEY_CURRENT_USER, kTestRoot);  // fails while another run has keys below it
  }
  cvplat::ISettingsStore* store() override { return store_.get(); }
  std::wstring keyPath() override { return path_; }

 private:
  std::unique_ptr<cvplat::ISettingsStore> store_ = cvplat::CreateUserSettingsStore();
  std::wstring path_ = RandomKeyPath();
};

std::unique_ptr<cvplat::SettingsStoreHarness> MakeRegistryHarness() { return std::make_unique<RegistryHarness>(); }

}  // namespace

INSTANTIATE_TEST_SUITE_P(Registry, SettingsPersist,
                         ::testing::Values(cvplat::SettingsStoreParam{"registry", &MakeRegistryHarness}),
                         cvplat::SettingsParamName);

namespace {

class SettingsPersistRegistry : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, harness_.keyPath().c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                              &raw_, nullptr),
              ERROR_SUCCESS);
  }
  void TearDown() override {
    if (raw_) RegCloseKey(raw_);
  }

  void Plant(const wchar_t* name, DWORD type, const void* data, DWORD bytes) {
    ASSERT_EQ(RegSetValueExW(raw_, name, 0, type, static_cast<const BYTE*>(data), bytes), ERROR_SUCCESS);
  }
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

  RegistryHarness harness_;
  HKEY raw_ = nullptr;
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
