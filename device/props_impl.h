// ITPropsImpl: the device's settings behind ICVProps, over the property tree. A change goes into the
// tree first and is then told to the selected engine under deviceLock. IUnknown comes from the object
// class. Lock order: propsLock, then deviceLock (through the core), then the engine's lock.
//
// Besides paths into the tree, a few keys have a meaning of their own (case ignored): PropsGet answers
// "_process_name_", "_process_pid_", "dll-version", "dll-file-version", "dll-path" and "dll-date" from
// the platform's module record; PropsGetByIndex of "_info_" runs over the described properties;
// PropsRemove of "_all_props_" and "_all_nodes_" empties the root's attributes or children.
#pragma once

#include <vector>

#include "CVDeviceSCR.h"
#include "device/device_core.h"
#include "media/rw_lock.h"
#include "props/attribute_info.h"

class ITPropsImpl : public ICVProps {
 public:
  explicit ITPropsImpl(IDeviceCore& core) : core_(core) {}
  virtual ~ITPropsImpl() = default;

  HRESULT STDMETHODCALLTYPE PropsSet(LPCOLESTR name, LPCOLESTR value) override;
  // Reading "capture.follow_window_by_handle" lists the desktop's windows as its options first.
  HRESULT STDMETHODCALLTYPE PropsGet(LPCOLESTR name, BSTR* value) override;
  // Fills the listing that PropsGetByIndex reads: described properties, the others, then child nodes.
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

  // Describes the windows that can be followed as the options of capture.follow_window_by_handle. Runs
  // outside propsLock: the tree's own locks guard the description while the system is asked.
  void RefreshWindowList();

 private:
  // The rows of the option list of `name`, from its description's values.
  std::vector<std::wstring> OptionList(LPCOLESTR name);
  // The answer to one of the module's own keys; false when `name` is none of them.
  bool ModuleKey(std::wstring_view name, std::wstring& text);
  // Tells the selected engine under deviceLock; 0 without engine, the engine's failure as it is.
  HRESULT EngineHears(LPCOLESTR name, LPCOLESTR value);

  IDeviceCore& core_;
  CRWSynchroLiteRW propsLock;
  // The listing of the last PropsCount, shared by every caller.
  std::vector<XMLParse::TPropName> propNames;
};
