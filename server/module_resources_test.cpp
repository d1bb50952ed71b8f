// The resources of the built module, read from its file: version, name string, manifest, registration
// scripts and the type library with the identifiers the code uses.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CVDeviceSCR.h"
#include "platform/com_registration.h"
#include "server/server_ids.h"

namespace {

class ModuleResources : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    module = LoadLibraryExW(CV_MODULE_FILE_W, nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
  }
  static void TearDownTestSuite() {
    if (module) FreeLibrary(module);
    module = nullptr;
  }
  void SetUp() override { ASSERT_NE(module, nullptr) << "cannot open " << CV_MODULE_FILE; }

  // The bytes of a resource; empty when it isn't there.
  static std::string Bytes(const wchar_t* type, int id) {
    HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(id), type);
    if (!found) return std::string();
    HGLOBAL loaded = LoadResource(module, found);
    const void* data = loaded ? LockResource(loaded) : nullptr;
    if (!data) return std::string();
    return std::string(static_cast<const char*>(data), SizeofResource(module, found));
  }
  static std::string Narrow(const std::wstring& text) { return std::string(text.begin(), text.end()); }

  static HMODULE module;
};

HMODULE ModuleResources::module = nullptr;

TEST_F(ModuleResources, VersionNameAndManifest) {
  const std::string version = Bytes(MAKEINTRESOURCEW(16), 1);  // RT_VERSION
  ASSERT_GE(version.size(), 40u + sizeof(VS_FIXEDFILEINFO));
  // The fixed part follows the "VS_VERSION_INFO" header on a 32-bit boundary.
  const std::wstring key = L"VS_VERSION_INFO";
  const size_t keyAt = version.find(std::string(reinterpret_cast<const char*>(key.c_str()), key.size() * 2));
  ASSERT_NE(keyAt, std::string::npos);
  const size_t fixedAt = (keyAt + (key.size() + 1) * 2 + 3) & ~size_t{3};
  VS_FIXEDFILEINFO fixed;
  memcpy(&fixed, version.data() + fixedAt, sizeof fixed);
  EXPECT_EQ(fixed.dwSignature, 0xFEEF04BDu);
  const DWORD high = (CV_VERSION_MAJOR << 16) | CV_VERSION_MINOR;
  const DWORD low = (CV_VERSION_PATCH << 16) | CV_VERSION_TWEAK;
  EXPECT_EQ(fixed.dwFileVersionMS, high);
  EXPECT_EQ(fixed.dwFileVersionLS, low);
  EXPECT_EQ(fixed.dwProductVersionMS, high);
  EXPECT_EQ(fixed.dwProductVersionLS, low);
  EXPECT_EQ(fixed.dwFileType, 2u) << "a DLL";

  wchar_t name[64] = {};
  ASSERT_GT(LoadStringW(module, 7, name, 64), 0);
  EXPECT_STREQ(name, L"CVDeviceSCR");

  const std::string manifest = Bytes(MAKEINTRESOURCEW(24), 2);
  EXPECT_NE(manifest.find("level=\"asInvoker\""), std::string::npos) << manifest;
  EXPECT_NE(manifest.find("uiAccess=\"false\""), std::string::npos) << manifest;
}

TEST_F(ModuleResources, RegistrationScriptsNameTheClassAndLibrary) {
  const std::string module101 = Bytes(L"REGISTRY", 101);
  ASSERT_FALSE(module101.empty());
  EXPECT_EQ(module101.find("CLSID"), std::string::npos) << "the module script writes nothing";

  const std::string cls = Bytes(L"REGISTRY", 106);
  EXPECT_NE(cls.find(Narrow(cvplat::GuidText(CLSID_CoCVCaptureSCR))), std::string::npos) << cls;
  EXPECT_NE(cls.find("TypeLib = s '" + Narrow(cvplat::GuidText(cvserver::kTypeLibId)) + "'"), std::string::npos)
      << cls;
  EXPECT_NE(cls.find("'CVCaptureSCR Class'"), std::string::npos);
  EXPECT_NE(cls.find("ThreadingModel = s 'Free'"), std::string::npos);
}

TEST_F(ModuleResources, TheOverlaysStockImagesLieBesideTheModulesOwn) {
  for (int id : {107, 108, 109}) {
    const std::string file = Bytes(L"CUSTOM", id);
    ASSERT_EQ(file.size(), 54u + 100 * 100 * 4) << id;
    EXPECT_EQ(file.substr(0, 2), "BM") << id;
  }
}

TEST_F(ModuleResources, TypeLibraryHoldsTheOneClass) {
  ITypeLib* library = nullptr;
  ASSERT_EQ(LoadTypeLibEx(CV_MODULE_FILE_W, REGKIND_NONE, &library), S_OK);
  TLIBATTR* attributes = nullptr;
  ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
  EXPECT_TRUE(IsEqualGUID(attributes->guid, cvserver::kTypeLibId));
  EXPECT_EQ(attributes->wMajorVerNum, 1);
  EXPECT_EQ(attributes->wMinorVerNum, 0);
  EXPECT_EQ(attributes->lcid, 0x409u);
  library->ReleaseTLibAttr(attributes);

  BSTR name = nullptr;
  ASSERT_EQ(library->GetDocumentation(-1, &name, nullptr, nullptr, nullptr), S_OK);
  EXPECT_STREQ(name, L"CVDeviceSCRLib");
  SysFreeString(name);

  ASSERT_EQ(library->GetTypeInfoCount(), 1u) << "one class and no interface";
  TYPEKIND kind{};
  ASSERT_EQ(library->GetTypeInfoType(0, &kind), S_OK);
  EXPECT_EQ(kind, TKIND_COCLASS);
  ITypeInfo* info = nullptr;
  ASSERT_EQ(library->GetTypeInfoOfGuid(CLSID_CoCVCaptureSCR, &info), S_OK);
  ASSERT_EQ(library->GetDocumentation(0, &name, nullptr, nullptr, nullptr), S_OK);
  EXPECT_STREQ(name, L"CVCaptureSCR");
  SysFreeString(name);
  info->Release();
  library->Release();
}

}  // namespace
