#!/usr/bin/env bash
# End to end on a machine without a display: cvcapture starts a private X server, plays its moving
# content there and records it. ffprobe checks the video; the last picture must show what the content's
# script keeps on screen from 2 s on, which every 90-frame capture (3 s from its first frame) reaches: the
# pointer resting at kDemoPointerRest with the left button held, so a full left click ring around it,
# the highlight disc under it. The private server must be gone when the tool has ended, and a capture
# with a display of its own must not start one.
# usage: demo_capture_e2e_test.sh WORK_DIR CVCAPTURE
set -euo pipefail
work=${1:?usage: demo_capture_e2e_test.sh WORK_DIR CVCAPTURE}
tool=${2:?usage: demo_capture_e2e_test.sh WORK_DIR CVCAPTURE}
here=$(cd "$(dirname "$0")" && pwd)
fail() { echo "demo_capture_e2e: $*" >&2; exit 1; }
command -v ffprobe >/dev/null && command -v ffmpeg >/dev/null || fail "ffmpeg is missing (package ffmpeg)"

# Where the script puts the pointer, and the root's colour, as the content has them.
header=$here/../../platform/demo_desktop.h
read -r rest_x rest_y < <(sed -n 's/.*kDemoPointerRest{\([0-9]*\), *\([0-9]*\)}.*/\1 \2/p' "$header")
background=$(sed -n 's/.*kDemoBackground = 0x\([0-9A-Fa-f]\{6\}\);.*/\1/p' "$header")
[ -n "$rest_x" ] && [ -n "$rest_y" ] && [ -n "$background" ] || fail "no resting place or background in $header"

mkdir -p "$work"
cd "$work"
out=demo-capture
rm -rf "$out" last.rgb
# The user's settings (another frame size, marks turned off) have no say here.
export XDG_CONFIG_HOME=$PWD/demo-capture-config
rm -rf "$XDG_CONFIG_HOME"

session=""
cleanup() {
  # Whatever the tool left running in its session (its X server, had it not stopped it), by process id.
  [ -n "$session" ] || return 0
  for pid in $(ps -eo pid=,sid= | awk -v s="$session" '$2 == s { print $1 }'); do kill "$pid" 2>/dev/null || true; done
}
trap cleanup EXIT

# In a session of its own (a background job of this shell leads no group, so setsid needn't fork and the
# session's id is the tool's process id), so that what it starts can be found after it has gone.
env -u DISPLAY setsid "$tool" capture --frames 90 --out "$out" >summary.txt 2>messages.txt &
session=$!
rc=0
wait "$session" || rc=$?
if grep -q 'no private one: this build has no private desktop' messages.txt; then
  echo "demo_capture_e2e: skipped, this build has no private desktop"
  exit 77
fi
[ "$rc" = 0 ] || { cat summary.txt messages.txt >&2; fail "the capture failed ($rc)"; }
cat summary.txt
left=$(ps -eo pid=,sid=,comm= | awk -v s="$session" '$2 == s')
[ -z "$left" ] || fail "the tool left processes running: $left"
grep -q '^cvcapture: no display to record (DISPLAY is not set): recording a private display :[0-9]* ' messages.txt \
  || fail "no message about the private display: $(cat messages.txt)"
grep -q '^captured frames 90 ' summary.txt || fail "the summary does not report 90 frames"

probe=$(ffprobe -v error -count_frames -select_streams v:0 \
  -show_entries stream=width,height,r_frame_rate,nb_read_frames -of default=noprint_wrappers=1 "$out/video.y4m")
value() { sed -n "s/^$1=//p" <<<"$probe"; }
[ "$(value nb_read_frames)" = 90 ] && [ "$(value width)" = 1920 ] && [ "$(value height)" = 1080 ] \
  && [ "$(value r_frame_rate)" = 30/1 ] || fail "the video is not 90 frames of 1920x1080 at 30/1: $probe"

# The private screen is the default frame size, so a screen pixel is a picture pixel.
ffmpeg -v error -i "$out/last.png" -f rawvideo -pix_fmt rgb24 -y last.rgb || fail "last.png does not decode"
[ "$(stat -c %s last.rgb)" = $((1920 * 1080 * 3)) ] || fail "last.png is not 1920x1080"
# expect DX DY WHAT CONDITION: the pixel at the resting place plus (DX, DY), as r g b, meets CONDITION.
expect() {
  local x=$((rest_x + $1)) y=$((rest_y + $2)) r g b
  read -r r g b < <(od -An -tu1 -j $(((y * 1920 + x) * 3)) -N3 last.rgb)
  awk -v r="$r" -v g="$g" -v b="$b" -v R=$((16#${background:0:2})) -v G=$((16#${background:2:2})) \
      -v B=$((16#${background:4:2})) \
      "function near(v, w) { return v - w < 16 && w - v < 16 } BEGIN { exit !($4) }" \
    || fail "last.png at ($x,$y) is $r,$g,$b: not $3"
}
# The ring of a held left button is at full size: about 37 to 49 pixels from the pointer, orange (red 255,
# green 90, blue 16), on all four sides.
for at in "-43 0" "43 0" "0 -43" "0 43"; do
  # shellcheck disable=SC2086
  expect $at "the left click ring" 'r > 200 && g > 40 && g < 150 && b < 90'
done
# Beyond it the bare background.
for at in "-70 0" "70 0" "0 -70"; do
  # shellcheck disable=SC2086
  expect $at "the background" 'near(r, R) && near(g, G) && near(b, B)'
done
# Inside it the highlight disc: yellow at the default transparency 0x88, a bit more than half the
# background showing through (about 133, 140, 32 here).
expect -20 0 "the highlight disc" 'r > 100 && r < 180 && g > 100 && b < 70'
# The arrow's white inside, 3 right of and 7 below its tip at the hot spot.
expect 3 7 "the pointer" 'r > 200 && g > 200 && b > 200'
rm -rf "$out" last.rgb summary.txt messages.txt "$XDG_CONFIG_HOME"

# With a display that opens (a private server of the test's own) the tool records it and starts none.
messages=$(bash "$here/../../scripts/with-xvfb.sh" "$tool" capture --frames 2 --out "$out" 2>&1 >/dev/null) \
  || fail "a capture with a display failed: $messages"
! grep -q 'private display' <<<"$messages" || fail "with a display the tool still started its own: $messages"
rm -rf "$out" "$XDG_CONFIG_HOME"
echo "demo_capture_e2e: ok"
