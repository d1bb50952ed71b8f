#!/usr/bin/env bash
# End to end through the module in two capture modes: "DirectX" (GDI shots drawn into textures, the
# picture work on the Direct3D device) and "GDI" (shots into memory, the software loop). The X root is
# painted one colour first; ffprobe checks each video's frames, size and rate, and the pictures written
# beside it must show that colour. The summary names the mode the device ran in.
# usage: modes_e2e_test.sh WORK_DIR CVCAPTURE_COMMAND...
#   CVCAPTURE_COMMAND may start with an emulator (the Windows build runs the tool under Wine).
set -euo pipefail
work=${1:?usage: modes_e2e_test.sh WORK_DIR CVCAPTURE_COMMAND...}
shift
[ $# -gt 0 ] || { echo "usage: modes_e2e_test.sh WORK_DIR CVCAPTURE_COMMAND..." >&2; exit 2; }
if [ -z "${DISPLAY:-}" ]; then
  echo "modes_e2e: skipped, no display (run it under scripts/with-xvfb.sh)"
  exit 77
fi
fail() { echo "modes_e2e: $*" >&2; exit 1; }
command -v ffprobe >/dev/null && command -v ffmpeg >/dev/null || fail "ffmpeg is missing (package ffmpeg)"
command -v xsetroot >/dev/null || fail "xsetroot is missing (package x11-xserver-utils)"
tool() { "$@" | tr -d '\r'; }

mkdir -p "$work"
cd "$work"
# The root's own colour, as red, green, blue. The frames carry it as HDYC, and the tool's pictures come
# back from that, so a channel may be off by some steps; a swapped or missing picture is far off.
colour=(51 102 204)
xsetroot -solid '#3366cc' || fail "xsetroot could not paint the root"
trap 'xsetroot -def >/dev/null 2>&1 || true' EXIT

for mode in DirectX GDI; do
  out=modes-e2e-$mode
  rm -rf "$out"
  # Without the pointer and its disc, which would lie wherever the server's pointer happens to be.
  summary=$(tool "$@" capture --frames 30 --mode "$mode" --size 640x360 --fps 25 --out "$out" \
    --props "capture.show_mouse=hide capture.highlight_mouse=hide") \
    || fail "capture in $mode failed: $summary"
  echo "$summary"
  want=$mode
  [ "$mode" = GDI ] && want="GDI (software)"
  grep -qx "mode: $want" <<<"$summary" || fail "the device did not run in $want"
  grep -q '^captured frames 30 ' <<<"$summary" || fail "$mode: the summary does not report 30 frames"

  probe=$(ffprobe -v error -count_frames -select_streams v:0 \
    -show_entries stream=width,height,r_frame_rate,nb_read_frames -of default=noprint_wrappers=1 "$out/video.y4m")
  value() { sed -n "s/^$1=//p" <<<"$probe"; }
  [ "$(value nb_read_frames)" = 30 ] && [ "$(value width)" = 640 ] && [ "$(value height)" = 360 ] \
    && [ "$(value r_frame_rate)" = 25/1 ] || fail "$mode: the video is not 30 frames of 640x360 at 25/1: $probe"

  for png in first last; do
    dims=$(ffprobe -v error -show_entries stream=width,height -of csv=p=0:s=x "$out/$png.png") \
      || fail "$mode: $png.png does not decode"
    [ "$dims" = 640x360 ] || fail "$mode: $png.png is $dims, not 640x360"
    # Its centre and a corner: the whole picture is the root.
    for at in 320:180 3:3; do
      read -r -a got < <(ffmpeg -v error -i "$out/$png.png" -vf "crop=1:1:$at" -f rawvideo -pix_fmt rgb24 - | od -An -tu1)
      [ "${#got[@]}" = 3 ] || fail "$mode: no pixel at $at of $png.png"
      for c in 0 1 2; do
        d=$((got[c] - colour[c]))
        [ "${d#-}" -le 12 ] || fail "$mode: $png.png shows ${got[*]} at $at, not the root's ${colour[*]}"
      done
    done
  done
  rm -rf "$out"
done
echo "modes_e2e: ok"
