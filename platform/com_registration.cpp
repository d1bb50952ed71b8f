// The parts of registration that need no system: the text form of an identifier.
#include <cstdio>

#include "platform/com_registration.h"

namespace cvplat {

std::wstring GuidText(REFGUID guid) {
  wchar_t text[39];
  std::swprintf(text, sizeof text / sizeof text[0],
                L"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", static_cast<unsigned>(guid.Data1),
                static_cast<unsigned>(guid.Data2), static_cast<unsigned>(guid.Data3),
                static_cast<unsigned>(guid.Data4[0]), static_cast<unsigned>(guid.Data4[1]),
                static_cast<unsigned>(guid.Data4[2]), static_cast<unsigned>(guid.Data4[3]),
                static_cast<unsigned>(guid.Data4[4]), static_cast<unsigned>(guid.Data4[5]),
                static_cast<unsigned>(guid.Data4[6]), static_cast<unsigned>(guid.Data4[7]));
  return text;
}

}  // namespace cvplat
