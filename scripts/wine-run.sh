#!/usr/bin/env bash
# Runs a Windows executable under Wine for CTest (CMAKE_CROSSCOMPILING_EMULATOR).
# - Creates $WINEPREFIX on first use, under a lock, so parallel tests share one prefix.
# - Keeps one wineserver alive between tests and starts Wine's service processes with their output on
#   /dev/null; otherwise they inherit CTest's pipe and every test waits for them to go away.
# - Refuses 32-bit executables: this Wine has no 32-bit support and would exit 0 without running them.
set -u
: "${WINEPREFIX:?WINEPREFIX must be set}"
export WINEPREFIX WINEARCH=win64
export WINEDEBUG=${WINEDEBUG:--all}
WINE=${WINE:-$(command -v wine64 || echo /usr/lib/wine/wine64)}
[ -x "$WINE" ] || WINE=/usr/lib/wine/wine64
WINESERVER=${WINESERVER:-$(command -v wineserver || echo /usr/lib/wine/wineserver)}
[ -x "$WINESERVER" ] || WINESERVER=/usr/lib/wine/wineserver

pe_machine() {  # prints the COFF machine word of a PE file, or nothing
  local f=$1 off
  [ "$(od -An -tx1 -j0 -N2 "$f" 2>/dev/null | tr -d ' ')" = 4d5a ] || return 0
  off=$(od -An -tu4 -j60 -N4 "$f" | tr -d ' ')
  od -An -tx2 -j$((off + 4)) -N2 "$f" | tr -d ' '
}
if [ -f "${1:-}" ] && [ "$(pe_machine "$1")" = 014c ]; then
  echo "wine-run: $1 is a 32-bit executable, which this Wine cannot run" >&2
  exit 125
fi

# Wine's temporary files and Mesa's cache stay beside the prefix, not in the user's home.
export TMPDIR=${TMPDIR:-$(dirname "$WINEPREFIX")/tmp}
export XDG_CACHE_HOME=${XDG_CACHE_HOME:-$(dirname "$WINEPREFIX")/cache}
mkdir -p "$TMPDIR" "$XDG_CACHE_HOME" "$(dirname "$WINEPREFIX")"

exec 9>"$WINEPREFIX.lock"
flock 9
if [ ! -f "$WINEPREFIX/.prefix-ready" ]; then
  # No Mono/Gecko installer dialogs and no menu entries written into the home folder.
  WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d" "$WINE" wineboot --init </dev/null >/dev/null 2>&1 \
    || { echo "wine-run: creating the Wine prefix failed" >&2; exit 1; }
  "$WINESERVER" -w
  touch "$WINEPREFIX/.prefix-ready"
fi
# The prefix calls itself Windows 10, as the systems the module is made for do. A new prefix here says
# 6.1, on which the capture's "auto" mode goes straight to GDI and the Direct3D modes are never tried.
if [ ! -f "$WINEPREFIX/.version-10" ]; then
  "$WINE" reg add 'HKCU\Software\Wine' /v Version /t REG_SZ /d win10 /f </dev/null >/dev/null 2>&1 \
    || { echo "wine-run: setting the prefix's Windows version failed" >&2; exit 1; }
  touch "$WINEPREFIX/.version-10"
fi
# Exit status 0: a new server was started here, so the service processes are started detached from us.
if "$WINESERVER" -p"${WINE_PERSIST_SECONDS:-30}" </dev/null >/dev/null 2>&1; then
  "$WINE" wineboot </dev/null >/dev/null 2>&1
fi
flock -u 9
exec 9>&-
# Listing a program's tests has no side effects, so a listing that a Wine hiccup ends without output
# (seen once while a fresh prefix settled) is tried again rather than failing the whole CTest run.
for arg in "$@"; do
  if [ "$arg" = --gtest_list_tests ]; then
    for attempt in 1 2 3; do
      if listing=$("$WINE" "$@"); then
        printf '%s\n' "$listing"
        exit 0
      fi
      echo "wine-run: listing the tests of $1 failed (attempt $attempt)" >&2
      sleep 2
    done
    exit 1
  fi
done
exec "$WINE" "$@"
