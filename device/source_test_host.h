// A stand-in for the device in the source's tests: counts opens and closes as the device would see them
// and holds a property tree. Its "engine" runs from the first open to the close.
#pragma once

#include <atomic>
#include <mutex>

#include "CVDeviceSCR.h"
#include "device/source_host.h"
#include "framelib/frame_factory.h"
#include "media/auto_obj.h"
#include "media/colour_formats.h"
#include "props/xml_node.h"

class TFakeSourceHost final : public ISourceHost {
 public:
  TFakeSourceHost() : root_(XMLParse::CoXMLNode::Create(L"t-props")) {}

  HRESULT OpenForRead() override {
    std::lock_guard lock(deviceLock_);
    if (!hasEngine) return static_cast<HRESULT>(0x800710D2);
    if (!running_) {
      running_ = true;
      ++opens;
    }
    return S_OK;
  }
  HRESULT LastReaderLeft() override {
    std::lock_guard lock(deviceLock_);
    running_ = false;
    ++closes;
    return S_OK;
  }
  XMLParse::XMLNodePtr PropsRoot() override { return root_; }

  bool Running() {
    std::lock_guard lock(deviceLock_);
    return running_;
  }

  XMLParse::XMLNodePtr root_;
  std::atomic<bool> hasEngine{true};
  std::atomic<int> opens{0};
  std::atomic<int> closes{0};

 private:
  std::mutex deviceLock_;
  bool running_ = false;
};

using SourceFramePtr = TRefPtr<ICVFrame_I>;

// A small picture frame numbered by its start time: frame n lasts from n x duration to (n + 1) x duration.
inline SourceFramePtr MakeNumberedFrame(int64_t n, int64_t duration = 166667, uint32_t flags = 0) {
  TVideoProps v{};
  v.colourFormat = kColourRGB32;
  v.width = 8;
  v.height = -4;
  v.frameRate = 60;
  ICVFrame_I* frame = nullptr;
  TRefPtr<ICVFactory>::Adopt(GetFrameFactory())->FrameCreate(&v, 0, 0, 0, 0, &frame, nullptr);
  TFrameTime t{};
  t.startTime = n * duration;
  t.endTime = (n + 1) * duration;
  t.frameFlags = flags;
  frame->TimeSet(&t);
  return SourceFramePtr::Adopt(frame);
}

inline int64_t FrameNumber(ICVFrame_I* frame, int64_t duration = 166667) {
  TFrameTime t{};
  frame->TimeGet(&t);
  return t.startTime / duration;
}

inline uint32_t FrameFlags(ICVFrame_I* frame) {
  TFrameTime t{};
  frame->TimeGet(&t);
  return t.frameFlags;
}
