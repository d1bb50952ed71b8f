// A settings store in memory, for tests of the settings logic. It behaves like the registry store and
// can also hold what the logic must skip (values of other kinds, damaged values) and refuse opens or
// writes on request. Keys may outlive the store; the store and its keys may be used from several threads.
#pragma once

#include <memory>

#include "platform/settings_store.h"

namespace cvplat {

class MemorySettingsStore : public ISettingsStore {
 public:
  // Puts a value of another kind (kOther) or a damaged value under `name` of the key at `path`, creating
  // the key if needed. A later write of that name replaces it.
  virtual HRESULT PutOther(const wchar_t* path, const wchar_t* name) = 0;
  virtual HRESULT PutBadData(const wchar_t* path, const wchar_t* name) = 0;

  // From now on, opens with `access` answer `result`, and so do the writes of every key; S_OK ends that.
  virtual void FailOpens(SettingsAccess access, HRESULT result) = 0;
  virtual void FailWrites(HRESULT result) = 0;

  // Whether the key at `path` exists.
  virtual bool HasKey(const wchar_t* path) const = 0;
};

std::unique_ptr<MemorySettingsStore> CreateMemorySettingsStore();

}  // namespace cvplat
