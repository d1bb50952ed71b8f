// Frames and sound for the inserter's tests: small picture frames of the frame library with the stamps
// of a given duration, and a look at the samples a join left in them.
#pragma once

#include <cstdint>
#include <vector>

#include "CVDeviceSCR.h"
#include "framelib/frame_factory.h"
#include "media/auto_obj.h"
#include "media/colour_formats.h"
#include "platform/sim/audio_sim.h"

namespace inserter_test {

using FramePtr = TRefPtr<ICVFrame_I>;

inline constexpr int64_t kMs = 10000;
inline const cvplat::WaveFormat kMixFloat{cvplat::WaveEncoding::kFloat, 2, 48000, 32, 32, 3};
inline const TAudioProps kRequest{0, 48000, 16, 0};  // what the engine asks for
inline const TAudioProps kFloatStereo{2, 48000, -32, 0};

// A 16 x 8 picture frame at 30 frames a second, stamped [start, end) with `flags`.
inline FramePtr MakeFrame(int64_t start, int64_t end, uint32_t flags = 0, double frameRate = 30.0) {
  TVideoProps v{};
  v.colourFormat = kColourRGB32;
  v.width = 16;
  v.height = -8;
  v.frameRate = frameRate;
  ICVFrame_I* frame = nullptr;
  TRefPtr<ICVFactory> factory = TRefPtr<ICVFactory>::Adopt(GetFrameFactory());
  factory->FrameCreate(&v, 0, 0, 0, 0, &frame, nullptr);
  TFrameTime t{};
  t.startTime = start;
  t.endTime = end;
  t.frameFlags = flags;
  if (frame) frame->TimeSet(&t);
  return FramePtr::Adopt(frame);
}

// The float samples of one channel of a frame; empty when it has no such channel.
inline std::vector<float> Channel(ICVFrame_I* frame, int32_t channel) {
  int32_t bytes = 0;
  uint8_t* samples = nullptr;
  if (FAILED(frame->AudioChannelGet(channel, kAudioChannelRead, &bytes, &samples)) || !samples) return {};
  const auto* f = reinterpret_cast<const float*>(samples);
  return std::vector<float>(f, f + bytes / 4);
}

inline TAudioProps FrameAudio(ICVFrame_I* frame) {
  TAvProps props{};
  frame->FormatGet(&props, nullptr);
  return props.audio;
}

}  // namespace inserter_test
