#include "engine/capture_scr.h"

#include "engine/desktop_duplication.h"
#include "engine/stock_images.h"
#include "framelib/frame_factory.h"
#include "engine/hardware_loop.h"
#include "engine/software_loop.h"
#include "media/video_format.h"
#include "props/catalogue.h"
#include "props/text_chars.h"
#include "props/value_codecs.h"

namespace {

bool Is(const wchar_t* name, const wchar_t* key) { return cv_text::EqualsNoCase(name, key); }

// The keys whose change needs a new mode selection; everything else is read again on every pass.
bool RestartsCapture(const wchar_t* name) {
  return Is(name, L"capture.force_software") || Is(name, L"capture.screen_index") ||
         Is(name, L"capture.memory_format") || Is(name, L"capture.mode");
}

// 3D layouts: side by side and top and bottom.
constexpr uint32_t kVideoLayout3D = 0x600;

}  // namespace

const wchar_t* CaptureModeText(int32_t mode) {
  switch (mode) {
    case eCaptureGDI:
      return L"GDI (software)";
    case eCaptureDirectX:
      return L"DirectX";
    case eCaptureDXGI:
      return L"DXGI";
    default:
      return nullptr;
  }
}

TCaptureSCR::TCaptureSCR(cvplat::CapturePlatform p)
    : platform(std::move(p)), cursor(platform), audioInserter(MakeRef<TAudioInserter>(platform.audio)) {}

TCaptureSCR::~TCaptureSCR() {
  engineLock.Enter();
  Stop();
  SetState(eEngineClosed);
  engineLock.Leave();
}

bool TCaptureSCR::VideoFormatAccept(const TVideoProps& format) {
  return (static_cast<uint32_t>(format.videoFormat) & kVideoLayout3D) == 0;
}

HRESULT TCaptureSCR::Init(const TPropertyTree& tree) { return BindTree(tree); }

BSTR TCaptureSCR::PropertyText(const wchar_t* name) { return TreeText(name); }

TAvProps* TCaptureSCR::FormatCopy(TAvProps* format) {
  if (!format) return format;
  cvplat::SectionLock lock(formatLock);
  *format = activeFormat;
  return format;
}

void TCaptureSCR::PublishFormat(const TVideoProps& video) {
  cvplat::SectionLock lock(formatLock);
  activeFormat.video = video;
}

// ---- mode selection ----

HRESULT TCaptureSCR::SelectCaptureMode() {
  captureMode.store(eCaptureError, std::memory_order_release);
  ReleaseHardware();
  ReleaseStockFrames();

  TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
  if (tree) tree->FindChild(L"stat", true);

  static const wchar_t* const kModes[] = {L"DXGI", L"DirectX", L"GDI", nullptr};
  int32_t requested = -1;
  if (tree) {
    bool found = false;
    const std::wstring text = tree->GetString(L"capture.mode", {}, &found);
    if (found) IndexInList(kModes, std::wstring_view(text), requested);
  }

  int32_t mode = eCaptureGDI;
  switch (requested) {
    case 0:
      mode = InitHardware(true);
      break;
    case 1:
      mode = InitHardware(false);
      break;
    case 2:
      mode = eCaptureGDI;
      break;
    default:
      // Before 6.2 there is no duplication, and Direct3D shots are no faster than GDI's.
      mode = platform.system && platform.system->AtLeast(6, 2) ? InitHardware(true) : eCaptureGDI;
      break;
  }
  if (mode == eCaptureGDI) {
    if (HRESULT hr = InitSoftware(); FAILED(hr)) return hr;
  }
  captureMode.store(mode, std::memory_order_release);
  return S_OK;
}

void TCaptureSCR::PublishCurrentMode(int32_t mode) {
  TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
  if (!tree) return;
  if (const wchar_t* text = CaptureModeText(mode)) {
    tree->SetString(XMLParse::kKeyCurrentMode, text);
  } else {
    // The last mode that worked stays readable under the full key.
    tree->SetString(L"current_mode", L"Error");
  }
}

