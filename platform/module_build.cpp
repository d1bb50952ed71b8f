// The build's own record of the module. Kept apart so that only this file carries the compile time.
#include "platform/module_info.h"

#ifndef CV_VERSION_MAJOR
#error "the build passes the project version as CV_VERSION_MAJOR .. CV_VERSION_TWEAK"
#endif

namespace cvplat {

VersionWords BuildVersion() {
  return {static_cast<uint16_t>(CV_VERSION_MAJOR), static_cast<uint16_t>(CV_VERSION_MINOR),
          static_cast<uint16_t>(CV_VERSION_PATCH), static_cast<uint16_t>(CV_VERSION_TWEAK)};
}

std::wstring BuildDate() {
  // __DATE__ is "Mmm dd yyyy" and __TIME__ "hh:mm:ss", both plain ASCII.
  const char stamp[] = __DATE__ " " __TIME__;
  return std::wstring(stamp, stamp + sizeof(stamp) - 1);
}

}  // namespace cvplat
