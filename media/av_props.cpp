#include "media/av_props.h"

bool VideoIsValid(const TVideoProps& v) {
  if (v.videoFormat == kVideoFormatDisabled) return false;
  return v.videoFormat > 0 || (v.width > 0 && v.height != 0 && v.colourFormat != 0);
}

bool VideoIsRequest(const TVideoProps& v) {
  return v.frameRate > 0 || v.colourFormat != 0 || v.scan != 0 || (v.aspectX > 0 && v.aspectY > 0) ||
         (v.width > 0 && v.height != 0);
}

bool AudioIsValid(const TAudioProps& a) {
  const bool knownBits = a.bitsPerSample == 16 || a.bitsPerSample == 20 || a.bitsPerSample == 24 ||
                         a.bitsPerSample == 32 || a.bitsPerSample == -32;
  return a.channels >= 1 && a.channels <= 32 && a.sampleRate >= 801 && knownBits;
}

double FrameSpeedHint(uint32_t frameFlags) {
  const int b = static_cast<int>((frameFlags & kFrameFlagSpeedMask) >> 24);
  if (b == 0) return 0.0;
  return b < 64 ? (b - 64) / 63.0 : (b - 64) / 62.0;
}