int32_t TCaptureSCR::InitHardware(bool useDuplication) {
  TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
  const cvplat::GpuDeviceFactory factory = platform.gpu ? platform.gpu : cvplat::GpuDeviceFactory(cvplat::CreateGpuDevice);
  if (gpu.InitDevice(factory, tree.Get()) == 0) return eCaptureGDI;
  // Without its marks the hardware path isn't complete; what was made stays until ReleaseHardware.
  if (FAILED(LoadStockTextures(platform, gpu.Device(), gpu.stockTextures))) return eCaptureGDI;
  if (!useDuplication) return eCaptureDirectX;
  return InitDuplication() ? eCaptureDXGI : eCaptureDirectX;
}

bool TCaptureSCR::InitDuplication() {
  TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
  const uint32_t screenIndex = tree ? tree->GetUInt(L"capture.screen_index", 0) : 0;
  return SetUpDuplication(platform, gpu.Device(), screenIndex, duplication, outputDesc);
}

HRESULT TCaptureSCR::InitSoftware() {
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  return LoadStockFrames(platform, factory.Get(), stockFrames);
}

void TCaptureSCR::ReleaseStockFrames() {
  for (auto& frame : stockFrames) frame.Reset();
}

void TCaptureSCR::ReleaseHardware() {
  duplication.reset();
  gpu.Release();
}

// ---- start, stop, restart ----

HRESULT TCaptureSCR::Start(const TAvProps& format, void* context, TFrameCallback callback) {
  if (!context || !callback) return E_INVALIDARG;
  Locked lock(engineLock);
  if (State() <= eEngineClosed) {
    if (HRESULT hr = Init(propertyTree); FAILED(hr)) return hr;
  }
  if (State() >= eEngineRunning) Stop();
  // A thread that failed may still be on its way out, using the objects that mode selection replaces.
  StopCaptureThread(captureThread);

  // A machine whose desktop can't be reached (on Linux: no X display, or one that doesn't open) has
  // nothing to capture in any mode; the host hears so from its first read instead of waiting for
  // frames that never come.
  if (platform.monitors && platform.monitors->List().empty()) return CV_E_DEVICE_NOT_AVAILABLE;

  const HRESULT selected = SelectCaptureMode();
  PublishCurrentMode(CaptureMode());
  if (FAILED(selected)) return selected;

  {
    cvplat::SectionLock formatGuard(formatLock);
    activeFormat = TAvProps{};
    activeFormat.audio.channels = 0;
    activeFormat.audio.sampleRate = 48000;
    activeFormat.audio.bitsPerSample = 16;
  }
  requestedVideoFormat = format.video;
  {
    TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
    cursor.ResetDeadlines(tree.Get());
  }
  if (VideoIsValid(requestedVideoFormat)) VideoNormalise(requestedVideoFormat, false);
  region = TCaptureRegion{};
  {
    // The loop rewrites the format on every pass; a host that asks right after the start gets what the
    // first pass will make of the same properties.
    TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
    TCaptureRegion first{};
    FillScreen(tree.Get(), first.screen);
    TVideoProps video{};
    UpdateCaptureRegion(tree.Get(), platform, requestedVideoFormat, first, video);
    PublishFormat(video);
  }

  frameCallback = callback;
  frameCallbackContext = context;
  SetState(eEngineRunning);
  ClearCaptureStop();  // the old thread has ended: nothing waits on the signal now
  if (HRESULT hr = captureThread.Start(this, &CaptureThreadMain); FAILED(hr)) {
    SetState(eEngineOpen);
    return hr;
  }
  captureThread.Wake();
  return S_OK;
}

HRESULT TCaptureSCR::Stop() {
  Locked lock(engineLock);
  // Joined whatever the state: after a failure the thread may still be leaving, and it uses the objects
  // released below.
  StopCaptureThread(captureThread);
  if (State() > eEngineClosed) {
    SetState(eEngineOpen);
    cvplat::SectionLock formatGuard(formatLock);
    activeFormat = TAvProps{};
  }
  ReleaseHardware();
  return S_OK;
}

