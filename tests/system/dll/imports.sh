#!/usr/bin/env bash
# imports.sh <NAMES: the DLL imports these modules, one a line, and none of them has to be brought along.
set -euo pipefail
count=0
while read -r name; do
  case ${name,,} in
    kernel32.dll | user32.dll | msvcrt.dll | ole32.dll | oleaut32.dll | d3d11.dll | dxgi.dll) ;;
    coremessaging.dll | api-ms-win-core-winrt-*.dll) ;;
    *)
      echo "imports $name, which is not the system's" >&2
      exit 1
      ;;
  esac
  count=$((count + 1))
done
[ "$count" -gt 0 ] || { echo "no imports were read" >&2; exit 1; }
