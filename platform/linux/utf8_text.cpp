#include "platform/linux/utf8_text.h"

#include <cstdint>

namespace cvplat {

std::wstring WideFromUtf8(std::string_view bytes) {
  std::wstring wide;
  wide.reserve(bytes.size());
  size_t i = 0;
  while (i < bytes.size()) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    size_t extra = 0;
    uint32_t code = lead;
    uint32_t least = 0;
    if (lead >= 0xF0 && lead < 0xF5) {
      extra = 3, code = lead & 0x07, least = 0x10000;
    } else if (lead >= 0xE0 && lead < 0xF0) {
      extra = 2, code = lead & 0x0F, least = 0x800;
    } else if (lead >= 0xC2 && lead < 0xE0) {
      extra = 1, code = lead & 0x1F, least = 0x80;
    }
    bool valid = i + extra < bytes.size() || extra == 0;
    for (size_t k = 1; valid && k <= extra; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + k]);
      if ((next & 0xC0) != 0x80) valid = false;
      code = (code << 6) | (next & 0x3F);
    }
    if (valid && extra > 0 && (code < least || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))) valid = false;
    if (!valid) {
      wide += static_cast<wchar_t>(lead);
      ++i;
      continue;
    }
    wide += static_cast<wchar_t>(code);
    i += extra + 1;
  }
  return wide;
}

}  // namespace cvplat
