#include "device/device_impl.h"

#include <string>

#include "device/props_text.h"

namespace {

BSTR CopyText(const wchar_t* text) { return SysAllocString(text ? text : L""); }

BSTR CopyText(const std::wstring& text) { return SysAllocStringLen(text.data(), static_cast<UINT>(text.size())); }

bool SameName(BSTR a, const wchar_t* b) {
  const std::wstring_view right = b ? std::wstring_view(b) : std::wstring_view();
  return std::wstring_view(a, SysStringLen(a)) == right;
}

}  // namespace

ICVDeviceImpl_Capture::~ICVDeviceImpl_Capture() {
  for (BSTR name : deviceNames) SysFreeString(name);
}

void ICVDeviceImpl_Capture::DeviceAdd(const wchar_t* name, ICaptureEngine* engine) {
  cvplat::SectionLock lock(deviceLock);
  if (!engine || FindRow(name) >= 0) return;
  deviceNames.push_back(CopyText(name));
  deviceEngines.emplace_back(engine);
}

int32_t ICVDeviceImpl_Capture::DeviceRows() {
  cvplat::SectionLock lock(deviceLock);
  return static_cast<int32_t>(deviceEngines.size());
}

bool ICVDeviceImpl_Capture::DeviceSelectFirst() {
  cvplat::SectionLock lock(deviceLock);
  for (int32_t i = 0; i < static_cast<int32_t>(deviceEngines.size()); ++i) {
    if (SUCCEEDED(DeviceSelect(kDeviceKindVideo, i, nullptr))) return true;
  }
  return false;
}

int32_t ICVDeviceImpl_Capture::FindRow(const wchar_t* name) {
  for (size_t i = 0; i < deviceNames.size(); ++i) {
    if (SameName(deviceNames[i], name)) return static_cast<int32_t>(i);
  }
  return -1;
}

int32_t ICVDeviceImpl_Capture::SelectedRow() {
  TRefPtr<ICaptureEngine> current = currentEngine.Get();
  if (!current) return -1;
  for (size_t i = 0; i < deviceEngines.size(); ++i) {
    if (deviceEngines[i].Get() == current.Get()) return static_cast<int32_t>(i);
  }
  return -1;
}

// Merged, not applied as PropsSet with no name applies a text (that is a replace): the props text of a
// selection or an open is laid over the tree. The tree's own merge of attributes overwrites what the
// source names and keeps the rest; the element reader instead starts by emptying the node it reads
// into, which on the root would take every default and every description with it. So an element is
// read apart and its attributes copied over; pairs already overwrite only what they name.
void ICVDeviceImpl_Capture::MergeProps(LPCOLESTR props) {
  if (!props || !*props) return;
  TRefPtr<XMLParse::CoXMLNode> root = DeviceTree().Get();
  if (root) MergePropsText(*root, props);
}

HRESULT ICVDeviceImpl_Capture::DeviceCount(int32_t deviceKind, int32_t* count) {
  if (!count) return E_POINTER;
  cvplat::SectionLock lock(deviceLock);
  switch (deviceKind) {
    case kDeviceKindVideo:
      *count = static_cast<int32_t>(deviceEngines.size());
      break;
    case kDeviceKindAudio:
      *count = 2;
      break;
    default:
      *count = 0;
      break;
  }
  return S_OK;
}

HRESULT ICVDeviceImpl_Capture::DeviceDescribe(int32_t deviceKind, int32_t index, BSTR* name, int32_t* busy) {
  cvplat::SectionLock lock(deviceLock);
  if (deviceKind == kDeviceKindVideo) {
    if (index < 0 || index >= static_cast<int32_t>(deviceEngines.size())) return CV_E_BAD_INDEX;
    if (name) *name = SysAllocStringLen(deviceNames[index], SysStringLen(deviceNames[index]));
    if (busy) *busy = index == SelectedRow() ? -1 : deviceEngines[index]->IsBusy();
    return S_OK;
  }
  if (deviceKind == kDeviceKindAudio) {
    if (index < 0 || index > 1) return CV_E_BAD_INDEX;
    if (name) *name = CopyText(index == 0 ? kAudioFromVideo : kAudioNone);
    return S_OK;
  }
  return E_INVALIDARG;
}

