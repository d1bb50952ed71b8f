#include "engine/frame_format.h"

#include <cstdlib>
#include <numeric>
#include <string>

#include "media/colour_formats.h"
#include "media/video_format.h"
#include "props/text_chars.h"
#include "props/xml_node.h"

namespace {

using cv_text::EqualsNoCase;

// One "%d" conversion: leading white space, a sign, digits. A value beyond 32 bits saturates, which
// puts it out of every range the caller accepts.
bool ScanInt(const wchar_t*& p, int32_t& value) {
  while (cv_text::IsAsciiSpace(*p)) ++p;
  const wchar_t* q = p;
  bool negative = false;
  if (*q == L'+' || *q == L'-') negative = (*q++ == L'-');
  if (*q < L'0' || *q > L'9') return false;
  int64_t v = 0;
  for (; *q >= L'0' && *q <= L'9'; ++q) {
    if (v < INT32_MAX) v = v * 10 + (*q - L'0');
  }
  if (v > INT32_MAX) v = INT32_MAX;
  value = static_cast<int32_t>(negative ? -v : v);
  p = q;
  return true;
}

}  // namespace

bool ParseFrameSize(const wchar_t* text, int32_t& width, int32_t& height) {
  if (!text) return false;
  const wchar_t* p = text;
  int32_t w = 0;
  int32_t h = 0;
  // The literal 'x' must follow the width at once, as in a scan with "%dx%d"; "1920X1080" doesn't match.
  if (!ScanInt(p, w) || *p != L'x') return false;
  ++p;
  if (!ScanInt(p, h)) return false;
  if (w < kFrameMinWidth || w > kFrameMaxWidth || h < kFrameMinHeight || h > kFrameMaxHeight) return false;
  width = w;
  height = h;
  return true;
}

TVideoProps BuildFrameFormat(XMLParse::CoXMLNode* props, const TRect& target, const TRect& screen) {
  const std::wstring size = props ? props->GetString(L"capture.frame_size", L"1920x1080") : L"1920x1080";
  const std::wstring memory = props ? props->GetString(L"capture.memory_format", L"HDYC") : L"HDYC";
  const double fps = props ? props->GetDouble(L"capture.fps_limit", kFrameDefaultRate) : kFrameDefaultRate;

  int32_t width = kFrameDefaultWidth;
  int32_t height = kFrameDefaultHeight;
  if (EqualsNoCase(size, L"screen")) {
    width = screen.right - screen.left;
    height = screen.bottom - screen.top;
  } else if (EqualsNoCase(size, L"area")) {
    width = target.right - target.left;
    height = target.bottom - target.top;
  } else if (!ParseFrameSize(size.c_str(), width, height)) {
    width = kFrameDefaultWidth;
    height = kFrameDefaultHeight;
  }

  TVideoProps v{};
  v.colourFormat = EqualsNoCase(memory, L"HDYC") ? kColourHDYC : kColourRGB32;
  v.width = width;
  v.height = -height;
  v.frameRate = (fps >= kFrameMinRate && fps <= kFrameMaxRate) ? fps : kFrameDefaultRate;
  VideoNormalise(v, false);
  v.videoFormat = 0;
  v.scan = 3;
  if (v.aspectX == 0 || v.aspectY == 0) {
    const int32_t w = std::abs(v.width);
    const int32_t h = std::abs(v.height);
    const int32_t g = std::gcd(w, h);
    if (g > 0) {
      v.aspectX = static_cast<int16_t>(w / g);
      v.aspectY = static_cast<int16_t>(h / g);
    }
  }
  return v;
}
