// The registry store against the real registry: values are planted and inspected with the registry's own
// calls, under a key of their own that each test deletes.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/settings_store_test.h"
#include "platform/win32/registry_test_key.h"

namespace cvplat {
namespace {

INSTANTIATE_TEST_SUITE_P(Native, SettingsStoreContract,
                         ::testing::Values(SettingsStoreParam{"registry", &MakeRegistryHarness}), SettingsParamName);

class SettingsRegistry : public RegistryKeyTest {
 protected:
  // Stores the bytes as they are: RegSetValueExW may add a missing terminating zero to a text (Wine
  // does), which would hide the damage that the store must notice.
  void PlantRaw(const wchar_t* name, DWORD type, const void* data, DWORD bytes) {
    struct CountedName {
      USHORT length;
      USHORT maximumLength;
      PWSTR buffer;
    };
    using SetValueKey = LONG(WINAPI*)(HANDLE, CountedName*, ULONG, ULONG, const void*, ULONG);
    HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    ASSERT_NE(ntdll, nullptr);
    auto setValueKey = reinterpret_cast<SetValueKey>(reinterpret_cast<void*>(GetProcAddress(ntdll, "NtSetValueKey")));
    ASSERT_NE(setValueKey, nullptr);
    std::wstring copy(name);
    CountedName counted{static_cast<USHORT>(copy.size() * sizeof(wchar_t)),
                        static_cast<USHORT>(copy.size() * sizeof(wchar_t)), copy.data()};
    ASSERT_EQ(setValueKey(raw_, &counted, 0, type, data, bytes), 0);
    DWORD stored = 0;
    ASSERT_EQ(RegEnumValueSize(name, &stored), ERROR_SUCCESS);
    ASSERT_EQ(stored, bytes);
  }
  LONG RegEnumValueSize(const wchar_t* name, DWORD* bytes) {
    for (DWORD index = 0;; ++index) {
      wchar_t found[64];
      DWORD chars = 64;
      LONG error = RegEnumValueW(raw_, index, found, &chars, nullptr, nullptr, nullptr, bytes);
      if (error != ERROR_SUCCESS || std::wstring(found, chars) == name) return error;
    }
  }
  // The type and size of a value as the registry holds it.
  bool Inspect(const wchar_t* name, DWORD* type, DWORD* bytes) {
    return RegQueryValueExW(raw_, name, nullptr, type, nullptr, bytes) == ERROR_SUCCESS;
  }
  std::unique_ptr<ISettingsKey> Open(SettingsAccess access) {
    std::unique_ptr<ISettingsKey> key;
    EXPECT_EQ(harness_.store()->OpenKey(harness_.keyPath().c_str(), access, &key), S_OK);
    return key;
  }

};

TEST_F(SettingsRegistry, WritesTheRegistryTypesTheLogicChose) {
  auto key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  ASSERT_EQ(key->SetDword(L"capture.screenshot_timeout", 15), S_OK);
  ASSERT_EQ(key->SetQword(L"big", 0x10), S_OK);
  ASSERT_EQ(key->SetString(L"capture.fps_limit", L"30.0"), S_OK);
  ASSERT_EQ(key->SetString(L"capture.area", L""), S_OK);
  ASSERT_EQ(key->SetDefaultText(L"node text"), S_OK);

  DWORD type = 0, bytes = 0;
  ASSERT_TRUE(Inspect(L"capture.screenshot_timeout", &type, &bytes));
  EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));
  EXPECT_EQ(bytes, 4u);
  ASSERT_TRUE(Inspect(L"big", &type, &bytes));
  EXPECT_EQ(type, static_cast<DWORD>(REG_QWORD));
  EXPECT_EQ(bytes, 8u);
  ULONGLONG big = 0;
  DWORD size = sizeof big;
  ASSERT_EQ(RegQueryValueExW(raw_, L"big", nullptr, nullptr, reinterpret_cast<BYTE*>(&big), &size), ERROR_SUCCESS);
  EXPECT_EQ(big, 0x10u);
  ASSERT_TRUE(Inspect(L"capture.fps_limit", &type, &bytes));
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(bytes, 10u) << "four characters and the terminating zero";
  ASSERT_TRUE(Inspect(L"capture.area", &type, &bytes));
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(bytes, 2u) << "the empty text is its terminating zero";
  ASSERT_TRUE(Inspect(L"", &type, &bytes)) << "the key's default value";
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(bytes, 20u);
}

TEST_F(SettingsRegistry, ReadsExpandableTextsUnexpandedAndLeavesOtherTypesAlone) {
  const wchar_t expand[] = L"%USERPROFILE%\\clips";
  const BYTE binary[] = {1, 2, 3};
  const wchar_t multi[] = L"a\0b\0";
  Plant(L"path", REG_EXPAND_SZ, expand, sizeof expand);
  Plant(L"blob", REG_BINARY, binary, sizeof binary);
  Plant(L"list", REG_MULTI_SZ, multi, sizeof multi);

  auto key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  EnumeratedValues all = EnumerateAll(*key);
  EXPECT_EQ(all.end, CV_E_SETTING_NO_MORE);
  EXPECT_EQ(all.values[L"path"].kind, SettingKind::kExpandString);
  EXPECT_EQ(all.values[L"path"].text, expand);
  EXPECT_EQ(all.values[L"blob"].kind, SettingKind::kOther);
  EXPECT_EQ(all.values[L"list"].kind, SettingKind::kOther);

  ASSERT_EQ(key->SetDword(L"after", 1), S_OK);
  DWORD type = 0, bytes = 0;
  ASSERT_TRUE(Inspect(L"blob", &type, &bytes)) << "a value of another type stays in the key";
  EXPECT_EQ(type, static_cast<DWORD>(REG_BINARY));
  EXPECT_EQ(bytes, 3u);
}

TEST_F(SettingsRegistry, DamagedValuesAreBadDataAndTheEnumerationGoesOn) {
  const wchar_t text[] = L"ab";
  const WORD shortDword = 5;
  Plant(L"odd.size", REG_SZ, text, 3);
  PlantRaw(L"no.zero", REG_SZ, text, 4);
  Plant(L"empty.data", REG_EXPAND_SZ, text, 0);
  Plant(L"short.dword", REG_DWORD, &shortDword, sizeof shortDword);
  Plant(L"short.qword", REG_QWORD, text, 6);
  Plant(L"good", REG_SZ, text, sizeof text);

  auto key = Open(SettingsAccess::kRead);
  ASSERT_NE(key, nullptr);
  EnumeratedValues all = EnumerateAll(*key);
  EXPECT_EQ(all.end, CV_E_SETTING_NO_MORE);
  ASSERT_EQ(all.values.size(), 1u);
  EXPECT_EQ(all.values[L"good"].text, L"ab");
  std::sort(all.badData.begin(), all.badData.end());
  EXPECT_EQ(all.badData,
            (std::vector<std::wstring>{L"empty.data", L"no.zero", L"odd.size", L"short.dword", L"short.qword"}));
}

TEST_F(SettingsRegistry, MissingKeyIsNotFound) {
  std::unique_ptr<ISettingsKey> key;
  EXPECT_EQ(harness_.store()->OpenKey((harness_.keyPath() + L"\\absent").c_str(), SettingsAccess::kRead, &key),
            CV_E_NOT_FOUND);
}

}  // namespace
}  // namespace cvplat
