#!/usr/bin/env bash
# The main job: installs what is missing, builds the host tool with the module beside it, shows the
# tool's version, and captures 90 frames into build/run/capture (video.y4m, first.png, last.png, and
# audio.wav when there is sound), printing the capture's summary.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh run
cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=Release -DCV_BUILD_TESTS=OFF -DCV_BUILD_BENCH=OFF >/dev/null
cmake --build build/run --target cvcapture -j"$(nproc)"
./build/run/tools/cvcapture/cvcapture --version
# The capture records the desktop of DISPLAY. Without one (a server, CI) the tool starts a private X
# server with moving content of its own and records that.
./build/run/tools/cvcapture/cvcapture capture --frames 90 --out build/run/capture
