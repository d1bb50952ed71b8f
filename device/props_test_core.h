// A device core for tests of the faces over it: a real property tree with its defaults and
// descriptions, the simulated platform, and an engine that records what it is told.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "device/device_core.h"
#include "props/catalogue.h"

class RecordingEngine final : public TCaptureBase<RecordingEngine> {
 public:
  struct Call {
    std::wstring name;  // "<null>" for a null name
    std::wstring value;
    bool deviceLocked;
  };

  explicit RecordingEngine(const int& deviceDepth) : deviceDepth_(deviceDepth) {}

  int32_t IsBusy() override { return 0; }
  HRESULT OnPropertyChanged(const wchar_t* name, const wchar_t* value) override {
    calls.push_back({name ? name : L"<null>", value ? value : L"<null>", deviceDepth_ > 0});
    return answer;
  }
  BSTR PropertyText(const wchar_t* name) override { return TreeText(name); }
  HRESULT Init(const TPropertyTree& tree) override { return BindTree(tree); }
  HRESULT Start(const TAvProps&, void*, TFrameCallback) override { return E_NOTIMPL; }
  HRESULT Stop() override { return S_OK; }
  HRESULT Close() override { return S_OK; }

  std::vector<Call> calls;
  HRESULT answer = S_OK;  // what OnPropertyChanged returns

 private:
  const int& deviceDepth_;
};

class TestDeviceCore final : public IDeviceCore {
 public:
  TestDeviceCore()
      : platform(cvplat::SimDevicePlatform()),
        root(XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName)),
        engine(new RecordingEngine(deviceDepth)) {
    XMLParse::SetDefaults(*root);
    XMLParse::BuildCatalogue(*root);
  }

  void LockDevice() override { ++deviceDepth; }
  void UnlockDevice() override { --deviceDepth; }
  TRefPtr<ICaptureEngine> SelectedEngine() override {
    if (!engineSelected) return {};
    return TRefPtr<ICaptureEngine>(engine.Get());
  }
  HRESULT DeviceOpenDefault() override { return E_NOTIMPL; }
  HRESULT DeviceCloseNow() override { return E_NOTIMPL; }
  XMLParse::XMLNodePtr PropsRoot() override { return root; }
  const cvplat::DevicePlatform& Platform() override { return *platform; }

  std::shared_ptr<cvplat::DevicePlatform> platform;
  XMLParse::XMLNodePtr root;
  int deviceDepth = 0;
  TRefPtr<RecordingEngine> engine;
  bool engineSelected = true;
};
