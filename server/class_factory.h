// The class factory of a class this module serves. The module keeps one factory per class for its whole
// life and never frees it: the module's own reference is never given up, and every reference a caller
// holds also holds a module lock, so the code stays loaded while anyone can still call into it.
#pragma once

#include <atomic>

#include "platform/com_types.h"

namespace cvserver {

// Makes one object of the class. `outer` is the controlling unknown when the object is aggregated (then
// `riid` is IID_IUnknown and the object hands back its inner unknown), else null. *object is null on
// entry and stays null on failure.
using ObjectCreator = HRESULT (*)(IUnknown* outer, REFIID riid, void** object);

class ClassFactory final : public IClassFactory {
 public:
  explicit constexpr ClassFactory(ObjectCreator create) : create_(create) {}
  ClassFactory(const ClassFactory&) = delete;
  ClassFactory& operator=(const ClassFactory&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  // An aggregating caller may ask only for IID_IUnknown: CLASS_E_NOAGGREGATION otherwise.
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** object) override;
  // Raises or lowers the module lock count, which keeps the module loaded without any object alive.
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

 private:
  ObjectCreator create_;
  std::atomic<ULONG> refs_{1};  // the module's own reference
};

}  // namespace cvserver
