#include "platform/sim/settings_memory.h"

#include <map>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "platform/settings_table.h"

namespace cvplat {
namespace {

struct StoreState {
  mutable std::mutex lock;
  std::map<std::wstring, SettingsTable> keys;  // by folded path
  HRESULT readOpenResult = S_OK;
  HRESULT writeOpenResult = S_OK;
  HRESULT writeResult = S_OK;
};

// The folded form of a key path; false for an empty path or an empty part.
bool NormalisePath(const wchar_t* path, std::wstring* folded) {
  if (!path || !*path) return false;
  std::wstring text = FoldSettingName(path);
  if (text.front() == L'\\' || text.back() == L'\\' || text.find(L"\\\\") != std::wstring::npos) return false;
  *folded = std::move(text);
  return true;
}

// Creates the key and the keys above it, as the registry does.
SettingsTable& CreateKey(StoreState& state, const std::wstring& folded) {
  for (size_t cut = folded.find(L'\\'); cut != std::wstring::npos; cut = folded.find(L'\\', cut + 1))
    state.keys.try_emplace(folded.substr(0, cut));
  return state.keys[folded];
}

class MemoryKey final : public TableSettingsKey {
 public:
  MemoryKey(std::shared_ptr<StoreState> state, std::wstring path, bool writable)
      : state_(std::move(state)), path_(std::move(path)), writable_(writable) {}

  HRESULT EnumValue(uint32_t index, SettingValue* value) override {
    std::lock_guard<std::mutex> hold(state_->lock);
    auto key = state_->keys.find(path_);
    if (key == state_->keys.end()) return CV_E_SETTING_NO_MORE;  // deleted under us: nothing left
    return key->second.Enum(index, value);
  }

  HRESULT Commit() override { return S_OK; }  // each write is made at once

  HRESULT DeleteValue(const wchar_t* name) override {
    if (!name) return E_POINTER;
    if (!writable_) return E_ACCESSDENIED;
    std::lock_guard<std::mutex> hold(state_->lock);
    if (FAILED(state_->writeResult)) return state_->writeResult;
    auto key = state_->keys.find(path_);
    return key != state_->keys.end() && key->second.Remove(name) ? S_OK : S_FALSE;
  }

 private:
  HRESULT SetValue(const wchar_t* name, SettingValue value) override {
    if (!name) return E_POINTER;
    if (!writable_) return E_ACCESSDENIED;
    value.name = name;
    std::lock_guard<std::mutex> hold(state_->lock);
    if (FAILED(state_->writeResult)) return state_->writeResult;
    return CreateKey(*state_, path_).Set(value);
  }

  std::shared_ptr<StoreState> state_;
  std::wstring path_;
  bool writable_;
};

class MemoryStore final : public MemorySettingsStore {
 public:
  explicit MemoryStore(std::shared_ptr<StoreState> state) : state_(std::move(state)) {}

  HRESULT OpenKey(const wchar_t* path, SettingsAccess access, std::unique_ptr<ISettingsKey>* key) override {
    if (!key) return E_POINTER;
    key->reset();
    std::wstring folded;
    if (!NormalisePath(path, &folded)) return E_INVALIDARG;
    bool writable = access == SettingsAccess::kReadWrite;
    std::lock_guard<std::mutex> hold(state_->lock);
    HRESULT forced = writable ? state_->writeOpenResult : state_->readOpenResult;
    if (FAILED(forced)) return forced;
    if (writable)
      CreateKey(*state_, folded);
    else if (state_->keys.find(folded) == state_->keys.end())
      return CV_E_NOT_FOUND;
    key->reset(new (std::nothrow) MemoryKey(state_, std::move(folded), writable));
    return *key ? S_OK : E_OUTOFMEMORY;
  }

  HRESULT PutOther(const wchar_t* path, const wchar_t* name) override {
    return Put(path, name, SettingsTable::EntryType::kOther);
  }
  HRESULT PutBadData(const wchar_t* path, const wchar_t* name) override {
    return Put(path, name, SettingsTable::EntryType::kBadData);
  }

  void FailOpens(SettingsAccess access, HRESULT result) override {
    std::lock_guard<std::mutex> hold(state_->lock);
    (access == SettingsAccess::kRead ? state_->readOpenResult : state_->writeOpenResult) = result;
  }
  void FailWrites(HRESULT result) override {
    std::lock_guard<std::mutex> hold(state_->lock);
    state_->writeResult = result;
  }

  bool HasKey(const wchar_t* path) const override {
    std::wstring folded;
    if (!NormalisePath(path, &folded)) return false;
    std::lock_guard<std::mutex> hold(state_->lock);
    return state_->keys.find(folded) != state_->keys.end();
  }

 private:
  HRESULT Put(const wchar_t* path, const wchar_t* name, SettingsTable::EntryType type) {
    std::wstring folded;
    if (!NormalisePath(path, &folded)) return E_INVALIDARG;
    if (!name) return E_POINTER;
    SettingsTable::Entry entry;
    entry.type = type;
    entry.value.name = name;
    entry.value.kind = SettingKind::kOther;
    std::lock_guard<std::mutex> hold(state_->lock);
    CreateKey(*state_, folded).Put(std::move(entry));
    return S_OK;
  }

  std::shared_ptr<StoreState> state_;
};

}  // namespace

std::unique_ptr<MemorySettingsStore> CreateMemorySettingsStore() {
  std::shared_ptr<StoreState> state(new (std::nothrow) StoreState);
  if (!state) return nullptr;
  return std::unique_ptr<MemorySettingsStore>(new (std::nothrow) MemoryStore(std::move(state)));
}

}  // namespace cvplat
