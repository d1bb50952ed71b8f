#include "platform/settings_store_test.h"

#include <string>
#include <vector>

#include "platform/sim/settings_memory.h"

namespace cvplat {

EnumeratedValues EnumerateAll(ISettingsKey& key) {
  EnumeratedValues out;
  for (uint32_t index = 0;; ++index) {
    SettingValue value;
    HRESULT hr = key.EnumValue(index, &value);
    if (hr == CV_E_SETTING_BAD_DATA) {
      out.badData.push_back(value.name);
      continue;
    }
    if (hr != S_OK) {
      out.end = hr;
      return out;
    }
    out.values[value.name] = value;
  }
}

namespace {

TEST_P(SettingsStoreContract, MissingKeyDoesNotOpenForReadingAndIsCreatedEmptyForWriting) {
  std::unique_ptr<ISettingsKey> key;
  EXPECT_EQ(store().OpenKey(path_.c_str(), SettingsAccess::kRead, &key), CV_E_NOT_FOUND);
  EXPECT_EQ(key, nullptr);

  ASSERT_NE(Open(SettingsAccess::kReadWrite), nullptr);
  auto reader = Open(SettingsAccess::kRead);
  ASSERT_NE(reader, nullptr);
  SettingValue value;
  EXPECT_EQ(reader->EnumValue(0, &value), CV_E_SETTING_NO_MORE);

  // A key made below another one makes that one too, as the registry does.
  ASSERT_NE(Open(SettingsAccess::kReadWrite, path_ + L"\\Child\\Grandchild"), nullptr);
  EXPECT_NE(Open(SettingsAccess::kRead, path_ + L"\\Child"), nullptr);
}

TEST_P(SettingsStoreContract, EveryKindComesBackAsWritten) {
  const std::wstring odd = L"tab\there \"quoted\" back\\slash\r\nnext line = x # y \u00e9\u4e2d\U0001F600";
  {
    auto key = Open(SettingsAccess::kReadWrite);
    ASSERT_NE(key, nullptr);
    EXPECT_EQ(key->SetDword(L"capture.screenshot_timeout", 15), S_OK);
    EXPECT_EQ(key->SetDword(L"max.dword", 0xFFFFFFFFu), S_OK);
    EXPECT_EQ(key->SetQword(L"big.value", 0x10), S_OK);
    EXPECT_EQ(key->SetQword(L"max.qword", 0x7FFFFFFFFFFFFFFFull), S_OK);
    EXPECT_EQ(key->SetString(L"capture.fps_limit", L"30.0"), S_OK);
    EXPECT_EQ(key->SetString(L"capture.area", L""), S_OK);
    EXPECT_EQ(key->SetString(L"odd = \"name\"", odd.c_str()), S_OK);
    EXPECT_EQ(key->SetDefaultText(L"node text"), S_OK);
  }
  auto key = Open(SettingsAccess::kRead);
  ASSERT_NE(key, nullptr);
  EnumeratedValues all = EnumerateAll(*key);
  EXPECT_EQ(all.end, CV_E_SETTING_NO_MORE);
  EXPECT_TRUE(all.badData.empty());
  ASSERT_EQ(all.values.size(), 8u);

  const SettingValue& timeout = all.values[L"capture.screenshot_timeout"];
  EXPECT_EQ(timeout.kind, SettingKind::kDword);
  EXPECT_EQ(timeout.dword, 15u);
  EXPECT_EQ(all.values[L"max.dword"].dword, 0xFFFFFFFFu);
  const SettingValue& big = all.values[L"big.value"];
  EXPECT_EQ(big.kind, SettingKind::kQword);
  EXPECT_EQ(big.qword, 0x10u);
  EXPECT_EQ(all.values[L"max.qword"].qword, 0x7FFFFFFFFFFFFFFFull);
  EXPECT_EQ(all.values[L"capture.fps_limit"].kind, SettingKind::kString);
  EXPECT_EQ(all.values[L"capture.fps_limit"].text, L"30.0");
  EXPECT_EQ(all.values[L"capture.area"].kind, SettingKind::kString);
  EXPECT_EQ(all.values[L"capture.area"].text, L"");
  EXPECT_EQ(all.values[L"odd = \"name\""].text, odd);
  ASSERT_EQ(all.values.count(L""), 1u) << "the default value is enumerated under the empty name";
  EXPECT_EQ(all.values[L""].kind, SettingKind::kString);
  EXPECT_EQ(all.values[L""].text, L"node text");
}

TEST_P(SettingsStoreContract, WritingANameAgainReplacesItsValueAndKindWhateverTheLetterCase) {
  auto key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(key->SetString(L"Output.Buffers", L"five"), S_OK);
  EXPECT_EQ(key->SetDword(L"output.buffers", 5), S_OK);
  EXPECT_EQ(key->SetQword(L"other", 1), S_OK);
  EXPECT_EQ(key->SetString(L"OTHER", L"text"), S_OK);
  ASSERT_EQ(key->Commit(), S_OK);

  auto reader = Open(SettingsAccess::kRead);
  ASSERT_NE(reader, nullptr);
  EnumeratedValues all = EnumerateAll(*reader);
  ASSERT_EQ(all.values.size(), 2u);
  ASSERT_EQ(all.values.count(L"Output.Buffers"), 1u) << "the name keeps its first spelling";
  EXPECT_EQ(all.values[L"Output.Buffers"].kind, SettingKind::kDword);
  EXPECT_EQ(all.values[L"Output.Buffers"].dword, 5u);
  ASSERT_EQ(all.values.count(L"other"), 1u);
  EXPECT_EQ(all.values[L"other"].kind, SettingKind::kString);
  EXPECT_EQ(all.values[L"other"].text, L"text");
}

TEST_P(SettingsStoreContract, KeyOpenedForReadingRefusesWrites) {
  ASSERT_NE(Open(SettingsAccess::kReadWrite), nullptr);
  auto reader = Open(SettingsAccess::kRead);
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(reader->SetDword(L"a", 1), E_ACCESSDENIED);
  EXPECT_EQ(reader->SetQword(L"a", 1), E_ACCESSDENIED);
  EXPECT_EQ(reader->SetString(L"a", L"x"), E_ACCESSDENIED);
  EXPECT_EQ(reader->SetDefaultText(L"x"), E_ACCESSDENIED);
  SettingValue value;
  EXPECT_EQ(Open(SettingsAccess::kRead)->EnumValue(0, &value), CV_E_SETTING_NO_MORE);
}

TEST_P(SettingsStoreContract, NullArgumentsAreRefused) {
  EXPECT_EQ(store().OpenKey(path_.c_str(), SettingsAccess::kReadWrite, nullptr), E_POINTER);
  std::unique_ptr<ISettingsKey> key;
  EXPECT_TRUE(FAILED(store().OpenKey(nullptr, SettingsAccess::kRead, &key)));
  EXPECT_TRUE(FAILED(store().OpenKey(L"", SettingsAccess::kReadWrite, &key)));
  key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(key->SetDword(nullptr, 1), E_POINTER);
  EXPECT_EQ(key->SetString(L"a", nullptr), E_POINTER);
  EXPECT_EQ(key->EnumValue(0, nullptr), E_POINTER);
}

TEST_P(SettingsStoreContract, WritesShowInTheirKeyAtOnceAndInOthersOnceCommitted) {
  auto key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  ASSERT_EQ(key->SetDword(L"a", 1), S_OK);
  SettingValue value;
  ASSERT_EQ(key->EnumValue(0, &value), S_OK);
  EXPECT_EQ(value.dword, 1u);
  ASSERT_EQ(key->Commit(), S_OK);
  EXPECT_EQ(key->Commit(), S_OK) << "nothing pending";
  ASSERT_EQ(Open(SettingsAccess::kRead)->EnumValue(0, &value), S_OK);
  EXPECT_EQ(value.dword, 1u);

  ASSERT_EQ(key->SetDword(L"a", 2), S_OK);
  ASSERT_EQ(key->SetDword(L"b", 3), S_OK);
  key.reset();  // closing commits
  EnumeratedValues all = EnumerateAll(*Open(SettingsAccess::kRead));
  EXPECT_EQ(all.values[L"a"].dword, 2u);
  EXPECT_EQ(all.values[L"b"].dword, 3u);
}

TEST_P(SettingsStoreContract, DeletingANameRemovesItWhateverTheLetterCase) {
  auto key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  ASSERT_EQ(key->SetString(L"Capture.Fps_Limit", L"25"), S_OK);
  ASSERT_EQ(key->SetDword(L"kept", 1), S_OK);
  ASSERT_EQ(key->SetDefaultText(L"node text"), S_OK);
  ASSERT_EQ(key->Commit(), S_OK);

  EXPECT_EQ(key->DeleteValue(L"capture.fps_limit"), S_OK);
  EXPECT_EQ(key->DeleteValue(L"capture.fps_limit"), S_FALSE) << "nothing left of that name";
  EXPECT_EQ(key->DeleteValue(L""), S_OK) << "the default value is a value like the others";
  EXPECT_EQ(key->DeleteValue(nullptr), E_POINTER);
  EXPECT_EQ(EnumerateAll(*key).values.size(), 1u) << "the key shows its own deletions at once";
  ASSERT_EQ(key->Commit(), S_OK);

  auto reader = Open(SettingsAccess::kRead);
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(reader->DeleteValue(L"kept"), E_ACCESSDENIED);
  EnumeratedValues all = EnumerateAll(*reader);
  ASSERT_EQ(all.values.size(), 1u);
  EXPECT_EQ(all.values[L"kept"].dword, 1u);

  // Written again, a deleted name comes back as a new value.
  ASSERT_EQ(key->SetString(L"capture.fps_limit", L"30.0"), S_OK);
  key.reset();
  all = EnumerateAll(*Open(SettingsAccess::kRead));
  EXPECT_EQ(all.values[L"capture.fps_limit"].text, L"30.0");
}

// A name fills the logic's buffer of 520 characters with its terminating zero at 519 characters.
TEST_P(SettingsStoreContract, NameOf520CharactersEndsTheEnumeration) {
  const std::wstring fits(kSettingNameBufferChars - 1, L'n');
  const std::wstring tooLong(kSettingNameBufferChars, L'l');
  {
    auto key = Open(SettingsAccess::kReadWrite, path_ + L"\\fits");
    ASSERT_NE(key, nullptr);
    ASSERT_EQ(key->SetDword(fits.c_str(), 7), S_OK);
    SettingValue value;
    ASSERT_EQ(key->EnumValue(0, &value), S_OK);
    EXPECT_EQ(value.name, fits);
    EXPECT_EQ(value.dword, 7u);
  }
  auto key = Open(SettingsAccess::kReadWrite, path_ + L"\\long");
  ASSERT_NE(key, nullptr);
  ASSERT_EQ(key->SetDword(tooLong.c_str(), 7), S_OK);
  ASSERT_EQ(key->Commit(), S_OK);
  SettingValue value;
  EXPECT_EQ(key->EnumValue(0, &value), CV_E_SETTING_NAME_TOO_LONG);
  EXPECT_EQ(Open(SettingsAccess::kRead, path_ + L"\\long")->EnumValue(0, &value), CV_E_SETTING_NAME_TOO_LONG);
}

// Two devices may write one key at once: each name keeps the last value written to it, and a name
// written by only one of them stays.
TEST_P(SettingsStoreContract, TwoKeysOfOnePathKeepTheLastValueOfEachName) {
  auto first = Open(SettingsAccess::kReadWrite);
  auto second = Open(SettingsAccess::kReadWrite);
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->SetDword(L"only.first", 1), S_OK);
  EXPECT_EQ(second->SetDword(L"only.second", 2), S_OK);
  EXPECT_EQ(first->SetString(L"both", L"first"), S_OK);
  EXPECT_EQ(second->SetString(L"both", L"second"), S_OK);
  EXPECT_EQ(first->Commit(), S_OK);
  EXPECT_EQ(second->Commit(), S_OK);

  EnumeratedValues all = EnumerateAll(*Open(SettingsAccess::kRead));
  ASSERT_EQ(all.values.size(), 3u);
  EXPECT_EQ(all.values[L"only.first"].dword, 1u);
  EXPECT_EQ(all.values[L"only.second"].dword, 2u);
  EXPECT_EQ(all.values[L"both"].text, L"second");
}

class MemoryHarness final : public SettingsStoreHarness {
 public:
  ISettingsStore* store() override { return store_.get(); }
  std::wstring keyPath() override { return L"Software\\Tests\\Key"; }

 private:
  std::unique_ptr<MemorySettingsStore> store_ = CreateMemorySettingsStore();
};

std::unique_ptr<SettingsStoreHarness> MakeMemoryHarness() { return std::make_unique<MemoryHarness>(); }

INSTANTIATE_TEST_SUITE_P(Memory, SettingsStoreContract,
                         ::testing::Values(SettingsStoreParam{"memory", &MakeMemoryHarness}), SettingsParamName);

}  // namespace
}  // namespace cvplat
