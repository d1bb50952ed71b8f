#include "tools/cvcapture/capture_stats.h"

#include <cmath>
#include <cstdio>

int64_t FrameNumberOf(int64_t startTime, double rate) {
  if (startTime == kNoTime || !(rate > 0)) return -1;
  return std::llround(static_cast<double>(startTime) * rate / static_cast<double>(kTimeUnitsPerSecond));
}

void TCaptureStats::OnFrame(const TFrameTime& time, double rate, bool duplicate, double wallSeconds) {
  if (figures_.frames == 0) firstAt_ = wallSeconds;
  lastAt_ = wallSeconds;
  ++figures_.frames;
  if (duplicate) ++figures_.duplicates;
  const int64_t number = FrameNumberOf(time.startTime, rate);
  if (number < 0) return;
  if (lastNumber_ >= 0) {
    if (number <= lastNumber_) {
      // The numbers begin again when the capture restarts, e.g. after a change of pixel format.
      ++figures_.restarts;
    } else if (number > lastNumber_ + 1) {
      ++figures_.gaps;
      figures_.lost += number - lastNumber_ - 1;
    }
  }
  lastNumber_ = number;
}

double TCaptureStats::AchievedFps() const {
  const double span = lastAt_ - firstAt_;
  return figures_.frames >= 2 && span > 0 ? static_cast<double>(figures_.frames - 1) / span : 0.0;
}

std::string FiguresLine(const TCaptureFigures& figures, double fps) {
  char line[160];
  std::snprintf(line, sizeof line, "frames %lld  fps %.2f  dup %lld  gaps %lld (%lld lost)",
                static_cast<long long>(figures.frames), fps,
                static_cast<long long>(figures.duplicates), static_cast<long long>(figures.gaps),
                static_cast<long long>(figures.lost));
  std::string text = line;
  if (figures.restarts > 0) text += "  restarts " + std::to_string(figures.restarts);
  return text;
}
