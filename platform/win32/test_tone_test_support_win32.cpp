// The tone through a shared render stream on the default output, fed by a thread of its own every
// 10 ms in the output's mix format (floats or 16-bit integers).
#include <windows.h>
#include <initguid.h>
#include <mmreg.h>
#include <ks.h>
#include <ksmedia.h>
#include <mmdeviceapi.h>
#include <audioclient.h>

#include <atomic>
#include <cmath>
#include <future>
#include <numbers>
#include <thread>

#include "platform/test_tone_test_support.h"

namespace cvplat {
namespace {

template <class T>
void Release(T*& p) {
  if (p) p->Release();
  p = nullptr;
}

bool IsFloat(const WAVEFORMATEX& f) {
  if (f.wFormatTag == WAVE_FORMAT_IEEE_FLOAT) return true;
  return f.wFormatTag == WAVE_FORMAT_EXTENSIBLE &&
         IsEqualGUID(reinterpret_cast<const WAVEFORMATEXTENSIBLE&>(f).SubFormat, KSDATAFORMAT_SUBTYPE_IEEE_FLOAT);
}

class RenderTone : public TestTone {
 public:
  RenderTone(double hz, double seconds) : hz_(hz), seconds_(seconds) {}
  ~RenderTone() override {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
  }

  // Opens the stream on a thread that owns it from start to end; the reason of a failure in `why`.
  bool Start(std::string* why) {
    std::promise<const char*> opened;
    std::future<const char*> result = opened.get_future();
    thread_ = std::thread([this, &opened] {
      const HRESULT init = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
      const char* failed = Open();
      opened.set_value(failed);
      if (!failed) Feed();
      Close();
      if (SUCCEEDED(init)) CoUninitialize();
    });
    if (const char* failed = result.get()) {
      *why = failed;
      return false;
    }
    return true;
  }

 private:
  const char* Open() {
    if (FAILED(CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, __uuidof(IMMDeviceEnumerator),
                                reinterpret_cast<void**>(&enumerator_))))
      return "no audio endpoint enumerator";
    if (FAILED(enumerator_->GetDefaultAudioEndpoint(eRender, eMultimedia, &device_))) return "no default output";
    if (FAILED(device_->Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, reinterpret_cast<void**>(&client_))))
      return "the default output can't be activated";
    if (FAILED(client_->GetMixFormat(&format_))) return "the default output has no mix format";
    if (!(IsFloat(*format_) && format_->wBitsPerSample == 32) && format_->wBitsPerSample != 16)
      return "the default output mixes in a format the tone isn't written in";
    if (FAILED(client_->Initialize(AUDCLNT_SHAREMODE_SHARED, 0, 2000000, 0, format_, nullptr)))
      return "the render stream can't be initialised";
    if (FAILED(client_->GetBufferSize(&bufferFrames_))) return "the render stream has no buffer size";
    if (FAILED(client_->GetService(__uuidof(IAudioRenderClient), reinterpret_cast<void**>(&render_))))
      return "the render stream has no render client";
    Fill();
    if (FAILED(client_->Start())) return "the render stream does not start";
    return nullptr;
  }

  // Tops the buffer up with the next stretch of the sine.
  void Fill() {
    UINT32 padding = 0;
    if (FAILED(client_->GetCurrentPadding(&padding)) || padding >= bufferFrames_) return;
    const UINT32 frames = bufferFrames_ - padding;
    BYTE* data = nullptr;
    if (FAILED(render_->GetBuffer(frames, &data))) return;
    const bool isFloat = IsFloat(*format_);
    for (UINT32 i = 0; i < frames; ++i, ++written_) {
      const double t = static_cast<double>(written_) / format_->nSamplesPerSec;
      const double v = 0.5 * std::sin(2 * std::numbers::pi * hz_ * t);
      for (WORD c = 0; c < format_->nChannels; ++c) {
        const size_t at = static_cast<size_t>(i) * format_->nChannels + c;
        if (isFloat)
          reinterpret_cast<float*>(data)[at] = static_cast<float>(v);
        else
          reinterpret_cast<int16_t*>(data)[at] = static_cast<int16_t>(std::lround(v * 32767));
      }
    }
    render_->ReleaseBuffer(frames, 0);
  }

  void Feed() {
    const auto total = static_cast<uint64_t>(seconds_ * format_->nSamplesPerSec);
    while (!stop_ && written_ < total) {
      Sleep(10);
      Fill();
    }
    client_->Stop();
  }

  void Close() {
    Release(render_);
    Release(client_);
    Release(device_);
    Release(enumerator_);
    if (format_) CoTaskMemFree(format_);
    format_ = nullptr;
  }

  const double hz_;
  const double seconds_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
  IMMDeviceEnumerator* enumerator_ = nullptr;
  IMMDevice* device_ = nullptr;
  IAudioClient* client_ = nullptr;
  IAudioRenderClient* render_ = nullptr;
  WAVEFORMATEX* format_ = nullptr;
  UINT32 bufferFrames_ = 0;
  uint64_t written_ = 0;
};

}  // namespace

std::unique_ptr<TestTone> PlayTestTone(double hz, double seconds, std::string* why) {
  auto tone = std::make_unique<RenderTone>(hz, seconds);
  if (!tone->Start(why)) return nullptr;
  return tone;
}

}  // namespace cvplat
