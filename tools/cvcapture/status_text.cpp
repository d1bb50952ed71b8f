#include "tools/cvcapture/status_text.h"

#include <cstdio>

const char* StatusMeaning(HRESULT status) {
  switch (static_cast<uint32_t>(status)) {
    case 0x00000000u: return "success";
    case 0x00000001u: return "nothing changed or nothing there";
    case 0x80004001u: return "not implemented";
    case 0x80004002u: return "interface not supported";
    case 0x80004003u: return "null pointer";
    case 0x80004004u: return "aborted";
    case 0x80004005u: return "general failure";
    case 0x8000FFFFu: return "unexpected";
    case 0x80070057u: return "bad argument";
    case 0x8007000Eu: return "out of memory";
    case 0x80070490u: return "a name that isn't there";
    case 0x80070585u: return "bad index";
    case 0x800705B4u: return "time-out";
    case 0x8004022Au: return "format refused";
    case 0x800710D2u: return "device not available or empty";
    case 0x800700AAu: return "device busy";
    case 0x80040110u: return "no aggregation";
    case 0x80040111u: return "class not available";
    case 0x80040154u: return "class not registered";
    case 0x8007007Eu: return "module not found";
    case 0x8007007Fu: return "procedure not found";
    default: return nullptr;
  }
}

std::string StatusText(HRESULT status) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(static_cast<uint32_t>(status)));
  const char* meaning = StatusMeaning(status);
  return std::string(text) + " (" + (meaning ? meaning : "unknown status") + ")";
}
