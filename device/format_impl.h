// ITFormatImpl: the device's format store behind ICVFormat. It holds what the host asked for and what
// the device has seen; the record of kind 0 is the one the device hands to its engine at open.
// IUnknown comes from the object class.
#pragma once

#include "CVDeviceSCR.h"
#include "device/device_core.h"
#include "media/rw_lock.h"

class ITFormatImpl : public ICVFormat {
 public:
  explicit ITFormatImpl(IDeviceCore& core) : core_(core) {}
  virtual ~ITFormatImpl() = default;

  HRESULT STDMETHODCALLTYPE VideoFormatCount(int32_t formatKind, int32_t* count) override;
  HRESULT STDMETHODCALLTYPE VideoFormatGetByIndex(int32_t formatKind, int32_t index, TVideoProps* props,
                                                  BSTR* name) override;
  HRESULT STDMETHODCALLTYPE VideoFormatSet(int32_t formatKind, const TVideoProps* props) override;
  HRESULT STDMETHODCALLTYPE VideoFormatGet(int32_t formatKind, TVideoProps* props, int32_t* index,
                                           BSTR* name) override;
  HRESULT STDMETHODCALLTYPE AudioFormatCount(int32_t formatKind, int32_t* count) override;
  HRESULT STDMETHODCALLTYPE AudioFormatGetByIndex(int32_t formatKind, int32_t index, TAudioProps* props,
                                                  BSTR* name) override;
  HRESULT STDMETHODCALLTYPE AudioFormatSet(int32_t formatKind, const TAudioProps* props) override;
  HRESULT STDMETHODCALLTYPE AudioFormatGet(int32_t formatKind, TAudioProps* props, int32_t* index,
                                           BSTR* name) override;

  // ---- For the device ----
  // A copy of the record of kind 0, the format the engine is started with.
  TAvProps InputFormat();
  // Whether the video part of kind 0 is a valid format; while it isn't, the device reports what arrives.
  bool InputVideoValid();
  // The format of a frame that arrived while kind 0 held no valid video: its valid parts become kind 0.
  void InputFormatSeen(const TAvProps& seen);

 private:
  IDeviceCore& core_;
  CRWSynchroLiteRW formatLock;
  TAvProps inputFormat{};
};
