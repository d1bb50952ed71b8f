// Test helpers of the format store: a device core that counts its restarts, an engine whose answers a
// test chooses, and the smallest object over the store.
#pragma once

#include <atomic>
#include <vector>

#include "device/device_core.h"
#include "device/format_impl.h"
#include "media/format_table.h"
#include "platform/critical_section.h"

namespace format_test {

// Accepts what it is told to, starts by recording the format, and runs without a thread.
class TFakeEngine final : public TCaptureBase<TFakeEngine> {
 public:
  bool refuse3D = true;         // layouts are beyond a screen capture
  double maxRate = 1000;        // rows above this rate are refused
  int32_t maxChannels = 32;
  bool ownVideoList = false;    // answers VideoFormatList with `videoRows`
  std::vector<TVideoProps> videoRows;
  TAvProps started{};
  int starts = 0;

  int32_t IsBusy() override { return 0; }
  HRESULT OnPropertyChanged(const wchar_t*, const wchar_t*) override { return S_OK; }
  BSTR PropertyText(const wchar_t*) override { return nullptr; }
  HRESULT Init(const TPropertyTree&) override {
    if (State() < eEngineOpen) SetState(eEngineOpen);
    return S_OK;
  }
  HRESULT Start(const TAvProps& format, void*, TFrameCallback) override {
    Locked lock(engineLock);
    started = format;
    activeFormat = format;
    ++starts;
    SetState(eEngineRunning);
    return S_OK;
  }
  HRESULT Stop() override {
    SetState(eEngineOpen);
    return S_OK;
  }
  HRESULT Close() override {
    Locked lock(engineLock);
    activeFormat = TAvProps{};
    SetState(eEngineClosed);
    return S_OK;
  }
  bool VideoFormatAccept(const TVideoProps& v) override {
    if (refuse3D && (v.videoFormat & kLayoutBits) != 0) return false;
    return v.frameRate <= maxRate;
  }
  bool AudioFormatAccept(const TAudioProps& a) override { return a.channels <= maxChannels; }
  bool VideoFormatList(std::vector<TVideoProps>* list) override {
    if (!ownVideoList) return false;
    *list = videoRows;
    return true;
  }
};

// The device as the store sees it: deviceLock, the selected engine, and open and close counted.
class TFakeCore final : public IDeviceCore {
 public:
  explicit TFakeCore(ICaptureEngine* selected) : engine(selected) {}

  void LockDevice() override { lock.Enter(); }
  void UnlockDevice() override { lock.Leave(); }
  TRefPtr<ICaptureEngine> SelectedEngine() override { return engine; }
  HRESULT DeviceOpenDefault() override {
    ++opens;
    if (FAILED(openResult)) return openResult;
    return engine ? engine->Start(store->InputFormat(), this, &Callback) : CV_E_DEVICE_NOT_AVAILABLE;
  }
  HRESULT DeviceCloseNow() override {
    ++closes;
    return engine ? engine->Close() : S_FALSE;
  }
  XMLParse::XMLNodePtr PropsRoot() override { return XMLParse::XMLNodePtr(); }
  const cvplat::DevicePlatform& Platform() override { return *platform; }

  static HRESULT Callback(void*, ICVFrame_I*, int64_t, const wchar_t*) { return S_OK; }

  cvplat::CriticalSection lock;
  TRefPtr<ICaptureEngine> engine;
  ITFormatImpl* store = nullptr;
  std::shared_ptr<cvplat::DevicePlatform> platform = cvplat::SimDevicePlatform();
  int opens = 0;
  int closes = 0;
  HRESULT openResult = S_OK;
};

class TFormatObject final : public ITFormatImpl {
 public:
  explicit TFormatObject(TFakeCore& core) : ITFormatImpl(core) { core.store = this; }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
    if (object) *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

}  // namespace format_test