HRESULT ICVDeviceImpl_Capture::DeviceSelect(int32_t deviceKind, int32_t index, LPCOLESTR props) {
  cvplat::SectionLock lock(deviceLock);
  if (deviceKind == kDeviceKindAudio) {
    const bool on = index == 0;
    audioEnabled.store(on, std::memory_order_release);
    if (TRefPtr<ICaptureEngine> engine = currentEngine.Get()) {
      engine->OnPropertyChanged(L"_audio_enabled_", on ? L"true" : L"false");
    }
    return index > 1 ? CV_E_BAD_INDEX : S_OK;
  }
  if (deviceKind != kDeviceKindVideo) return E_INVALIDARG;
  if (index < 0 || index >= static_cast<int32_t>(deviceEngines.size())) return CV_E_BAD_INDEX;

  MergeProps(props);
  if (index == SelectedRow()) return S_FALSE;
  TRefPtr<ICaptureEngine> chosen = deviceEngines[index];
  if (chosen->IsBusy() != 0) return HRESULT_FROM_WIN32(170);  // the resource is in use

  TRefPtr<ICaptureEngine> current = currentEngine.Get();
  const int32_t earlierState = current ? current->State() : eEngineClosed;
  if (earlierState > eEngineClosed) DeviceClose();

  const HRESULT init = chosen->Init(DeviceTree());
  if (FAILED(init)) return init;
  audioEnabled.store(true, std::memory_order_release);
  currentEngine.Set(chosen.Get());

  // A running capture goes on with the new device.
  if (earlierState > eEngineOpen) {
    const HRESULT open = DeviceOpen(nullptr, nullptr);
    if (FAILED(open)) return open;
  }
  return S_OK;
}

HRESULT ICVDeviceImpl_Capture::DeviceCurrent(int32_t deviceKind, int32_t* index, BSTR* text) {
  // Not under deviceLock: a host may ask while another thread opens or closes. The table itself is
  // filled while the object is made and never changes after.
  TRefPtr<ICaptureEngine> current = currentEngine.Get();
  if (!current) {
    if (index) *index = -1;
    return S_OK;
  }
  const bool audio = AudioEnabled();
  if (deviceKind == kDeviceKindSelection) {
    if (text) {
      BSTR name = nullptr;
      current->NameGet(&name);
      XMLParse::XMLNodePtr node = XMLParse::CoXMLNode::Create(L"device");
      node->SetString(L"video", std::wstring_view(name, SysStringLen(name)));
      node->SetBool(L"audio_enabled", audio);
      SysFreeString(name);
      *text = CopyText(node->ToXML());
    }
    return S_OK;
  }
  if (deviceKind == kDeviceKindAudio) {
    if (index) *index = audio ? 0 : 1;
    if (text) *text = CopyText(audio ? kAudioFromVideo : kAudioNone);
    return S_OK;
  }
  const int32_t row = SelectedRow();
  if (index) *index = row;
  if (text && row >= 0) *text = SysAllocStringLen(deviceNames[row], SysStringLen(deviceNames[row]));
  return S_OK;
}

HRESULT ICVDeviceImpl_Capture::DeviceOpen(LPCOLESTR config, LPCOLESTR props) {
  cvplat::SectionLock lock(deviceLock);
  XMLParse::XMLNodePtr node = XMLParse::CoXMLNode::Create(L"config");
  if (config && *config) ApplyPropsText(*node, config);

  const std::wstring video = node->GetString(L"video");
  if (!video.empty()) {
    const int32_t row = FindRow(video.c_str());
    if (row < 0) return E_INVALIDARG;
    const HRESULT hr = DeviceSelect(kDeviceKindVideo, row, props);
    if (FAILED(hr)) return hr;
  } else {
    MergeProps(props);
  }

  TRefPtr<ICaptureEngine> engine = currentEngine.Get();
  if (!engine) return CV_E_DEVICE_NOT_AVAILABLE;
  const bool audio = node->GetBool(L"audio_enabled", true);
  audioEnabled.store(audio, std::memory_order_release);

  TAvProps format = DeviceInputFormat();
  if (!audio) format.audio.channels = -1;
  const HRESULT hr = engine->Start(format, this, &ICVDeviceImpl_Capture::FrameCallback);
  return FAILED(hr) ? CV_E_DEVICE_NOT_AVAILABLE : hr;
}

HRESULT ICVDeviceImpl_Capture::DeviceClose() {
  cvplat::SectionLock lock(deviceLock);
  TRefPtr<ICaptureEngine> engine = currentEngine.Get();
  if (!engine) return S_FALSE;
  return engine->Close();
}

HRESULT ICVDeviceImpl_Capture::FrameCallback(void* context, ICVFrame_I* frame, int64_t, const wchar_t*) {
  auto* self = static_cast<ICVDeviceImpl_Capture*>(context);
  if (frame && !self->AudioEnabled()) frame->AudioSet(nullptr, 0, 0, 0);
  // A failure of the capture: it stands at -1 already, and the next read starts it again.
  if (!frame) return S_FALSE;
  if (!self->DeviceInputVideoValid()) {
    TAvProps seen{};
    if (SUCCEEDED(frame->FormatGet(&seen, nullptr))) self->DeviceInputFormatSeen(seen);
  }
  // A reader's trouble is not the capture's: the capture goes on.
  self->DeviceDeliver(frame);
  return S_OK;
}
