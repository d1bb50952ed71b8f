#include "device/format_rules.h"

#include <iterator>

#include "media/colour_formats.h"
#include "media/format_table.h"
#include "media/video_format.h"

std::vector<TVideoProps> StockVideoRows() {
  std::vector<TVideoProps> rows;
  rows.reserve(eTVF_Count);
  for (int32_t format = eTVF_Custom; format < eTVF_Disabled; ++format) {
    TVideoProps row{};
    row.videoFormat = format;
    VideoNormalise(row, false);
    rows.push_back(row);
  }
  TVideoProps disabled{};
  disabled.videoFormat = eTVF_Disabled;
  rows.push_back(disabled);
  return rows;
}

std::vector<TAudioProps> StockAudioRows() {
  static constexpr int32_t kBits[] = {16, -32, 32};
  static constexpr int32_t kRates[] = {48000, 44100, 32000, 22050, 16000, 11025, 8000};
  static constexpr int32_t kChannels[] = {2, 4, 6, 8, 10, 12, 14, 16, 1};
  std::vector<TAudioProps> rows;
  rows.reserve(2 + std::size(kBits) * std::size(kRates) * std::size(kChannels));
  rows.push_back(TAudioProps{});
  for (int32_t bits : kBits) {
    for (int32_t rate : kRates) {
      for (int32_t channels : kChannels) rows.push_back(TAudioProps{channels, rate, bits, 0});
    }
  }
  rows.push_back(TAudioProps{-1, 0, 0, 0});
  return rows;
}

namespace {

bool StandardDefinition(const TVideoProps& v) {
  const int32_t lines = LineCount(v.height);
  if (v.width == 720 && (lines == 576 || lines == 486 || lines == 480)) return true;
  const int32_t index = FormatIndex(v.videoFormat);
  const TVideoFormatRow* row = index > 0 ? VideoFormatRow(index) : nullptr;
  return row && row->formatClass == 0;
}

bool Rgb32Family(uint32_t colour) { return colour == kColourARGB32 || colour == kColourRGB32; }

}  // namespace

void OutputColourDefault(TVideoProps& request, uint32_t outputColour) {
  if (request.colourFormat != 0) return;
  request.colourFormat = outputColour;
  if (StandardDefinition(request)) {
    if (request.colourFormat == kColourHDYC) request.colourFormat = kColourUYVY;
  } else if (request.colourFormat == kColourUYVY) {
    request.colourFormat = kColourHDYC;
  }
}

TAvProps EffectiveFormat(const TAvProps& src, const TAvProps& output, const TVideoProps& adjust) {
  TAvProps e = src;
  TVideoProps& v = e.video;
  // Field order requests: 4 swaps the fields, 5 asks for progressive frames (made from top field first).
  if (adjust.scan == 4) {
    if (v.scan == 1) {
      v.scan = 2;
    } else if (v.scan == 2) {
      v.scan = 1;
    }
    v.videoFormat = 0;
  } else if (adjust.scan == 5) {
    v.scan = 1;
    v.videoFormat = 0;
  } else if (adjust.scan != 0 && adjust.scan != 3 && v.frameRate < 35) {
    // Fields only make sense at frame rates where interlaced video exists.
    v.scan = adjust.scan;
    v.videoFormat = 0;
  }
  if (adjust.aspectX != 0 && adjust.aspectY != 0) {
    v.aspectX = adjust.aspectX;
    v.aspectY = adjust.aspectY;
  }
  if (adjust.aspectMode != 0) v.aspectMode = adjust.aspectMode;
  if (adjust.frameRate != 0) {
    v.frameRate = adjust.frameRate;
    v.videoFormat = 0;
  }
  // Only the alpha of 32-bit RGB may be asked for; any other colour change is the host's own.
  if (Rgb32Family(adjust.colourFormat) && Rgb32Family(v.colourFormat)) v.colourFormat = adjust.colourFormat;

  if (VideoIsRequest(output.video) || output.video.videoFormat == kVideoFormatDisabled) {
    v = VideoMerge(&output.video, &v);
  }
  if (adjust.scan == 5) v.scan = 3;

  if (output.audio.channels != 0) e.audio.channels = output.audio.channels;
  if (output.audio.bitsPerSample != 0) e.audio.bitsPerSample = output.audio.bitsPerSample;
  if (output.audio.sampleRate > 0) e.audio.sampleRate = output.audio.sampleRate;
  return e;
}
