#include "props/settings_persist_test.h"

#include <atomic>
#include <map>

#include "platform/sim/settings_memory.h"
#include "props/attribute_info.h"
#include "props/node.h"

namespace XMLParse {

using cvplat::SettingKind;
using cvplat::SettingValue;

// ---- the start of a device, on every store ----

TEST_P(SettingsPersist, FirstStartLeavesEveryDefaultInTheKeyWithTheKindItsTextDictates) {
  XMLNodePtr root = StartDevice();
  const auto values = Dump();
  ASSERT_EQ(values.size(), 28u);
  // Each key once; the order is the store's own (the registry may sort its values).
  for (const TPropKey& k : CatalogueKeys()) EXPECT_TRUE(Find(values, k.key)) << Narrow(k.key);

  const std::map<std::wstring, std::pair<SettingKind, std::wstring>> expected = {
      {L"capture.fps_limit", {SettingKind::kString, L"30.0"}},
      {L"capture.focus_change_speed", {SettingKind::kString, L"0.2"}},
      {L"capture.area", {SettingKind::kString, L""}},
      {L"capture.show_clicks", {SettingKind::kString, L"true"}},
      {L"capture.frame_size", {SettingKind::kString, L"1920x1080"}},
      {L"capture.current_mode", {SettingKind::kString, L"Pending"}},
      {L"capture.background_color", {SettingKind::kString, root->GetString(L"capture.background_color")}},
  };
  for (const auto& [name, want] : expected) {
    const SettingValue* v = Find(values, name);
    ASSERT_TRUE(v) << Narrow(name);
    EXPECT_EQ(v->kind, want.first) << Narrow(name);
    EXPECT_EQ(v->text, want.second) << Narrow(name);
  }
  const std::map<std::wstring, uint32_t> numbers = {
      {L"capture.screenshot_timeout", 15}, {L"capture.screen_index", 0},
      {L"capture.wait_frame_msec", 0},     {L"capture.no_frame_max_count", 100}};
  for (const auto& [name, want] : numbers) {
    const SettingValue* v = Find(values, name);
    ASSERT_TRUE(v);
    EXPECT_EQ(v->kind, SettingKind::kDword) << Narrow(name);
    EXPECT_EQ(v->dword, want);
  }
  EXPECT_EQ(root->AttributeCount(), 28);
}

TEST_P(SettingsPersist, HandEditedValuesWinAndUnknownNamesBecomeAttributes) {
  {
    auto key = Writer();
    key->SetString(L"capture.frame_size", L"1280x720");
    key->SetDword(L"output.buffers", 5);
    key->SetString(L"Capture.Mode", L"GDI");  // names match without regard to case
    key->SetString(L"capture.background_color", L"Red");
    key->SetString(L"node::like", L"x");  // names stand as they are: no node is made
    key->Commit();
  }
  XMLNodePtr root = StartDevice();
  EXPECT_EQ(root->GetString(L"capture.frame_size"), L"1280x720");
  EXPECT_EQ(root->GetString(L"capture.mode"), L"GDI");
  EXPECT_EQ(root->GetString(L"output.buffers"), L"5");
  EXPECT_EQ(root->GetInt(L"output.buffers", 3), 5);
  // The stored background is read, then replaced by the catalogue; the store keeps what it had.
  EXPECT_EQ(root->GetColor(L"capture.background_color", 0), kDefaultBackgroundColor);
  // New names follow the defaults, in the store's order.
  std::wstring name28, name29;
  ASSERT_TRUE(root->AttributeAt(28, &name28, nullptr));
  ASSERT_TRUE(root->AttributeAt(29, &name29, nullptr));
  EXPECT_TRUE(name28 == L"node::like" || name29 == L"node::like");
  EXPECT_EQ(root->CountChildren(), 0);
  EXPECT_EQ(root->AttributeCount(), 30);

  const auto values = Dump();
  EXPECT_EQ(values.size(), 30u);
  const SettingValue* buffers = Find(values, L"output.buffers");
  ASSERT_TRUE(buffers);
  EXPECT_EQ(buffers->kind, SettingKind::kDword);
  EXPECT_EQ(buffers->dword, 5u);
  const SettingValue* background = Find(values, L"capture.background_color");
  ASSERT_TRUE(background);
  EXPECT_EQ(background->text, L"Red");

  // The next start sees the same.
  XMLNodePtr again = StartDevice();
  EXPECT_EQ(again->GetString(L"capture.frame_size"), L"1280x720");
  EXPECT_EQ(again->GetString(L"output.buffers"), L"5");
}

TEST_P(SettingsPersist, NumbersComeBackAsDecimalTextAndHexTextGoesBackAsA64BitNumber) {
  {
    auto key = Writer();
    key->SetString(L"big", L"0x0000000000000010");
    key->SetDword(L"minus", 0xFFFFFFFFu);
    key->SetQword(L"huge", 0x123456789ull);
    key->SetQword(L"top", 0xFFFFFFFFFFFFFFFEull);
    key->SetString(L"padded", L"007");
    key->Commit();
  }
  XMLNodePtr root = StartDevice();
  EXPECT_EQ(root->GetString(L"big"), L"0x0000000000000010");
  EXPECT_EQ(root->GetString(L"minus"), L"-1");
  EXPECT_EQ(root->GetString(L"huge"), L"4886718345");
  EXPECT_EQ(root->GetString(L"top"), L"-2");
  EXPECT_EQ(root->GetString(L"padded"), L"007");

  auto values = Dump();
  const SettingValue* big = Find(values, L"big");
  ASSERT_TRUE(big);
  EXPECT_EQ(big->kind, SettingKind::kQword);
  EXPECT_EQ(big->qword, 16u);
  // Negative texts and texts that are no canonical number are texts.
  for (const wchar_t* name : {L"minus", L"top", L"huge", L"padded"}) {
    const SettingValue* v = Find(values, name);
    ASSERT_TRUE(v);
    EXPECT_EQ(v->kind, SettingKind::kString) << Narrow(name);
  }
  XMLNodePtr next = StartDevice();
  EXPECT_EQ(next->GetString(L"big"), L"16");
  values = Dump();
  EXPECT_EQ(Find(values, L"big")->kind, SettingKind::kDword) << "\"16\" is now a 32-bit number";
}

TEST_P(SettingsPersist, ANameTooLongToReadEndsTheEnumeration) {
  // Names in alphabetical order, written in that order, so that a store that sorts lists them as one
  // that keeps the order of writing does.
  const std::wstring longest(cvplat::kSettingNameBufferChars - 1, L'b');  // 519: still readable
  const std::wstring tooLong(cvplat::kSettingNameBufferChars, L'c');      // 520: ends the enumeration
  {
    auto key = Writer();
    key->SetString(L"a.first", L"1a");
    key->SetString(longest.c_str(), L"kept");
    key->SetString(tooLong.c_str(), L"lost");
    key->SetString(L"d.last", L"after");
    key->Commit();
  }
  XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
  LoadSettings(*root, nullptr, &store(), path_, false);
  EXPECT_EQ(root->GetString(L"a.first"), L"1a");
  EXPECT_EQ(root->GetString(longest), L"kept");
  EXPECT_FALSE(root->HasAttribute(tooLong));
  EXPECT_FALSE(root->HasAttribute(L"d.last"));
  EXPECT_EQ(root->AttributeCount(), 2);
}

TEST_P(SettingsPersist, TheNodeTextGoesToTheDefaultValueAndIsNeverReadBack) {
  XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
  root->SetText(L"device settings");
  root->SetString(L"a", L"1");
  ASSERT_EQ(SaveAttributes(*root, store(), path_), S_OK);
  const auto values = Dump();
  const SettingValue* def = Find(values, L"");
  ASSERT_TRUE(def);
  EXPECT_EQ(def->text, L"device settings");

  XMLNodePtr fresh = CoXMLNode::Create(kPropsRootName);
  LoadSettings(*fresh, nullptr, &store(), path_, false);
  std::wstring text;
  EXPECT_FALSE(fresh->GetText(text));
  EXPECT_EQ(fresh->AttributeCount(), 1);
  EXPECT_EQ(fresh->GetString(L"a"), L"1");
}

TEST_P(SettingsPersist, WithoutWriteBackTheStoreIsLeftAlone) {
  XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
  SetDefaults(*root);
  LoadSettings(*root, nullptr, &store(), path_, false);
  EXPECT_TRUE(Dump().empty());
  std::unique_ptr<cvplat::ISettingsKey> key;
  EXPECT_TRUE(FAILED(store().OpenKey(path_.c_str(), cvplat::SettingsAccess::kRead, &key))) << "no key was made";
  EXPECT_EQ(root->AttributeCount(), 28);
}

// ---- the memory store ----

namespace {

class MemoryHarness final : public cvplat::SettingsStoreHarness {
 public:
  cvplat::ISettingsStore* store() override { return store_.get(); }
  std::wstring keyPath() override { return kSettingsKeyPath; }
  cvplat::MemorySettingsStore& memory() { return *store_; }

