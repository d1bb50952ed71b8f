// Test helper: a frame callback that records what an engine hands it, and a small property tree.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "engine/test_pattern.h"
#include "engine/test_pattern_engine.h"
#include "props/xml_node.h"

namespace engine_test {

struct Delivery {
  int64_t counter = 0;
  TVideoProps format{};
  TFrameTime time{};
  int32_t pictureCounter = -1;
};

class FrameSink {
 public:
  static HRESULT Callback(void* context, ICVFrame_I* frame, int64_t counter, const wchar_t* text) {
    return static_cast<FrameSink*>(context)->Take(frame, counter, text);
  }

  // Waits until `count` frames in all have come; false when they didn't come in time.
  bool WaitFrames(size_t count, std::chrono::seconds limit = std::chrono::seconds(20)) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return frames_.size() >= count; });
  }
  bool WaitFailure(std::chrono::seconds limit = std::chrono::seconds(20)) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [&] { return failures_ > 0; });
  }
  // Waits for a frame after `from` whose format passes `match`; its index, or -1.
  template <class Match>
  int WaitFrameWhere(size_t from, Match match, std::chrono::seconds limit = std::chrono::seconds(20)) {
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
  int Failures() {
    std::lock_guard lock(mutex_);
    return failures_;
  }
  int64_t FailureCounter() {
    std::lock_guard lock(mutex_);
    return failureCounter_;
  }
  std::wstring FailureText() {
    std::lock_guard lock(mutex_);
    return failureText_;
  }
  int32_t StateSeenAtFailure() {
    std::lock_guard lock(mutex_);
    return stateAtFailure_;
  }

  // The callback refuses the frame with this number (once).
  void RefuseAt(int64_t counter) { refuseAt_.store(counter); }
  // From now on every call counts as a call too many.
  void Seal() { sealed_.store(true); }
  int CallsAfterSeal() const { return afterSeal_.load(); }
  // The most calls that were ever inside the callback at once.
  int MostAtOnce() const { return mostAtOnce_.load(); }
  // Frames whose number wasn't 0 or one more than the one before, or whose picture disagreed with it.
  int OutOfOrder() const { return outOfOrder_.load(); }

  TTestPatternEngine* engine = nullptr;  // for the state at a failure

 private:
  HRESULT Take(ICVFrame_I* frame, int64_t counter, const wchar_t* text) {
    const int inside = ++inside_;
    int most = mostAtOnce_.load();
    while (inside > most && !mostAtOnce_.compare_exchange_weak(most, inside)) {
    }
    if (sealed_.load()) ++afterSeal_;
    HRESULT result = S_OK;
    if (!frame) {
      std::lock_guard lock(mutex_);
      ++failures_;
      failureCounter_ = counter;
      failureText_ = text ? text : L"";
      stateAtFailure_ = engine ? engine->State() : 99;
    } else {
      Delivery d;
      d.counter = counter;
      TAvProps props{};
      frame->FormatGet(&props, nullptr);
      d.format = props.video;
      frame->TimeGet(&d.time);
      uint8_t* pixels = nullptr;
      if (SUCCEEDED(frame->PixelsGet(0, &pixels))) d.pictureCounter = TestPatternCounter(pixels, props.video);
      if ((counter != 0 && counter != lastCounter_ + 1) || d.pictureCounter != (counter & 0xFFFF)) ++outOfOrder_;
      lastCounter_ = counter;
      if (counter == refuseAt_.load()) {
        refuseAt_.store(-1);
        result = E_ABORT;
      }
      std::lock_guard lock(mutex_);
      frames_.push_back(d);
    }
    --inside_;
    changed_.notify_all();
    return result;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Delivery> frames_;
  int failures_ = 0;
  int64_t failureCounter_ = 0;
  std::wstring failureText_;
  int32_t stateAtFailure_ = 99;
  int64_t lastCounter_ = -1;  // only the capture thread touches it, and one at a time
  std::atomic<int64_t> refuseAt_{-1};
  std::atomic<bool> sealed_{false};
  std::atomic<int> afterSeal_{0};
  std::atomic<int> inside_{0};
  std::atomic<int> mostAtOnce_{0};
  std::atomic<int> outOfOrder_{0};
};

// A tree with small, fast frames.
inline XMLParse::XMLNodePtr SmallTree(const wchar_t* memory = L"HDYC", double fps = 60.0,
                                      const wchar_t* size = L"200x150") {
  XMLParse::XMLNodePtr root = XMLParse::CoXMLNode::Create(L"t-props");
  root->SetString(L"capture.frame_size", size);
  root->SetString(L"capture.memory_format", memory);
  root->SetDouble(L"capture.fps_limit", fps);
  return root;
}

}  // namespace engine_test
