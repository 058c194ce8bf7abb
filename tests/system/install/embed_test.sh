#!/usr/bin/env bash
# embed_test.sh ROOT FOLDER
# Configures another project with the library as a part of it, by add_subdirectory and by FetchContent,
# where PATH holds nothing but CMake, Ninja, the compiler and binutils. Both build with the same commands,
# so one of them is built. Its host links and runs; tests, apps and tools are not built. Runs inside
# with-wine.
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

# commands WAY: what builds that tree, with the folders of add_subdirectory.
commands() {
  ninja -C "$folder/$1" -t commands |
    sed 's|_deps/quill-wgc-build|quill-wgc|g; s|FetchContent|add_subdirectory|g' | sort
}

for by in add_subdirectory FetchContent; do
  tree=$folder/$by
  build cmake -S "$root/tests/system/install/embedded" -B "$tree" -G Ninja \
    --toolchain "$root/cmake/mingw-w64-x86_64.cmake" -D SOURCES="$root" -D BY="$by"
  # find_program and its like look outside PATH, too.
  if grep -iE '^[^:]*(python|llvm_dlltool|cli11|nlohmann|chart)' "$tree/CMakeCache.txt" >&2; then
    fail "$by looks for more than a compiler"
  fi
  ctest --test-dir "$tree" -N | grep -qx 'Total Tests: 0' || fail "$by adds tests"
done
[ "$(commands FetchContent | grep -c .)" -gt 5 ] || fail "there are no commands to compare"
diff <(commands add_subdirectory) <(commands FetchContent) ||
  fail "FetchContent builds with other commands"

build cmake --build "$folder/add_subdirectory"
programs=$folder/add_subdirectory/programs
built=$(cd "$programs" && LC_ALL=C ls)
[ "$built" = $'host.exe\nlibquill-wgc.dll\nlibquill-wgc.dll.debug' ] || fail "built is: $built"
timeout 60 wine "$programs/host.exe" || fail "the host ended with $?"
