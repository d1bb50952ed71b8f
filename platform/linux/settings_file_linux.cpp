#include "platform/linux/settings_file_linux.h"

#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

#include "platform/settings_file_format.h"
#include "platform/settings_table.h"

namespace cvplat {
namespace {

std::atomic<SettingsWriteHook> g_writeHook{nullptr};

constexpr DWORD kErrorDiskFull = 112;

HRESULT FromErrno(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return CV_E_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EROFS:
      return E_ACCESSDENIED;
    case ENOSPC:
    case EDQUOT:
      return HRESULT_FROM_WIN32(kErrorDiskFull);
    case ENOMEM:
      return E_OUTOFMEMORY;
    case ENAMETOOLONG:
      return E_INVALIDARG;
    default:
      return E_FAIL;
  }
}

// Owns a file descriptor. Closing a descriptor that was only read, or whose writes were already flushed
// and checked, can tell nothing that would change what the caller does.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (fd_ >= 0) (void)close(fd_);
  }
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }
  void reset(int fd) {
    if (fd_ >= 0) (void)close(fd_);
    fd_ = fd;
  }

 private:
  int fd_;
};

// Writers of one folder take turns: the lock is on the folder, since the file itself is replaced.
class FolderLock {
 public:
  explicit FolderLock(int folderFd) : fd_(folderFd) {}
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  ~FolderLock() {
    // Closing the folder's descriptor would drop the lock too; a failed unlock leaves nothing to repair.
    if (held_) (void)flock(fd_, LOCK_UN);
  }
  HRESULT Take() {
    while (flock(fd_, LOCK_EX) != 0)
      if (errno != EINTR) return FromErrno(errno);
    held_ = true;
    return S_OK;
  }

 private:
  int fd_;
  bool held_ = false;
};

bool CallHook(SettingsWriteStage stage) {
  SettingsWriteHook hook = g_writeHook.load();
  return !hook || hook(stage);
}

HRESULT WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t n = write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return FromErrno(errno);
    }
    data += n;
    size -= static_cast<size_t>(n);
  }
  return S_OK;
}

