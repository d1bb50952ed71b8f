#!/usr/bin/env bash
# Fails when a source file outside platform/ includes an operating-system header. The logic reaches the
# machine only through the platform seam; only the public header and the host tool are exempt.
# usage: check-os-headers.sh SOURCE_ROOT
set -euo pipefail
root=${1:?usage: check-os-headers.sh SOURCE_ROOT}
cd "$root"

os_headers='windows|winbase|winuser|winerror|winreg|wtypes|d3d[0-9a-z_]*|dxgi[0-9_]*|d3dcompiler|mmdeviceapi|audioclient|audiopolicy|functiondiscoverykeys[a-z_]*|objbase|ole2|oleauto|olectl|unknwn|mmsystem|timeapi|process|tlhelp32|dwmapi|psapi|shlobj|shlwapi|versionhelpers|unistd|pthread|poll|fcntl|dlfcn|sched|X11/[^>"]+|pulse/[^>"]+|sys/[^>"]+|linux/[^>"]+|xcb/[^>"]+'
pattern="^[[:space:]]*#[[:space:]]*include[[:space:]]*[<\"]($os_headers)\\.h[>\"]"

if git -C "$root" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  files=$(git ls-files --cached --others --exclude-standard -- '*.h' '*.hpp' '*.c' '*.cc' '*.cpp')
else
  files=$(find . -path ./build -prune -o -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.c' -o -name '*.cc' -o -name '*.cpp' \) -print | sed 's|^\./||')
fi

hits=""
while IFS= read -r f; do
  [ -n "$f" ] || continue
  case "$f" in
    platform/*|include/CVDeviceSCR.h|tools/*|build/*) continue ;;
  esac
  [ -f "$f" ] || continue
  found=$(grep -nE "$pattern" "$f" || true)
  [ -n "$found" ] && hits+=$(printf '%s\n' "$found" | sed "s|^|$f:|")$'\n'
done <<<"$files"

if [ -n "$hits" ]; then
  echo "operating-system headers outside platform/:" >&2
  printf '%s' "$hits" >&2
  exit 1
fi
echo "operating-system headers: confined to platform/"
