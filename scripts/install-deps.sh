#!/usr/bin/env bash
# Installs the Debian 12 packages that a job of this project needs and are missing.
# usage: install-deps.sh run|test
set -euo pipefail
job=${1:?usage: install-deps.sh run|test}

run_pkgs=(cmake ninja-build g++ ccache pkg-config libx11-dev libxext-dev libxdamage-dev libxfixes-dev libxi-dev libxtst-dev
  zlib1g-dev
  libfreetype-dev libfontconfig-dev fonts-dejavu-core xvfb libpulse-dev)
test_pkgs=("${run_pkgs[@]}"
  googletest libgtest-dev libgmock-dev libbenchmark-dev libpugixml-dev
  g++-mingw-w64-x86-64 g++-mingw-w64-i686 mingw-w64-tools wine64 libwine libz-mingw-w64-dev
  x11-utils x11-xserver-utils openbox pulseaudio pulseaudio-utils
  clang libclang-rt-14-dev
  libsoxr-dev libspeexdsp-dev libyuv-dev
  ffmpeg)

case "$job" in
  run) wanted=("${run_pkgs[@]}") ;;
  test) wanted=("${test_pkgs[@]}") ;;
  *) echo "install-deps: unknown job '$job' (run|test)" >&2; exit 2 ;;
esac

missing=()
for p in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "install-deps: installing ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
"${sudo_cmd[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
