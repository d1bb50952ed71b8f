// ITPropsImpl: the device's settings behind ICVProps, over the property tree. A change goes into the
// tree first and is then told to the selected engine under deviceLock. IUnknown comes from the object
// class. Lock order: propsLock, then deviceLock (through the core), then the engine's lock.
#pragma once

#include "CVDeviceSCR.h"
#include "device/device_core.h"
#include "media/rw_lock.h"

class ITPropsImpl : public ICVProps {
 public:
  explicit ITPropsImpl(IDeviceCore& core) : core_(core) {}
  virtual ~ITPropsImpl() = default;

  HRESULT STDMETHODCALLTYPE PropsSet(LPCOLESTR name, LPCOLESTR value) override;
  HRESULT STDMETHODCALLTYPE PropsGet(LPCOLESTR name, BSTR* value) override;
  HRESULT STDMETHODCALLTYPE PropsCount(LPCOLESTR path, int32_t* count) override;
  HRESULT STDMETHODCALLTYPE PropsGetByIndex(LPCOLESTR path, int32_t index, BSTR* name, BSTR* value,
                                            int32_t* isNode) override;
  HRESULT STDMETHODCALLTYPE PropsRemove(LPCOLESTR name) override;
  HRESULT STDMETHODCALLTYPE PropsInfo(LPCOLESTR name, int32_t field, BSTR* value) override;
  HRESULT STDMETHODCALLTYPE PropsOptionsCount(LPCOLESTR name, int32_t* count) override;
  HRESULT STDMETHODCALLTYPE PropsOptionsGetByIndex(LPCOLESTR name, int32_t index, BSTR* option,
                                                   BSTR* text) override;
  HRESULT STDMETHODCALLTYPE PropsOptionsSet(LPCOLESTR name, int32_t index) override;
  HRESULT STDMETHODCALLTYPE PropsOptionsGet(LPCOLESTR name, int32_t* index, BSTR* reserved, BSTR* text) override;

 protected:
  // Writing the value a property already has doesn't reach the engine. The device sets it at construction.
  bool skipUnchanged = false;

 private:
  IDeviceCore& core_;
  CRWSynchroLiteRW propsLock;
};
