// YUV4MPEG2 output: a text header, then each frame as "FRAME\n" and its Y, Cb and Cr planes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tools/cvcapture/pixel_convert.h"

struct TRational {
  int64_t num;
  int64_t den;
};

// A frame rate as a fraction: the broadcast rates of 1000/1001 exactly, others to a thousandth,
// reduced. Rates of 0 or less give 30/1.
TRational RateFraction(double rate);

// "YUV4MPEG2 W1920 H1080 F30:1 Ip A1:1 C422\n"
std::string Y4mHeader(int32_t width, int32_t height, TRational rate, TChroma chroma);
// The bytes of one frame's planes, not counting its "FRAME\n" line.
uint64_t Y4mPlaneBytes(int32_t width, int32_t height, TChroma chroma);

class TY4mWriter {
 public:
  TY4mWriter() = default;
  TY4mWriter(const TY4mWriter&) = delete;
  TY4mWriter& operator=(const TY4mWriter&) = delete;
  ~TY4mWriter();

  // Creates the file and writes the header; false when the file can't be written.
  bool Open(const std::filesystem::path& path, int32_t width, int32_t height, TRational rate, TChroma chroma);
  // The same into a stream the caller owns (standard output): Close flushes it and leaves it open.
  bool OpenStream(std::FILE* stream, int32_t width, int32_t height, TRational rate, TChroma chroma);
  // Whether a picture has the size and chroma given to Open.
  bool Matches(const TPictureView& picture) const;
  // Appends one picture; false when it doesn't match or the write fails.
  bool Write(const TPictureView& picture);
  bool Close();

  bool IsOpen() const { return file_ != nullptr; }
  int64_t Frames() const { return frames_; }

 private:
  bool Start(std::FILE* file, bool owned, int32_t width, int32_t height, TRational rate, TChroma chroma);

  std::FILE* file_ = nullptr;
  bool owned_ = true;
  int32_t width_ = 0;
  int32_t height_ = 0;
  TChroma chroma_ = TChroma::C422;
  std::string planes_;
  int64_t frames_ = 0;
};
