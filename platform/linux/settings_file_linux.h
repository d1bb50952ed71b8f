// The settings store of Linux: one file per key, in the text form of platform/settings_file_format.h.
// The key "Software\A\B\Key" lives in <folder>/A/B/Key.conf: a leading "Software" part is dropped, since
// the configuration folder holds nothing else. A key gathers its writes until Commit, which reads the
// file again, applies them and replaces the file as a whole: a new file is written beside it, flushed to
// the disk and renamed over the old one, so that a crash or a full disk leaves the old file or the new
// one, never a mix. Writers of one folder take turns through a lock on the folder, so that two writers
// of one key keep the last value of each name, as the registry does.
#pragma once

#include <memory>
#include <string>

#include "platform/settings_store.h"

namespace cvplat {

// A store whose keys live under `folder`.
std::unique_ptr<ISettingsStore> CreateSettingsFileStore(const std::string& folder);

// Where the current user's store lives: $XDG_CONFIG_HOME when it is an absolute path, else
// $HOME/.config, else the .config folder in the home of the user's account. False if none is known.
bool UserSettingsFolder(std::string* folder);

// The folder below the store's folder and the file name of the key at `keyPath`, e.g. "A/B" and
// "Key.conf". E_INVALIDARG for a path with an empty part, a part "." or "..", a '/' or text that is not
// valid Unicode.
HRESULT SettingsKeyLocation(const wchar_t* keyPath, std::string* subfolder, std::string* fileName);

// Largest file that a key accepts: a bigger one is not a settings file, and its key cannot be opened.
inline constexpr size_t kMaxSettingsFileBytes = 1u << 20;

// For tests: called while a key's file is replaced, after part of the new file was written and after
// all of it was written and flushed, before the rename. Returning false fails the write there, as a full
// disk would; a hook may also end the process to stand for a crash. Null removes the hook.
enum class SettingsWriteStage { kNewFilePartlyWritten, kNewFileWritten };
using SettingsWriteHook = bool (*)(SettingsWriteStage stage);
void SetSettingsWriteHookForTests(SettingsWriteHook hook);

}  // namespace cvplat
