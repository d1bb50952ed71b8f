#include "platform/linux/settings_file_linux.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <sstream>
#include <string>

#include "platform/settings_file_format.h"
#include "platform/settings_store_test.h"

namespace cvplat {
namespace {

namespace fs = std::filesystem;

constexpr const wchar_t* kKey = L"Software\\Tarnwell\\Corvex\\CVLive\\CVDeviceSCR";

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (fs::temp_directory_path() / "settings-test-XXXXXX").string();
    if (mkdtemp(pattern.data())) path_ = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

void WriteFile(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

class FileHarness final : public SettingsStoreHarness {
 public:
  ISettingsStore* store() override { return store_.get(); }
  std::wstring keyPath() override { return L"Software\\Tests\\Key"; }

 private:
  TempFolder folder_;
  std::unique_ptr<ISettingsStore> store_ = CreateSettingsFileStore(folder_.path());
};

std::unique_ptr<SettingsStoreHarness> MakeFileHarness() { return std::make_unique<FileHarness>(); }

INSTANTIATE_TEST_SUITE_P(Native, SettingsStoreContract,
                         ::testing::Values(SettingsStoreParam{"files", &MakeFileHarness}), SettingsParamName);

class SettingsFile : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(folder_.path().empty());
    store_ = CreateSettingsFileStore(folder_.path());
    ASSERT_NE(store_, nullptr);
  }
  void TearDown() override { SetSettingsWriteHookForTests(nullptr); }

  std::unique_ptr<ISettingsKey> Open(SettingsAccess access, HRESULT expected = S_OK) {
    std::unique_ptr<ISettingsKey> key;
    EXPECT_EQ(store_->OpenKey(kKey, access, &key), expected);
    return key;
  }
  std::string file() const { return folder_.path() + "/Tarnwell/Corvex/CVLive/CVDeviceSCR.conf"; }
  std::string newFile() const { return folder_.path() + "/Tarnwell/Corvex/CVLive/.CVDeviceSCR.conf.new"; }