 private:
  std::unique_ptr<cvplat::MemorySettingsStore> store_ = cvplat::CreateMemorySettingsStore();
};

std::unique_ptr<cvplat::SettingsStoreHarness> MakeMemoryHarness() { return std::make_unique<MemoryHarness>(); }

}  // namespace

INSTANTIATE_TEST_SUITE_P(Memory, SettingsPersist,
                         ::testing::Values(cvplat::SettingsStoreParam{"memory", &MakeMemoryHarness}),
                         cvplat::SettingsParamName);

namespace {

class SettingsPersistMemory : public ::testing::Test {
 protected:
  XMLNodePtr Defaults() {
    XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
    SetDefaults(*root);
    return root;
  }
  std::vector<SettingValue> Dump() {
    std::vector<SettingValue> values;
    std::unique_ptr<cvplat::ISettingsKey> key;
    if (FAILED(store_->OpenKey(kSettingsKeyPath, cvplat::SettingsAccess::kRead, &key))) return values;
    SettingValue v;
    for (uint32_t i = 0;; ++i) {
      const HRESULT hr = key->EnumValue(i, &v);
      if (hr != S_OK && hr != cvplat::CV_E_SETTING_BAD_DATA) break;
      if (hr != S_OK) v.text = L"<bad>";
      values.push_back(v);
    }
    return values;
  }
  std::unique_ptr<cvplat::MemorySettingsStore> store_ = cvplat::CreateMemorySettingsStore();
};

TEST_F(SettingsPersistMemory, OtherKindsAndDamagedValuesAreSkippedAndLeftInTheKey) {
  ASSERT_EQ(store_->PutOther(kSettingsKeyPath, L"blob"), S_OK);
  ASSERT_EQ(store_->PutBadData(kSettingsKeyPath, L"odd"), S_OK);
  {
    std::unique_ptr<cvplat::ISettingsKey> key;
    ASSERT_EQ(store_->OpenKey(kSettingsKeyPath, cvplat::SettingsAccess::kReadWrite, &key), S_OK);
    key->SetString(L"after.bad", L"read");
  }
  XMLNodePtr root = Defaults();
  LoadSettings(*root, nullptr, store_.get(), kSettingsKeyPath, true);
  EXPECT_FALSE(root->HasAttribute(L"blob"));
  EXPECT_FALSE(root->HasAttribute(L"odd"));
  EXPECT_EQ(root->GetString(L"after.bad"), L"read") << "the enumeration goes on past damaged data";
  const auto values = Dump();
  ASSERT_GE(values.size(), 3u);
  EXPECT_EQ(values[0].name, L"blob");
  EXPECT_EQ(values[0].kind, SettingKind::kOther);
  EXPECT_EQ(values[1].name, L"odd");
  EXPECT_EQ(values[1].text, L"<bad>");
  EXPECT_EQ(values.size(), 3u + 28u);
}

TEST_F(SettingsPersistMemory, FailuresAreSilent) {
  // A key that cannot be read: defaults only, but the write-back still makes the key.
  store_->FailOpens(cvplat::SettingsAccess::kRead, E_ACCESSDENIED);
  XMLNodePtr root = Defaults();
  LoadSettings(*root, nullptr, store_.get(), kSettingsKeyPath, true);
  store_->FailOpens(cvplat::SettingsAccess::kRead, S_OK);
  EXPECT_EQ(Dump().size(), 28u);

  // A key that cannot be made: no write-back, the tree as it was, and SaveAttributes says why.
  auto other = cvplat::CreateMemorySettingsStore();
  other->FailOpens(cvplat::SettingsAccess::kReadWrite, E_ACCESSDENIED);
  XMLNodePtr second = Defaults();
  LoadSettings(*second, nullptr, other.get(), kSettingsKeyPath, true);
  EXPECT_FALSE(other->HasKey(kSettingsKeyPath));
  EXPECT_EQ(second->AttributeCount(), 28);
  EXPECT_EQ(SaveAttributes(*second, *other, kSettingsKeyPath), E_ACCESSDENIED);

  // Writes that fail are skipped one by one.
  auto third = cvplat::CreateMemorySettingsStore();
  third->FailWrites(E_FAIL);
  XMLNodePtr root3 = Defaults();
  LoadSettings(*root3, nullptr, third.get(), kSettingsKeyPath, true);
  EXPECT_EQ(root3->AttributeCount(), 28);

  // No store at all: defaults only.
  XMLNodePtr alone = Defaults();
  LoadSettings(*alone, nullptr, nullptr, kSettingsKeyPath, true);
  EXPECT_EQ(alone->AttributeCount(), 28);
}

// ---- the settings service ----

class FakeSettings final : public ICVSettings {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (!IsEqualIID(riid, IID_IUnknown)) return E_NOINTERFACE;
    *object = static_cast<IUnknown*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs; }
  HRESULT STDMETHODCALLTYPE Get(LPCOLESTR key, BSTR* text) override {
    gotKey = key ? key : L"<null>";
    if (reply) *text = SysAllocString(reply);
    return result;
  }
  HRESULT STDMETHODCALLTYPE Put(LPCOLESTR key, LPCOLESTR text) override {
    ++puts;
    putKey = key;
    putText = text;
    return S_OK;
  }

