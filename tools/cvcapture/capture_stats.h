// What a capture run has seen: frames, repeated frames, and jumps in the frame numbers, which the time
// stamps give (frame n starts at n frame durations).
#pragma once

#include <cstdint>
#include <string>

#include "CVDeviceSCR.h"

// The frame number of a start time at `rate` frames per second; -1 without a time.
int64_t FrameNumberOf(int64_t startTime, double rate);

struct TCaptureFigures {
  int64_t frames = 0;      // frames read
  int64_t duplicates = 0;  // frames that repeat the picture before them
  int64_t gaps = 0;        // places where frame numbers jump forward
  int64_t lost = 0;        // frame numbers skipped by those jumps
  int64_t restarts = 0;    // runs that began again at a lower number
};

class TCaptureStats {
 public:
  // One frame read: its stamps, its rate and whether it is marked as a repeat.
  void OnFrame(const TFrameTime& time, double rate, bool duplicate);
  const TCaptureFigures& Figures() const { return figures_; }

 private:
  TCaptureFigures figures_;
  int64_t lastNumber_ = -1;
};

// Frames per second over `seconds` of wall time; 0 before any time passed.
double AchievedFps(int64_t frames, double seconds);
// "frames 45  fps 29.97  dup 0  gaps 0 (0 lost)"
std::string FiguresLine(const TCaptureFigures& figures, double seconds);