  TempFolder folder_;
  std::unique_ptr<ISettingsStore> store_;
};

TEST(SettingsFileLocation, KeyPathsBecomeFoldersAndAFile) {
  std::string folder, file;
  ASSERT_EQ(SettingsKeyLocation(kKey, &folder, &file), S_OK);
  EXPECT_EQ(folder, "Tarnwell/Corvex/CVLive");
  EXPECT_EQ(file, "CVDeviceSCR.conf");
  ASSERT_EQ(SettingsKeyLocation(L"Key", &folder, &file), S_OK);
  EXPECT_EQ(folder, "");
  EXPECT_EQ(file, "Key.conf");
  ASSERT_EQ(SettingsKeyLocation(L"SOFTWARE\\\u00e9t\u00e9\\Key", &folder, &file), S_OK);
  EXPECT_EQ(folder, "\xC3\xA9t\xC3\xA9");
  ASSERT_EQ(SettingsKeyLocation(L"Software", &folder, &file), S_OK) << "a key of its own when alone";
  EXPECT_EQ(file, "Software.conf");

  for (const wchar_t* bad : {L"", L"\\a", L"a\\", L"a\\\\b", L"a\\..\\b", L"a\\.", L"a/b", L"..\\x"})
    EXPECT_EQ(SettingsKeyLocation(bad, &folder, &file), E_INVALIDARG) << fs::path(bad).string();
  EXPECT_EQ(SettingsKeyLocation(std::wstring(1, static_cast<wchar_t>(0xD800)).c_str(), &folder, &file), E_INVALIDARG);
}

TEST_F(SettingsFile, IsTextAPersonCanReadAndKeepsTheirEdits) {
  {
    auto key = Open(SettingsAccess::kReadWrite);
    ASSERT_NE(key, nullptr);
    ASSERT_EQ(key->SetDword(L"capture.screenshot_timeout", 15), S_OK);
    ASSERT_EQ(key->SetString(L"capture.fps_limit", L"30.0"), S_OK);
    ASSERT_EQ(key->SetQword(L"big", 16), S_OK);
    ASSERT_EQ(key->SetDefaultText(L"t"), S_OK);
    EXPECT_FALSE(fs::exists(file()) && ReadFile(file()).find("big") != std::string::npos)
        << "writes wait for the commit";
    ASSERT_EQ(key->Commit(), S_OK);
  }
  EXPECT_EQ(ReadFile(file()), std::string(kSettingsFileHeader) +
                                  "capture.screenshot_timeout = dword:15\n"
                                  "capture.fps_limit = \"30.0\"\n"
                                  "big = qword:16\n"
                                  "\"\" = \"t\"\n");
  struct stat info;
  ASSERT_EQ(stat(file().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u) << "settings are the user's own";
  ASSERT_EQ(stat((folder_.path() + "/Tarnwell").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);

  // A person edits the file: a comment, a hand-made value, a typo and a line of nonsense.
  const std::string edited =
      "# my settings\n"
      "capture.frame_size = \"1280x720\"\n"
      "capture.screenshot_timeout = dword:1O\n"
      "what is this\n"
      "output.buffers = dword:5\n";
  WriteFile(file(), edited);
  auto key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  EnumeratedValues all = EnumerateAll(*key);
  EXPECT_EQ(all.values[L"capture.frame_size"].text, L"1280x720");
  EXPECT_EQ(all.values[L"output.buffers"].dword, 5u);
  ASSERT_EQ(all.badData.size(), 1u);
  EXPECT_EQ(all.badData[0], L"capture.screenshot_timeout");

  ASSERT_EQ(key->SetDword(L"capture.screenshot_timeout", 15), S_OK);
  ASSERT_EQ(key->SetDword(L"output.buffers", 5), S_OK);
  ASSERT_EQ(key->Commit(), S_OK);
  EXPECT_EQ(ReadFile(file()),
            "# my settings\n"
            "capture.frame_size = \"1280x720\"\n"
            "capture.screenshot_timeout = dword:15\n"
            "what is this\n"
            "output.buffers = dword:5\n");
}

int g_crashStage = -1;

bool CrashAt(SettingsWriteStage stage) {
  if (static_cast<int>(stage) == g_crashStage) raise(SIGKILL);
  return true;
}

bool DiskFullAt(SettingsWriteStage stage) { return static_cast<int>(stage) != g_crashStage; }

// A process dies while it writes: the old file is read in full, and the next write succeeds.
TEST_F(SettingsFile, CrashWhileWritingLeavesTheOldFile) {
  {
    auto key = Open(SettingsAccess::kReadWrite);
    ASSERT_NE(key, nullptr);
    ASSERT_EQ(key->SetString(L"kept", L"old"), S_OK);
  }
  const std::string before = ReadFile(file());
  for (SettingsWriteStage stage : {SettingsWriteStage::kNewFilePartlyWritten, SettingsWriteStage::kNewFileWritten}) {
    g_crashStage = static_cast<int>(stage);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      SetSettingsWriteHookForTests(&CrashAt);
      std::unique_ptr<ISettingsKey> key;
      if (store_->OpenKey(kKey, SettingsAccess::kReadWrite, &key) == S_OK) {
        key->SetString(L"kept", L"new");
        key->Commit();
      }
      _exit(0);  // only reached if the hook failed to stop the write
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the writer died at the stage";
    EXPECT_TRUE(fs::exists(newFile())) << "the crash left the unfinished new file";
    EXPECT_EQ(ReadFile(file()), before);

    auto reader = Open(SettingsAccess::kRead);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(EnumerateAll(*reader).values[L"kept"].text, L"old");
  }
  auto key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  ASSERT_EQ(key->SetString(L"kept", L"new"), S_OK);
  ASSERT_EQ(key->Commit(), S_OK);
  EXPECT_FALSE(fs::exists(newFile()));
  EXPECT_EQ(EnumerateAll(*Open(SettingsAccess::kRead)).values[L"kept"].text, L"new");
}

TEST_F(SettingsFile, FullDiskFailsTheWriteAndLeavesTheOldFile) {
  auto key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  ASSERT_EQ(key->SetDword(L"a", 1), S_OK);
  ASSERT_EQ(key->Commit(), S_OK);
  const std::string before = ReadFile(file());
  for (SettingsWriteStage stage : {SettingsWriteStage::kNewFilePartlyWritten, SettingsWriteStage::kNewFileWritten}) {
    g_crashStage = static_cast<int>(stage);
    SetSettingsWriteHookForTests(&DiskFullAt);
    ASSERT_EQ(key->SetDword(L"a", 2), S_OK);
    ASSERT_EQ(key->SetDword(L"b", 2), S_OK);
    EXPECT_EQ(key->Commit(), HRESULT_FROM_WIN32(112));
    SetSettingsWriteHookForTests(nullptr);
    EXPECT_EQ(ReadFile(file()), before);
    EXPECT_FALSE(fs::exists(newFile())) << "a failed write cleans up after itself";
    EnumeratedValues all = EnumerateAll(*key);
    EXPECT_EQ(all.values.size(), 1u) << "after a failed commit the key shows what the file holds";
    EXPECT_EQ(all.values[L"a"].dword, 1u);
  }
  EXPECT_EQ(key->SetDword(L"a", 3), S_OK);
  EXPECT_EQ(key->Commit(), S_OK);
  EXPECT_EQ(EnumerateAll(*Open(SettingsAccess::kRead)).values[L"a"].dword, 3u);
}

TEST_F(SettingsFile, DamagedFilesGiveTheirGoodLinesAndNeverBlock) {
  ASSERT_NE(Open(SettingsAccess::kReadWrite), nullptr);

  // Cut off in the middle of a line.
  WriteFile(file(), "a = dword:1\nb = \"two\"\nc = \"thr");
  EnumeratedValues all = EnumerateAll(*Open(SettingsAccess::kRead));
  EXPECT_EQ(all.values.size(), 2u);
  EXPECT_EQ(all.values[L"b"].text, L"two");
  EXPECT_EQ(all.badData, std::vector<std::wstring>{L"c"});

  // Random bytes around one good line.
  std::mt19937 random(7);
  std::string noise;
  for (int i = 0; i < 20000; ++i) noise.push_back(static_cast<char>(random()));
  WriteFile(file(), noise + "\ngood = qword:0x10\n" + noise);
  auto key = Open(SettingsAccess::kReadWrite);
  ASSERT_NE(key, nullptr);
  EXPECT_EQ(EnumerateAll(*key).values[L"good"].qword, 16u);
  ASSERT_EQ(key->SetDword(L"after", 1), S_OK);
  ASSERT_EQ(key->Commit(), S_OK) << "a damaged file can still be written";
  EXPECT_EQ(EnumerateAll(*Open(SettingsAccess::kRead)).values[L"good"].qword, 16u);

  // Not a file a person would have made: too big, a directory, a pipe.
  {
    std::error_code ignored;
    fs::remove(file(), ignored);
    int fd = open(file().c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(ftruncate(fd, static_cast<off_t>(kMaxSettingsFileBytes) + 1), 0);
    close(fd);
  }
  Open(SettingsAccess::kRead, CV_E_SETTING_BAD_DATA);
  Open(SettingsAccess::kReadWrite, CV_E_SETTING_BAD_DATA);
  fs::remove(file());
  fs::create_directory(file());
  Open(SettingsAccess::kRead, CV_E_SETTING_BAD_DATA);
  fs::remove(file());
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  Open(SettingsAccess::kRead, CV_E_SETTING_BAD_DATA);
  EXPECT_EQ(Open(SettingsAccess::kReadWrite, CV_E_SETTING_BAD_DATA), nullptr);
}

// Writers in two processes take turns: no write is lost to another one's older copy of the file.
TEST_F(SettingsFile, WritersInTwoProcessesLoseNoValue) {
  constexpr int kValues = 40;
  ASSERT_NE(Open(SettingsAccess::kReadWrite), nullptr);
  int start[2];
  ASSERT_EQ(pipe(start), 0);
  pid_t children[2];
  for (int c = 0; c < 2; ++c) {
    children[c] = fork();
    ASSERT_GE(children[c], 0);
    if (children[c] == 0) {
      std::unique_ptr<ISettingsKey> key;
      if (store_->OpenKey(kKey, SettingsAccess::kReadWrite, &key) != S_OK) _exit(2);
      close(start[1]);
      char go;
      if (read(start[0], &go, 1) != 0) _exit(4);  // both start when the pipe closes
      for (int i = 0; i < kValues; ++i)
        if (key->SetDword((L"w" + std::to_wstring(c) + L"." + std::to_wstring(i)).c_str(), i) != S_OK ||
            key->Commit() != S_OK)
          _exit(3);
      _exit(0);
    }
  }
  close(start[0]);
  close(start[1]);
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  EnumeratedValues all = EnumerateAll(*Open(SettingsAccess::kRead));
  EXPECT_EQ(all.values.size(), 2u * kValues);
  EXPECT_EQ(all.values[L"w1.39"].dword, 39u);
}

// Restores an environment variable when the test ends.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    if (value)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }
  ~ScopedEnv() {
    if (old_)
      setenv(name_, old_->c_str(), 1);
    else
      unsetenv(name_);
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(SettingsFileUserFolder, FollowsXdgConfigHomeElseHome) {
  TempFolder temp;
  std::string folder;
  {
    ScopedEnv config("XDG_CONFIG_HOME", (temp.path() + "/config").c_str());
    ASSERT_TRUE(UserSettingsFolder(&folder));
    EXPECT_EQ(folder, temp.path() + "/config");
    auto store = CreateUserSettingsStore();
    std::unique_ptr<ISettingsKey> key;
    ASSERT_EQ(store->OpenKey(L"Software\\Maker\\Key", SettingsAccess::kReadWrite, &key), S_OK);
    EXPECT_TRUE(fs::is_regular_file(temp.path() + "/config/Maker/Key.conf"));
  }
  ScopedEnv home("HOME", temp.path().c_str());
  {
    ScopedEnv relative("XDG_CONFIG_HOME", "relative/config");
    ASSERT_TRUE(UserSettingsFolder(&folder));
    EXPECT_EQ(folder, temp.path() + "/.config") << "a relative folder is not to be used";
  }
  ScopedEnv unset("XDG_CONFIG_HOME", nullptr);
  ASSERT_TRUE(UserSettingsFolder(&folder));
  EXPECT_EQ(folder, temp.path() + "/.config");
}

}  // namespace
}  // namespace cvplat
