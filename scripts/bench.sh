#!/usr/bin/env bash
# Builds and runs the benchmarks: all of them on Linux, the timing programs also under Wine.
# Figures are for reading, never for asserting; medians of 5 repetitions where Google Benchmark runs.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh test
timing=(bench_timed_wait bench_rate_timer)
gbench=(bench_formats bench_primitives bench_props bench_overlay bench_text bench_convert bench_cpu_gpu bench_repeat_frame bench_marks bench_audio_join)

cmake --preset linux >/dev/null
cmake --build --preset linux --target "${timing[@]}" "${gbench[@]}"
for b in "${timing[@]}"; do ./build/linux/bench/"$b"; done
for b in "${gbench[@]}"; do
  ./build/linux/bench/"$b" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
done
# The engine capturing a real X desktop beside ffmpeg's x11grab, on X servers of its own.
bash scripts/bench-x11.sh

cmake --preset win64 >/dev/null
cmake --build --preset win64 --target "${timing[@]}" bench_capture_modes
# The shot modes on Wine's desktop (an Xvfb screen of 1920x1080) and Direct3D on Mesa's software
# rasteriser: CPU figures, not a GPU's.
for b in "${timing[@]}" bench_capture_modes; do
  WINEPREFIX="$root/build/win64/wineprefix" bash scripts/with-xvfb.sh \
    bash scripts/wine-run.sh ./build/win64/bench/"$b".exe
done
