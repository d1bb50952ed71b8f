#!/usr/bin/env bash
# Builds and runs the benchmarks on Linux and, where a win64 build exists, under Wine.
# usage: bench.sh [ROUNDS]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh test
cmake --preset linux >/dev/null
cmake --build --preset linux --target bench_timed_wait
./build/linux/bench/bench_timed_wait "$@"
cmake --preset win64 >/dev/null
cmake --build --preset win64 --target bench_timed_wait
WINEPREFIX="$root/build/win64/wineprefix" bash scripts/with-xvfb.sh \
  bash scripts/wine-run.sh ./build/win64/bench/bench_timed_wait.exe "$@"
