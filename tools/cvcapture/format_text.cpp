#include "tools/cvcapture/format_text.h"

#include <cstdio>

#include "tools/cvcapture/pixel_convert.h"

std::string ColourName(uint32_t colourFormat) {
  if (colourFormat == 0) return "none";
  if (colourFormat == kColourCodeRGB32) return "RGB32";
  if (colourFormat == kColourCodeARGB32) return "ARGB32";
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) {
    const char c = static_cast<char>(colourFormat >> shift & 0xFF);
    if (c < 0x20 || c > 0x7E) {
      char hex[16];
      std::snprintf(hex, sizeof hex, "0x%08X", static_cast<unsigned>(colourFormat));
      return hex;
    }
    text += c;
  }
  return text;
}

std::string VideoText(const TVideoProps& video) {
  if (video.width == 0 && video.height == 0 && video.colourFormat == 0 && video.frameRate == 0 && video.videoFormat == 0)
    return "none";
  static const char* const kScan[] = {"", " top field first", " bottom field first", " progressive"};
  const char* scan = video.scan >= 0 && video.scan <= 3 ? kScan[video.scan] : "";
  char text[160];
  std::snprintf(text, sizeof text, "%dx%d %s %.3f fps%s", video.width, video.height < 0 ? -video.height : video.height,
                ColourName(video.colourFormat).c_str(), video.frameRate, scan);
  return text;
}

std::string AudioText(const TAudioProps& audio) {
  if (audio.channels <= 0) return "no audio";
  char text[96];
  const int bits = audio.bitsPerSample < 0 ? -audio.bitsPerSample : audio.bitsPerSample;
  std::snprintf(text, sizeof text, "%d ch %d Hz %d-bit%s", audio.channels, audio.sampleRate, bits,
                audio.bitsPerSample < 0 ? " float" : "");
  return text;
}
