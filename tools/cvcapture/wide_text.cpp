#include "tools/cvcapture/wide_text.h"

#include <cstdint>

namespace {

void PutUtf8(std::string& out, uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | cp >> 6);
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | cp >> 12);
    out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | cp >> 18);
    out += static_cast<char>(0x80 | (cp >> 12 & 0x3F));
    out += static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

void PutWide(std::wstring& out, uint32_t cp) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out += static_cast<wchar_t>(0xD800 | cp >> 10);
      out += static_cast<wchar_t>(0xDC00 | (cp & 0x3FF));
      return;
    }
  }
  out += static_cast<wchar_t>(cp);
}

constexpr uint32_t kReplacement = 0xFFFD;

}  // namespace

std::string ToUtf8(const std::wstring& text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    uint32_t cp = static_cast<uint32_t>(text[i]);
    if (sizeof(wchar_t) == 2 && cp >= 0xD800 && cp <= 0xDBFF && i + 1 < text.size()) {
      const uint32_t low = static_cast<uint32_t>(text[i + 1]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      }
    }
    if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF) cp = kReplacement;
    PutUtf8(out, cp);
  }
  return out;
}

std::string ToUtf8(const wchar_t* text) { return text ? ToUtf8(std::wstring(text)) : std::string(); }

std::wstring FromUtf8(const std::string& text) {
  std::wstring out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const auto lead = static_cast<uint8_t>(text[i]);
    int extra = lead < 0x80 ? 0 : (lead & 0xE0) == 0xC0 ? 1 : (lead & 0xF0) == 0xE0 ? 2 : (lead & 0xF8) == 0xF0 ? 3 : -1;
    if (extra < 0 || i + static_cast<size_t>(extra) >= text.size()) {
      PutWide(out, kReplacement);
      ++i;
      continue;
    }
    uint32_t cp = extra == 0 ? lead : extra == 1 ? (lead & 0x1Fu) : extra == 2 ? (lead & 0x0Fu) : (lead & 0x07u);
    bool ok = true;
    for (int k = 1; k <= extra; ++k) {
      const auto next = static_cast<uint8_t>(text[i + static_cast<size_t>(k)]);
      if ((next & 0xC0) != 0x80) {
        ok = false;
        break;
      }
      cp = cp << 6 | (next & 0x3Fu);
    }
    if (!ok || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      PutWide(out, kReplacement);
      ++i;
      continue;
    }
    PutWide(out, cp);
    i += static_cast<size_t>(extra) + 1;
  }
  return out;
}
