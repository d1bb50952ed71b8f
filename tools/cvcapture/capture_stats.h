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
  // One frame read at `wallSeconds` of the run: its stamps, its rate and whether it is marked as a repeat.
  void OnFrame(const TFrameTime& time, double rate, bool duplicate, double wallSeconds);
  const TCaptureFigures& Figures() const { return figures_; }
  // Frames per second from the first frame to the last, so the start of the capture doesn't count;
  // 0 before two frames came.
  double AchievedFps() const;

 private:
  TCaptureFigures figures_;
  int64_t lastNumber_ = -1;
  double firstAt_ = 0;
  double lastAt_ = 0;
};

// "frames 45  fps 29.97  dup 0  gaps 0 (0 lost)"
std::string FiguresLine(const TCaptureFigures& figures, double fps);
