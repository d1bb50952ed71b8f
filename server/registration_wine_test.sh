#!/usr/bin/env bash
# Registration of the built module under Wine, end to end, through the system's own tools: regsvr32
# writes the class keys machine-wide, a separate host process creates the device by its class
# identifier and reads frames, regsvr32 /u removes every key it wrote; then the same per user through
# DllInstall ("regsvr32 /n /i:user"), whose keys land in the user's Software\Classes. (Wine's component
# runtime doesn't look classes up there, so the per-user keys are read back, not used.)
# usage: registration_wine_test.sh MODULE_DLL HOST_PROBE_EXE WINE_COMMAND...
set -uo pipefail
dll=${1:?module}
probe=${2:?host probe}
shift 2
wine=("$@")
[ ${#wine[@]} -gt 0 ] || { echo "no Wine command given" >&2; exit 2; }

clsid='{5B0E9D7A-3C41-4F86-9A2E-71D40B6C58E3}'
typelib='{6C1F0B52-9A3D-4E27-B845-1D7A60E93C14}'
failures=0

fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }
run() { "${wine[@]}" "$@" </dev/null 2>/dev/null | tr -d '\r'; }

key_exists() { "${wine[@]}" reg query "$1" </dev/null >/dev/null 2>&1; }
expect() {  # what got wanted
  [ "$2" = "$3" ] || fail "$1: got '$2', wanted '$3'"
}

# The class key's tree as lines "SUBKEY|NAME|TYPE|DATA", the class key itself as "." and the default value
# as "(Default)".
class_tree() {
  run reg query "$1\\CLSID\\$clsid" /s | awk -v clsid="$clsid" '
    /^HKEY_/ { i = index($0, clsid); sub_ = substr($0, i + length(clsid) + 1); if (sub_ == "") sub_ = "."; next }
    /^    / { line = substr($0, 5); n = index(line, "    "); name = substr(line, 1, n - 1);
              rest = substr(line, n + 4); m = index(rest, "    ");
              print sub_ "|" name "|" substr(rest, 1, m - 1) "|" substr(rest, m + 4) }'
}

# The keys of one root, after registration: exactly these, nothing more.
check_written() {
  local root=$1 module=$2 got wanted
  got=$(class_tree "$root" | sort)
  wanted=$(printf '%s\n' \
    ".|(Default)|REG_SZ|CVCaptureSCR Class" \
    "InprocServer32|(Default)|REG_SZ|$module" \
    "InprocServer32|ThreadingModel|REG_SZ|Free" \
    "TypeLib|(Default)|REG_SZ|$typelib" \
    "Version|(Default)|REG_SZ|1.0" | sort)
  [ "$got" = "$wanted" ] || fail "$root\\CLSID\\$clsid holds
$got
wanted
$wanted"
}
check_removed() {
  local root=$1
  key_exists "$root\\CLSID\\$clsid" && fail "$root\\CLSID\\$clsid is still there after unregistration"
  key_exists "$root\\CLSID" || fail "$root\\CLSID itself was removed"
}

module=$(run winepath -w "$dll")
[ -n "$module" ] || { echo "winepath gave no name for $dll" >&2; exit 1; }

# Machine-wide.
run regsvr32 /s "$dll" >/dev/null; rc=${PIPESTATUS[0]}
expect "regsvr32 exit status" "$rc" 0
check_written 'HKCR' "$module"
probe_out=$(run "$probe" 3)
printf '%s\n' "$probe_out" | grep -q '^frames=3 ' || fail "host process: $probe_out"
run regsvr32 /s /u "$dll" >/dev/null
check_removed 'HKCR'
key_exists "HKCU\\Software\\Classes\\CLSID\\$clsid" && fail "machine registration wrote per-user keys"

# Per user.
run regsvr32 /s /n /i:user "$dll" >/dev/null
check_written 'HKCU\Software\Classes' "$module"
run regsvr32 /s /u /n /i:USER "$dll" >/dev/null
check_removed 'HKCU\Software\Classes'

if [ $failures -ne 0 ]; then
  echo "$failures check(s) failed" >&2
  exit 1
fi
echo "registration: machine-wide and per-user keys written, used and removed"
