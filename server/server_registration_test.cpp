// The registration entries' logic over a registrar that records what it was asked and can fail.
#include "server/server_registration.h"

#include <gtest/gtest.h>

#include <vector>

#include "CVDeviceSCR.h"
#include "server/server_ids.h"

namespace cvserver {
namespace {

using cvplat::ComRegistrationScope;

constexpr uint32_t kUserLocale = 0x407;

struct Call {
  bool registering;
  ComRegistrationScope scope;
  uint32_t locale;  // the thread's locale while the registrar ran
};

class RecordingRegistrar final : public IClassRegistrar {
 public:
  HRESULT Register(ComRegistrationScope scope) override {
    calls.push_back({true, scope, cvplat::ThreadLocaleGet()});
    return registerResult;
  }
  HRESULT Unregister(ComRegistrationScope scope) override {
    calls.push_back({false, scope, cvplat::ThreadLocaleGet()});
    return unregisterResult;
  }
  std::vector<Call> calls;
  HRESULT registerResult = S_OK;
  HRESULT unregisterResult = S_OK;
};

class ServerRegistrationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_ = cvplat::ThreadLocaleGet();
    // The system may report the default as the language it stands for rather than as 0x800.
    cvplat::ThreadLocaleSet(cvplat::kLocaleSystemDefault);
    systemDefault = cvplat::ThreadLocaleGet();
    ASSERT_NE(systemDefault, kUserLocale);
    cvplat::ThreadLocaleSet(kUserLocale);
  }
  void TearDown() override { cvplat::ThreadLocaleSet(saved_); }

  RecordingRegistrar registrar;
  ServerRegistration registration{registrar};
  uint32_t systemDefault = 0;

 private:
  uint32_t saved_ = 0;
};

TEST_F(ServerRegistrationTest, WritesMachineWideUnderTheSystemLocaleAndRestoresIt) {
  EXPECT_EQ(registration.Register(), S_OK);
  EXPECT_EQ(registration.Unregister(), S_OK);
  ASSERT_EQ(registrar.calls.size(), 2u);
  EXPECT_TRUE(registrar.calls[0].registering);
  EXPECT_FALSE(registrar.calls[1].registering);
  for (const Call& call : registrar.calls) {
    EXPECT_EQ(call.scope, ComRegistrationScope::kMachine);
    EXPECT_EQ(call.locale, systemDefault);
  }
  EXPECT_EQ(cvplat::ThreadLocaleGet(), kUserLocale);

  registrar.registerResult = E_ACCESSDENIED;
  EXPECT_EQ(registration.Register(), E_ACCESSDENIED);
  EXPECT_EQ(cvplat::ThreadLocaleGet(), kUserLocale) << "a failure restores the locale too";
}

TEST_F(ServerRegistrationTest, UserSwitchHoldsForTheRestOfTheProcess) {
  for (const wchar_t* notUser : {static_cast<const wchar_t*>(nullptr), L"", L"users", L"use", L" user", L"machine"}) {
    EXPECT_EQ(registration.Install(true, notUser), S_OK);
    EXPECT_EQ(registration.Scope(), ComRegistrationScope::kMachine);
  }
  EXPECT_EQ(registration.Install(true, L"uSeR"), S_OK);
  EXPECT_EQ(registration.Scope(), ComRegistrationScope::kUser);
  EXPECT_EQ(registrar.calls.back().scope, ComRegistrationScope::kUser) << "the switching call itself goes per user";

  // Later entries, even with another command line, stay per user.
  EXPECT_EQ(registration.Install(false, L"machine"), S_OK);
  EXPECT_EQ(registration.Register(), S_OK);
  EXPECT_EQ(registration.Unregister(), S_OK);
  ASSERT_GE(registrar.calls.size(), 3u);
  for (size_t i = registrar.calls.size() - 3; i < registrar.calls.size(); ++i)
    EXPECT_EQ(registrar.calls[i].scope, ComRegistrationScope::kUser);
}

TEST_F(ServerRegistrationTest, InstallUndoesAFailedRegistrationAndReportsThatFailure) {
  registrar.registerResult = E_ACCESSDENIED;
  registrar.unregisterResult = E_FAIL;
  EXPECT_EQ(registration.Install(true, L"user"), E_ACCESSDENIED);
  ASSERT_EQ(registrar.calls.size(), 2u);
  EXPECT_TRUE(registrar.calls[0].registering);
  EXPECT_FALSE(registrar.calls[1].registering);
  EXPECT_EQ(registrar.calls[1].scope, ComRegistrationScope::kUser);
  EXPECT_EQ(cvplat::ThreadLocaleGet(), kUserLocale);

  registrar.calls.clear();
  registrar.registerResult = S_OK;
  EXPECT_EQ(registration.Install(true, nullptr), S_OK);
  ASSERT_EQ(registrar.calls.size(), 1u) << "a successful install removes nothing";

  registrar.calls.clear();
  EXPECT_EQ(registration.Install(false, nullptr), E_FAIL) << "uninstall reports the unregistration's result";
  ASSERT_EQ(registrar.calls.size(), 1u);
  EXPECT_FALSE(registrar.calls[0].registering);
}

TEST(CaptureClassKeysTest, DescribeTheCaptureClass) {
  const cvplat::ComClassKeys keys = CaptureClassKeys(L"C:\\x\\CVDeviceSCR.dll");
  EXPECT_TRUE(IsEqualGUID(keys.clsid, CLSID_CoCVCaptureSCR));
  EXPECT_STREQ(keys.name, L"CVCaptureSCR Class");
  EXPECT_EQ(keys.modulePath, L"C:\\x\\CVDeviceSCR.dll");
  EXPECT_STREQ(keys.threadingModel, L"Free");
  EXPECT_TRUE(IsEqualGUID(keys.typeLib, kTypeLibId));
  EXPECT_STREQ(keys.version, L"1.0");
}

TEST(GuidTextTest, WritesTheRegistryForm) {
  EXPECT_EQ(cvplat::GuidText(kTypeLibId), L"{6C1F0B52-9A3D-4E27-B845-1D7A60E93C14}");
  constexpr GUID kEdges = {0xffffffff, 0x0001, 0xa000, {0x00, 0x0f, 0xf0, 0xff, 0x10, 0x01, 0x80, 0x7f}};
  EXPECT_EQ(cvplat::GuidText(kEdges), L"{FFFFFFFF-0001-A000-000F-F0FF1001807F}");
}

}  // namespace
}  // namespace cvserver
