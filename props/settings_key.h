// Where a device keeps its per-user settings: a key of the settings store (platform/settings_store.h),
// below HKEY_CURRENT_USER on Windows. Hosts that edit the settings for the next device write there too.
#pragma once

namespace XMLParse {

// The device's key; the frame library's settings service takes the same string as its key.
inline constexpr wchar_t kSettingsKeyPath[] = L"Software\\Tarnwell\\Corvex\\CVLive\\CVDeviceSCR";

}  // namespace XMLParse
