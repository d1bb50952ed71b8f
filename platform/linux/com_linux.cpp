// Counted strings and the base interface identifiers for Linux, laid out as the system lays them out on
// Windows: the byte length in the 32-bit word before the characters, and a terminating zero.
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>

#include "platform/com_types.h"

const IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
const IID IID_IClassFactory = {0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

namespace {

constexpr size_t kPrefix = sizeof(uint32_t);
// The byte count is a 32-bit word; longer strings are refused as the system refuses them.
constexpr size_t kMaxChars = (0xFFFFFFF0u - kPrefix) / sizeof(OLECHAR) - 1;

uint32_t* Header(BSTR text) { return reinterpret_cast<uint32_t*>(reinterpret_cast<char*>(text) - kPrefix); }

}  // namespace

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
  if (length > kMaxChars) return nullptr;
  const size_t bytes = static_cast<size_t>(length) * sizeof(OLECHAR);
  auto* block = static_cast<char*>(std::malloc(kPrefix + bytes + sizeof(OLECHAR)));
  if (!block) return nullptr;
  *reinterpret_cast<uint32_t*>(block) = static_cast<uint32_t>(bytes);
  auto* chars = reinterpret_cast<OLECHAR*>(block + kPrefix);
  if (text)
    std::memcpy(chars, text, bytes);
  else
    std::memset(chars, 0, bytes);
  chars[length] = 0;
  return chars;
}

BSTR SysAllocString(const OLECHAR* text) {
  if (!text) return nullptr;
  return SysAllocStringLen(text, static_cast<UINT>(std::wcslen(text)));
}

void SysFreeString(BSTR text) {
  if (text) std::free(Header(text));
}

UINT SysStringByteLen(BSTR text) { return text ? *Header(text) : 0; }

UINT SysStringLen(BSTR text) { return SysStringByteLen(text) / sizeof(OLECHAR); }

int SysReAllocStringLen(BSTR* text, const OLECHAR* newText, UINT length) {
  if (!text) return 0;
  // The new text may lie inside the old string, so it is copied before the old one goes.
  BSTR fresh = SysAllocStringLen(newText, length);
  if (!fresh) return 0;
  SysFreeString(*text);
  *text = fresh;
  return 1;
}

int SysReAllocString(BSTR* text, const OLECHAR* newText) {
  return SysReAllocStringLen(text, newText, newText ? static_cast<UINT>(std::wcslen(newText)) : 0);
}
