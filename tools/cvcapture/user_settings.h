// The per-user settings that a device reads when it is made. The tool writes what `props set` sets
// there, so that the next device (the next run of the tool, or any other host) starts with it. It goes
// through the settings store of the component's platform layer, so the module reads exactly what the
// tool writes: the key below HKEY_CURRENT_USER on Windows, the settings file below $XDG_CONFIG_HOME (or
// ~/.config) on Linux.
#pragma once

#include <string>

#include "CVDeviceSCR.h"

// Where the settings live, for the user: a registry key or a file name.
std::string UserSettingsLocation();

// Stores `value` as the text of `name`. A device that is made gives it the kind its text calls for when
// it writes the whole key back.
HRESULT SaveUserSetting(const std::wstring& name, const std::wstring& value);

// Removes the stored value of `name`: S_OK, or S_FALSE when there was none.
HRESULT RemoveUserSetting(const std::wstring& name);
