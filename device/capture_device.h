// CoCVCaptureSCR: the component object a host creates. It answers ICVProps, ICVSource_I, ICVDevice and
// ICVFormat, and hands every other interface the free-threaded marshaler answers to the marshaler. It
// owns one device table (the screen), one property tree, one frame source with its readers and one
// format store. It has no thread of its own: the engine starts when the first reader asks for a frame
// and is closed when the last reader leaves.
//
// Members go in reverse order of construction: the format store and the props interface first, then
// the source, which wakes every waiting reader, then the device table with its engines.
#pragma once

#include <atomic>
#include <memory>

#include "CVDeviceSCR.h"
#include "device/device_core.h"
#include "device/device_impl.h"
#include "device/format_impl.h"
#include "device/props_impl.h"
#include "device/source_host.h"
#include "device/source_impl.h"
#include "platform/device_platform.h"

// Creates a device. With an outer unknown the object is aggregated and `riid` must be IID_IUnknown; the
// result then is the inner unknown. `platform` is the machine the device works on.
HRESULT CreateCaptureDevice(IUnknown* outer, REFIID riid, void** object,
                            std::shared_ptr<const cvplat::DevicePlatform> platform);

// What the device holds before any of its faces is made: the machine and the property tree.
struct TCaptureDeviceMembers {
  explicit TCaptureDeviceMembers(std::shared_ptr<const cvplat::DevicePlatform> p);
  std::shared_ptr<const cvplat::DevicePlatform> platform;
  TPropertyTree rootNode;
};

class CoCVCaptureSCR final : private TCaptureDeviceMembers,
                             public ICVDeviceImpl_Capture,
                             public ITSourceImpl<CoCVCaptureSCR>,
                             public ITPropsImpl,
                             public ITFormatImpl,
                             private ISourceHost,
                             private IDeviceCore {
 public:
  // The three operations of IUnknown, delegating to the controlling unknown.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

 private:
  friend HRESULT CreateCaptureDevice(IUnknown*, REFIID, void**, std::shared_ptr<const cvplat::DevicePlatform>);

  // The unknown that owns the count; the controlling unknown when the object stands alone.
  class InnerUnknown final : public IUnknown {
   public:
    explicit InnerUnknown(CoCVCaptureSCR& owner) : owner_(owner) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

   private:
    CoCVCaptureSCR& owner_;
  };

  CoCVCaptureSCR(IUnknown* outer, std::shared_ptr<const cvplat::DevicePlatform> platform);
  ~CoCVCaptureSCR() override;
  // The steps of creation that may fail: marshaler, saved settings, device table, first selection.
  HRESULT FinalConstruct();

  // ---- ICVDeviceImpl_Capture ----
  const TPropertyTree& DeviceTree() override { return rootNode; }
  TAvProps DeviceInputFormat() override { return InputFormat(); }
  bool DeviceInputVideoValid() override { return InputVideoValid(); }
  void DeviceInputFormatSeen(const TAvProps& seen) override { InputFormatSeen(seen); }
  void DeviceDeliver(ICVFrame_I* frame) override;

  // ---- ISourceHost ----
  HRESULT OpenForRead() override;
  HRESULT LastReaderLeft() override;
  XMLParse::XMLNodePtr PropsRoot() override { return rootNode.Get(); }

  // ---- IDeviceCore ----
  void LockDevice() override { deviceLock.Enter(); }
  void UnlockDevice() override { deviceLock.Leave(); }
  TRefPtr<ICaptureEngine> SelectedEngine() override { return ICVDeviceImpl_Capture::SelectedEngine(); }
  HRESULT DeviceOpenDefault() override { return static_cast<ICVDevice*>(this)->DeviceOpen(nullptr, nullptr); }
  HRESULT DeviceCloseNow() override { return static_cast<ICVDevice*>(this)->DeviceClose(); }
  const cvplat::DevicePlatform& Platform() override { return *platform; }

  InnerUnknown inner_{*this};
  IUnknown* controlling_ = nullptr;  // not counted: the outer object owns this one
  std::atomic<int32_t> refs_{0};
  IUnknown* marshaler_ = nullptr;
};
