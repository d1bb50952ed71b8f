#include "tools/cvcapture/capture_outputs.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "tools/cvcapture/png_writer.h"

TCaptureOutputs::TCaptureOutputs(std::filesystem::path folder, double fallbackRate)
    : folder_(std::move(folder)), fallbackRate_(fallbackRate) {}

bool TCaptureOutputs::WritePng(const char* name, const TPictureView& view) {
  std::vector<uint8_t> rgb(static_cast<size_t>(view.width) * static_cast<size_t>(view.height) * 3);
  PictureToRgb24(view, rgb.data());
  const std::vector<uint8_t> png = EncodePngRgb(rgb.data(), view.width, view.height);
  return !png.empty() && WriteFileBytes(File(name), png);  // an empty file would pass for a snapshot
}

bool TCaptureOutputs::AddPicture(const TVideoProps& video, const uint8_t* bytes, int64_t size) {
  TPictureView view;
  if (!PictureFromFrame(video, bytes, size, &view)) {
    ++skippedPictures_;
    return true;
  }
  if (!hasVideo_) {
    const TRational rate = RateFraction(video.frameRate > 0 ? video.frameRate : fallbackRate_);
    const TChroma chroma = PlanarChromaOf(view.layout);
    const bool opened = stream_ ? y4m_.OpenStream(stream_, view.width, view.height, rate, chroma)
                                : y4m_.Open(File("video.y4m"), view.width, view.height, rate, chroma);
    if (!opened) return false;
    videoHeader_ = Y4mHeader(view.width, view.height, rate, chroma);
    videoHeader_.pop_back();  // the newline
    hasVideo_ = true;
    if (!stream_ && !WritePng("first.png", view)) return false;
  }
  if (!y4m_.Matches(view)) {
    // Y4M can't change its picture mid-stream: a frame of another size or layout is left out.
    ++skippedPictures_;
    return true;
  }
  return y4m_.Write(view);
}

bool TCaptureOutputs::AddSound(const TAudioProps& audio, const uint8_t* const* planes, int32_t bytesPerChannel) {
  const int32_t step = SourceSampleBytes(audio);
  if (step <= 0 || bytesPerChannel <= 0 || stream_) return true;
  if (!hasAudio_) {
    TWavFormat format;
    if (!WavFormatFor(audio, &format)) {
      ++skippedSounds_;
      return true;
    }
    if (!wav_.Open(File("audio.wav"), format)) return false;
    soundFormat_ = audio;
    hasAudio_ = true;
  }
  if (audio.channels != soundFormat_.channels || audio.sampleRate != soundFormat_.sampleRate ||
      audio.bitsPerSample != soundFormat_.bitsPerSample) {
    ++skippedSounds_;
    return true;
  }
  interleaved_.clear();
  const int32_t samples = bytesPerChannel / step;
  fewestSamples_ = framesWithSound_ == 0 ? samples : std::min(fewestSamples_, samples);
  mostSamples_ = std::max(mostSamples_, samples);
  ++framesWithSound_;
  InterleaveSamples(audio, planes, samples, wav_.Format(), &interleaved_);
  const size_t count = interleaved_.size() / static_cast<size_t>(wav_.Format().BytesPerSample());
  for (size_t i = 0; i < count; ++i) {
    double level;
    if (wav_.Format().isFloat) {
      float f;
      std::memcpy(&f, interleaved_.data() + i * 4, 4);
      level = std::fabs(static_cast<double>(f));
    } else {
      int16_t s;
      std::memcpy(&s, interleaved_.data() + i * 2, 2);
      level = std::fabs(static_cast<double>(s) / 32768.0);
    }
    if (level > peak_) peak_ = level;
  }
  return wav_.Write(interleaved_);
}

bool TCaptureOutputs::WriteLastPicture(const TVideoProps& video, const uint8_t* bytes, int64_t size) {
  if (stream_) return true;
  TPictureView view;
  if (!PictureFromFrame(video, bytes, size, &view)) return true;
  return WritePng("last.png", view);
}

uint64_t TCaptureOutputs::AudioSamples() const {
  const TWavFormat& format = wav_.Format();
  const uint64_t frameBytes = static_cast<uint64_t>(format.channels) * static_cast<uint64_t>(format.BytesPerSample());
  return frameBytes ? wav_.DataBytes() / frameBytes : 0;
}

bool TCaptureOutputs::Finish() {
  const bool video = y4m_.Close();
  const bool audio = wav_.Close();
  return video && audio;
}
