#!/usr/bin/env bash
# outside_test.sh ROOT BUILD-FOLDER FOLDER VERSION
# Installs, moves the installation to another place, and builds and runs hosts against it: by CMake,
# by pkg-config, for Visual Studio's object files, and by name at run time. Runs inside with-wine.
set -euo pipefail
root=$1 build=$2 folder=$3 version=$4
here=$root/tests/system/install

fail() {
  echo "outside_test: $1" >&2
  exit 1
}

# quietly COMMAND...: shows what it printed only when it fails.
quietly() {
  "$@" >"$folder/log" 2>&1 || { cat "$folder/log" >&2; fail "failed: $*"; }
}

rm -rf "$folder"
mkdir -p "$folder"
quietly cmake --install "$build" --prefix "$folder/installed"
tree="$folder/moved elsewhere"
mv "$folder/installed" "$tree"
# Programs find the DLL where it is installed, as they would on the PATH.
WINEPATH=$(winepath -w "$tree/bin")
export WINEPATH

run() {
  timeout 60 wine "$@" || fail "${1##*/} ended with $?"
}

quietly cmake -S "$here/outside" -B "$folder/outside" -G Ninja \
  --toolchain "$root/cmake/mingw-w64-x86_64.cmake" -D CMAKE_BUILD_TYPE=Release \
  -D CMAKE_PREFIX_PATH="$tree" -D VERSION="$version"
quietly cmake --build "$folder/outside"
run "$folder/outside/host_c.exe"
run "$folder/outside/host_cpp.exe"
mapfile -t names < <(sed -n 's/^ \+\([a-z0-9_]\+\)$/\1/p' "$root/src/api/libquill_wgc.def")
run "$folder/outside/loader.exe" "$version" "${names[@]}"

# The project of the page for beginners, as it stands there.
page=$root/docs/getting-started-windows.md
block() {
  sed -n "/^\`\`\`$1\$/,/^\`\`\`\$/{/^\`\`\`/!p}" "$page"
}
mkdir "$folder/page"
block c >"$folder/page/host.c"
block cmake >"$folder/page/CMakeLists.txt"
quietly cmake -S "$folder/page" -B "$folder/page/build" -G Ninja \
  --toolchain "$root/cmake/mingw-w64-x86_64.cmake" -D CMAKE_PREFIX_PATH="$tree"
quietly cmake --build "$folder/page/build"

export PKG_CONFIG_LIBDIR=$tree/lib/pkgconfig
[ "$(pkg-config --modversion quill-wgc)" = "$version" ] || fail "pkg-config gives another version"
# Evaluated, because pkg-config quotes the blanks of its paths for the shell.
eval "flags=($(pkg-config --cflags --libs quill-wgc))"
build_by_pkg_config() {
  quietly x86_64-w64-mingw32-gcc -std=c11 -Wall -Wextra -Werror "$here/outside/host.c" "${flags[@]}" \
    -o "$folder/$1.exe"
  run "$folder/$1.exe"
}
build_by_pkg_config host_pkg_config
# A zip made by Visual Studio has its import library under MinGW's name, too.
cp "$tree/lib/quill-wgc.lib" "$tree/lib/libquill-wgc.dll.a"
build_by_pkg_config host_visual_studio_library

quietly cmake -S "$here/visual_studio" -B "$folder/visual_studio" -G Ninja \
  -D CMAKE_SYSTEM_NAME=Windows -D CMAKE_BUILD_TYPE=Release -D CMAKE_PREFIX_PATH="$tree" \
  -D EXPORTS="$build/exports" \
  -D CMAKE_C_COMPILER=clang -D CMAKE_C_COMPILER_TARGET=x86_64-pc-windows-msvc
quietly cmake --build "$folder/visual_studio"
run "$folder/visual_studio/host_vs.exe"

# refused POINTER-BYTES VERSION: looked at, and not taken.
refused() {
  printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(wanted LANGUAGES NONE)' \
    "set(CMAKE_SIZEOF_VOID_P $1)" \
    "find_package(quill-wgc $2 CONFIG REQUIRED)" >"$folder/CMakeLists.txt"
  if cmake -S "$folder" -B "$folder/wanted" -G Ninja -D CMAKE_PREFIX_PATH="$tree" >"$folder/log" 2>&1; then
    fail "version $2 for pointers of $1 bytes is found"
  fi
  grep -q "quill-wgc-config.cmake, version: $version" "$folder/log" ||
    { cat "$folder/log" >&2; fail "version $version was not considered for $2"; }
}

# A later version is asked for in vain, another interface's, too, and this one by a program for
# 32-bit Windows.
IFS=. read -r major minor patch <<<"$version"
for wanted in "$major.$((minor + 1))" "$((major + 1)).0" "$major.$minor.$((patch + 1))" \
    "$((major - 1)).9"; do
  refused 8 "$wanted"
done
refused 4 "$version"
