#include "server/class_factory.h"

#include "media/module_lock.h"

namespace cvserver {

HRESULT ClassFactory::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IClassFactory)) {
    *object = static_cast<IClassFactory*>(this);
    AddRef();
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

// One module lock per outside reference: the count of locks then never depends on the order in which
// threads add and release references.
ULONG ClassFactory::AddRef() {
  ModuleLock();
  return refs_.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG ClassFactory::Release() {
  const ULONG left = refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  ModuleUnlock();
  return left;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (outer && !IsEqualIID(riid, IID_IUnknown)) return CLASS_E_NOAGGREGATION;
  const HRESULT hr = create_(outer, riid, object);
  if (FAILED(hr)) *object = nullptr;
  return hr;
}

HRESULT ClassFactory::LockServer(BOOL lock) {
  if (lock)
    ModuleLock();
  else
    ModuleUnlock();
  return S_OK;
}

}  // namespace cvserver
