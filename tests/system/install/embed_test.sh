#!/usr/bin/env bash
# embed_test.sh ROOT FOLDER
# Builds the library as a part of another project, by add_subdirectory and by FetchContent, where PATH
# holds nothing but CMake, Ninja, the compiler and binutils. Its host links and runs; tests, apps and
# tools are not built. Runs inside with-wine.
set -euo pipefail
root=$1 folder=$2

fail() {
  echo "embed_test: $1" >&2
  exit 1
}

rm -rf "$folder"
mkdir -p "$folder/path"
for tool in cmake ninja /usr/bin/x86_64-w64-mingw32-*; do
  ln -s "$(command -v "$tool")" "$folder/path/"
done

# build COMMAND...: with that PATH and no variable of ours; shows its output only when it fails.
build() {
  env -i PATH="$folder/path" HOME="$folder" "$@" >"$folder/log" 2>&1 ||
    { cat "$folder/log" >&2; fail "failed: $*"; }
}

for by in add_subdirectory FetchContent; do
  tree=$folder/$by
  build cmake -S "$root/tests/system/install/embedded" -B "$tree" -G Ninja \
    --toolchain "$root/cmake/mingw-w64-x86_64.cmake" -D SOURCES="$root" -D BY="$by"
  build cmake --build "$tree"

  # find_program and its like look outside PATH, too.
  if grep -iE '^[^:]*(python|llvm_dlltool|cli11|nlohmann|chart)' "$tree/CMakeCache.txt" >&2; then
    fail "$by looks for more than a compiler"
  fi
  programs=$(cd "$tree/programs" && LC_ALL=C ls)
  [ "$programs" = $'host.exe\nlibquill-wgc.dll\nlibquill-wgc.dll.debug' ] ||
    fail "$by builds: $programs"
  ctest --test-dir "$tree" -N | grep -qx 'Total Tests: 0' || fail "$by adds tests"
  timeout 60 wine "$tree/programs/host.exe" || fail "the host of $by ended with $?"
done
