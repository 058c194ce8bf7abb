#!/usr/bin/env bash
# reproducible_test.sh ROOT BUILD-FOLDER FOLDER BUILD-TYPE
# A copy of the sources, built in a folder with another name and at another time, gives the same DLL,
# symbols and import libraries byte for byte.
set -euo pipefail
root=$1 build=$2 folder=$3 type=$4
sources=$folder/elsewhere/with-a-longer-name

rm -rf "$folder"
mkdir -p "$sources"
for part in "$root"/*; do
  case ${part##*/} in
    build | tests) ;;
    *) cp -R "$part" "$sources/" ;;
  esac
done

log=$folder/log
if ! { cmake -S "$sources" -B "$folder/other-build" -G Ninja \
         --toolchain "$sources/cmake/mingw-w64-x86_64.cmake" \
         -D CMAKE_BUILD_TYPE="$type" -D BUILD_TESTING=OFF &&
       cmake --build "$folder/other-build" \
         --target quill-wgc quill_wgc_msvc_import_library; } >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi

for file in bin/libquill-wgc.dll bin/libquill-wgc.dll.debug lib/libquill-wgc.dll.a \
    lib/quill-wgc.lib; do
  cmp "$build/$file" "$folder/other-build/$file"
done
