#!/usr/bin/env bash
# End to end: cvcapture captures 90 frames through the module, and ffprobe checks that the video has
# them all, at the size of "capture.frame_size" and the rate of "capture.fps_limit" as the tool reads them.
# usage: capture_e2e_test.sh WORK_DIR CVCAPTURE_COMMAND...
#   CVCAPTURE_COMMAND may start with an emulator (the Windows build runs the tool under Wine); the tool
#   is given a relative output folder inside WORK_DIR, so it needs no path translation.
set -euo pipefail
work=${1:?usage: capture_e2e_test.sh WORK_DIR CVCAPTURE_COMMAND...}
shift
[ $# -gt 0 ] || { echo "usage: capture_e2e_test.sh WORK_DIR CVCAPTURE_COMMAND..." >&2; exit 2; }
# The frames are shots of the desktop: without a display (on Linux, and for Wine) there is none to
# capture, which is a skip, not a failure.
if [ -z "${DISPLAY:-}" ]; then
  echo "capture_e2e: skipped, no display (run it under scripts/with-xvfb.sh)"
  exit 77
fi
command -v ffprobe >/dev/null || { echo "capture_e2e: ffprobe is missing (package ffmpeg)" >&2; exit 1; }

mkdir -p "$work"
cd "$work"
out=capture-e2e
rm -rf "$out"

fail() { echo "capture_e2e: $*" >&2; exit 1; }
tool() { "$@" | tr -d '\r'; }

size=$(tool "$@" props get capture.frame_size) || fail "props get capture.frame_size failed"
fps=$(tool "$@" props get capture.fps_limit) || fail "props get capture.fps_limit failed"
[[ $size =~ ^([0-9]+)x([0-9]+)$ ]] || fail "capture.frame_size '$size' is no WIDTHxHEIGHT"
want_w=${BASH_REMATCH[1]}
want_h=${BASH_REMATCH[2]}
# Rates outside 2..60 fall back to 30, as the device does.
want_fps=$(awk -v f="$fps" 'BEGIN { f += 0; print (f >= 2 && f <= 60) ? f : 30 }')

summary=$(tool "$@" capture --frames 90 --out "$out") || fail "capture failed: $summary"
echo "$summary"
grep -q '^captured frames 90 ' <<<"$summary" || fail "the summary does not report 90 frames"

probe=$(ffprobe -v error -count_frames -select_streams v:0 \
  -show_entries stream=width,height,r_frame_rate,nb_read_frames -of default=noprint_wrappers=1 "$out/video.y4m")
echo "$probe"
value() { sed -n "s/^$1=//p" <<<"$probe"; }
[ "$(value nb_read_frames)" = 90 ] || fail "video.y4m has $(value nb_read_frames) frames, not 90"
[ "$(value width)" = "$want_w" ] && [ "$(value height)" = "$want_h" ] \
  || fail "video.y4m is $(value width)x$(value height), not $size"
awk -v r="$(value r_frame_rate)" -v want="$want_fps" \
  'BEGIN { split(r, p, "/"); got = p[1] / p[2]; exit !(got - want < 0.01 && want - got < 0.01) }' \
  || fail "video.y4m runs at $(value r_frame_rate), not $want_fps"

for png in first last; do
  dims=$(ffprobe -v error -show_entries stream=width,height -of csv=p=0:s=x "$out/$png.png") \
    || fail "$png.png does not decode"
  [ "$dims" = "$size" ] || fail "$png.png is $dims, not $size"
done
if [ -f "$out/audio.wav" ]; then
  ffprobe -v error -show_entries stream=codec_name,sample_rate,channels -of csv=p=0 "$out/audio.wav" \
    || fail "audio.wav does not decode"
fi
rm -rf "$out"

# The video on standard output, for a player or an encoder reading a pipe; the picture options reach the
# device. Native only: Wine's console layer sits between the tool and the pipe.
case "$*" in
  *.exe*) ;;
  *)
    probe=$("$@" capture --frames 20 --size 640x360 --fps 25 --mode GDI --out - 2>stream.log \
      | ffprobe -v error -count_frames -show_entries stream=width,height,r_frame_rate,nb_read_frames \
          -of default=noprint_wrappers=1 -) || { cat stream.log >&2; fail "streaming to standard output failed"; }
    echo "$probe"
    [ "$(value nb_read_frames)" = 20 ] && [ "$(value width)" = 640 ] && [ "$(value height)" = 360 ] \
      && [ "$(value r_frame_rate)" = 25/1 ] || fail "the stream is not 20 frames of 640x360 at 25/1"
    grep -q '^video: standard output  20 frames' stream.log || fail "the summary did not go to standard error"
    rm -f stream.log ;;
