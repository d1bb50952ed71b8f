#include "server/class_map.h"

#include "media/module_lock.h"

namespace cvserver {

HRESULT GetClassObject(std::span<const ServedClass> classes, REFCLSID clsid, REFIID riid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  for (const ServedClass& served : classes)
    if (IsEqualGUID(*served.clsid, clsid)) return served.factory->QueryInterface(riid, object);
  return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT CanUnloadNow() { return ModuleLockCount() == 0 ? S_OK : S_FALSE; }

}  // namespace cvserver
