#include "engine/frame_stamp.h"

#include <cmath>

#include "media/duration_snap.h"
#include "media/timecode.h"
#include "props/xml_node.h"

double FrameDuration(double rate) {
  double d = rate > 0 ? 10'000'000.0 / rate : 333666.666666;
  int64_t rounded = std::llround(d);
  bool known = false;
  const double exact = DurationSnap(rounded, &known);
  if (known) d = exact;
  return d;
}

HRESULT StampFrame(double rate, XMLParse::CoXMLNode* props, ICVFrame_I* frame, int64_t n) {
  if (!frame) return S_FALSE;
  const double d = FrameDuration(rate);
  TFrameTime t{};
  t.startTime = std::llround(static_cast<double>(n) * d);
  t.endTime = std::llround(static_cast<double>(n + 1) * d);
  const bool drop = props ? props->GetBool(L"timecode.drop_frame", true) : true;
  TimecodeFromFrame(static_cast<int32_t>(static_cast<uint32_t>(n)), rate, drop, t);
  t.frameFlags = n == 0 ? (kFrameFlagCounterStamps | kFrameFlagGap) : kFrameFlagCounterStamps;
  return frame->TimeSet(&t);
}
