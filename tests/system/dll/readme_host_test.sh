#!/usr/bin/env bash
# readme_host_test.sh README INCLUDE-FOLDER IMPORT-LIBRARY: the host that the README shows compiles
# and links as it stands there.
set -euo pipefail
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
sed -n '/^```c$/,/^```$/p' "$1" | sed '/^```/d' >"$folder/host.c"
[ -s "$folder/host.c" ]
x86_64-w64-mingw32-gcc -std=c11 -Wall -Wextra -Werror -I "$2" "$folder/host.c" "$3" \
  -o "$folder/host.exe"
