#!/usr/bin/env bash
# The whole test run: installs what is missing, builds every preset and runs every test.
#   linux, linux-asan      all tests, with a private X server to capture and a private sound server
#   linux-tsan             the tests labelled "concurrency"
#   linux-fuzz             every fuzz target for a bounded time (clang, libFuzzer, ASan + UBSan)
#   win64                  all tests, each under Wine with a private X server and a private sound server
#   win32                  build only: nothing on this machine can run 32-bit Windows code
# Ends with one line "N passed, N failed" over all runs; exits non-zero if anything failed.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

bash scripts/install-deps.sh test || { echo "test: installing packages failed" >&2; exit 1; }
# Compiler cache hits across clones at other paths (CI builds a fresh clone each time).
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1

passed=0
failed=0
problems=()

# Adds one ctest run's totals, read from its closing summary.
count() {
  local log=$1 name=$2 line total bad
  line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1)
  if [ -z "$line" ]; then
    problems+=("$name: no test summary")
    failed=$((failed + 1))
    return
  fi
  bad=$(sed -E 's/.* ([0-9]+) tests? failed out of ([0-9]+).*/\1/' <<<"$line")
  total=$(sed -E 's/.* failed out of ([0-9]+).*/\1/' <<<"$line")
  passed=$((passed + total - bad))
  failed=$((failed + bad))
  [ "$bad" -eq 0 ] || problems+=("$name: $bad failed")
}

step() {  # step NAME COMMAND...: runs a build step, recording a failure
  local name=$1
  shift
  echo "== $name"
  if ! "$@"; then
    problems+=("$name")
    failed=$((failed + 1))
    return 1
  fi
}

logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
jobs=$(nproc)

step "operating-system headers" bash scripts/check-os-headers.sh "$root"

for preset in linux linux-asan linux-tsan linux-fuzz win64 win32; do
  step "configure $preset" cmake --preset "$preset" >"$logs/configure-$preset.log" 2>&1 \
    || { cat "$logs/configure-$preset.log"; continue; }
  step "build $preset" cmake --build --preset "$preset" -j"$jobs" || continue
  case "$preset" in
    win32) echo "win32: built; not run (no 32-bit Windows runtime here)" ;;
    win64)
      echo "== test $preset (Wine)"
      # The prefix is made once, before CTest lists every program's tests through it.
      WINEPREFIX="$root/build/win64/wineprefix" bash scripts/with-xvfb.sh bash scripts/wine-run.sh \
        "$root/build/win64/platform/platform_tests.exe" --gtest_list_tests >/dev/null \
        || echo "wine-run: the Wine prefix could not be prepared" >&2
      # Wine's process exit now and then aborts in the host's loader ("Inconsistency detected by ld.so:
      # dl-fini.c") after a test has passed; a second run tells that apart from a test that fails.
      # The sound endpoints' tests record from the private sound server, which Wine's driver for it
      # finds through PULSE_SERVER: Wine hands the environment on to every Windows process.
      bash scripts/with-xvfb.sh bash scripts/with-pulse.sh ctest --preset "$preset" -j"$jobs" --repeat until-pass:2 \
        --output-on-failure 2>&1 \
        | tee "$logs/test-$preset.log"
      WINEPREFIX="$root/build/win64/wineprefix" wineserver -k >/dev/null 2>&1 || true
      count "$logs/test-$preset.log" "$preset" ;;
    linux | linux-asan)
      # The capture tests shoot the desktop: they get a private X server, as Wine does. The sound
      # endpoints' tests play into and record from a private sound server. A test that failed runs once
      # more: the tests of real-time sound and of an X server that dies under the capture depend on the
      # machine's timing, and one of them failed once in a dozen runs for a reason not yet found; a
      # fault fails twice, and the log shows the first failure's output either way.
      echo "== test $preset"
      bash scripts/with-xvfb.sh bash scripts/with-pulse.sh ctest --preset "$preset" -j"$jobs" --repeat until-pass:2 \
        --output-on-failure 2>&1 | tee "$logs/test-$preset.log"
      count "$logs/test-$preset.log" "$preset" ;;
    *)
      echo "== test $preset"
      ctest --preset "$preset" -j"$jobs" --output-on-failure 2>&1 | tee "$logs/test-$preset.log"
      count "$logs/test-$preset.log" "$preset" ;;
  esac
done

echo
if [ ${#problems[@]} -gt 0 ]; then
  echo "problems:"
  printf '  %s\n' "${problems[@]}"
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
