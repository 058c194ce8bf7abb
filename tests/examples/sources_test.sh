#!/usr/bin/env bash
# sources_test.sh ROOT: each example program is short enough to be read in one go, what the other tests
# leave out passes clang, mypy, rustfmt, gofmt and Node.js, and Rust's compiler refuses what
# docs/languages.md says it does.
set -euo pipefail
cd "$1"

for file in examples/{minimal.c,texture.cpp,two_windows.cpp,quill_wgc.py}; do
  lines=$(wc -l <"$file")
  [ "$lines" -lt 120 ] || { echo "$file has $lines lines: 119 at most" >&2; exit 1; }
done
# Binding and host together.
for language in csharp go javascript rust; do
  lines=$(find "examples/$language" -name '*.cs' -o -name '*.go' -o -name '*.js' -o -name '*.rs' |
    xargs cat | wc -l)
  [ "$lines" -le 150 ] ||
    { echo "examples/$language has $lines lines of code: 150 at most" >&2; exit 1; }
done

clang --target=x86_64-w64-mingw32 -std=c11 -fsyntax-only -Wall -Wextra -Wpedantic -Werror \
  -Iinclude examples/minimal.c
/usr/bin/python3 -m mypy --strict --platform win32 --python-version 3.8 --cache-dir /dev/null \
  --no-error-summary examples/quill_wgc.py

# scripts/setup installs the compiler where it can build for Windows: on Debian 12.
if [ -x /usr/bin/rustc ]; then
  # With no condition the file compiles; with each of these it has this error.
  metadata=$(mktemp -d)
  trap 'rm -r "$metadata"' EXIT
  rustc() { /usr/bin/rustc --edition 2021 --crate-type rlib --emit metadata --out-dir "$metadata" "$@"; }
  rustc examples/rust/quill_wgc.rs
  misuse=(--extern "quill_wgc=$metadata/libquill_wgc.rmeta" tests/examples/rust/refused.rs)
  rustc "${misuse[@]}"
  for refused in poll_again:E0499 end_session:E0505 other_thread:E0277; do
    errors=$(rustc --cfg "${refused%:*}" "${misuse[@]}" 2>&1) || true
    [[ $errors == *"${refused#*:}"* ]] ||
      { echo "the compiler does not refuse ${refused%:*}: $errors" >&2; exit 1; }
  done
fi

/usr/bin/rustfmt --edition 2021 --check examples/rust/*.rs tests/examples/rust/*.rs
unformatted=$(/usr/bin/gofmt -l examples/go tests/examples/go)
[ -z "$unformatted" ] || { echo "gofmt would change $unformatted" >&2; exit 1; }

for file in examples/javascript/*.js; do node --check "$file"; done
