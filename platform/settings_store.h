// The settings-store seam: a per-user key of named values, each a 32-bit number, a 64-bit number or a
// text, that the settings logic enumerates, reads and writes. Windows keeps the key in the registry
// under HKEY_CURRENT_USER; Linux keeps one file per key under the user's configuration folder; tests use
// a store in memory. The logic sees the same behaviour from all three:
//  - value names compare without regard to ASCII letter case; a write to an existing name replaces it;
//  - the empty name is the key's default value;
//  - values of a kind the logic does not know are reported as kOther and left in place;
//  - a value whose data is damaged is reported as bad data, with its name, and left in place until a
//    write of that name replaces it.
// No call throws but for a failed allocation of a string.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/com_types.h"

namespace cvplat {

// Enumeration reads a name into a buffer of this many characters, the terminating zero included: a name
// of kSettingNameBufferChars characters or more cannot be read and ends an enumeration.
inline constexpr uint32_t kSettingNameBufferChars = 520;
// The longest value name that a store accepts.
inline constexpr uint32_t kSettingMaxNameChars = 16383;

// Results of ISettingsKey::EnumValue besides S_OK (the system's own words for them).
inline constexpr HRESULT CV_E_SETTING_NO_MORE = static_cast<HRESULT>(0x80070103u);        // no more items
inline constexpr HRESULT CV_E_SETTING_NAME_TOO_LONG = static_cast<HRESULT>(0x800700EAu);  // more data
inline constexpr HRESULT CV_E_SETTING_BAD_DATA = static_cast<HRESULT>(0x8007000Du);       // invalid data

enum class SettingKind : uint32_t {
  kDword,         // 32-bit number
  kQword,         // 64-bit number
  kString,        // text
  kExpandString,  // text with %NAME% references, handed out unexpanded
  kOther,         // anything else: binary data, lists of texts, ...
};

struct SettingValue {
  std::wstring name;
  SettingKind kind = SettingKind::kOther;
  uint32_t dword = 0;  // kDword
  uint64_t qword = 0;  // kQword
  std::wstring text;   // kString, kExpandString: without the terminating zero
};

// An open key. It is used by one thread at a time; two keys of the same path may live in two threads,
// and the last write of each name stays. Closing is the destructor, which commits what is pending.
class ISettingsKey {
 public:
  virtual ~ISettingsKey() = default;

  // The value at `index`, counting from 0 in the store's own order. S_OK fills all of `value`;
  // CV_E_SETTING_BAD_DATA fills only its name: skip it and go on with index + 1;
  // CV_E_SETTING_NAME_TOO_LONG, CV_E_SETTING_NO_MORE and any other failure end the enumeration.
  virtual HRESULT EnumValue(uint32_t index, SettingValue* value) = 0;

  // Writes. `name` may be empty (the default value); `text` may be empty. A key opened for reading
  // answers E_ACCESSDENIED. This key's enumeration shows a write at once; other keys see it once it is
  // committed. The registry commits each write as it is made; a store that must replace a whole file
  // gathers the writes of a key until Commit, so that a run of writes costs one replacement.
  virtual HRESULT SetDword(const wchar_t* name, uint32_t value) = 0;
  virtual HRESULT SetQword(const wchar_t* name, uint64_t value) = 0;
  virtual HRESULT SetString(const wchar_t* name, const wchar_t* text) = 0;
  HRESULT SetDefaultText(const wchar_t* text) { return SetString(L"", text); }
  // Removes the value of `name` (the empty name: the default value), whatever its kind: S_OK, or
  // S_FALSE when the key holds no value of that name. Shown and committed as the writes are.
  virtual HRESULT DeleteValue(const wchar_t* name) = 0;

  // Makes the writes so far lasting and visible to other keys, all of them or, on failure, none: the
  // key then shows what the store holds. S_OK when nothing is pending.
  virtual HRESULT Commit() = 0;
};

enum class SettingsAccess {
  kRead,       // the key must exist: CV_E_NOT_FOUND if it does not
  kReadWrite,  // the key and the keys above it are created if missing
};

class ISettingsStore {
 public:
  virtual ~ISettingsStore() = default;

  // Opens the key at `path`, its parts separated by backslashes, e.g. L"Software\\Maker\\Product".
  // On success *key holds the key; on failure it is left empty.
  virtual HRESULT OpenKey(const wchar_t* path, SettingsAccess access, std::unique_ptr<ISettingsKey>* key) = 0;
};

// The current user's store of this machine: the registry on Windows, files on Linux. Null only when
// memory runs out.
std::unique_ptr<ISettingsStore> CreateUserSettingsStore();

}  // namespace cvplat
