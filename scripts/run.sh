#!/usr/bin/env bash
# The main job: installs what is missing, builds the host tool with the module beside it, shows the
# tool's version, and captures 90 frames into build/run/capture (video.y4m, audio.wav, first.png,
# last.png), printing the capture's summary.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh run
cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=Release -DCV_BUILD_TESTS=OFF -DCV_BUILD_BENCH=OFF >/dev/null
cmake --build build/run --target cvcapture -j"$(nproc)"
./build/run/tools/cvcapture/cvcapture --version
# The capture shoots the desktop. Without a display of our own (a server, CI) it shoots a private X
# server's, which shows an empty screen; a moving picture on it comes later.
if [ -n "${DISPLAY:-}" ]; then
  ./build/run/tools/cvcapture/cvcapture capture --frames 90 --out build/run/capture
else
  bash scripts/with-xvfb.sh ./build/run/tools/cvcapture/cvcapture capture --frames 90 --out build/run/capture
fi
