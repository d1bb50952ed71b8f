#include "platform/sim/settings_memory.h"

#include <gtest/gtest.h>

namespace cvplat {
namespace {

constexpr const wchar_t* kPath = L"Software\\Tests\\Key";

TEST(MemorySettingsStore, OtherKindsAndDamagedValuesAreReportedAndStayUntilWritten) {
  auto store = CreateMemorySettingsStore();
  ASSERT_NE(store, nullptr);
  ASSERT_EQ(store->PutOther(kPath, L"blob"), S_OK);
  ASSERT_EQ(store->PutBadData(kPath, L"odd.size"), S_OK);
  std::unique_ptr<ISettingsKey> key;
  ASSERT_EQ(store->OpenKey(kPath, SettingsAccess::kReadWrite, &key), S_OK);
  ASSERT_EQ(key->SetDword(L"after", 1), S_OK);

  SettingValue v;
  ASSERT_EQ(key->EnumValue(0, &v), S_OK);
  EXPECT_EQ(v.name, L"blob");
  EXPECT_EQ(v.kind, SettingKind::kOther);
  ASSERT_EQ(key->EnumValue(1, &v), CV_E_SETTING_BAD_DATA) << "bad data is a result of its own";
  EXPECT_EQ(v.name, L"odd.size");
  ASSERT_EQ(key->EnumValue(2, &v), S_OK) << "and the enumeration goes on after it";
  EXPECT_EQ(v.name, L"after");

  ASSERT_EQ(key->SetString(L"ODD.SIZE", L"mended"), S_OK);
  ASSERT_EQ(key->EnumValue(1, &v), S_OK);
  EXPECT_EQ(v.name, L"odd.size");
  EXPECT_EQ(v.text, L"mended");
  ASSERT_EQ(key->EnumValue(0, &v), S_OK);
  EXPECT_EQ(v.kind, SettingKind::kOther) << "a value the logic ignores stays as it was";
  EXPECT_EQ(key->EnumValue(3, &v), CV_E_SETTING_NO_MORE);
}

TEST(MemorySettingsStore, RefusesOpensAndWritesOnRequest) {
  auto store = CreateMemorySettingsStore();
  std::unique_ptr<ISettingsKey> key;
  store->FailOpens(SettingsAccess::kReadWrite, E_ACCESSDENIED);
  EXPECT_EQ(store->OpenKey(kPath, SettingsAccess::kReadWrite, &key), E_ACCESSDENIED);
  EXPECT_EQ(key, nullptr);
  EXPECT_FALSE(store->HasKey(kPath)) << "a refused create makes nothing";
  store->FailOpens(SettingsAccess::kReadWrite, S_OK);

  ASSERT_EQ(store->OpenKey(kPath, SettingsAccess::kReadWrite, &key), S_OK);
  EXPECT_TRUE(store->HasKey(L"software\\TESTS"));
  store->FailWrites(E_FAIL);
  EXPECT_EQ(key->SetDword(L"a", 1), E_FAIL);
  store->FailWrites(S_OK);
  EXPECT_EQ(key->SetDword(L"b", 2), S_OK);

  store->FailOpens(SettingsAccess::kRead, E_OUTOFMEMORY);
  std::unique_ptr<ISettingsKey> reader;
  EXPECT_EQ(store->OpenKey(kPath, SettingsAccess::kRead, &reader), E_OUTOFMEMORY);
  store->FailOpens(SettingsAccess::kRead, S_OK);
  ASSERT_EQ(store->OpenKey(kPath, SettingsAccess::kRead, &reader), S_OK);
  SettingValue v;
  ASSERT_EQ(reader->EnumValue(0, &v), S_OK);
  EXPECT_EQ(v.name, L"b") << "the refused write left nothing";
  EXPECT_EQ(reader->EnumValue(1, &v), CV_E_SETTING_NO_MORE);

  EXPECT_EQ(store->OpenKey(L"a\\\\b", SettingsAccess::kReadWrite, &key), E_INVALIDARG);
  EXPECT_EQ(store->OpenKey(L"a\\", SettingsAccess::kReadWrite, &key), E_INVALIDARG);
}

TEST(MemorySettingsStore, KeysOutliveTheStore) {
  auto store = CreateMemorySettingsStore();
  std::unique_ptr<ISettingsKey> key;
  ASSERT_EQ(store->OpenKey(kPath, SettingsAccess::kReadWrite, &key), S_OK);
  store.reset();
  EXPECT_EQ(key->SetQword(L"q", 16), S_OK);
  SettingValue v;
  ASSERT_EQ(key->EnumValue(0, &v), S_OK);
  EXPECT_EQ(v.qword, 16u);
}

}  // namespace
}  // namespace cvplat
