#!/usr/bin/env bash
# End to end: what `props set` sets goes into the per-user store, so that the device of the next process
# reads it; `props reset` takes it out again, and the next device is back at the default; a value that
# the key's description rejects gets one warning line.
# usage: props_store_e2e_test.sh WORK_DIR CVCAPTURE_COMMAND...
#   On Linux the store is a file below a private XDG_CONFIG_HOME in WORK_DIR. Under Wine (CVCAPTURE_COMMAND
#   starts with the emulator) it is HKEY_CURRENT_USER of the test prefix, looked at with Wine's own `reg`;
#   every test that makes a device there holds one CTest resource lock, so no other device writes the key
#   back in between.
set -euo pipefail
work=${1:?usage: props_store_e2e_test.sh WORK_DIR CVCAPTURE_COMMAND...}
shift
[ $# -gt 0 ] || { echo "usage: props_store_e2e_test.sh WORK_DIR CVCAPTURE_COMMAND..." >&2; exit 2; }
runner=("${@:1:$#-1}")

mkdir -p "$work"
cd "$work"
export XDG_CONFIG_HOME=$PWD/props-store-config
rm -rf "$XDG_CONFIG_HOME"
file=$XDG_CONFIG_HOME/Tarnwell/Corvex/CVLive/CVDeviceSCR.conf
hive='HKEY_CURRENT_USER\Software\Tarnwell\Corvex\CVLive\CVDeviceSCR'

fail() { echo "props_store_e2e: $*" >&2; exit 1; }
# Runs the tool; its standard output goes to $out, its standard error to $err.
tool() {
  "$@" >stdout.txt 2>stderr.txt || fail "cvcapture ${*: -3} failed: $(cat stdout.txt stderr.txt)"
  out=$(tr -d '\r' <stdout.txt)
  err=$(tr -d '\r' <stderr.txt)
}
# The stored value of a name, as the store's own tools show it.
stored() {
  if [ "$where" = "$hive" ]; then
    "${runner[@]}" reg query 'HKCU\Software\Tarnwell\Corvex\CVLive\CVDeviceSCR' /v "$1" 2>/dev/null | tr -d '\r' \
      | awk -v n="$1" '$1 == n { print $2, $3 }'
  else
    sed -n "s/^$1 = //p" "$file"
  fi
}

tool "$@" props set capture.fps_limit 25
[ "$(sed -n 1p <<<"$out")" = "capture.fps_limit = 25" ] || fail "set printed: $out"
saved=$(sed -n 2p <<<"$out")
case "$saved" in
  "saved for new devices in $hive") where=$hive ;;
  "saved for new devices in $file") where=$file ;;
  *) fail "no line naming where the value went: $out" ;;
esac
[ -z "$err" ] || fail "a value the description takes got a warning: $err"
case "$(stored capture.fps_limit)" in
  '"25"' | 'REG_SZ 25') ;;
  *) fail "the store holds '$(stored capture.fps_limit)' for capture.fps_limit" ;;
esac

tool "$@" props get capture.fps_limit
[ "$out" = 25 ] || fail "a new process reads capture.fps_limit as '$out', not 25"

tool "$@" props reset capture.fps_limit
[ "$out" = "capture.fps_limit removed from $where" ] || fail "reset printed: $out"
[ -z "$(stored capture.fps_limit)" ] || fail "capture.fps_limit is still stored after the reset"
tool "$@" props get capture.fps_limit
[ "$out" = 30.0 ] || fail "after the reset a new process reads capture.fps_limit as '$out', not the default 30.0"

tool "$@" props set capture.mode nonsense
[ "$(wc -l <<<"$err")" = 1 ] && [[ $err == "cvcapture: warning: capture.mode: "*nonsense*DXGI* ]] \
  || fail "a value outside the list of capture.mode got no one-line warning: '$err'"
tool "$@" props set capture.mode gdi
[ -z "$err" ] || fail "a listed value in other letter case got a warning: $err"
tool "$@" props get capture.mode
[ "$out" = gdi ] || fail "a new process reads capture.mode as '$out'"
tool "$@" props reset capture.mode

tool "$@" props set capture.background_color 'Black(20)'
[ "$(sed -n 2p <<<"$out")" = "not saved: new devices always start capture.background_color from its default" ] \
  || fail "a key that devices always reset was reported as saved: $out"
! stored capture.background_color | grep -qi 'black(20)' || fail "capture.background_color was stored"

rm -rf "$XDG_CONFIG_HOME" stdout.txt stderr.txt
echo "props_store_e2e: ok"
