// The module's object map: the classes it serves, each with its factory, and the two questions the
// component runtime asks of a module: which factory makes a class, and whether the module may go.
#pragma once

#include <span>

#include "platform/com_types.h"
#include "server/class_factory.h"

namespace cvserver {

struct ServedClass {
  const CLSID* clsid;
  ClassFactory* factory;
};

// Hands out the factory of `clsid` as `riid`; CLASS_E_CLASSNOTAVAILABLE for a class not in the map.
HRESULT GetClassObject(std::span<const ServedClass> classes, REFCLSID clsid, REFIID riid, void** object);

// S_OK while the module lock count is 0 (no live object, no factory held, no LockServer), else S_FALSE.
HRESULT CanUnloadNow();

}  // namespace cvserver
