#!/usr/bin/env bash
# surface_test.sh OBJDUMP DLL VISUAL-STUDIO-LIBRARY VERSION DEF
# What others see of the DLL: it exports the names in DEF, undecorated, and nothing else; it imports
# from system DLLs alone; it has a version resource; the import library has all the names.
set -euo pipefail
objdump=$1 dll=$2 library=$3 version=$4 def=$5

fail() {
  echo "$1" >&2
  exit 1
}

expected=$(sed -n 's/^ \+\([a-z0-9_]\+\)$/\1/p' "$def" | sort)
[ -n "$expected" ] || fail "$def names nothing"

headers=$("$objdump" -p "$dll")
exports=$(sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p' <<<"$headers" |
  sed 's/^+base\[ *[0-9]*\]  [0-9a-f]* //' | sort)
[ "$exports" = "$expected" ] || fail "exports: $exports"

sed -n 's/^\tDLL Name: //p' <<<"$headers" | "${0%/*}/imports.sh"

# Version strings are UTF-16 in the resource section.
strings -el "$dll" | grep -qx "$version" || fail "no version $version in the resources"
strings -el "$dll" | grep -qx "libquill-wgc.dll" || fail "no original file name in the resources"

for name in $expected; do
  strings "$library" | grep -qx "$name" || fail "$library lacks $name"
done
