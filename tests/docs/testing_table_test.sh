#!/usr/bin/env bash
# testing_table_test.sh ROOT: every file and every test that the tables of docs/testing.md name
# exists, the test in the file that stands before it.
set -euo pipefail
cd "$1"
page=docs/testing.md

tests_in() {
  tr '\n' ' ' <"$1" | grep -oE '\bTEST(_F|_P|_ON_OWN_THREAD)?\( *[A-Za-z0-9_]+, *[A-Za-z0-9_]+ *\)' |
    sed -E 's/^[^(]*\( *([^, ]+), *([^ )]+) *\)$/\1.\2/'
}

named=0
wrong=0
while IFS= read -r row; do
  file=
  declared=
  while IFS= read -r word; do
    case $word in
      */*)
        file=tests/$word
        declared=
        if [ -f "$file" ]; then
          declared=$(tests_in "$file") || true
        else
          echo "$page names $file, which is not there" >&2
          wrong=1
        fi
        ;;
      *)
        named=$((named + 1))
        if ! grep -qxF "$word" <<<"$declared"; then
          echo "$page names $word, which is not in ${file:-a file}" >&2
          wrong=1
        fi
        ;;
    esac
  done < <(grep -oE '`([a-z0-9_]+/[a-z0-9_]+\.(cpp|c|sh)|[A-Z][A-Za-z0-9]*\.[A-Za-z0-9]+)`' \
    <<<"$row" | tr -d '`')
done < <(grep '^|' "$page")

if [ "$named" -eq 0 ]; then
  echo "$page names no test" >&2
  exit 1
fi
exit $wrong
