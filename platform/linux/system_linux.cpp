#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/system.h"

namespace cvplat {

void* ProcessHeapAlloc(size_t bytes) { return std::malloc(bytes ? bytes : 1); }
void ProcessHeapFree(void* block) { std::free(block); }

// There is no component runtime to enter on Linux: objects are free-threaded by construction.
HRESULT EnterMultithreadedApartment() { return S_OK; }
void LeaveApartment() {}

HRESULT CreateFreeThreadedMarshaler(IUnknown*, IUnknown** marshaler) {
  if (!marshaler) return E_POINTER;
  *marshaler = nullptr;
  return S_OK;
}

namespace {

void AppendUtf8(std::string& out, const wchar_t* text) {
  for (; text && *text; ++text) {
    auto c = static_cast<uint32_t>(*text);
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
}

}  // namespace

// No one may be at a screen to answer a dialog, so the warning goes to standard error in one write.
void ShowSystemWarning(const wchar_t* caption, const wchar_t* text) {
  std::string line;
  AppendUtf8(line, caption);
  line += ": ";
  AppendUtf8(line, text);
  line += '\n';
  size_t done = 0;
  while (done < line.size()) {
    ssize_t n = write(STDERR_FILENO, line.data() + done, line.size() - done);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
}

const char* PlatformName() {
#if defined(__x86_64__)
  return "linux-x86_64";
#elif defined(__aarch64__)
  return "linux-aarch64";
#elif defined(__i386__)
  return "linux-x86";
#else
  return "linux";
#endif
}

}  // namespace cvplat