esac

# One capture while the server's player plays the tone; 1 when the sound has a gap, fail on anything else.
tone_capture() {
  rm -rf "$out"
  paplay --device="$CV_TEST_SOUND_SINK" --latency-msec=20 tone.wav &
  local player=$!
  # A small picture: each frame takes its share of the sound, so the frames must come on time, and a
  # whole 1080p desktop through Wine's software Direct3D comes at about 22 a second, not 30.
  summary=$(tool "$@" capture --seconds 4 --audio "$endpoint" --area 0,0,640,360 --out "$out") \
    || { kill $player; fail "capture with sound failed: $summary"; }
  kill $player 2>/dev/null || true
  wait $player 2>/dev/null || true
  echo "$summary"
  peak=$(sed -n 's/^audio: .* peak \([0-9.]*\)$/\1/p' <<<"$summary")
  per_frame=$(sed -n 's/^audio per frame: \([0-9.]*\) samples .*/\1/p' <<<"$summary")
  [ -n "$peak" ] && [ -n "$per_frame" ] || fail "the frames carried no sound"
  awk -v p="$peak" 'BEGIN { exit !(p > 0.05) }' || fail "the tone did not come through (peak $peak)"
  # 48000 samples a second over the frame rate, give or take the sample carried between frames.
  awk -v n="$per_frame" -v f="$want_fps" 'BEGIN { d = n - 48000 / f; exit !(d < 1 && d > -1) }' \
    || fail "frames carried $per_frame samples each, not 48000 / $want_fps"
  # From half a second after the tone arrived: no stretch of silence (2 ms and more), and its own pitch.
  silences=$(ffmpeg -hide_banner -nostats -i "$out/audio.wav" -af silencedetect=noise=0.01:d=0.002 -f null - 2>&1 \
    | grep -o 'silence_[a-z]*: [0-9.]*' | tr -d ':') || true
  arrived=$(awk '$1 == "silence_start" && $2 == 0 { lead = 1 } $1 == "silence_end" && lead { print $2; exit }
                 END { if (!lead) print 0 }' <<<"$silences")
  gap=$(awk -v from="$arrived" '$1 == "silence_start" && $2 > from + 0.5 { print $2; exit }' <<<"$silences")
  if [ -n "$gap" ]; then
    echo "capture_e2e: the sound has a gap at $gap s (the tone arrived at $arrived s)"
    return 1
  fi
  crossings=$(ffmpeg -hide_banner -nostats -ss "$(awk -v a="$arrived" 'BEGIN { print a + 0.5 }')" -i "$out/audio.wav" \
    -af "pan=mono|c0=c0,astats=measure_overall=none" -f null - 2>&1 | sed -n 's/.*Zero crossings rate: \([0-9.]*\).*/\1/p')
  pitch=$(awk -v r="$crossings" 'BEGIN { printf "%.2f", r * 48000 / 2 }')
  echo "capture_e2e: the tone arrived at $arrived s and came through at $pitch Hz"
  awk -v p="$pitch" 'BEGIN { exit !(p > 999 && p < 1001) }' || fail "the tone came through at $pitch Hz, not 1000"
}

# With a sound server (the test command starts one with a null sink) a tone played into the output comes
# into the frames: through the loopback natively, through the server's monitor under Wine, which has no
# loopback.
if [ -n "${CV_TEST_SOUND_SINK:-}" ] && command -v paplay >/dev/null; then
  endpoint=default
  case "$*" in *.exe*) endpoint="Monitor of Test Output" ;; esac
  ffmpeg -v error -y -f lavfi -i "sine=frequency=1000:sample_rate=48000:duration=20" -ac 2 tone.wav \
    || fail "no tone file"
  # A frame whose sound comes later than the half share the join keeps in hand goes out silent, by rule;
  # a busy machine makes that happen now and then. A second capture must then be whole.
  tone_capture "$@" || tone_capture "$@" || fail "the sound has a gap in two captures"
  rm -rf "$out" tone.wav
fi
echo "capture_e2e: ok"
