#!/usr/bin/env bash
# surface_test.sh OBJDUMP DLL VISUAL-STUDIO-LIBRARY VERSION
# What the DLL shows to the world: fifteen undecorated names, imports from the system alone, a
# version resource, and an import library that names all of it.
set -euo pipefail
objdump=$1 dll=$2 library=$3 version=$4

fail() {
  echo "$1" >&2
  exit 1
}

expected="is_wgc_session_supported
wgc_enable_cursor
wgc_free_recent_frame
wgc_get_device
wgc_get_recent_frame
wgc_get_status
wgc_get_update_ratio
wgc_register_logger
wgc_session_create
wgc_session_create2
wgc_session_destroy
wgc_session_start
wgc_set_capture_to_texture
wgc_set_dirty_rect
wgc_show_border"

headers=$("$objdump" -p "$dll")
exports=$(sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p' <<<"$headers" |
  sed 's/^+base\[ *[0-9]*\]  [0-9a-f]* //' | sort)
[ "$exports" = "$expected" ] || fail "exports: $exports"

while read -r name; do
  case ${name,,} in
    kernel32.dll | user32.dll | msvcrt.dll | ole32.dll | oleaut32.dll | d3d11.dll | dxgi.dll) ;;
    coremessaging.dll | api-ms-win-core-winrt-*.dll) ;;
    *) fail "imports $name, which is not the system's" ;;
  esac
done < <(sed -n 's/^\tDLL Name: //p' <<<"$headers")

# Version strings are UTF-16 in the resource section.
strings -el "$dll" | grep -qx "$version" || fail "no version $version in the resources"
strings -el "$dll" | grep -qx "libquill-wgc.dll" || fail "no original file name in the resources"

for name in $expected; do
  strings "$library" | grep -qx "$name" || fail "$library lacks $name"
done
