#!/usr/bin/env bash
# Runs a command with a private X server: Xvfb picks a free display itself and tells us when it is
# ready; the server is stopped by its process id when the command ends, however it ends.
# usage: with-xvfb.sh [--geometry WxHxD] COMMAND [ARG...]
set -euo pipefail
geometry=1920x1080x24
if [ "${1:-}" = "--geometry" ]; then geometry=$2; shift 2; fi
[ $# -gt 0 ] || { echo "usage: with-xvfb.sh [--geometry WxHxD] COMMAND [ARG...]" >&2; exit 2; }

rundir=$(mktemp -d)
xvfb_pid=""
cleanup() {
  if [ -n "$xvfb_pid" ]; then kill "$xvfb_pid" 2>/dev/null || true; wait "$xvfb_pid" 2>/dev/null || true; fi
  rm -rf "$rundir"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

Xvfb -displayfd 3 -screen 0 "$geometry" -nolisten tcp -noreset 3>"$rundir/display" >"$rundir/xvfb.log" 2>&1 &
xvfb_pid=$!
for _ in $(seq 1 100); do
  [ -s "$rundir/display" ] && break
  kill -0 "$xvfb_pid" 2>/dev/null || { echo "with-xvfb: Xvfb exited:" >&2; cat "$rundir/xvfb.log" >&2; exit 1; }
  sleep 0.1
done
[ -s "$rundir/display" ] || { echo "with-xvfb: Xvfb did not start" >&2; exit 1; }
export DISPLAY=":$(tr -d '\n' <"$rundir/display")"
"$@"
