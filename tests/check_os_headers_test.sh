#!/usr/bin/env bash
# The header check must reject a leak and accept the same include inside platform/.
set -euo pipefail
check=${1:?usage: check_os_headers_test.sh CHECK_SCRIPT}
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
mkdir -p "$tree/media" "$tree/platform/linux"
printf '#include <vector>\n#include "media/av_props.h"\n' >"$tree/media/ok.cpp"
printf '#include <unistd.h>\n' >"$tree/platform/linux/fine.cpp"
bash "$check" "$tree" >/dev/null || { echo "clean tree rejected"; exit 1; }

printf '  #  include <X11/Xlib.h>\n' >"$tree/media/leak.cpp"
if bash "$check" "$tree" 2>/dev/null; then echo "X11 include outside platform/ accepted"; exit 1; fi
rm "$tree/media/leak.cpp"
printf '#include "windows.h"\n' >"$tree/media/leak.h"
if bash "$check" "$tree" 2>/dev/null; then echo "windows.h outside platform/ accepted"; exit 1; fi
echo "header check rejects leaks"
