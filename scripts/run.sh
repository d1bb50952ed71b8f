#!/usr/bin/env bash
# The main job: installs what is missing, builds the host tool and runs its self-check.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/install-deps.sh run
cmake -S . -B build/run -G Ninja -DCMAKE_BUILD_TYPE=Release -DCV_BUILD_TESTS=OFF -DCV_BUILD_BENCH=OFF >/dev/null
cmake --build build/run --target cvcapture -j"$(nproc)"
./build/run/tools/cvcapture/cvcapture --version
