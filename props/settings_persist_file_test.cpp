// The start of a device over the settings files of Linux, in a folder of its own for each test.
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "platform/linux/settings_file_linux.h"
#include "props/settings_persist_test.h"

namespace XMLParse {
namespace {

namespace fs = std::filesystem;

fs::path MakeTempFolder() {
  std::random_device seed;
  std::mt19937_64 random((static_cast<uint64_t>(seed()) << 32) ^ seed());
  for (;;) {
    fs::path path = fs::temp_directory_path() / ("persist-test-" + std::to_string(random()));
    if (fs::create_directory(path)) return path;
  }
}

class FileHarness final : public cvplat::SettingsStoreHarness {
 public:
  ~FileHarness() override {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }
  cvplat::ISettingsStore* store() override { return store_.get(); }
  std::wstring keyPath() override { return kSettingsKeyPath; }
  const fs::path& folder() const { return folder_; }

 private:
  fs::path folder_ = MakeTempFolder();
  std::unique_ptr<cvplat::ISettingsStore> store_ = cvplat::CreateSettingsFileStore(folder_.string());
};

std::unique_ptr<cvplat::SettingsStoreHarness> MakeFileHarness() { return std::make_unique<FileHarness>(); }

}  // namespace

INSTANTIATE_TEST_SUITE_P(File, SettingsPersist,
                         ::testing::Values(cvplat::SettingsStoreParam{"file", &MakeFileHarness}),
                         cvplat::SettingsParamName);

namespace {

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// The file a person edits: what the first start leaves there, and what a later start makes of edits.
TEST(SettingsPersistFile, TheFileShowsEveryPropertyAndHonoursHandEdits) {
  FileHarness harness;
  const fs::path file = harness.folder() / "Tarnwell" / "Corvex" / "CVLive" / "CVDeviceSCR.conf";

  XMLNodePtr root = CoXMLNode::Create(kPropsRootName);
  SetDefaults(*root);
  LoadSettings(*root, nullptr, harness.store(), kSettingsKeyPath, true);
  const std::string first = ReadAll(file);
  EXPECT_NE(first.find("capture.fps_limit = \"30.0\""), std::string::npos) << first;
  EXPECT_NE(first.find("capture.screenshot_timeout = dword:15"), std::string::npos) << first;
  EXPECT_NE(first.find("capture.area = \"\""), std::string::npos) << first;

  {
    std::ofstream out(file, std::ios::binary | std::ios::app);
    out << "capture.frame_size = \"1280x720\"\n"
        << "blob = hex:01,02\n"
        << "output.buffers = dword:5\n"
        << "big = \"0x0000000000000010\"\n";
  }
  XMLNodePtr second = CoXMLNode::Create(kPropsRootName);
  SetDefaults(*second);
  LoadSettings(*second, nullptr, harness.store(), kSettingsKeyPath, true);
  EXPECT_EQ(second->GetString(L"capture.frame_size"), L"1280x720");
  EXPECT_EQ(second->GetString(L"output.buffers"), L"5");
  EXPECT_FALSE(second->HasAttribute(L"blob"));
  const std::string written = ReadAll(file);
  EXPECT_NE(written.find("blob = hex:01,02"), std::string::npos) << "a value of another kind stays";
  EXPECT_NE(written.find("output.buffers = dword:5"), std::string::npos) << written;
  EXPECT_NE(written.find("big = qword:16"), std::string::npos) << written;

  XMLNodePtr third = CoXMLNode::Create(kPropsRootName);
  LoadSettings(*third, nullptr, harness.store(), kSettingsKeyPath, false);
  EXPECT_EQ(third->GetString(L"big"), L"16");
}

}  // namespace
}  // namespace XMLParse
