// Test support: the screen capture engine on a simulated desktop of one 640x360 monitor, with a gpu
// that fails on demand, a property tree with the catalogue's defaults, and a frame callback that
// records what comes out.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "engine/capture_scr.h"
#include "platform/cpu_gpu/cpu_gpu.h"
#include "platform/kernel.h"
#include "platform/sim/capture_sim.h"
#include "platform/sim/gpu_faults.h"
#include "props/catalogue.h"

namespace engine_test {

struct Delivery {
  int64_t counter = 0;
  TVideoProps format{};
  TFrameTime time{};
  bool dup = false;
  int64_t shotTime = 0;  // the "crtm" label, 0 without one
  TAudioProps audio{};
  int32_t audioBytes = 0;
  bool audioNonZero = false;  // some sample of channel 0 isn't 0
  std::vector<float> left;    // channel 0 of 16-bit or float sound, when the sink keeps the sound
};

class CaptureSink {
 public:
  static HRESULT Callback(void* context, ICVFrame_I* frame, int64_t counter, const wchar_t* text) {
    return static_cast<CaptureSink*>(context)->Take(frame, counter, text);
  }

  bool WaitFrames(size_t count, std::chrono::seconds limit = std::chrono::seconds(30)) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return frames_.size() >= count; });
  }
  template <class Match>
  int WaitFrameWhere(size_t from, Match match, std::chrono::seconds limit = std::chrono::seconds(30)) {
    std::unique_lock lock(mutex_);
    int found = -1;
    changed_.wait_for(lock, limit, [&] {
      for (size_t i = from; i < frames_.size(); ++i) {
        if (match(frames_[i])) {
          found = static_cast<int>(i);
          return true;
        }
      }
      return false;
    });
    return found;
  }
  std::vector<Delivery> Frames() {
    std::lock_guard lock(mutex_);
    return frames_;
  }
  size_t FrameCount() {
    std::lock_guard lock(mutex_);
    return frames_.size();
  }
  size_t DupFrames() {
    std::lock_guard lock(mutex_);
    size_t n = 0;
    for (const Delivery& d : frames_) n += d.dup;
    return n;
  }
  int Failures() {
    std::lock_guard lock(mutex_);
    return failures_;
  }
  // The picture of the last frame, its rows packed without padding.
  std::vector<uint8_t> LastPicture() {
    std::lock_guard lock(mutex_);
    return lastPicture_;
  }
  void RefuseAt(int64_t counter) { refuseAt_.store(counter); }
  // Every delivery keeps the samples of its channel 0.
  void KeepSound() { keepSound_ = true; }
  // Called with every delivered frame and its picture (top row first), on the capture thread.
  void Inspect(std::function<void(const Delivery&, const std::vector<uint8_t>&)> inspect) {
    std::lock_guard lock(mutex_);
    inspect_ = std::move(inspect);
  }

 private:
  HRESULT Take(ICVFrame_I* frame, int64_t counter, const wchar_t*) {
    std::lock_guard lock(mutex_);
    if (!frame) {
      ++failures_;
      changed_.notify_all();
      return S_OK;
    }
    Delivery d;
    d.counter = counter;
    TAvProps props{};
    frame->FormatGet(&props, &d.audioBytes);
    d.format = props.video;
    d.audio = props.audio;
    int32_t channelBytes = 0;
    uint8_t* samples = nullptr;
    if (d.audioBytes > 0 && SUCCEEDED(frame->AudioChannelGet(0, 0, &channelBytes, &samples)) && samples) {
      for (int32_t i = 0; i < channelBytes && !d.audioNonZero; ++i) d.audioNonZero = samples[i] != 0;
      if (keepSound_) KeepLeft(d, samples, channelBytes);
    }
    frame->TimeGet(&d.time);
    void* face = nullptr;
    if (SUCCEEDED(frame->QueryInterface(IID_ICVNamedValues, &face))) {
      auto* values = static_cast<ICVNamedValues*>(face);
      int64_t dup = 0;
      d.dup = SUCCEEDED(values->ValueGet(L"dup", &dup)) && dup == 1;
      values->Release();
    }
    if (SUCCEEDED(frame->QueryInterface(IID_ICVFrame, &face))) {
      auto* host = static_cast<ICVFrame*>(face);
      if (FAILED(host->LabelGet(L"crtm", &d.shotTime))) d.shotTime = 0;
      host->Release();
    }
    uint8_t* pixels = nullptr;
    const int32_t height = std::abs(props.video.height);
    const int32_t rowBytes = props.video.colourFormat == 0x43594448 ? props.video.width * 2 : props.video.width * 4;
    if (SUCCEEDED(frame->PixelsGet(0, &pixels)) && pixels && props.video.rowBytes >= rowBytes) {
      lastPicture_.resize(static_cast<size_t>(rowBytes) * height);
      // RGB with a positive height is stored bottom-up; the copy is always top row first.
      const bool bottomUp = props.video.colourFormat != 0x43594448 && props.video.height > 0;
      for (int32_t y = 0; y < height; ++y) {
        const int32_t from = bottomUp ? height - 1 - y : y;
        std::memcpy(&lastPicture_[static_cast<size_t>(y) * rowBytes],
                    pixels + static_cast<size_t>(from) * props.video.rowBytes, static_cast<size_t>(rowBytes));
      }
    }
    if (inspect_) inspect_(d, lastPicture_);
    frames_.push_back(d);
    changed_.notify_all();
    if (counter == refuseAt_.load()) {
      refuseAt_.store(-1);
      return E_ABORT;
    }
    return S_OK;
  }

  static void KeepLeft(Delivery& d, const uint8_t* samples, int32_t bytes) {
    if (d.audio.bitsPerSample == -32) {
      d.left.resize(static_cast<size_t>(bytes) / 4);
      std::memcpy(d.left.data(), samples, d.left.size() * 4);
    } else if (d.audio.bitsPerSample == 16) {
      for (int32_t i = 0; i + 1 < bytes; i += 2) {
        int16_t v;
        std::memcpy(&v, samples + i, 2);
        d.left.push_back(static_cast<float>(v) / 32768.0f);
      }
    }
  }

  bool keepSound_ = false;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Delivery> frames_;
  std::vector<uint8_t> lastPicture_;
  std::function<void(const Delivery&, const std::vector<uint8_t>&)> inspect_;
  int failures_ = 0;
  std::atomic<int64_t> refuseAt_{-1};
};

