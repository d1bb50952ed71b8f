// The files of a capture: video.y4m from every picture, audio.wav from the frames' samples, and
// first.png / last.png. Fed with plain bytes, so it is tested without a device.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "CVDeviceSCR.h"
#include "tools/cvcapture/wav_writer.h"
#include "tools/cvcapture/y4m_writer.h"

class TCaptureOutputs {
 public:
  // `fallbackRate`: the rate when the first frame carries none.
  TCaptureOutputs(std::filesystem::path folder, double fallbackRate);
  // The video goes to `stream` instead (standard output), and nothing else is written: no pictures, no
  // sound file. Call before the first frame.
  void StreamVideoTo(std::FILE* stream) { stream_ = stream; }
  bool Streaming() const { return stream_ != nullptr; }

  // One frame's picture. The first opens video.y4m with its size and writes first.png; a picture of
  // another size or layout is counted as skipped. False only when a file can't be written.
  bool AddPicture(const TVideoProps& video, const uint8_t* bytes, int64_t size);
  // One frame's sound: `bytesPerChannel` bytes at each of `audio.channels` planes. The first opens
  // audio.wav; sound of another format is counted as skipped.
  bool AddSound(const TAudioProps& audio, const uint8_t* const* planes, int32_t bytesPerChannel);
  // A frame that carried no sound, for the count of samples per frame.
  void AddFrameWithoutSound() { ++framesWithoutSound_; }
  // last.png from the frame that came last.
  bool WriteLastPicture(const TVideoProps& video, const uint8_t* bytes, int64_t size);
  // Closes the files, writing the WAV sizes.
  bool Finish();

  int64_t VideoFrames() const { return y4m_.Frames(); }
  int64_t SkippedPictures() const { return skippedPictures_; }
  int64_t SkippedSounds() const { return skippedSounds_; }
  uint64_t AudioSamples() const;  // per channel
  double AudioPeak() const { return peak_; }  // 0..1 over all samples
  // Samples per channel on the frames that carried sound, and the frames that carried none.
  int64_t FramesWithSound() const { return framesWithSound_; }
  int64_t FramesWithoutSound() const { return framesWithoutSound_; }
  int32_t FewestSamplesPerFrame() const { return fewestSamples_; }
  int32_t MostSamplesPerFrame() const { return mostSamples_; }
  bool HasVideo() const { return hasVideo_; }
  bool HasAudio() const { return hasAudio_; }
  const std::string& VideoHeader() const { return videoHeader_; }
  const TWavFormat& AudioFormat() const { return wav_.Format(); }
  std::filesystem::path File(const char* name) const { return folder_ / name; }

 private:
  bool WritePng(const char* name, const TPictureView& view);

  std::filesystem::path folder_;
  std::FILE* stream_ = nullptr;
  double fallbackRate_;
  TY4mWriter y4m_;
  TWavWriter wav_;
  TAudioProps soundFormat_{};
  std::string videoHeader_;
  bool hasVideo_ = false;
  bool hasAudio_ = false;
  int64_t skippedPictures_ = 0;
  int64_t skippedSounds_ = 0;
  double peak_ = 0;
  int64_t framesWithSound_ = 0;
  int64_t framesWithoutSound_ = 0;
  int32_t fewestSamples_ = 0;
  int32_t mostSamples_ = 0;
  std::vector<uint8_t> interleaved_;
};
