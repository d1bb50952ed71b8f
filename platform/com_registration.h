// Registration of an in-process component class: the keys that let the component runtime find the
// module, written to and removed from the machine's class root or the user's own classes. Windows writes
// the registry; Linux has no component runtime to tell, so there every call succeeds and does nothing.
#pragma once

#include <cstdint>
#include <string>

#include "platform/com_types.h"

namespace cvplat {

// What one class's registration writes, below "CLSID\{clsid}" of the chosen root:
//   (default) = name; InprocServer32 (default) = modulePath, ThreadingModel = threadingModel;
//   TypeLib (default) = typeLib; Version (default) = version.
struct ComClassKeys {
  CLSID clsid;
  const wchar_t* name;
  std::wstring modulePath;
  const wchar_t* threadingModel;
  GUID typeLib;
  const wchar_t* version;
};

// Where the keys go: HKEY_CLASSES_ROOT, or HKEY_CURRENT_USER\Software\Classes.
enum class ComRegistrationScope { kMachine, kUser };

// Replaces whatever the class key held with the keys above. A failure leaves what was written so far;
// the caller unregisters.
HRESULT RegisterComClass(const ComClassKeys& keys, ComRegistrationScope scope);

// Removes the class key with everything below it and leaves "CLSID" itself; a class that isn't there is
// no failure.
HRESULT UnregisterComClass(REFCLSID clsid, ComRegistrationScope scope);

// The full path of the file of the module that holds this code (the DLL, not the host's program).
std::wstring OwnModulePath();

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", upper-case hexadecimal digits.
std::wstring GuidText(REFGUID guid);

// The calling thread's locale as the component runtime sees it. Registration runs under the system
// default (kLocaleSystemDefault) so that no text it writes depends on the user's language.
inline constexpr uint32_t kLocaleSystemDefault = 0x800;
uint32_t ThreadLocaleGet();
void ThreadLocaleSet(uint32_t locale);

}  // namespace cvplat
