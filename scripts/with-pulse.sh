#!/usr/bin/env bash
# Runs a command with a private sound server that has one null sink to play into and record from. The
# server lives in a folder of its own (home, runtime and state), reads no configuration, talks to no
# session bus, and is stopped by its process id when the command ends, however it ends.
# The command sees PULSE_SERVER (the server's socket) and CV_TEST_SOUND_SINK (the null sink's name).
# usage: with-pulse.sh COMMAND [ARG...]
set -euo pipefail
[ $# -gt 0 ] || { echo "usage: with-pulse.sh COMMAND [ARG...]" >&2; exit 2; }

sink=cv_test_sink
base=$(mktemp -d)
pulse_pid=""
cleanup() {
  if [ -n "$pulse_pid" ]; then kill "$pulse_pid" 2>/dev/null || true; wait "$pulse_pid" 2>/dev/null || true; fi
  rm -rf "$base"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

if ! command -v pulseaudio >/dev/null; then
  # The tests that need the server say so and skip; everything else runs as it would.
  echo "with-pulse: no sound server installed; running without one" >&2
  "$@"
  exit
fi

mkdir -p "$base/home" "$base/runtime"
chmod 700 "$base/runtime"
# The sink first, then the socket: once the socket answers, the sink is there.
(
  export HOME="$base/home" XDG_CONFIG_HOME="$base/home/.config" XDG_RUNTIME_DIR="$base/runtime"
  export PULSE_RUNTIME_PATH="$base/runtime" PULSE_STATE_PATH="$base/home/state" DBUS_SESSION_BUS_ADDRESS=disabled:
  unset DISPLAY  # else the server looks for a session bus through the X server
  exec pulseaudio -n --daemonize=no --exit-idle-time=-1 --disallow-exit --use-pid-file=no \
    --log-target=stderr --log-level=warning \
    --load="module-null-sink sink_name=$sink format=s16le rate=48000 channels=2 sink_properties='device.description=\"Test Output\"'" \
    --load="module-native-protocol-unix auth-anonymous=1 socket=$base/native"
) >"$base/pulse.log" 2>&1 &
pulse_pid=$!

export PULSE_SERVER="unix:$base/native"
for _ in $(seq 1 100); do
  if [ -S "$base/native" ]; then
    command -v pactl >/dev/null || break
    pactl info >/dev/null 2>&1 && break
  fi
  kill -0 "$pulse_pid" 2>/dev/null || { echo "with-pulse: the sound server exited:" >&2; cat "$base/pulse.log" >&2; exit 1; }
  sleep 0.05
done
ready=yes
[ -S "$base/native" ] || ready=no
# A module that fails to load leaves the server running without it.
if [ $ready = yes ] && command -v pactl >/dev/null; then
  pactl list short sinks 2>/dev/null | grep -q "$sink" || ready=no
fi
[ $ready = yes ] || { echo "with-pulse: the sound server did not start" >&2; cat "$base/pulse.log" >&2; exit 1; }
export CV_TEST_SOUND_SINK=$sink
"$@"
