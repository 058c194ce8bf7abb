#!/usr/bin/env bash
# with_wine_test.sh ROOT
# scripts/with-wine and scripts/wine-run, with stubs for Wine and its display.
set -euo pipefail
root=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "with_wine_test: $*" >&2; exit 1; }

stub() { # NAME: what it does comes from the standard input.
  { echo '#!/usr/bin/env bash'; cat; } >"$folder/bin/$1"
  chmod +x "$folder/bin/$1"
}
mkdir "$folder/bin" "$folder/prefix"
touch "$folder/prefix/system.reg"
stub Xvfb <<<'echo 99 >&3; exec sleep 60'
# The server answers -k0 as long as the file is there.
stub wineserver <<<'[ "$1" != -k0 ] || [ -e "$WINEPREFIX/server" ]'
stub wine <<<'touch "$WINEPREFIX/server"; eval "$1"'
unset QUILL_WGC_IN_WINE WINESERVER
export PATH=$folder/bin:$PATH QUILL_WGC_PREFIX=$folder/prefix QUILL_WGC_STANDIN=$folder

# The status of a program that ran is its own.
for status in 0 7; do
  got=0
  "$root/scripts/wine-run" "exit $status" >"$folder/out" 2>&1 || got=$?
  [ "$got" -eq "$status" ] || fail "wine-run ended with $got instead of $status"
  [ ! -s "$folder/out" ] || fail "wine-run said: $(cat "$folder/out")"
done

# One that failed may have found no wineserver.
got=0
"$root/scripts/wine-run" 'rm "$WINEPREFIX/server"; exit 7' >"$folder/out" 2>&1 || got=$?
[ "$got" -eq 7 ] || fail "wine-run without a wineserver ended with $got instead of 7"
grep -q 'wine-run: there is no wineserver: .*Try again' "$folder/out" ||
  fail "wine-run said: $(cat "$folder/out")"

# Two with-wine in one prefix: the second runs when the first has ended.
mkfifo "$folder/go"
"$root/scripts/with-wine" sh -c "echo first begins; cat '$folder/go'; echo first ends" \
  >>"$folder/order" &
first=$!
for _ in $(seq 100); do [ -s "$folder/order" ] && break || sleep 0.1; done
"$root/scripts/with-wine" echo second >>"$folder/order" 2>"$folder/waiting" &
second=$!
for _ in $(seq 100); do
  [ -s "$folder/waiting" ] || grep -q second "$folder/order" && break || sleep 0.1
done
echo >"$folder/go"
wait "$first" "$second"
grep -v '^$' "$folder/order" | diff - <(printf 'first begins\nfirst ends\nsecond\n') ||
  fail "two with-wine in one prefix ran at once"
grep -q 'with-wine: waiting' "$folder/waiting" || fail "the second did not say that it waits"
