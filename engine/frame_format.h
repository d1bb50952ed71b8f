// The output format of the capture: size, pixel format and rate of the frames, from the properties.
#pragma once

#include "media/av_props.h"
#include "props/value_codecs.h"

namespace XMLParse {
class CoXMLNode;
}

// Fall-backs and limits of the size and rate keys.
inline constexpr int32_t kFrameDefaultWidth = 1920;
inline constexpr int32_t kFrameDefaultHeight = 1080;
inline constexpr int32_t kFrameMinWidth = 200;
inline constexpr int32_t kFrameMaxWidth = 7680;
inline constexpr int32_t kFrameMinHeight = 150;
inline constexpr int32_t kFrameMaxHeight = 4800;
inline constexpr double kFrameDefaultRate = 30.0;
inline constexpr double kFrameMinRate = 2.0;
inline constexpr double kFrameMaxRate = 60.0;

// The format of the frames the engine hands out, read from "capture.frame_size", "capture.memory_format"
// and "capture.fps_limit" of `props` (null: every key at its default). "screen" takes the size of
// `screen`, "area" that of `target`. RGB frames are top-down, so they carry a negative height.
TVideoProps BuildFrameFormat(XMLParse::CoXMLNode* props, const TRect& target, const TRect& screen);

// The "%dx%d" size of a text, or false when it isn't one within the limits above.
bool ParseFrameSize(const wchar_t* text, int32_t& width, int32_t& height);
