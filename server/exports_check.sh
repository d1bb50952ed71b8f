#!/usr/bin/env bash
# The module shows a host exactly its five entries, by their plain names: a PE export table without
# stdcall decoration, or an ELF dynamic symbol table without any of the code linked into the module.
# usage: exports_check.sh MODULE OBJDUMP_OR_NM
set -euo pipefail
module=${1:?module}
tool=${2:?objdump for a DLL, nm for a shared object}

case "$module" in
  *.dll) names=$("$tool" -p "$module" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' |
           sed -nE 's/^[[:space:]]+\[ *[0-9]+\] +([^ ]+)$/\1/p') ;;
  *) names=$("$tool" -D --defined-only --format=posix "$module" | awk '$2 ~ /^[TtWDdBbRrVvi]$/ { print $1 }') ;;
esac
got=$(printf '%s\n' "$names" | sort)
wanted=$(printf '%s\n' DllCanUnloadNow DllGetClassObject DllInstall DllRegisterServer DllUnregisterServer)
if [ "$got" != "$wanted" ]; then
  printf 'exports of %s:\n%s\nwanted:\n%s\n' "$module" "$got" "$wanted" >&2
  exit 1
fi
echo "exports: the five entries and nothing else"
