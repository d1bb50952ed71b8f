#!/usr/bin/env bash
# The engine capturing a real X desktop beside ffmpeg's x11grab. On private X servers of 1920x1080 (60
# frames a second) and 3840x2160 (30), each capture mode and the peer (to uyvy422, the engine's HDYC, and
# to bgr0) run over the same seconds, first while a painter changes the screen on every frame, then on a
# still screen. Prints one table of CPU time a frame with the machine's load beside it; the figures are
# for reading, never asserted.
# usage: bench-x11.sh [SECONDS]     seconds measured a case, 5 by default (about 2.5 minutes in all)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
secs=${1:-5}

cmake --preset linux >/dev/null
cmake --build --preset linux --target bench_x11_capture >/dev/null
bench=$root/build/linux/bench/bench_x11_capture

rundir=$(mktemp -d)
xvfb_pid=""
painter_pid=""
stop_pid() {
  [ -n "$1" ] || return 0
  kill "$1" 2>/dev/null || true
  wait "$1" 2>/dev/null || true
}
cleanup() {
  stop_pid "$painter_pid"
  stop_pid "$xvfb_pid"
  rm -rf "$rundir"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

start_xvfb() {  # WIDTH HEIGHT
  rm -f "$rundir/display"
  Xvfb -displayfd 3 -screen 0 "${1}x${2}x24" -nolisten tcp -noreset 3>"$rundir/display" >"$rundir/xvfb.log" 2>&1 &
  xvfb_pid=$!
  for _ in $(seq 1 100); do
    [ -s "$rundir/display" ] && break
    kill -0 "$xvfb_pid" 2>/dev/null || { echo "bench-x11: Xvfb exited:" >&2; cat "$rundir/xvfb.log" >&2; exit 1; }
    sleep 0.1
  done
  [ -s "$rundir/display" ] || { echo "bench-x11: Xvfb did not start" >&2; exit 1; }
  export DISPLAY=":$(tr -d '\n' <"$rundir/display")"
}

# The server's CPU time so far, in ticks of 1/100 s; its name holds no space, so the fields count plainly.
server_ticks() { awk '{print $14 + $15}' "/proc/$xvfb_pid/stat"; }
load1() { cut -d' ' -f1 /proc/loadavg; }

# One x11grab run: prints "FRAMES CPU_SECONDS SERVER_TICKS". ARGS: WIDTH HEIGHT FPS PIXFMT, then the
# length: -t SECONDS or -frames:v N.
run_ffmpeg() {
  local w=$1 h=$2 fps=$3 fmt=$4
  shift 4
  local s0 s1
  s0=$(server_ticks)
  /usr/bin/time -f '%U %S' -o "$rundir/time" ffmpeg -hide_banner -nostdin -loglevel error -nostats \
    -progress "$rundir/progress" -f x11grab -framerate "$fps" -video_size "${w}x${h}" -i "$DISPLAY" "$@" \
    -f rawvideo -pix_fmt "$fmt" -y /dev/null
  s1=$(server_ticks)
  local frames cpu
  frames=$(grep '^frame=' "$rundir/progress" | tail -1 | cut -d= -f2)
  cpu=$(awk '{print $1 + $2}' "$rundir/time")
  echo "$frames $cpu $((s1 - s0))"
}

# The peer's row: its fixed cost (start-up, the first frame) is taken from a one-frame run, so that its
# figures, like the engine's, hold the frames alone.
peer_row() {  # WIDTH HEIGHT FPS PIXFMT CONTENT
  local w=$1 h=$2 fps=$3 fmt=$4 content=$5 load
  load=$(load1)
  read -r f1 c1 t1 < <(run_ffmpeg "$w" "$h" "$fps" "$fmt" -frames:v 1)
  read -r fn cn tn < <(run_ffmpeg "$w" "$h" "$fps" "$fmt" -t "$secs")
  if [ -z "$f1" ] || [ -z "$fn" ]; then
    echo "size=${w}x${h} content=$content mode=x11grab-$fmt failed=1 load=$load"
    return
  fi
  awk -v w="$w" -v h="$h" -v fmt="$fmt" -v content="$content" -v load="$load" -v secs="$secs" \
    -v f1="$f1" -v c1="$c1" -v t1="$t1" -v fn="$fn" -v cn="$cn" -v tn="$tn" 'BEGIN {
      n = fn - f1; if (n < 1) n = 1
      printf "size=%dx%d content=%s mode=x11grab-%s fps=%.2f new=- p50_ms=- p99_ms=- grab_ms=- marks_ms=- " \
             "pack_ms=- delivery_ms=- reader_ms=- total_ms=%.3f server_ms=%.3f faults=- load=%s\n",
             w, h, content, fmt, fn / secs, (cn - c1) * 1000 / n, (tn - t1) * 10 / n, load }'
}

