// ICVDeviceImpl_Capture: the device table and the choice, open and close of a device behind ICVDevice.
// IUnknown comes from the object class, and so do the property tree and the format store, which the
// operations reach through the protected hooks below.
//
// Locking: every operation but DeviceCurrent runs under deviceLock, which is re-entrant, since the
// operations call one another. The frame callback runs on the engine's thread and never takes it:
// DeviceClose holds deviceLock while it waits for that thread to end.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "CVDeviceSCR.h"
#include "engine/capture_base.h"
#include "media/locked_ptr.h"
#include "platform/critical_section.h"
#include "props/xml_node.h"

class ICVDeviceImpl_Capture : public ICVDevice {
 public:
  // The one row of the device table: the screen.
  static constexpr wchar_t kScreenDeviceName[] = L"Tarnwell DXGI/DX11 ScreenCapture";
  // The audio list.
  static constexpr wchar_t kAudioFromVideo[] = L"<From Video>";
  static constexpr wchar_t kAudioNone[] = L"<No Audio>";

  ICVDeviceImpl_Capture() = default;
  virtual ~ICVDeviceImpl_Capture();
  ICVDeviceImpl_Capture(const ICVDeviceImpl_Capture&) = delete;
  ICVDeviceImpl_Capture& operator=(const ICVDeviceImpl_Capture&) = delete;

  HRESULT STDMETHODCALLTYPE DeviceCount(int32_t deviceKind, int32_t* count) override;
  HRESULT STDMETHODCALLTYPE DeviceDescribe(int32_t deviceKind, int32_t index, BSTR* name, int32_t* busy) override;
  HRESULT STDMETHODCALLTYPE DeviceSelect(int32_t deviceKind, int32_t index, LPCOLESTR props) override;
  HRESULT STDMETHODCALLTYPE DeviceCurrent(int32_t deviceKind, int32_t* index, BSTR* text) override;
  HRESULT STDMETHODCALLTYPE DeviceReserved1(int32_t, int32_t, void*, void*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE DeviceOpen(LPCOLESTR config, LPCOLESTR props) override;
  HRESULT STDMETHODCALLTYPE DeviceClose() override;
  HRESULT STDMETHODCALLTYPE DeviceReserved2(void*, void*) override { return E_NOTIMPL; }

 protected:
  // Adds a row unless the table holds the name already. Only while the object is being made: the
  // table is read without a lock afterwards.
  void DeviceAdd(const wchar_t* name, ICaptureEngine* engine);
  int32_t DeviceRows();
  // Selects the first row that accepts; false when none does.
  bool DeviceSelectFirst();
  TRefPtr<ICaptureEngine> SelectedEngine() { return currentEngine.Get(); }
  bool AudioEnabled() const { return audioEnabled.load(std::memory_order_acquire); }

  // The engine's frame callback; `context` is this base.
  static HRESULT FrameCallback(void* context, ICVFrame_I* frame, int64_t counter, const wchar_t* text);

  // ---- What the object supplies ----
  // The property tree, as engines hold it.
  virtual const TPropertyTree& DeviceTree() = 0;
  // The record of kind 0 of the format store, and its update by what arrives.
  virtual TAvProps DeviceInputFormat() = 0;
  virtual bool DeviceInputVideoValid() = 0;
  virtual void DeviceInputFormatSeen(const TAvProps& seen) = 0;
  // Hands a frame to every reader.
  virtual void DeviceDeliver(ICVFrame_I* frame) = 0;

  cvplat::CriticalSection deviceLock;

 private:
  // Merges a host's text of properties into the tree; what can't be read is left as far as it got.
  void MergeProps(LPCOLESTR props);
  int32_t FindRow(const wchar_t* name);
  int32_t SelectedRow();

  TLockedPtr<ICaptureEngine> currentEngine;
  std::vector<BSTR> deviceNames;
  std::vector<TRefPtr<ICaptureEngine>> deviceEngines;
  // Written under deviceLock, read by the capture thread.
  std::atomic<bool> audioEnabled{true};
};
