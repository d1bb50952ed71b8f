#include "media/duration_snap.h"

namespace {

struct TSnapWindow {
  int64_t low;
  int64_t high;
  double exact;
  int64_t rounded;
};

// 60, 59.94, 50, 30, 29.97, 25, 24, 23.976 frames a second.
constexpr TSnapWindow kWindows[] = {
    {166600, 166700, 166666.66666666666, 166667}, {166800, 166900, 166833.33333333334, 166833},
    {199950, 200050, 200000.0, 200000},           {333300, 333400, 333333.3333333333, 333333},
    {333600, 333700, 333666.6666666667, 333667},  {399950, 400050, 400000.0, 400000},
    {416600, 416700, 416666.6666666667, 416667},  {417000, 417200, 417083.3333333333, 417083},
};

}  // namespace

double DurationSnap(int64_t& duration, bool* hit) {
  for (const TSnapWindow& w : kWindows) {
    if (duration >= w.low && duration <= w.high) {
      duration = w.rounded;
      if (hit) *hit = true;
      return w.exact;
    }
  }
  if (hit) *hit = false;
  return static_cast<double>(duration);
}