// The whole of a key's file; CV_E_NOT_FOUND if there is none. Anything but a regular file of at most
// kMaxSettingsFileBytes is refused: a pipe or a device could block or never end.
HRESULT ReadKeyFile(int folderFd, const std::string& name, std::string* bytes) {
  Descriptor fd(openat(folderFd, name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  if (fd.get() < 0) return FromErrno(errno);
  struct stat info;
  if (fstat(fd.get(), &info) != 0) return FromErrno(errno);
  if (!S_ISREG(info.st_mode) || info.st_size > static_cast<off_t>(kMaxSettingsFileBytes))
    return CV_E_SETTING_BAD_DATA;
  bytes->clear();
  char buffer[16384];
  for (;;) {
    ssize_t n = read(fd.get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      return FromErrno(errno);
    }
    if (n == 0) return S_OK;
    if (bytes->size() + static_cast<size_t>(n) > kMaxSettingsFileBytes) return CV_E_SETTING_BAD_DATA;
    bytes->append(buffer, static_cast<size_t>(n));
  }
}

// Replaces the file `name` in the folder with `text`: a new file beside it, flushed, renamed over the
// old one, and the folder flushed so that the rename itself lasts. Until the rename the old file stands.
HRESULT ReplaceFile(int folderFd, const std::string& name, const std::string& text) {
  const std::string temp = "." + name + ".new";
  mode_t mode = S_IRUSR | S_IWUSR;
  struct stat old;
  if (fstatat(folderFd, name.c_str(), &old, 0) == 0 && S_ISREG(old.st_mode)) mode = old.st_mode & 07777;
  // A new file left by a writer that died is stale: the folder lock says that no one is writing it now.
  if (unlinkat(folderFd, temp.c_str(), 0) != 0 && errno != ENOENT) return FromErrno(errno);

  Descriptor fd(openat(folderFd, temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, mode));
  if (fd.get() < 0) return FromErrno(errno);
  HRESULT hr = S_OK;
  const size_t half = text.size() / 2;
  if (fchmod(fd.get(), mode) != 0) hr = FromErrno(errno);
  if (SUCCEEDED(hr)) hr = WriteAll(fd.get(), text.data(), half);
  if (SUCCEEDED(hr) && !CallHook(SettingsWriteStage::kNewFilePartlyWritten))
    hr = HRESULT_FROM_WIN32(kErrorDiskFull);
  if (SUCCEEDED(hr)) hr = WriteAll(fd.get(), text.data() + half, text.size() - half);
  if (SUCCEEDED(hr) && fsync(fd.get()) != 0) hr = FromErrno(errno);
  if (close(fd.release()) != 0 && SUCCEEDED(hr)) hr = FromErrno(errno);
  if (SUCCEEDED(hr) && !CallHook(SettingsWriteStage::kNewFileWritten)) hr = HRESULT_FROM_WIN32(kErrorDiskFull);
  if (SUCCEEDED(hr) && renameat(folderFd, temp.c_str(), folderFd, name.c_str()) != 0) hr = FromErrno(errno);
  if (FAILED(hr)) {
    // The old file stands; a new file that cannot be removed is removed by the next writer.
    (void)unlinkat(folderFd, temp.c_str(), 0);
    return hr;
  }
  // A file system that cannot flush folders says EINVAL: the rename is all it offers.
  if (fsync(folderFd) != 0 && errno != EINVAL) return FromErrno(errno);
  return S_OK;
}

// Creates `path` and the folders above it that are missing.
HRESULT MakeFolders(const std::string& path) {
  for (size_t cut = path.find('/', 1);; cut = path.find('/', cut + 1)) {
    std::string part = path.substr(0, cut);
    if (mkdir(part.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
      int error = errno;
      struct stat info;
      if (stat(part.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return FromErrno(error);
    }
    if (cut == std::string::npos) return S_OK;
  }
}

HRESULT OpenFolder(const std::string& path, Descriptor* fd) {
  int opened = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) return FromErrno(errno);
  fd->reset(opened);
  return S_OK;
}

class FileKey final : public TableSettingsKey {
 public:
  FileKey(int folderFd, std::string fileName, SettingsTable table, bool writable)
      : folder_(folderFd), file_(std::move(fileName)), committed_(table), table_(std::move(table)),
        writable_(writable) {}
  FileKey(const FileKey&) = delete;
  FileKey& operator=(const FileKey&) = delete;
  // A key closed with writes pending commits them; whoever must know whether that worked calls Commit.
  ~FileKey() override { (void)Commit(); }

  HRESULT EnumValue(uint32_t index, SettingValue* value) override { return table_.Enum(index, value); }

  HRESULT DeleteValue(const wchar_t* name) override {
    if (!name) return E_POINTER;
    if (!writable_) return E_ACCESSDENIED;
    // Recorded even when this key doesn't see the name: another writer may have added it to the file.
    PendingWrite removal;
    removal.value.name = name;
    removal.remove = true;
    const bool had = table_.Remove(removal.value.name);
    pending_.push_back(std::move(removal));
    return had ? S_OK : S_FALSE;
  }

  HRESULT Commit() override {
    if (pending_.empty()) return S_OK;
    FolderLock lock(folder_.get());
    HRESULT hr = lock.Take();
    // Another writer may have changed the file since: the pending writes go onto what it holds now.
    SettingsTable current;
    if (SUCCEEDED(hr)) hr = Load(folder_.get(), file_, true, &current);
    const bool loaded = SUCCEEDED(hr);
    SettingsTable changed = current;
    for (size_t i = 0; SUCCEEDED(hr) && i < pending_.size(); ++i) {
      if (pending_[i].remove)
        changed.Remove(pending_[i].value.name);
      else
        hr = changed.Set(pending_[i].value);
    }
    if (SUCCEEDED(hr)) hr = ReplaceFile(folder_.get(), file_, FormatSettingsFile(changed));
    pending_.clear();
    if (SUCCEEDED(hr))
      committed_ = std::move(changed);
    else if (loaded)
      committed_ = std::move(current);
    table_ = committed_;
    return hr;
  }

  // Reads the file; a key whose file is missing gets a new one when `create` says so. Writers call it
  // under the folder lock.
  static HRESULT Load(int folderFd, const std::string& fileName, bool create, SettingsTable* table) {
    std::string bytes;
    HRESULT hr = ReadKeyFile(folderFd, fileName, &bytes);
    if (hr == CV_E_NOT_FOUND && create) {
      bytes = kSettingsFileHeader;
      hr = ReplaceFile(folderFd, fileName, bytes);
    }
    if (FAILED(hr)) return hr;
    ParseSettingsFile(bytes, table);
    return S_OK;
  }

 private:
  HRESULT SetValue(const wchar_t* name, SettingValue value) override {
    if (!name) return E_POINTER;
    if (!writable_) return E_ACCESSDENIED;
    value.name = name;
    HRESULT hr = table_.Set(value);
    if (SUCCEEDED(hr)) pending_.push_back(PendingWrite{std::move(value), false});
    return hr;
  }

  Descriptor folder_;
  std::string file_;
  SettingsTable committed_;  // the file as this key last read or wrote it
  SettingsTable table_;      // committed_ with the pending writes
  struct PendingWrite {
    SettingValue value;  // only the name for a removal
    bool remove = false;
  };
  std::vector<PendingWrite> pending_;
  bool writable_;
};

class FileStore final : public ISettingsStore {
 public:
  explicit FileStore(std::string folder) : folder_(std::move(folder)) {}

  HRESULT OpenKey(const wchar_t* path, SettingsAccess access, std::unique_ptr<ISettingsKey>* key) override {
    if (!key) return E_POINTER;
    key->reset();
    if (folder_.empty()) return E_FAIL;  // no home: no store
    std::string subfolder, fileName;
    HRESULT hr = SettingsKeyLocation(path, &subfolder, &fileName);
    if (FAILED(hr)) return hr;
    const std::string folderPath = subfolder.empty() ? folder_ : folder_ + "/" + subfolder;
    const bool writable = access == SettingsAccess::kReadWrite;
    if (writable) {
      hr = MakeFolders(folderPath);
      if (FAILED(hr)) return hr;
    }
    Descriptor folderFd;
    hr = OpenFolder(folderPath, &folderFd);
    if (FAILED(hr)) return hr;
    SettingsTable table;
    if (writable) {
      FolderLock lock(folderFd.get());
      hr = lock.Take();
      if (SUCCEEDED(hr)) hr = FileKey::Load(folderFd.get(), fileName, true, &table);
    } else {
      hr = FileKey::Load(folderFd.get(), fileName, false, &table);
      if (hr == CV_E_NOT_FOUND && HasSubkeys(folderFd.get(), fileName)) hr = S_OK;  // a key of keys only
    }
    if (FAILED(hr)) return hr;
    key->reset(new (std::nothrow) FileKey(writable ? folderFd.release() : -1, fileName, std::move(table), writable));
    return *key ? S_OK : E_OUTOFMEMORY;
  }

 private:
  // The keys below "Key" live in the folder "Key" beside "Key.conf".
  static bool HasSubkeys(int folderFd, const std::string& fileName) {
    const std::string sub = fileName.substr(0, fileName.size() - 5);
    struct stat info;
    return fstatat(folderFd, sub.c_str(), &info, 0) == 0 && S_ISDIR(info.st_mode);
  }

  std::string folder_;
};

}  // namespace

HRESULT SettingsKeyLocation(const wchar_t* keyPath, std::string* subfolder, std::string* fileName) {
  if (!keyPath || !subfolder || !fileName) return E_POINTER;
  std::vector<std::string> parts;
  std::wstring path(keyPath);
  for (size_t start = 0;;) {
    size_t cut = path.find(L'\\', start);
    std::wstring part = path.substr(start, cut == std::wstring::npos ? std::wstring::npos : cut - start);
    std::string utf8;
    if (part.empty() || part == L"." || part == L".." || part.find(L'/') != std::wstring::npos ||
        !WideToUtf8(part, &utf8))
      return E_INVALIDARG;
    parts.push_back(std::move(utf8));
    if (cut == std::wstring::npos) break;
    start = cut + 1;
  }
  if (parts.size() > 1 && FoldSettingName(path.substr(0, path.find(L'\\'))) == L"software")
    parts.erase(parts.begin());
  subfolder->clear();
  for (size_t i = 0; i + 1 < parts.size(); ++i) {
    if (i) subfolder->push_back('/');
    *subfolder += parts[i];
  }
  *fileName = parts.back() + ".conf";
  return S_OK;
}

bool UserSettingsFolder(std::string* folder) {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config && config[0] == '/') {
    *folder = config;
    return true;
  }
  const char* home = std::getenv("HOME");
  if (home && home[0] == '/') {
    *folder = std::string(home) + "/.config";
    return true;
  }
  struct passwd entry;
  struct passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_dir &&
      found->pw_dir[0] == '/') {
    *folder = std::string(found->pw_dir) + "/.config";
    return true;
  }
  return false;
}

std::unique_ptr<ISettingsStore> CreateSettingsFileStore(const std::string& folder) {
  return std::unique_ptr<ISettingsStore>(new (std::nothrow) FileStore(folder));
}

std::unique_ptr<ISettingsStore> CreateUserSettingsStore() {
  std::string folder;
  if (!UserSettingsFolder(&folder)) folder.clear();
  return CreateSettingsFileStore(folder);
}

void SetSettingsWriteHookForTests(SettingsWriteHook hook) { g_writeHook.store(hook); }

}  // namespace cvplat