  std::atomic<ULONG> refs{1};
  HRESULT result = S_OK;
  const wchar_t* reply = nullptr;
  std::wstring gotKey, putKey, putText;
  int puts = 0;
};

TEST_F(SettingsPersistMemory, AServiceThatAnswersIsInChargeAndTheStoreIsNotTouched) {
  {
    std::unique_ptr<cvplat::ISettingsKey> key;
    store_->OpenKey(kSettingsKeyPath, cvplat::SettingsAccess::kReadWrite, &key);
    key->SetString(L"capture.mode", L"DXGI");
  }
  FakeSettings service;
  service.reply = L"capture.mode='GDI' a::b=\"two words\" output.buffers=5";
  XMLNodePtr root = Defaults();
  LoadSettings(*root, &service, store_.get(), kSettingsKeyPath, true);
  EXPECT_EQ(service.gotKey, kSettingsKeyPath);
  EXPECT_EQ(root->GetString(L"capture.mode"), L"GDI");
  EXPECT_EQ(root->GetString(L"output.buffers"), L"5");
  std::wstring name, value;
  ASSERT_TRUE(root->AttributeAt(28, &name, &value));
  EXPECT_EQ(name, L"a::b") << "names stand as they are";
  EXPECT_EQ(value, L"two words");
  EXPECT_EQ(root->CountChildren(), 0);

  ASSERT_EQ(service.puts, 1);
  EXPECT_EQ(service.putKey, kSettingsKeyPath);
  EXPECT_EQ(service.putText, root->AttributesText());
  const auto values = Dump();
  ASSERT_EQ(values.size(), 1u) << "the store is neither read nor written";
  EXPECT_EQ(values[0].text, L"DXGI");

  // Without write-back nothing is put; a failing Get is in charge too, with nothing to parse.
  FakeSettings failing;
  failing.result = E_FAIL;
  XMLNodePtr other = Defaults();
  LoadSettings(*other, &failing, store_.get(), kSettingsKeyPath, false);
  EXPECT_EQ(failing.puts, 0);
  EXPECT_EQ(other->GetString(L"capture.mode"), L"auto");
  LoadSettings(*other, &failing, store_.get(), kSettingsKeyPath, true);
  EXPECT_EQ(failing.puts, 1);
}

TEST_F(SettingsPersistMemory, AServiceWithNothingLeavesTheWorkToTheStoreButAnyTextItGaveComesLast) {
  {
    std::unique_ptr<cvplat::ISettingsKey> key;
    store_->OpenKey(kSettingsKeyPath, cvplat::SettingsAccess::kReadWrite, &key);
    key->SetString(L"capture.mode", L"DXGI");
    key->SetString(L"capture.frame_size", L"800x600");
  }
  FakeSettings empty;
  empty.result = S_FALSE;
  XMLNodePtr root = Defaults();
  LoadSettings(*root, &empty, store_.get(), kSettingsKeyPath, true);
  EXPECT_EQ(root->GetString(L"capture.mode"), L"DXGI");
  EXPECT_EQ(empty.puts, 0);
  EXPECT_EQ(Dump().size(), 28u);

  FakeSettings late;
  late.result = S_FALSE;
  late.reply = L"capture.mode='GDI'";
  XMLNodePtr second = Defaults();
  LoadSettings(*second, &late, store_.get(), kSettingsKeyPath, true);
  EXPECT_EQ(second->GetString(L"capture.mode"), L"GDI");
  EXPECT_EQ(second->GetString(L"capture.frame_size"), L"800x600");
  std::unique_ptr<cvplat::ISettingsKey> key;
  store_->OpenKey(kSettingsKeyPath, cvplat::SettingsAccess::kRead, &key);
  SettingValue v;
  key->EnumValue(0, &v);
  EXPECT_EQ(v.text, L"DXGI") << "the late text is parsed after the write-back";

  FakeSettings missing;
  missing.result = E_NOINTERFACE;
  XMLNodePtr third = Defaults();
  LoadSettings(*third, &missing, store_.get(), kSettingsKeyPath, true);
  EXPECT_EQ(third->GetString(L"capture.mode"), L"DXGI");
  EXPECT_EQ(missing.puts, 0);
}

TEST(SettingsStoredForm, TheTextAloneChoosesTheKind) {
  struct Case {
    const wchar_t* text;
    SettingKind kind;
    uint64_t number;
  };
  const Case cases[] = {
      {L"15", SettingKind::kDword, 15},
      {L"0", SettingKind::kDword, 0},
      {L"2147483647", SettingKind::kDword, 2147483647},
      {L"2147483648", SettingKind::kString, 0},
      {L"-1", SettingKind::kString, 0},
      {L"-0", SettingKind::kString, 0},
      {L"007", SettingKind::kString, 0},
      {L"+5", SettingKind::kString, 0},
      {L" 5", SettingKind::kString, 0},
      {L"5 ", SettingKind::kString, 0},
      {L"0x0000000000000010", SettingKind::kQword, 16},
      {L"0x7FFFFFFFFFFFFFFF", SettingKind::kQword, 0x7FFFFFFFFFFFFFFFull},
      {L"0x8000000000000000", SettingKind::kString, 0},
      {L"0xFFFFFFFFFFFFFFFF", SettingKind::kString, 0},
      {L"0x000000000000001a", SettingKind::kString, 0},
      {L"0X0000000000000010", SettingKind::kString, 0},
      {L"0x10", SettingKind::kString, 0},
      {L"0x00000010", SettingKind::kString, 0},
      {L"30.0", SettingKind::kString, 0},
      {L"true", SettingKind::kString, 0},
      {L"1920x1080", SettingKind::kString, 0},
      {L"Black(170)", SettingKind::kString, 0},
      {L"", SettingKind::kString, 0},
  };
  for (const Case& c : cases) {
    const TStoredForm form = StoredFormOf(c.text);
    const std::wstring text(c.text);
    EXPECT_EQ(form.kind, c.kind) << Narrow(text);
    if (c.kind == SettingKind::kDword) {
      EXPECT_EQ(form.dword, c.number);
    } else if (c.kind == SettingKind::kQword) {
      EXPECT_EQ(form.qword, c.number);
    }
  }
}

}  // namespace
}  // namespace XMLParse
