#include "media/video_format.h"

#include <cmath>

#include "media/colour_formats.h"
#include "media/format_table.h"
#include "media/video_detect.h"

namespace {

constexpr int32_t kFirstHDHeight = 626;  // lines above any SD raster: HD colour from here on
constexpr int32_t kNTSCActiveLines = 480;

bool AspectSet(const TVideoProps& v) { return v.aspectX > 0 && v.aspectY > 0; }

bool IsNTSCFamily(int32_t format) {
  const int32_t i = FormatIndex(format);
  return i >= eTVF_NTSC && i <= eTVF_NTSC_16x9;
}

int32_t WithSign(int32_t magnitude, bool negative) { return negative ? -magnitude : magnitude; }

// The record as the table describes its format; false for a row with no picture.
bool TableRecord(const TVideoProps& v, TVideoProps& r) {
  const TVideoFormatRow* row = VideoFormatRow(v.videoFormat);
  if (!row || row->Rate() <= 0) return false;
  r = TVideoProps{};
  r.videoFormat = v.videoFormat;
  r.colourFormat = v.colourFormat ? v.colourFormat : FormatClassColour(row->formatClass);
  r.width = LayoutWidth(v.videoFormat, row->width);
  r.height = LayoutHeight(v.videoFormat, row->height);
  if (ColourIsRGB(r.colourFormat)) r.height = -r.height;  // RGB lines run bottom-up
  r.rowBytes = ColourRowBytes(r.colourFormat, r.width);
  r.scan = row->scan;
  r.aspectX = row->aspectX;
  r.aspectY = row->aspectY;
  r.frameRate = row->Rate();
  // The format word alone names the layout; the aspect mode is the one field a record brings along.
  r.layoutFlags = v.videoFormat & (kLayoutBits | kLayoutAuto);
  r.aspectMode = v.aspectMode;
  return true;
}

// A delivered picture may carry the row's vertical blanking, and NTSC is often cut to its active lines.
void TakeOutputHeight(const TVideoProps& v, TVideoProps& r) {
  if (v.height == 0) return;
  const TVideoFormatRow& row = *VideoFormatRow(v.videoFormat);
  const int32_t rowLines = LineCount(r.height);
  const int32_t lines = LineCount(v.height);
  const bool inBlanking = lines >= rowLines && lines <= rowLines + row.extraLines;
  const bool ntscActive = lines == kNTSCActiveLines && IsNTSCFamily(v.videoFormat);
  r.height = inBlanking || ntscActive ? v.height : WithSign(rowLines, v.height < 0);
}

// What the caller gave wins over the table; the format word follows the numbers.
void TakeGivenFields(const TVideoProps& v, TVideoProps& r) {
  if (v.frameRate != 0 && v.width != 0 && v.height != 0) r.videoFormat = VideoDetect(v, true);
  if (v.rowBytes != 0) r.rowBytes = v.rowBytes;
  if (AspectSet(v)) {  // a pair with a part at or below 0 says nothing about the shape
    r.aspectX = v.aspectX;
    r.aspectY = v.aspectY;
  }
  if (v.width != 0) {
    r.width = v.width;
    if (v.rowBytes == 0) r.rowBytes = ColourRowBytes(r.colourFormat, r.width);
  }
  if (v.scan != 0) r.scan = v.scan;
  if (LineCount(v.height) >= 2) {
    r.height = v.height;
  } else if (v.height != 0) {
    r.height = WithSign(LineCount(r.height), v.height < 0);  // 1 or -1 only says which way up
  }
}

}  // namespace

