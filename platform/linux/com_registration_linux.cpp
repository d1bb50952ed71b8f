// Registration on Linux. There is no component runtime that looks classes up in a store: a host loads
// the module by its file and asks it for the class factory itself. So registering and unregistering
// have nothing to write and succeed; the thread locale is kept only so that the logic around it reads
// the same on both systems.
#include <dlfcn.h>

#include "platform/com_registration.h"

namespace cvplat {
namespace {

thread_local uint32_t threadLocale = kLocaleSystemDefault;

}  // namespace

HRESULT RegisterComClass(const ComClassKeys&, ComRegistrationScope) { return S_OK; }

HRESULT UnregisterComClass(REFCLSID, ComRegistrationScope) { return S_OK; }

std::wstring OwnModulePath() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&OwnModulePath), &info) || !info.dli_fname) return std::wstring();
  // File names on Linux are bytes; the module's own path is plain ASCII in every layout we ship.
  std::wstring path;
  for (const char* c = info.dli_fname; *c; ++c) path.push_back(static_cast<wchar_t>(static_cast<unsigned char>(*c)));
  return path;
}

uint32_t ThreadLocaleGet() { return threadLocale; }

void ThreadLocaleSet(uint32_t locale) { threadLocale = locale; }

}  // namespace cvplat