void TCaptureSCR::FillScreen(XMLParse::CoXMLNode* props, TRect& screen) const {
  if (CaptureMode() == eCaptureDXGI) {
    screen = outputDesc.desktopCoordinates;
  } else if (platform.monitors) {
    screen = FindScreenRect(props, *platform.monitors);
  }
}

HRESULT TCaptureSCR::Close() {
  Locked lock(engineLock);
  Stop();
  SetState(eEngineClosed);
  return S_OK;
}

HRESULT TCaptureSCR::Restart() {
  Locked lock(engineLock);
  if (State() < eEngineRunning) return S_OK;
  Stop();
  // Start selects the mode and publishes it, and fails with the selection's status before any thread
  // starts: a selection here as well would only make the device twice.
  TAvProps request{};
  request.video = requestedVideoFormat;
  return Start(request, frameCallbackContext, frameCallback);
}

// ---- properties ----

HRESULT TCaptureSCR::OnPropertyChanged(const wchar_t* name, const wchar_t* value) {
  if (!name) return S_OK;
  if (RestartsCapture(name)) {
    const HRESULT hr = Restart();
    return FAILED(hr) ? hr : S_OK;
  }
  if (Is(name, L"capture.audio_device")) return SwitchAudioDevice(value);
  {
    TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
    if (cursor.OnPropertyChanged(name, tree.Get())) return S_OK;
  }
  if (Is(name, L"_audio_enabled_")) {
    audioEnabledFlag.store(value && Is(value, L"true"), std::memory_order_relaxed);
    TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
    const std::wstring device = tree ? tree->GetString(XMLParse::kKeyAudioDevice) : std::wstring();
    return SwitchAudioDevice(device.c_str());
  }
  if (Is(name, L"capture.sampler_type")) {
    TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
    const std::wstring sampler = tree ? tree->GetString(L"capture.sampler_type") : std::wstring();
    gpu.CreateSamplerByName(sampler.c_str());
    return S_OK;
  }
  return S_OK;
}

std::wstring TCaptureSCR::AudioDeviceToOpen(const wchar_t* text) {
  std::wstring name = text ? text : L"";
  if (cv_text::EqualsNoCase(name, L"none")) {
    TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
    DefaultAudioDevice(tree.Get(), AudioEnabled(), name);
  }
  return name;
}

TAudioProps TCaptureSCR::AudioRequest() {
  cvplat::SectionLock lock(formatLock);
  return activeFormat.audio;
}

HRESULT TCaptureSCR::SwitchAudioDevice(const wchar_t* text) {
  TRefPtr<XMLParse::CoXMLNode> tree = propertyTree.Get();
  const HRESULT hr = ::SwitchAudioDevice(audioInserter.Get(), AudioDeviceToOpen(text).c_str(), AudioRequest(), tree.Get());
  return FAILED(hr) ? hr : S_OK;
}

// ---- the capture thread ----

uint32_t CV_THREADCALL TCaptureSCR::CaptureThreadMain(void* self) {
  auto* engine = static_cast<TCaptureSCR*>(self);
  TCaptureStopScope stopScope(engine->captureStopEvent);
  {
    TRefPtr<XMLParse::CoXMLNode> tree = engine->propertyTree.Get();
    const std::wstring text = tree ? tree->GetString(XMLParse::kKeyAudioDevice) : std::wstring();
    if (FAILED(::SwitchAudioDevice(engine->audioInserter.Get(), engine->AudioDeviceToOpen(text.c_str()).c_str(),
                                   engine->AudioRequest(), tree.Get()))) {
      return 1;
    }
  }
  if (engine->CaptureMode() == eCaptureGDI) {
    TSoftwareLoop(*engine).Run();
  } else {
    THardwareLoop(*engine).Run();
  }
  engine->audioInserter->StopCapture(false);
  return 0;
}

void TCaptureSCR::Fail(HRESULT status, const wchar_t* text) {
  SetState(eEngineFailed);
  frameCallback(frameCallbackContext, nullptr, static_cast<int64_t>(status), text);
}

void TCaptureSCR::Wake() { captureThread.Wake(); }

void TCaptureSCR::IdlePause() { cvplat::WaitForOne(captureStopEvent, 5); }