inline HRESULT CpuTwin(cvplat::IGpuDevice** device, UINT* level, cvplat::IGpuContext** context) {
  return cvplat::CreateCpuGpuDevice({}, device, level, context);
}

struct SimCapture {
  std::shared_ptr<cvplat::SimDesktop> desktop = cvplat::SimDesktop::Create();
  cvplat::GpuFaults faults{CpuTwin};
  XMLParse::XMLNodePtr root = XMLParse::CoXMLNode::Create(XMLParse::kPropsRootName);
  TPropertyTree tree;
  CaptureSink sink;
  TRefPtr<TCaptureSCR> engine;

  // `paceRate`: how much faster than real time frames are paced.
  explicit SimCapture(const wchar_t* memory = L"HDYC", double paceRate = 20.0,
                      std::shared_ptr<cvplat::IAudioEndpoints> audio = nullptr) {
    desktop->SetMonitors({{0x10001, {0, 0, 640, 360}}});
    XMLParse::SetDefaults(*root);
    root->SetString(L"capture.frame_size", L"640x360");
    root->SetString(L"capture.memory_format", memory);
    root->SetDouble(L"capture.fps_limit", 60.0);
    // Frames show the bare desktop unless a test asks for the marks.
    root->SetString(L"capture.show_mouse", L"hide");
    root->SetString(L"capture.highlight_mouse", L"hide");
    tree.Set(root.Get());
    cvplat::CapturePlatform platform = desktop->Platform(faults.Factory());
    platform.paceRate = paceRate;
    platform.audio = std::move(audio);
    engine = MakeRef<TCaptureSCR>(platform);
    EXPECT_EQ(engine->Init(tree), S_OK);
  }
  ~SimCapture() { engine->Close(); }

  HRESULT Start() { return engine->Start(TAvProps{}, &sink, &CaptureSink::Callback); }
  HRESULT Change(const wchar_t* name, const wchar_t* value) {
    root->SetString(name, value);
    return engine->OnPropertyChanged(name, value);
  }
  bool WaitFor(const std::function<bool()>& done, int seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (!done()) {
      if (std::chrono::steady_clock::now() > end) return false;
      cvplat::SleepMs(2);
    }
    return true;
  }
  bool WaitAcquires(int count, int seconds) {
    return WaitFor([&] { return desktop->Acquires() >= count; }, seconds);
  }
  bool WaitState(int32_t state, int seconds = 30) {
    return WaitFor([&] { return engine->State() == state; }, seconds);
  }
};

}  // namespace engine_test
