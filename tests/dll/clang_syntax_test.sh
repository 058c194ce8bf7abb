#!/usr/bin/env bash
# clang_syntax_test.sh ROOT CLI11-FOLDER GOOGLETEST-FOLDER
# Every C++ source of the tests and benches once through clang, for the target that it is built for
# and with warnings as errors, and every header of the library alone. Nothing is linked; clang only
# reads. All other sources go through clang in scripts/check.
set -euo pipefail
cd "$1"
cli11=$2 googletest=$3

# clang does not find the posix flavour of g++'s library headers by itself.
library=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")/include/c++
flags=(
  --target=x86_64-w64-mingw32 -std=c++20 -fsyntax-only -Wall -Wextra -Werror
  -isystem "$library" -isystem "$library/x86_64-w64-mingw32"
  -isystem "$cli11" -isystem "$googletest/googletest/include"
  -isystem "$googletest/googlemock/include"
  -DQUILL_GRAB_TEST_VERSION="\"\"" -DUNICODE -D_UNICODE -DNOMINMAX -D_WIN32_WINNT=0x0A00
  -Iinclude -Isrc -Iprojection -Iprojection/sdk -Iexamples -Iwine -Itests
  -Ibench/frames -Ibench/shaders
)

# What only Linux builds: the fake platform and all that runs on it.
native=(
  bench/native tests/fuzz tests/session tests/soak tests/support/fake_platform tests/threads
)
native_flags=(
  -std=c++20 -fsyntax-only -Wall -Wextra -Werror -fshort-wchar -DNOMINMAX -DWINE_UNICODE_NATIVE
  -isystem /usr/include/wine/wine/windows -isystem "$googletest/googletest/include"
  -Iinclude -Isrc -Iprojection -Iprojection/native -Iprojection/sdk -Itests
)

# The Vulkan bench needs headers that nothing else does.
others=(-not -path 'bench/shaders/vulkan/*')
for folder in "${native[@]}"; do others+=(-not -path "$folder/*"); done
find bench tests -name '*.cpp' -not -name 'native_*' "${others[@]}" -print0 |
  xargs -0 -n 1 -P 2 clang++ "${flags[@]}"

{
  find "${native[@]}" -name '*.cpp' -print0
  find tests -name 'native_*.cpp' -print0
} | xargs -0 -n 1 -P 2 clang++ "${native_flags[@]}"

find src include -name '*.h' -print0 |
  xargs -0 -n 1 -P 2 clang++ "${flags[@]}" -Wno-pragma-once-outside-header -x c++