engine_row() {  # WIDTH HEIGHT FPS MODE CONTENT
  local load line
  load=$(load1)
  if line=$("$bench" --mode "$4" --fps "$3" --seconds "$secs" --server-pid "$xvfb_pid"); then
    echo "content=$5 $line load=$load"
  else
    echo "size=${1}x${2} content=$5 mode=$4 failed=1 load=$load"
  fi
}

have_ffmpeg=1
command -v ffmpeg >/dev/null && [ -x /usr/bin/time ] || have_ffmpeg=0
rows=$rundir/rows
: >"$rows"
start_load=$(cat /proc/loadavg)
for geometry in 1920x1080x60 3840x2160x30; do
  IFS=x read -r w h fps <<<"$geometry"
  start_xvfb "$w" "$h"
  for content in moving still; do
    if [ "$content" = moving ]; then
      "$bench" --paint --fps 60 &
      painter_pid=$!
      sleep 0.5
    fi
    for mode in DXGI DirectX GDI; do engine_row "$w" "$h" "$fps" "$mode" "$content" >>"$rows"; done
    if [ "$have_ffmpeg" = 1 ]; then
      for fmt in uyvy422 bgr0; do peer_row "$w" "$h" "$fps" "$fmt" "$content" >>"$rows"; done
    fi
    stop_pid "$painter_pid"
    painter_pid=""
  done
  stop_pid "$xvfb_pid"
  xvfb_pid=""
done

echo
echo "Capture of a private X server: CPU milliseconds a frame by stage, and pacing"
echo "machine: $(nproc) cores; load average at the start: $start_load; at the end: $(cat /proc/loadavg)"
[ "$have_ffmpeg" = 1 ] || echo "ffmpeg or /usr/bin/time is missing: no peer rows"
awk '
  function get(line, key,   n, i, kv) {
    n = split(line, kv, " ")
    for (i = 1; i <= n; ++i) if (index(kv[i], key "=") == 1) return substr(kv[i], length(key) + 2)
    return "-"
  }
  {
    line[NR] = $0
    if (get($0, "mode") == "x11grab-uyvy422") peer[get($0, "size") get($0, "content")] = get($0, "total_ms")
  }
  END {
    fmt = "%-7s %-16s %6s %6s %6s %6s %6s %6s %6s %6s %6s %7s %6s %6s %6s %5s\n"
    for (i = 1; i <= NR; ++i) {
      l = line[i]; size = get(l, "size"); mode = get(l, "mode")
      if (size != last) {
        printf "\n%s\n", size
        printf fmt, "screen", "capture", "fps", "new/s", "p50", "p99", "grab", "marks", "pack", "deliv", "reader",
               "total", "server", "/uyvy", "faults", "load"
        last = size
      }
      if (get(l, "failed") == "1") { printf "%-7s %-16s failed\n", get(l, "content"), mode; continue }
      total = get(l, "total_ms"); p = peer[size get(l, "content")]
      ratio = (p != "" && p + 0 > 0) ? sprintf("%.2f", total / p) : "-"
      newps = get(l, "new") == "-" ? "-" : sprintf("%.1f", get(l, "new") / get(l, "seconds"))
      printf fmt, get(l, "content"), mode, get(l, "fps"), newps, get(l, "p50_ms"), get(l, "p99_ms"), get(l, "grab_ms"),
             get(l, "marks_ms"), get(l, "pack_ms"), get(l, "delivery_ms"), get(l, "reader_ms"), total,
             get(l, "server_ms"), ratio, get(l, "faults"), get(l, "load")
    }
  }' "$rows"
cat <<'EOF'

fps: frames delivered a second; new/s: those that aren't repeats; p50, p99: ms between deliveries.
CPU ms a frame: grab (pass start, acquire or shot, copies into the work texture; all of the shot thread in
the shot modes), marks (pointer and highlight), pack (final pass, readback, the frame; in GDI also the
shot's clone and the marks, drawn within the conversion's pass), deliv (finish, pacing wait, hand-over),
reader (the host's reader thread: its own copy of each frame), total (the whole bench process), server
(the X server: its side of the shots, and the painter). /uyvy: total beside x11grab to uyvy422 on the same
screen; ffmpeg rows count its CPU without its start-up. faults: minor page faults a frame.
EOF
