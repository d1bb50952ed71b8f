// What the software loop asks of the frame library's conversion: the final size and pixel format of a
// frame and the option text that tells the library how the picture fits that size. The engine builds
// the text and never reads it back.
#pragma once

#include <cstdint>
#include <string>

#include "media/av_props.h"

namespace XMLParse {
class CoXMLNode;
}

struct TScaleOptions {
  std::wstring options;  // "scale-type='...'", with " async_id='screen-cap'" when asked for
  int32_t width;
  int32_t height;
  uint32_t pixelFormat;
};

// From "capture.software_scaling" and "capture.async_resize" of `props` (null: both missing) and the
// output format. Only an ARGB32 request passes the height's sign, and with it the row order, on to the
// library; every other format is asked for by the height's magnitude.
TScaleOptions BuildScaleOptions(XMLParse::CoXMLNode* props, const TVideoProps& format);
