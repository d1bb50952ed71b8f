// Identifiers of this module besides the class's own (CLSID_CoCVCaptureSCR of the public header). The
// type library's identifier is also in the module's type library source; a test compares the two.
#pragma once

#include "platform/com_types.h"

namespace cvserver {

// Library CVDeviceSCRLib, version 1.0.
inline constexpr GUID kTypeLibId = {0x6c1f0b52, 0x9a3d, 0x4e27, {0xb8, 0x45, 0x1d, 0x7a, 0x60, 0xe9, 0x3c, 0x14}};
inline constexpr wchar_t kTypeLibVersion[] = L"1.0";

// The application of the module; registration hands it to no key.
inline constexpr GUID kAppId = {0xd2846e3b, 0x57c9, 0x4f10, {0x8e, 0x6a, 0xa3, 0x0b, 0x2f, 0xd7, 0x91, 0x58}};

inline constexpr wchar_t kCaptureClassName[] = L"CVCaptureSCR Class";
inline constexpr wchar_t kCaptureThreadingModel[] = L"Free";

}  // namespace cvserver