int32_t VideoNormalise(TVideoProps& v, bool output) {
  if (FormatIndex(v.videoFormat) == eTVF_Disabled) return v.videoFormat;
  if (v.aspectX == 0 || v.aspectY == 0) v.aspectX = v.aspectY = 0;

  if (v.videoFormat == 0) {
    v.videoFormat = VideoDetect(v, !output);
  } else {
    TVideoProps r;
    if (!TableRecord(v, r)) return 0;
    if (output) {
      TakeOutputHeight(v, r);
    } else {
      TakeGivenFields(v, r);
    }
    v = r;
  }

  if (v.videoFormat & kLayoutPacking) v.layoutFlags = v.videoFormat & kLayoutBits;
  if (output && v.width >= 1 && v.height != 0) {
    if (v.scan < 1 || v.scan > 3) v.scan = 3;
    if (v.colourFormat == 0) v.colourFormat = LineCount(v.height) < kFirstHDHeight ? kColourUYVY : kColourHDYC;
  }
  if (!ColourIsRGB(v.colourFormat)) {
    v.width &= ~1;  // YUV formats share chroma between pixel pairs
    v.height = LineCount(v.height);
  }
  if (v.scan == 1 || v.scan == 2) v.height = WithSign(LineCount(v.height) & ~1, v.height < 0);
  const int32_t minRow = ColourRowBytes(v.colourFormat, v.width);
  if (v.rowBytes < minRow) v.rowBytes = minRow;
  return v.videoFormat;
}

TVideoProps VideoMerge(const TVideoProps* request, const TVideoProps* base) {
  const TVideoProps b = base ? *base : TVideoProps{};
  if (!request) return b;
  TVideoProps out = *request;
  if (FormatIndex(out.videoFormat) == eTVF_Disabled) return out;

  if (out.colourFormat == 0) out.colourFormat = b.colourFormat;
  if (out.aspectMode == 0) out.aspectMode = b.aspectMode;
  if (out.scan == 0) out.scan = b.scan;
  if (out.width == 0 || out.height == 0) {
    out.width = b.width;
    out.height = b.height;
    out.rowBytes = ColourRowBytes(out.colourFormat, out.width);
  }
  if (!AspectSet(out)) {
    out.aspectX = b.aspectX;
    out.aspectY = b.aspectY;
  }
  if (!(out.frameRate > 0)) out.frameRate = b.frameRate;
  if (out.colourFormat == 0 && out.width > 0 && out.height != 0)
    out.colourFormat = LineCount(out.height) < 720 ? kColourUYVY : kColourHDYC;
  if (out.rowBytes == 0) out.rowBytes = ColourRowBytes(out.colourFormat, out.width);
  if (!ColourIsRGB(out.colourFormat)) out.width &= ~1;
  return out;
}

namespace {

bool AspectsDiffer(const TVideoProps& a, const TVideoProps& b) {
  if (!AspectSet(a) || !AspectSet(b)) return false;
  if (a.aspectMode == 1 || b.aspectMode == 1) return false;
  return a.aspectX != b.aspectX || a.aspectY != b.aspectY;
}

bool SamePicture(const TVideoProps& a, const TVideoProps& b) {
  return a.colourFormat == b.colourFormat && a.width == b.width && a.height == b.height && a.scan == b.scan &&
         !AspectsDiffer(a, b);
}

}  // namespace

bool VideoEqual(const TVideoProps& a, const TVideoProps& b, int level) {
  TVideoProps x = a;
  TVideoProps y = b;
  VideoNormalise(x, false);
  VideoNormalise(y, false);
  if (level > 0) {
    if (x.width != y.width || LineCount(x.height) != LineCount(y.height)) return false;
    if (level >= 2 && x.colourFormat != y.colourFormat) return false;
    if (level >= 3 && x.rowBytes != y.rowBytes) return false;
    return true;
  }
  if (x.videoFormat != 0 && x.videoFormat == y.videoFormat && SamePicture(x, y)) return true;
  return std::fabs(x.frameRate - y.frameRate) < 0.01 && SamePicture(x, y) && x.layoutFlags == y.layoutFlags &&
         x.aspectMode == y.aspectMode;
}

bool AudioEqual(const TAudioProps& a, const TAudioProps& b) {
  return a.channels == b.channels && a.bitsPerSample == b.bitsPerSample && a.sampleRate == b.sampleRate;
}

int AvCompare(const TAvProps& a, const TAvProps& b, int level) {
  const bool video = VideoEqual(a.video, b.video, level);
  const bool audio = AudioEqual(a.audio, b.audio);
  if (video && audio) return 1;
  if (audio) return -1;
  return video ? -2 : -3;
}
