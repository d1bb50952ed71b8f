// How closely does TRateTimer hold a producer to its frames' moments? Paces FRAMES frames at 30 and at
// 60 fps through WaitFrame, as a capture loop does (stamps n x d, the first frame opens the run), and
// prints median, 99th percentile and maximum of each release's distance from its ideal moment: the
// start of the run plus the frame's start on the output time line. The first frame, held for its own
// duration by design, is left out.
// usage: bench_rate_timer [FRAMES]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/latency_stats.h"
#include "framelib/frame_factory.h"
#include "media/rate_timer.h"
#include "media/time_math.h"
#include "platform/kernel.h"
#include "platform/system.h"

namespace {

// Deviations in microseconds (positive: released late) of `frames` frames paced at `fps`.
std::vector<double> Pace(double fps, int frames) {
  ICVFactory* factory = GetFrameFactory();
  ICVFrame_I* frame = nullptr;
  factory->FrameAlloc(0, &frame);
  factory->Release();
  TAvProps props{};
  props.video.frameRate = fps;
  frame->FormatSet(&props, nullptr);

  TRateTimer timer;
  std::vector<double> deviation;
  const double duration = 1e7 / fps;
  int64_t runStart = 0;
  int64_t firstStart = 0;
  for (int n = 0; n < frames; ++n) {
    TFrameTime t{};
    t.startTime = RoundHalfAway(n * duration);
    t.endTime = RoundHalfAway((n + 1) * duration);
    t.frameFlags = n == 0 ? kFrameFlagGap : 0;
    frame->TimeSet(&t);
    const int64_t before = cvplat::PerformanceCounter();
    TRateTimerStep step{};
    timer.WaitFrame(frame, nullptr, 0, -1, &step);
    const int64_t released = cvplat::PerformanceCounter();
    if (n == 0) {
      runStart = before;
      firstStart = step.start;
      continue;
    }
    const double ideal = Us(runStart) + static_cast<double>(step.start - firstStart) / 10.0;
    deviation.push_back(Us(released) - ideal);
  }
  frame->Release();
  return deviation;
}

}  // namespace

int main(int argc, char** argv) {
  const int frames = argc > 1 ? std::max(10, std::atoi(argv[1])) : 1000;
  std::printf("rate-timer release deviation on %s, %d frames each (positive: released late)\n",
              cvplat::PlatformName(), frames);
  const bool fine = cvplat::BeginTimerResolution1ms();
  for (double fps : {30.0, 60.0}) {
    const Stats s = Summarise(Pace(fps, frames));
    std::printf("TRateTimer::WaitFrame %5.1f fps  median %+9.1f us  p99 %+9.1f us  max %+9.1f us\n", fps, s.median_us,
                s.p99_us, s.max_us);
  }
  if (fine) cvplat::EndTimerResolution1ms();
  return 0;
}
