#include "device/capture_device.h"

#include <cstdint>
#include <new>

#include "audio/capture_wasapi.h"
#include "engine/capture_scr.h"
#include "media/module_lock.h"
#include "platform/system.h"
#include "props/catalogue.h"
#include "props/settings_persist.h"

TCaptureDeviceMembers::TCaptureDeviceMembers(std::shared_ptr<const cvplat::DevicePlatform> p)
    : platform(std::move(p)), rootNode(XMLParse::CoXMLNode::Create(L"t-props").Get()) {}

CoCVCaptureSCR::CoCVCaptureSCR(IUnknown* outer, std::shared_ptr<const cvplat::DevicePlatform> p)
    : TCaptureDeviceMembers(std::move(p)),
      ITSourceImpl(static_cast<ISourceHost*>(this), *platform),
      ITPropsImpl(*static_cast<IDeviceCore*>(this)),
      ITFormatImpl(*static_cast<IDeviceCore*>(this)),
      controlling_(outer ? outer : &inner_) {
  ModuleLock();
  skipUnchanged = true;
  // Every property has its default before any saved setting is read.
  XMLParse::SetDefaults(*rootNode.Get());
}

CoCVCaptureSCR::~CoCVCaptureSCR() {
  DeviceClose();
  if (marshaler_) marshaler_->Release();
  ModuleUnlock();
}

HRESULT CoCVCaptureSCR::FinalConstruct() {
  if (HRESULT hr = cvplat::CreateFreeThreadedMarshaler(controlling_, &marshaler_); FAILED(hr)) return hr;

  TRefPtr<XMLParse::CoXMLNode> root = rootNode.Get();
  XMLParse::LoadSettings(*root, nullptr, platform->settings.get(), XMLParse::kSettingsKeyPath, true);
  // The sound service is asked once, here: the options stay as they were found for the device's life.
  XMLParse::BuildCatalogue(*root, AudioDeviceOptions(platform->capture.audio.get()));

  TRefPtr<TCaptureSCR> screen(new TCaptureSCR(platform->capture));
  screen->NameSet(kScreenDeviceName);
  DeviceAdd(kScreenDeviceName, screen.Get());
  if (DeviceRows() == 0) return static_cast<HRESULT>(0x80040275u);  // no device to offer
  // A device without a selection can still be created; its reads answer "not available".
  DeviceSelectFirst();
  return S_OK;
}

// ---- IUnknown ----

HRESULT CoCVCaptureSCR::QueryInterface(REFIID riid, void** object) {
  return controlling_->QueryInterface(riid, object);
}
ULONG CoCVCaptureSCR::AddRef() { return controlling_->AddRef(); }
ULONG CoCVCaptureSCR::Release() { return controlling_->Release(); }

HRESULT CoCVCaptureSCR::InnerUnknown::QueryInterface(REFIID riid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  IUnknown* face = nullptr;
  if (IsEqualIID(riid, IID_IUnknown)) {
    face = this;
  } else if (IsEqualIID(riid, IID_ICVProps)) {
    face = static_cast<ICVProps*>(&owner_);
  } else if (IsEqualIID(riid, IID_ICVSource_I)) {
    face = static_cast<ICVSource_I*>(&owner_);
  } else if (IsEqualIID(riid, IID_ICVDevice)) {
    face = static_cast<ICVDevice*>(&owner_);
  } else if (IsEqualIID(riid, IID_ICVFormat)) {
    face = static_cast<ICVFormat*>(&owner_);
  } else if (owner_.marshaler_) {
    // Everything else the marshaler answers is the marshaler's.
    return owner_.marshaler_->QueryInterface(riid, object);
  } else {
    return E_NOINTERFACE;
  }
  face->AddRef();
  *object = face;
  return S_OK;
}

ULONG CoCVCaptureSCR::InnerUnknown::AddRef() {
  return static_cast<ULONG>(owner_.refs_.fetch_add(1, std::memory_order_relaxed) + 1);
}

ULONG CoCVCaptureSCR::InnerUnknown::Release() {
  const int32_t left = owner_.refs_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) {
    // Nothing that runs during the tear-down may bring the count back to 0 through a temporary reference.
    owner_.refs_.store(INT32_MIN / 2, std::memory_order_relaxed);
    delete &owner_;
  }
  return static_cast<ULONG>(left);
}

// ---- The device's hooks ----

void CoCVCaptureSCR::DeviceDeliver(ICVFrame_I* frame) { Source_PutFrame(frame, 0, -1, nullptr, nullptr); }

HRESULT CoCVCaptureSCR::OpenForRead() {
  LockDevice();
  HRESULT hr = S_OK;
  TRefPtr<ICaptureEngine> engine = SelectedEngine();
  if (!engine) {
    hr = CV_E_DEVICE_NOT_AVAILABLE;
  } else if (engine->State() < eEngineRunning) {
    hr = static_cast<ICVDevice*>(this)->DeviceOpen(nullptr, nullptr);
  }
  engine.Reset();
  UnlockDevice();
  return hr;
}

HRESULT CoCVCaptureSCR::LastReaderLeft() { return static_cast<ICVDevice*>(this)->DeviceClose(); }

// ---- Creation ----

HRESULT CreateCaptureDevice(IUnknown* outer, REFIID riid, void** object,
                            std::shared_ptr<const cvplat::DevicePlatform> platform) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (outer && !IsEqualIID(riid, IID_IUnknown)) return CLASS_E_NOAGGREGATION;
  if (!platform) return E_INVALIDARG;
  CoCVCaptureSCR* device = new (std::nothrow) CoCVCaptureSCR(outer, std::move(platform));
  if (!device) return E_OUTOFMEMORY;
  // One reference for the time of the creation, on the inner unknown so an outer object isn't touched.
  device->inner_.AddRef();
  HRESULT hr = device->FinalConstruct();
  if (SUCCEEDED(hr)) hr = device->inner_.QueryInterface(riid, object);
  device->inner_.Release();
  return hr;
}
