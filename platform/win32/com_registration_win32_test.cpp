// The registry registrar against the real registry, for a class identifier made up per test run, in both
// roots; the keys are read back with the registry's own calls.
#include <windows.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/com_registration.h"

namespace cvplat {
namespace {

constexpr GUID kTypeLib = {0x01234567, 0x89ab, 0xcdef, {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef}};

CLSID RandomClsid() {
  std::random_device seed;
  std::mt19937 random(seed() ^ GetCurrentProcessId());
  CLSID clsid{};
  clsid.Data1 = random();
  clsid.Data2 = static_cast<uint16_t>(random());
  clsid.Data3 = static_cast<uint16_t>(random());
  for (uint8_t& byte : clsid.Data4) byte = static_cast<uint8_t>(random());
  return clsid;
}

struct Scoped {
  ComRegistrationScope scope;
  HKEY root;
  const wchar_t* classes;  // the path of the classes below root
};

class ComRegistrationTest : public ::testing::TestWithParam<Scoped> {
 protected:
  void TearDown() override { RegDeleteTreeW(GetParam().root, ClassPath().c_str()); }

  std::wstring ClassPath(const wchar_t* below = nullptr) const {
    std::wstring path = GetParam().classes;
    path += L"CLSID\\" + GuidText(clsid);
    if (below) path += std::wstring(L"\\") + below;
    return path;
  }
  // The text value, or "<missing>".
  std::wstring Text(const wchar_t* below, const wchar_t* name) const {
    wchar_t text[1024];
    DWORD bytes = sizeof text;
    if (RegGetValueW(GetParam().root, ClassPath(below).c_str(), name, RRF_RT_REG_SZ, nullptr, text, &bytes) !=
        ERROR_SUCCESS)
      return L"<missing>";
    return text;
  }
  bool Exists(const std::wstring& path) const {
    HKEY key = nullptr;
    if (RegOpenKeyExW(GetParam().root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    RegCloseKey(key);
    return true;
  }

  CLSID clsid = RandomClsid();
  ComClassKeys keys{clsid, L"Test Class", L"C:\\modules\\test.dll", L"Free", kTypeLib, L"1.0"};
};

TEST_P(ComRegistrationTest, WritesTheClassKeysAndRemovesThemAgain) {
  ASSERT_EQ(RegisterComClass(keys, GetParam().scope), S_OK);
  EXPECT_EQ(Text(nullptr, nullptr), L"Test Class");
  EXPECT_EQ(Text(L"InprocServer32", nullptr), L"C:\\modules\\test.dll");
  EXPECT_EQ(Text(L"InprocServer32", L"ThreadingModel"), L"Free");
  EXPECT_EQ(Text(L"TypeLib", nullptr), L"{01234567-89AB-CDEF-0123-456789ABCDEF}");
  EXPECT_EQ(Text(L"Version", nullptr), L"1.0");

  ASSERT_EQ(UnregisterComClass(clsid, GetParam().scope), S_OK);
  EXPECT_FALSE(Exists(ClassPath()));
  EXPECT_TRUE(Exists(std::wstring(GetParam().classes) + L"CLSID")) << "the CLSID key itself stays";
  EXPECT_EQ(UnregisterComClass(clsid, GetParam().scope), S_OK) << "nothing to remove is no failure";
}

TEST_P(ComRegistrationTest, RegistrationReplacesWhatTheClassKeyHeld) {
  HKEY stale = nullptr;
  ASSERT_EQ(RegCreateKeyExW(GetParam().root, ClassPath(L"LocalServer32").c_str(), 0, nullptr, 0, KEY_WRITE, nullptr,
                            &stale, nullptr),
            ERROR_SUCCESS);
  RegCloseKey(stale);
  ASSERT_EQ(RegisterComClass(keys, GetParam().scope), S_OK);
  EXPECT_FALSE(Exists(ClassPath(L"LocalServer32")));
  EXPECT_EQ(Text(L"InprocServer32", nullptr), L"C:\\modules\\test.dll");
}

INSTANTIATE_TEST_SUITE_P(Roots, ComRegistrationTest,
                         ::testing::Values(Scoped{ComRegistrationScope::kMachine, HKEY_CLASSES_ROOT, L""},
                                           Scoped{ComRegistrationScope::kUser, HKEY_CURRENT_USER,
                                                  L"Software\\Classes\\"}),
                         [](const ::testing::TestParamInfo<Scoped>& param) {
                           return param.param.scope == ComRegistrationScope::kMachine ? "Machine" : "User";
                         });

TEST(ComRegistrationArgs, RefusesIncompleteKeys) {
  ComClassKeys keys{RandomClsid(), L"Test Class", L"", L"Free", kTypeLib, L"1.0"};
  EXPECT_EQ(RegisterComClass(keys, ComRegistrationScope::kUser), E_INVALIDARG);
  keys.modulePath = L"C:\\m.dll";
  keys.name = nullptr;
  EXPECT_EQ(RegisterComClass(keys, ComRegistrationScope::kUser), E_POINTER);
}

TEST(OwnModulePath, IsTheFileOfThisCode) {
  const std::wstring path = OwnModulePath();
  ASSERT_GT(path.size(), 4u);
  EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES);
  wchar_t process[MAX_PATH];
  ASSERT_GT(GetModuleFileNameW(nullptr, process, MAX_PATH), 0u);
  EXPECT_EQ(path, process) << "linked into a program, the module is the program";
}

TEST(ThreadLocale, SetAndReadBack) {
  const uint32_t saved = ThreadLocaleGet();
  ThreadLocaleSet(kLocaleSystemDefault);
  EXPECT_EQ(ThreadLocaleGet(), GetThreadLocale());
  ThreadLocaleSet(0x407);
  EXPECT_EQ(ThreadLocaleGet(), 0x407u);
  ThreadLocaleSet(saved);
}

}  // namespace
}  // namespace cvplat
