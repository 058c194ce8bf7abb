#!/usr/bin/env bash
# package_test.sh ROOT BUILD-FOLDER FOLDER VERSION OBJDUMP
# The zip: its name, what is in it, that its pages lead to nothing else, that this is what gets installed, the version in all places, the
# symbols, no trace of the build folder, and the same bytes when it is packed again.
set -euo pipefail
root=$1 build=$2 folder=$3 version=$4 objdump=$5
name=libquill-wgc-$version-windows-x64

fail() {
  echo "package_test: $1" >&2
  exit 1
}

# pack FOLDER: as of one date.
pack() {
  (cd "$build" && SOURCE_DATE_EPOCH=1700000000 \
    cpack --config "$build/CPackConfig.cmake" -B "$1") >"$folder/log" 2>&1 ||
    { cat "$folder/log" >&2; fail "cpack failed"; }
}

rm -rf "$folder"
mkdir -p "$folder/unpacked"
pack "$folder/first"
zip=$folder/first/$name.zip
[ -f "$zip" ] || fail "there is no $name.zip"
(cd "$folder/unpacked" && cmake -E tar xf "$zip")
tree=$folder/unpacked/$name
[ "$(ls "$folder/unpacked")" = "$name" ] || fail "the zip does not hold one folder $name"

"$root/tests/system/install/package_files.sh" "$tree" mingw
"$root/tests/docs/links_test.py" "$tree/share/doc/quill-wgc"

cmake --install "$build" --prefix "$folder/installed" >"$folder/log"
diff -r "$folder/installed" "$tree" || fail "the zip is not what gets installed"

grep -qxF "Version: $version" "$tree/lib/pkgconfig/quill-wgc.pc" || fail "another version in the .pc"
grep -qxF "set(PACKAGE_VERSION \"$version\")" \
  "$tree/lib/cmake/quill-wgc/quill-wgc-config-version.cmake" || fail "another version for CMake"
# The file's and the product's.
[ "$(strings -el "$tree/bin/libquill-wgc.dll" | grep -cxF "$version")" -eq 2 ] ||
  fail "another version in the DLL"

# The DLL has no symbols and names the file that has them. There every export has a source line.
dll=$tree/bin/libquill-wgc.dll
sections=$("$objdump" -h "$dll")
grep -q '\.debug_' <<<"$sections" && fail "the DLL has debug information"
[ -z "$(x86_64-w64-mingw32-nm "$dll" 2>/dev/null)" ] || fail "the DLL has symbols"
"$objdump" -s -j .gnu_debuglink "$dll" | grep -q 'libquill-wgc.dl' || fail "the DLL names no symbols"
address=$(x86_64-w64-mingw32-nm "$dll.debug" | sed -n 's/ T wgc_session_create$//p')
line=$(x86_64-w64-mingw32-addr2line -e "$dll.debug" "0x$address")
[[ $line == *src/api/libquill_wgc.cpp:[1-9]* ]] || fail "wgc_session_create is in $line"

for place in "$root" "$build"; do
  if grep -raF "$place" "$tree/bin" "$tree/lib" "$tree/include" >/dev/null; then
    fail "the zip knows $place: $(grep -rlaF "$place" "$tree/bin" "$tree/lib" "$tree/include")"
  fi
done

# The same bytes at another time, of another user, and on another file system.
sleep 2  # the resolution of the times in a zip
pack "$folder/second"
cmp "$zip" "$folder/second/$name.zip"
if LC_ALL=C grep -qaP 'ux\x0b\x00' "$zip"; then
  fail "the zip has the numbers of the user"
fi
names=$(cmake -E tar tf "$zip")
[ "$names" = "$(LC_ALL=C sort <<<"$names")" ] || fail "the zip has the file system's order"
