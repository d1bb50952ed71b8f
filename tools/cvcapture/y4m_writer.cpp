#include "tools/cvcapture/y4m_writer.h"

#include <cmath>
#include <numeric>

#include "tools/cvcapture/file_open.h"

TRational RateFraction(double rate) {
  if (!(rate > 0)) return {30, 1};
  // 23.976, 29.97, 59.94 and their kin are n * 1000 / 1001.
  const double ntsc = rate * 1.001;
  if (std::fabs(ntsc - std::round(ntsc)) < 1e-3 && std::fabs(rate - std::round(rate)) > 1e-3)
    return {static_cast<int64_t>(std::llround(ntsc)) * 1000, 1001};
  int64_t num = std::llround(rate * 1000.0);
  int64_t den = 1000;
  const int64_t divisor = std::gcd(num, den);
  return {num / divisor, den / divisor};
}

std::string Y4mHeader(int32_t width, int32_t height, TRational rate, TChroma chroma) {
  return "YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) + " F" + std::to_string(rate.num) +
         ":" + std::to_string(rate.den) + " Ip A1:1 " + (chroma == TChroma::C444 ? "C444" : "C422") + "\n";
}

uint64_t Y4mPlaneBytes(int32_t width, int32_t height, TChroma chroma) {
  const uint64_t lines = static_cast<uint64_t>(height);
  return static_cast<uint64_t>(width) * lines + 2 * static_cast<uint64_t>(ChromaWidth(chroma, width)) * lines;
}

TY4mWriter::~TY4mWriter() { Close(); }

bool TY4mWriter::Open(const std::filesystem::path& path, int32_t width, int32_t height, TRational rate,
                      TChroma chroma) {
  Close();
  std::FILE* file = OpenFile(path, "wb");
  if (!file) return false;
  return Start(file, true, width, height, rate, chroma);
}

bool TY4mWriter::OpenStream(std::FILE* stream, int32_t width, int32_t height, TRational rate, TChroma chroma) {
  Close();
  return stream && Start(stream, false, width, height, rate, chroma);
}

bool TY4mWriter::Start(std::FILE* file, bool owned, int32_t width, int32_t height, TRational rate, TChroma chroma) {
  file_ = file;
  owned_ = owned;
  width_ = width;
  height_ = height;
  chroma_ = chroma;
  frames_ = 0;
  planes_.assign(Y4mPlaneBytes(width, height, chroma), '\0');
  const std::string header = Y4mHeader(width, height, rate, chroma);
  return std::fwrite(header.data(), 1, header.size(), file_) == header.size();
}

bool TY4mWriter::Matches(const TPictureView& picture) const {
  return picture.width == width_ && picture.height == height_ && picture.layout != TPixelLayout::Unknown &&
         PlanarChromaOf(picture.layout) == chroma_;
}

bool TY4mWriter::Write(const TPictureView& picture) {
  if (!file_ || !Matches(picture)) return false;
  auto* y = reinterpret_cast<uint8_t*>(planes_.data());
  const size_t lumaBytes = static_cast<size_t>(width_) * static_cast<size_t>(height_);
  const size_t chromaBytes = static_cast<size_t>(ChromaWidth(chroma_, width_)) * static_cast<size_t>(height_);
  PictureToPlanar(picture, y, y + lumaBytes, y + lumaBytes + chromaBytes);
  static const char kFrame[] = "FRAME\n";
  if (std::fwrite(kFrame, 1, 6, file_) != 6) return false;
  if (std::fwrite(planes_.data(), 1, planes_.size(), file_) != planes_.size()) return false;
  ++frames_;
  return true;
}

bool TY4mWriter::Close() {
  if (!file_) return true;
  const bool ok = owned_ ? std::fclose(file_) == 0 : std::fflush(file_) == 0;
  file_ = nullptr;
  return ok;
}
